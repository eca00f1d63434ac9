#include "core/text/LV_CodePage.h"

#include <unicode/ucnv.h>

#include <memory>
#include <stdexcept>

namespace lv {

namespace {

TLVCodePage gAnsiCodePage = TLVCodePage::cpWindows1251;

const char* IcuName(TLVCodePage page) {
  return page == TLVCodePage::cpCP866 ? "ibm-866" : "windows-1251";
}

void PutUtf8(char32_t c, std::string& out) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// Reads one code point; -1 when the sequence at `i` is malformed (then `i` moves on by
// one byte).
int32_t NextCodePoint(std::string_view s, size_t& i) {
  auto byte = [&](size_t k) { return static_cast<unsigned char>(s[k]); };
  unsigned char b = byte(i);
  if (b < 0x80) {
    ++i;
    return b;
  }
  // Lead bytes: C2-DF one more byte, E0-EF two, F0-F4 three; C0, C1 and F5-FF never
  // begin a character.
  const int extra = b >= 0xF5 ? -1 : b >= 0xF0 ? 3 : b >= 0xE0 ? 2 : b >= 0xC2 ? 1 : -1;
  if (extra < 0 || i + static_cast<size_t>(extra) >= s.size()) {
    ++i;
    return -1;
  }
  int32_t c = b & (0x3F >> extra);
  for (int k = 1; k <= extra; ++k) {
    unsigned char next = byte(i + static_cast<size_t>(k));
    if ((next & 0xC0) != 0x80) {
      ++i;
      return -1;
    }
    c = (c << 6) | (next & 0x3F);
  }
  // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
  static constexpr int32_t kMin[] = {0, 0x80, 0x800, 0x10000};
  if (c < kMin[extra] || (c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) {
    ++i;
    return -1;
  }
  i += static_cast<size_t>(extra) + 1;
  return c;
}

// The Unicode character of every byte of a single-byte page, from ICU.
std::array<char32_t, 256> SingleByteTable(TLVCodePage page) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open(IcuName(page), &status),
                                                               &ucnv_close);
  if (U_FAILURE(status)) throw std::runtime_error("ICU has no converter for the code page");
  std::array<char32_t, 256> table{};
  for (int b = 0; b < 256; ++b) {
    char in = static_cast<char>(b);
    UChar out[4];
    status = U_ZERO_ERROR;
    int32_t n = ucnv_toUChars(converter.get(), out, 4, &in, 1, &status);
    // A byte the page leaves undefined keeps its Latin-1 meaning rather than vanishing.
    table[static_cast<size_t>(b)] = U_SUCCESS(status) && n == 1 ? out[0] : static_cast<char32_t>(b);
  }
  return table;
}

}  // namespace

TLVCodePage AnsiCodePage() {
  return gAnsiCodePage;
}
void SetAnsiCodePage(TLVCodePage page) {
  gAnsiCodePage = page;
}

TLVCodePageDecoder::TLVCodePageDecoder(TLVCodePage page) : page_(page) {
  if (page == TLVCodePage::cpUTF8) return;
  auto chars = SingleByteTable(page);
  for (size_t b = 0; b < 256; ++b) {
    std::string utf8;
    PutUtf8(chars[b], utf8);
    table_[b][0] = static_cast<char>(utf8.size());
    for (size_t k = 0; k < utf8.size() && k < 3; ++k) table_[b][k + 1] = utf8[k];
  }
}

bool TLVCodePageDecoder::Append(std::string_view bytes, std::string& out) const {
  if (page_ == TLVCodePage::cpUTF8) {
    bool wellFormed = true;
    size_t i = 0;
    while (i < bytes.size()) {
      // Runs of ASCII are copied whole.
      size_t start = i;
      while (i < bytes.size() && static_cast<unsigned char>(bytes[i]) < 0x80) ++i;
      out.append(bytes.substr(start, i - start));
      if (i == bytes.size()) break;
      size_t at = i;
      int32_t c = NextCodePoint(bytes, i);
      if (c < 0) {
        out += "\xEF\xBF\xBD";
        wellFormed = false;
      } else {
        out.append(bytes.substr(at, i - at));
      }
    }
    return wellFormed;
  }
  out.reserve(out.size() + bytes.size());
  for (unsigned char b : bytes) {
    if (b < 0x80) {
      out += static_cast<char>(b);
    } else {
      const auto& utf8 = table_[b];
      out.append(utf8.data() + 1, static_cast<size_t>(utf8[0]));
    }
  }
  return true;
}

TLVCodePageEncoder::TLVCodePageEncoder(TLVCodePage page) : page_(page) {
  if (page == TLVCodePage::cpUTF8) return;
  auto chars = SingleByteTable(page);
  for (size_t b = 0x80; b < 256; ++b) bytes_.emplace(chars[b], static_cast<uint8_t>(b));
}

bool TLVCodePageEncoder::Append(std::string_view utf8, std::string& out) const {
  if (page_ == TLVCodePage::cpUTF8) {
    if (!IsValidUtf8(utf8)) return false;
    out.append(utf8);
    return true;
  }
  const size_t before = out.size();
  size_t i = 0;
  while (i < utf8.size()) {
    auto b = static_cast<unsigned char>(utf8[i]);
    if (b < 0x80) {
      out += static_cast<char>(b);
      ++i;
      continue;
    }
    int32_t c = NextCodePoint(utf8, i);
    auto it = c < 0 ? bytes_.end() : bytes_.find(static_cast<char32_t>(c));
    if (it == bytes_.end()) {
      out.resize(before);
      return false;
    }
    out += static_cast<char>(it->second);
  }
  return true;
}

bool IsValidUtf8(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    if (NextCodePoint(text, i) < 0) return false;
  }
  return true;
}

}  // namespace lv
