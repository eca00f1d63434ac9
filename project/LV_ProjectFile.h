// The protected project container: a binary file of chunks instead of bare XML.
//
// Header (little-endian): "LPRJ", the format version (written 1, not checked), the
// offset of the first chunk (written 144 and honoured as read), four reserved bytes
// written as zero; the gap up to offset 144 is not written. Each chunk: a four-letter
// identifier, the length of its data (8 bytes), the distance from the end of its
// header to the next header (8 bytes, written equal to the length), the data. A chunk
// is found by walking from the first one and skipping by the distance, so chunks may
// come in any order; reaching the end of the file means the chunk is absent.
//
// A project writes "LVER" (the XML of "Version" and "Properties" only, readable
// without a password) and "DATA" (the whole XML, compressed with zlib and enciphered).
//
// "DATA" (all integers little-endian):
//   "LVC1" | KDF algorithm (1 byte: libsodium's Argon2id v1.3) | 3 zero bytes |
//   opslimit (8) | memlimit in bytes (8) | salt (16) | slot count n (1) |
//   n slots of: access (1: 1 project, 2 viewer, 3 batch) | nonce (24) | wrapped key (48) |
//   nonce (24) | ciphertext.
// The content is enciphered with XChaCha20-Poly1305 under a random data key; each
// slot holds that key enciphered under the Argon2id key of one of the three
// passwords (all three share the salt, so a password costs one derivation to try).
// Every byte before the ciphertext is authenticated with it, so a wrong password or
// any change of the chunk is detected. The plaintext is the XML's length (8 bytes)
// followed by its zlib stream.
//
// A TProjectKeyRing holds a data key in memory and wipes it when destroyed; it is used
// by one thread at a time.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "project/LV_ProjectProperties.h"

namespace lv {

inline constexpr std::string_view kProjectSignature = "LPRJ";
inline constexpr uint64_t kProjectFirstChunkOffset = 144;
inline constexpr std::string_view kChunkVersion = "LVER";
inline constexpr std::string_view kChunkData = "DATA";

class TProjectFile {
 public:
  void AddChunk(std::string_view id, std::string data);
  // The container's bytes: the header, the gap, the chunks in the order added.
  std::string Bytes() const;

  // Whether `bytes` begin with the container's signature.
  static bool HasSignature(std::string_view bytes);
  // The data of chunk `id`, or nothing when the walk reaches the end without it.
  // Raises "ErrProjectFileDamaged" when a header or its data runs past the end.
  static std::optional<std::string_view> FindChunk(std::string_view bytes, std::string_view id);

 private:
  std::vector<std::pair<std::string, std::string>> chunks_;
};

// Cost of the key derivation; the defaults keep opening well under a second.
struct TProjectKdfLimits {
  uint64_t opsLimit = 2;
  uint64_t memLimit = 64ull << 20;
};

class TProjectKeyRing {
 public:
  // A new data key and salt, without slots.
  explicit TProjectKeyRing(TProjectKdfLimits limits = {});
  ~TProjectKeyRing();
  TProjectKeyRing(const TProjectKeyRing& other) = default;
  TProjectKeyRing& operator=(const TProjectKeyRing& other) = default;

  bool HasSlot(TProjectAccess access) const;
  // Wraps the data key under `password` for `access` (one key derivation).
  void SetSlot(TProjectAccess access, std::string_view password);
  const TProjectKdfLimits& Limits() const { return limits_; }

  // The "DATA" chunk for `xml`; every slot the ring has goes into it.
  std::string Seal(std::string_view xml) const;

  // Opens a "DATA" chunk with `password`: returns the ring read from it (its slots and
  // data key, so that the project can be saved again) and fills `xml` and `access`
  // (which slot the password opened). Raises "ErrProjectDataDamaged" for a malformed
  // chunk and "SWrongPassword" when no slot opens.
  static TProjectKeyRing Open(std::string_view chunk, std::string_view password, std::string& xml,
                              TProjectAccess& access);

  // One Argon2id derivation with the ring's limits (what opening costs; for the
  // benchmark).
  std::array<uint8_t, 32> DeriveKey(std::string_view password) const;

 private:
  struct TSlot {
    bool present = false;
    std::array<uint8_t, 24> nonce{};
    std::array<uint8_t, 48> wrapped{};
  };
  TProjectKeyRing(TProjectKdfLimits limits, bool empty);
  std::string HeaderPrefix() const;

  TProjectKdfLimits limits_;
  std::array<uint8_t, 16> salt_{};
  std::array<uint8_t, 32> dataKey_{};
  std::array<TSlot, 3> slots_{};
};

void RegisterProjectFileTexts();

}  // namespace lv
