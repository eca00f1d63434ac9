#include "project/LV_ProjectFile.h"

#include <sodium.h>
#include <zlib.h>

#include <cstring>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

void PutLE(std::string& out, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

uint64_t GetLE(std::string_view in, size_t at, int bytes) {
  uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) {
    value |= static_cast<uint64_t>(static_cast<uint8_t>(in[at + static_cast<size_t>(i)]))
             << (8 * i);
  }
  return value;
}

[[noreturn]] void Damaged(uint64_t offset) {
  throw ELVError("ErrProjectFileDamaged", {offset});
}
[[noreturn]] void DataDamaged() {
  throw ELVError("ErrProjectDataDamaged");
}

void EnsureSodium() {
  static const bool ready = sodium_init() >= 0;
  if (!ready) throw ELVError("ErrProjectKeyDerivation");
}

constexpr size_t kChunkHeaderSize = 20;
constexpr std::string_view kCipherMagic = "LVC1";
constexpr size_t kNonceSize = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr size_t kTagSize = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr size_t kSlotSize = 1 + kNonceSize + 32 + kTagSize;
// Limits a file may ask for: beyond them a damaged or hostile file could make opening
// take minutes or exhaust memory.
constexpr uint64_t kMaxOpsLimit = 16;
constexpr uint64_t kMaxMemLimit = 1ull << 30;
constexpr uint64_t kMaxXmlSize = 1ull << 30;

static_assert(kNonceSize == 24 && kTagSize == 16);

}  // namespace

// --- container ---

void TProjectFile::AddChunk(std::string_view id, std::string data) {
  chunks_.emplace_back(std::string(id.substr(0, 4)), std::move(data));
}

std::string TProjectFile::Bytes() const {
  std::string out(kProjectSignature);
  PutLE(out, 1, 4);
  PutLE(out, kProjectFirstChunkOffset, 8);
  PutLE(out, 0, 4);
  out.resize(kProjectFirstChunkOffset, '\0');
  for (const auto& [id, data] : chunks_) {
    out += id;
    out.resize(out.size() + 4 - id.size(), ' ');
    PutLE(out, data.size(), 8);
    PutLE(out, data.size(), 8);
    out += data;
  }
  return out;
}

bool TProjectFile::HasSignature(std::string_view bytes) {
  return bytes.substr(0, 4) == kProjectSignature;
}

std::optional<std::string_view> TProjectFile::FindChunk(std::string_view bytes,
                                                        std::string_view id) {
  if (bytes.size() < 16 || !HasSignature(bytes)) Damaged(0);
  uint64_t at = GetLE(bytes, 8, 8);
  while (at < bytes.size()) {
    if (bytes.size() - at < kChunkHeaderSize) Damaged(at);
    std::string_view chunkId = bytes.substr(at, 4);
    uint64_t length = GetLE(bytes, at + 4, 8);
    uint64_t distance = GetLE(bytes, at + 12, 8);
    uint64_t dataStart = at + kChunkHeaderSize;
    if (length > bytes.size() - dataStart) Damaged(at + 4);
    if (chunkId == id) return bytes.substr(dataStart, length);
    // Every step moves on by at least a header, so a walk always ends.
    if (distance >= bytes.size() - dataStart) break;
    at = dataStart + distance;
  }
  return std::nullopt;
}

// --- key ring ---

TProjectKeyRing::TProjectKeyRing(TProjectKdfLimits limits, bool) : limits_(limits) {
  EnsureSodium();
}

TProjectKeyRing::TProjectKeyRing(TProjectKdfLimits limits) : TProjectKeyRing(limits, true) {
  randombytes_buf(salt_.data(), salt_.size());
  crypto_aead_xchacha20poly1305_ietf_keygen(dataKey_.data());
}

TProjectKeyRing::~TProjectKeyRing() {
  sodium_memzero(dataKey_.data(), dataKey_.size());
}

bool TProjectKeyRing::HasSlot(TProjectAccess access) const {
  return slots_[static_cast<size_t>(access)].present;
}

