#include "transform/formula/LV_CalcText.h"

#include <unicode/ucasemap.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "core/text/LV_CodePage.h"

namespace lv {

char32_t Utf8Next(std::string_view text, size_t& pos) {
  auto lead = static_cast<unsigned char>(text[pos]);
  size_t extra = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
  if (extra == 0 || pos + extra >= text.size()) {
    ++pos;
    return lead;
  }
  char32_t c = lead & (0x3Fu >> extra);
  for (size_t k = 1; k <= extra; ++k) {
    auto next = static_cast<unsigned char>(text[pos + k]);
    if ((next & 0xC0) != 0x80) {
      ++pos;
      return lead;
    }
    c = (c << 6) | (next & 0x3Fu);
  }
  pos += extra + 1;
  return c;
}

size_t Utf8PrefixBytes(std::string_view text, int64_t count) {
  if (count <= 0) return 0;
  // Every character takes at least one byte, so a short text is taken whole at once.
  if (static_cast<uint64_t>(count) >= text.size()) return text.size();
  size_t pos = 0;
  while (count > 0 && pos < text.size()) {
    Utf8Next(text, pos);
    --count;
  }
  return pos;
}

size_t Utf8CharCount(std::string_view text) {
  size_t count = 0;
  for (size_t pos = 0; pos < text.size(); ++count) Utf8Next(text, pos);
  return count;
}

namespace {

struct TCaseMapDeleter {
  void operator()(UCaseMap* map) const { ucasemap_close(map); }
};

UCaseMap* ThreadCaseMap() {
  thread_local std::unique_ptr<UCaseMap, TCaseMapDeleter> map = [] {
    UErrorCode status = U_ZERO_ERROR;
    return std::unique_ptr<UCaseMap, TCaseMapDeleter>(ucasemap_open("ru", 0, &status));
  }();
  return map.get();
}

using TIcuCaseFunction = int32_t (*)(const UCaseMap*, char*, int32_t, const char*, int32_t,
                                     UErrorCode*);

void MapCase(std::string_view text, std::string& out, TIcuCaseFunction map, char from, char to) {
  out.clear();
  if (IsAscii(text)) {
    out.append(text);
    for (char& c : out) {
      if (c >= from && c <= to) c = static_cast<char>(c ^ 0x20);
    }
    return;
  }
  // A character may grow when its case changes, so the first guess leaves room; on a
  // rare overflow ICU reports the exact size and the call is repeated.
  out.resize(text.size() + text.size() / 2 + 4);
  for (;;) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = map(ThreadCaseMap(), out.data(), static_cast<int32_t>(out.size()), text.data(),
                         static_cast<int32_t>(text.size()), &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
      out.resize(static_cast<size_t>(length));
      continue;
    }
    out.resize(U_SUCCESS(status) ? static_cast<size_t>(length) : 0);
    if (U_FAILURE(status)) out.append(text);
    return;
  }
}

// The code points of the upper half of a single-byte page, and the way back.
class TSingleBytePage {
 public:
  explicit TSingleBytePage(TLVCodePage page) {
    TLVCodePageDecoder decoder(page);
    for (int b = 0; b < 256; ++b) {
      std::string text = decoder.Decode(std::string(1, static_cast<char>(b)));
      size_t pos = 0;
      chars_[static_cast<size_t>(b)] = text.empty() ? 0xFFFD : Utf8Next(text, pos);
      texts_[static_cast<size_t>(b)] = std::move(text);
    }
    for (int b = 0x80; b < 256; ++b) {
      if (chars_[static_cast<size_t>(b)] != 0xFFFD) {
        back_.emplace_back(chars_[static_cast<size_t>(b)], static_cast<uint8_t>(b));
      }
    }
    std::sort(back_.begin(), back_.end());
  }

