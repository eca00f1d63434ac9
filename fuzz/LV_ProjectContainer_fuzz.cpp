// Protected project containers: any bytes must give a project, or a message about a
// damaged container or a wrong password, never a crash, a hang or a huge allocation.
#include <cstdint>
#include <string>
#include <string_view>

#include "app/LV_AppMain.h"
#include "core/text/LV_Errors.h"
#include "project/LV_ProjectFile.h"

namespace {

uint64_t LE(std::string_view bytes, size_t at) {
  uint64_t value = 0;
  for (size_t i = 0; i < 8; ++i) value |= uint64_t{static_cast<uint8_t>(bytes[at + i])} << (8 * i);
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool started = (lv::LumiveraStartup(), true);
  (void)started;
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  try {
    if (!lv::TProjectFile::HasSignature(bytes)) return 0;
    (void)lv::TProjectFile::FindChunk(bytes, lv::kChunkVersion);
    std::optional<std::string_view> chunk = lv::TProjectFile::FindChunk(bytes, lv::kChunkData);
    if (!chunk) return 0;
    // The key derivation costs what the file asks for (within the reader's limits); the
    // fuzzer only pays for cheap ones, the rest of the reader is the same either way.
    if (chunk->size() >= 24 && (LE(*chunk, 8) > 2 || LE(*chunk, 16) > (64u << 10))) return 0;
    std::string xml;
    lv::TProjectAccess access{};
    lv::TProjectKeyRing ring = lv::TProjectKeyRing::Open(*chunk, "fuzz", xml, access);
    (void)ring.Seal(xml);
  } catch (const lv::ELVError&) {
  }
  return 0;
}