std::array<uint8_t, 32> TProjectKeyRing::DeriveKey(std::string_view password) const {
  std::array<uint8_t, 32> key{};
  if (crypto_pwhash(key.data(), key.size(), password.data(), password.size(), salt_.data(),
                    limits_.opsLimit, static_cast<size_t>(limits_.memLimit),
                    crypto_pwhash_ALG_ARGON2ID13) != 0) {
    throw ELVError("ErrProjectKeyDerivation");
  }
  return key;
}

std::string TProjectKeyRing::HeaderPrefix() const {
  std::string out(kCipherMagic);
  out.push_back(static_cast<char>(crypto_pwhash_ALG_ARGON2ID13));
  out.append(3, '\0');
  PutLE(out, limits_.opsLimit, 8);
  PutLE(out, limits_.memLimit, 8);
  out.append(reinterpret_cast<const char*>(salt_.data()), salt_.size());
  return out;
}

namespace {

// The slot's associated data: the chunk's prefix and the slot's access byte, so a slot
// cannot be moved to another access or another file's parameters.
std::string SlotAD(const std::string& prefix, uint8_t access) {
  std::string ad = prefix;
  ad.push_back(static_cast<char>(access));
  return ad;
}

}  // namespace

void TProjectKeyRing::SetSlot(TProjectAccess access, std::string_view password) {
  std::array<uint8_t, 32> kek = DeriveKey(password);
  TSlot& slot = slots_[static_cast<size_t>(access)];
  randombytes_buf(slot.nonce.data(), slot.nonce.size());
  std::string ad = SlotAD(HeaderPrefix(), static_cast<uint8_t>(static_cast<uint8_t>(access) + 1));
  unsigned long long written = 0;
  crypto_aead_xchacha20poly1305_ietf_encrypt(slot.wrapped.data(), &written, dataKey_.data(),
                                             dataKey_.size(),
                                             reinterpret_cast<const unsigned char*>(ad.data()),
                                             ad.size(), nullptr, slot.nonce.data(), kek.data());
  sodium_memzero(kek.data(), kek.size());
  slot.present = true;
}

std::string TProjectKeyRing::Seal(std::string_view xml) const {
  std::string header = HeaderPrefix();
  uint8_t count = 0;
  for (const TSlot& slot : slots_) count += slot.present ? 1 : 0;
  header.push_back(static_cast<char>(count));
  for (size_t i = 0; i < slots_.size(); ++i) {
    if (!slots_[i].present) continue;
    header.push_back(static_cast<char>(i + 1));
    header.append(reinterpret_cast<const char*>(slots_[i].nonce.data()), kNonceSize);
    header.append(reinterpret_cast<const char*>(slots_[i].wrapped.data()), 32 + kTagSize);
  }
  std::array<uint8_t, kNonceSize> nonce{};
  randombytes_buf(nonce.data(), nonce.size());
  header.append(reinterpret_cast<const char*>(nonce.data()), nonce.size());

  std::string plain;
  PutLE(plain, xml.size(), 8);
  uLongf packedSize = compressBound(static_cast<uLong>(xml.size()));
  plain.resize(8 + packedSize);
  if (compress2(reinterpret_cast<Bytef*>(plain.data() + 8), &packedSize,
                reinterpret_cast<const Bytef*>(xml.data()), static_cast<uLong>(xml.size()),
                Z_DEFAULT_COMPRESSION) != Z_OK) {
    throw ELVError("ErrProjectCompress");
  }
  plain.resize(8 + packedSize);

  std::string out = header;
  out.resize(header.size() + plain.size() + kTagSize);
  unsigned long long written = 0;
  crypto_aead_xchacha20poly1305_ietf_encrypt(
      reinterpret_cast<unsigned char*>(out.data() + header.size()), &written,
      reinterpret_cast<const unsigned char*>(plain.data()), plain.size(),
      reinterpret_cast<const unsigned char*>(header.data()), header.size(), nullptr, nonce.data(),
      dataKey_.data());
  sodium_memzero(plain.data(), plain.size());
  return out;
}

