// Little-endian byte streams for binary copies of descriptions and, later, native
// files. The reader checks every length against what is left and raises
// "ErrStreamRead" instead of reading past the end.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace lv {

class TLVByteWriter {
 public:
  void WriteByte(uint8_t b) { data_.push_back(static_cast<char>(b)); }
  void WriteInt32(int32_t v) { WriteRaw(&v, sizeof v); }
  void WriteInt64(int64_t v) { WriteRaw(&v, sizeof v); }
  void WriteDouble(double v) { WriteRaw(&v, sizeof v); }
  // A 32-bit length followed by the bytes.
  void WriteString(std::string_view s);
  void WriteRaw(const void* p, size_t n) { data_.append(static_cast<const char*>(p), n); }
  const std::string& Data() const { return data_; }

 private:
  std::string data_;
};

class TLVByteReader {
 public:
  explicit TLVByteReader(std::string_view data) : data_(data) {}
  uint8_t ReadByte();
  int32_t ReadInt32();
  int64_t ReadInt64();
  double ReadDouble();
  std::string ReadString();
  void ReadRaw(void* p, size_t n);
  size_t Remaining() const { return data_.size() - pos_; }

 private:
  std::string_view data_;
  size_t pos_ = 0;
};

void RegisterByteStreamTexts();

}  // namespace lv
