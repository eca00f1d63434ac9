#include "core/platform/LV_ByteStream.h"

#include <bit>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

static_assert(std::endian::native == std::endian::little,
              "binary streams are written in the machine's order, which must be little-endian");

void TLVByteWriter::WriteString(std::string_view s) {
  WriteInt32(static_cast<int32_t>(s.size()));
  WriteRaw(s.data(), s.size());
}

void TLVByteReader::ReadRaw(void* p, size_t n) {
  if (n > Remaining()) throw ELVError("ErrStreamRead");
  std::memcpy(p, data_.data() + pos_, n);
  pos_ += n;
}

uint8_t TLVByteReader::ReadByte() {
  uint8_t b;
  ReadRaw(&b, 1);
  return b;
}

int32_t TLVByteReader::ReadInt32() {
  int32_t v;
  ReadRaw(&v, sizeof v);
  return v;
}

int64_t TLVByteReader::ReadInt64() {
  int64_t v;
  ReadRaw(&v, sizeof v);
  return v;
}

double TLVByteReader::ReadDouble() {
  double v;
  ReadRaw(&v, sizeof v);
  return v;
}

std::string TLVByteReader::ReadString() {
  int32_t length = ReadInt32();
  if (length < 0 || static_cast<size_t>(length) > Remaining()) throw ELVError("ErrStreamRead");
  std::string s(data_.substr(pos_, static_cast<size_t>(length)));
  pos_ += static_cast<size_t>(length);
  return s;
}

void RegisterByteStreamTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrStreamRead"});
}

}  // namespace lv