TProjectKeyRing TProjectKeyRing::Open(std::string_view chunk, std::string_view password,
                                      std::string& xml, TProjectAccess& access) {
  size_t prefixSize = kCipherMagic.size() + 4 + 8 + 8 + 16;
  if (chunk.size() < prefixSize + 1 || chunk.substr(0, 4) != kCipherMagic) DataDamaged();
  if (static_cast<uint8_t>(chunk[4]) != crypto_pwhash_ALG_ARGON2ID13) DataDamaged();
  TProjectKdfLimits limits{GetLE(chunk, 8, 8), GetLE(chunk, 16, 8)};
  if (limits.opsLimit < crypto_pwhash_OPSLIMIT_MIN || limits.opsLimit > kMaxOpsLimit ||
      limits.memLimit < crypto_pwhash_MEMLIMIT_MIN || limits.memLimit > kMaxMemLimit) {
    DataDamaged();
  }
  TProjectKeyRing ring(limits, true);
  std::memcpy(ring.salt_.data(), chunk.data() + 24, ring.salt_.size());
  size_t count = static_cast<uint8_t>(chunk[prefixSize]);
  size_t at = prefixSize + 1;
  if (count > 3 || chunk.size() < at + count * kSlotSize + kNonceSize + kTagSize) {
    DataDamaged();
  }
  for (size_t i = 0; i < count; ++i, at += kSlotSize) {
    size_t kind = static_cast<uint8_t>(chunk[at]);
    if (kind < 1 || kind > 3 || ring.slots_[kind - 1].present) DataDamaged();
    TSlot& slot = ring.slots_[kind - 1];
    std::memcpy(slot.nonce.data(), chunk.data() + at + 1, kNonceSize);
    std::memcpy(slot.wrapped.data(), chunk.data() + at + 1 + kNonceSize, slot.wrapped.size());
    slot.present = true;
  }
  std::string_view header = chunk.substr(0, at + kNonceSize);
  const auto* nonce = reinterpret_cast<const unsigned char*>(chunk.data() + at);
  std::string_view cipher = chunk.substr(at + kNonceSize);

  std::array<uint8_t, 32> kek = ring.DeriveKey(password);
  std::string prefix(chunk.substr(0, prefixSize));
  bool opened = false;
  for (size_t i = 0; i < ring.slots_.size() && !opened; ++i) {
    const TSlot& slot = ring.slots_[i];
    if (!slot.present) continue;
    std::string ad = SlotAD(prefix, static_cast<uint8_t>(i + 1));
    unsigned long long length = 0;
    if (crypto_aead_xchacha20poly1305_ietf_decrypt(
            ring.dataKey_.data(), &length, nullptr, slot.wrapped.data(), slot.wrapped.size(),
            reinterpret_cast<const unsigned char*>(ad.data()), ad.size(), slot.nonce.data(),
            kek.data()) == 0) {
      opened = true;
      access = static_cast<TProjectAccess>(i);
    }
  }
  sodium_memzero(kek.data(), kek.size());
  if (!opened) throw ELVError("SWrongPassword");

  std::string plain(cipher.size() - kTagSize, '\0');
  unsigned long long plainSize = 0;
  if (crypto_aead_xchacha20poly1305_ietf_decrypt(
          reinterpret_cast<unsigned char*>(plain.data()), &plainSize, nullptr,
          reinterpret_cast<const unsigned char*>(cipher.data()), cipher.size(),
          reinterpret_cast<const unsigned char*>(header.data()), header.size(), nonce,
          ring.dataKey_.data()) != 0) {
    // The key opened a slot, so the password is right: the content was changed.
    DataDamaged();
  }
  if (plain.size() < 8) DataDamaged();
  uint64_t size = GetLE(plain, 0, 8);
  if (size > kMaxXmlSize) DataDamaged();
  xml.assign(size, '\0');
  uLongf unpacked = static_cast<uLongf>(size);
  int status = uncompress(reinterpret_cast<Bytef*>(xml.data()), &unpacked,
                          reinterpret_cast<const Bytef*>(plain.data() + 8),
                          static_cast<uLong>(plain.size() - 8));
  sodium_memzero(plain.data(), plain.size());
  if (status != Z_OK || unpacked != size) DataDamaged();
  return ring;
}

void RegisterProjectFileTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrProjectFileDamaged", "ErrProjectDataDamaged",
                                            "ErrProjectKeyDerivation", "ErrProjectCompress",
                                            "SWrongPassword"});
}

}  // namespace lv