  // The byte of `c`; false when the page lacks it.
  bool Encode(char32_t c, uint8_t& byte) const {
    if (c < 0x80) {
      byte = static_cast<uint8_t>(c);
      return true;
    }
    auto it = std::lower_bound(back_.begin(), back_.end(), std::pair<char32_t, uint8_t>(c, 0));
    if (it == back_.end() || it->first != c) return false;
    byte = it->second;
    return true;
  }
  const std::string& Text(uint8_t byte) const { return texts_[byte]; }

 private:
  std::array<char32_t, 256> chars_{};
  std::array<std::string, 256> texts_;
  std::vector<std::pair<char32_t, uint8_t>> back_;
};

const TSingleBytePage& AnsiPage() {
  static const TSingleBytePage page(TLVCodePage::cpWindows1251);
  return page;
}

const TSingleBytePage& OemPage() {
  static const TSingleBytePage page(TLVCodePage::cpCP866);
  return page;
}

void Recode(std::string_view utf8, std::string& out, const TSingleBytePage& from,
            const TSingleBytePage& to) {
  out.clear();
  for (size_t pos = 0; pos < utf8.size();) {
    size_t start = pos;
    char32_t c = Utf8Next(utf8, pos);
    uint8_t byte = 0;
    if (c >= 0x80 && from.Encode(c, byte)) {
      out += to.Text(byte);
    } else {
      out.append(utf8.substr(start, pos - start));
    }
  }
}

}  // namespace

void Utf8ToUpper(std::string_view text, std::string& out) {
  MapCase(text, out, ucasemap_utf8ToUpper, 'a', 'z');
}

void Utf8ToLower(std::string_view text, std::string& out) {
  MapCase(text, out, ucasemap_utf8ToLower, 'A', 'Z');
}

char32_t FoldCase(char32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + 0x20 : c;
  return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

namespace {

// The primary weight of a character: its folded form, with ё (U+0451) moved between
// е (U+0435) and ж (U+0436).
uint64_t OrderWeight(char32_t folded) {
  constexpr char32_t kSmallIo = 0x0451, kSmallIe = 0x0435;
  return folded == kSmallIo ? uint64_t{kSmallIe} * 2 + 1 : uint64_t{folded} * 2;
}

}  // namespace

int CompareTextOrder(std::string_view a, std::string_view b, bool caseSensitive) {
  // Bytes both texts share in ASCII order the same way in every form; skip them.
  size_t same = 0;
  const size_t shorter = std::min(a.size(), b.size());
  while (same < shorter && a[same] == b[same] && static_cast<unsigned char>(a[same]) < 0x80) {
    ++same;
  }
  int caseOrder = 0;  // the first difference of case, lower case first
  size_t i = same, j = same;
  while (i < a.size() && j < b.size()) {
    const char32_t ca = Utf8Next(a, i), cb = Utf8Next(b, j);
    if (ca == cb) continue;
    const char32_t fa = FoldCase(ca), fb = FoldCase(cb);
    const uint64_t wa = OrderWeight(fa), wb = OrderWeight(fb);
    if (wa != wb) return wa < wb ? -1 : 1;
    if (caseOrder == 0) caseOrder = (ca == fa) ? -1 : (cb == fb ? 1 : (ca < cb ? -1 : 1));
  }
  if (i < a.size()) return 1;
  if (j < b.size()) return -1;
  return caseSensitive ? caseOrder : 0;
}

void AppendAnsiBytes(std::string_view utf8, std::string& out) {
  const TSingleBytePage& page = AnsiPage();
  for (size_t pos = 0; pos < utf8.size();) {
    uint8_t byte = 0;
    out += page.Encode(Utf8Next(utf8, pos), byte) ? static_cast<char>(byte) : '?';
  }
}

std::string_view AnsiCharText(uint8_t code) {
  return AnsiPage().Text(code);
}

void OemToAnsiText(std::string_view utf8, std::string& out) {
  Recode(utf8, out, AnsiPage(), OemPage());
}

void AnsiToOemText(std::string_view utf8, std::string& out) {
  Recode(utf8, out, OemPage(), AnsiPage());
}

}  // namespace lv
