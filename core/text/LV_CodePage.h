// Code pages at the edges of the program. Inside, every text is UTF-8; files are read
// and written in the ANSI code page (an application setting: Windows-1251 unless UTF-8
// is chosen) or, for old DOS files, the OEM code page (CP866).
//
// Single-byte pages convert through 256-entry tables built once from ICU, so a file of
// millions of cells costs one table lookup per byte and no ICU call per cell. The
// tables are immutable after construction and may be shared between threads; the ANSI
// setting itself is read and written on the main thread only.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace lv {

enum class TLVCodePage : uint8_t { cpUTF8, cpWindows1251, cpCP866 };

// The application's ANSI code page.
TLVCodePage AnsiCodePage();
void SetAnsiCodePage(TLVCodePage page);

// Text in `page` to UTF-8.
class TLVCodePageDecoder {
 public:
  explicit TLVCodePageDecoder(TLVCodePage page);
  TLVCodePage Page() const { return page_; }
  // Appends the UTF-8 form of `bytes` to `out`. In UTF-8 a malformed sequence becomes
  // U+FFFD, so that nothing invalid ever enters the program; the result is false when
  // that happened.
  bool Append(std::string_view bytes, std::string& out) const;
  std::string Decode(std::string_view bytes) const {
    std::string out;
    Append(bytes, out);
    return out;
  }

 private:
  TLVCodePage page_;
  // UTF-8 of each byte value: length in [0], up to 3 bytes after it.
  std::array<std::array<char, 4>, 256> table_{};
};

// UTF-8 to text in `page`.
class TLVCodePageEncoder {
 public:
  explicit TLVCodePageEncoder(TLVCodePage page);
  TLVCodePage Page() const { return page_; }
  // Appends the bytes of `utf8` in the page to `out`; false (and `out` as it was) when a
  // character has no byte in the page or `utf8` is malformed.
  bool Append(std::string_view utf8, std::string& out) const;

 private:
  TLVCodePage page_;
  std::unordered_map<char32_t, uint8_t> bytes_;
};

// True when `text` is well-formed UTF-8.
bool IsValidUtf8(std::string_view text);

}  // namespace lv
