// Text functions of the formula language.
//
// Texts are UTF-8; positions, lengths and counts are in characters. A kernel returns a
// view of its argument where it can (Left, Right, SubStr, Trim, and Upper or Lower of a
// text already in that case) and otherwise builds into the result's reused buffer, so
// short texts cost no allocation per row.
//
// Rules chosen here:
// - A missing text argument makes the result missing, except in Concat (counts as "")
//   and Replace's replacement (counts as "").
// - Trim and its kin remove spaces and control characters (codes up to 32).
// - SubStr, Stuff: a start before the first character counts as the first.
// - Find counts overlapping occurrences: Find("AA"; "AAA"; 2) is 2.
// - Replace ignoring case folds case and nothing else: a Cyrillic letter never equals
//   the Latin one it looks like, so data that mixes the scripts keeps them apart.
// - Str writes up to 15 significant digits with the process decimal separator; Val
//   reads that separator or a point.
// - StrZero pads after the sign: StrZero(-42; 5) is "-0042".
// - Format: a missing format or argument gives a missing result.
// - CRC32, MD5 and SHA1 digest the Windows-1251 bytes of the text (a character the
//   page lacks counts as '?'); the digests are upper-case hexadecimal.
// - GetVar looks through the system's environment variables (all scopes) and then the
//   operating system's; an unknown name is missing.
#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "core/columns/LV_Convert.h"
#include "core/text/LV_Localization.h"
#include "env/LV_EnvVariables.h"
#include "transform/formula/LV_CalcBuiltins.h"
#include "transform/formula/LV_CalcHash.h"
#include "transform/formula/LV_CalcText.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

constexpr auto kString = TLVCalcFunctionGroup::fgString;
constexpr auto kOther = TLVCalcFunctionGroup::fgOther;
constexpr auto kHidden = TLVCalcFunctionGroup::fgHidden;

// No single text a function builds may exceed this; a formula that asks for more
// (Space(1e12)) is refused instead of exhausting memory.
constexpr size_t kMaxBuiltText = 256u << 20;

[[noreturn]] void TooLong(const TLVCalcArgs& args) {
  throw EFunctionArgumentError({Format(LVText("CalcErrTooLong"), {args.Function().Name()})});
}

// A count or position argument as a whole number, clamped far beyond any text length.
int64_t WholeArg(const TLVCalcArgs& args, int32_t i) {
  return static_cast<int64_t>(std::clamp(std::trunc(args.Number(i)), -1e15, 1e15));
}

// ---- case and blanks

// Case conversion; an ASCII text that has no letter to change is returned as it is,
// without a copy.
template <char kFrom, char kTo, void (*Convert)(std::string_view, std::string&)>
void CaseKernel(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string_view s = args.String(0);
  if (LVCalcIsNull(s)) return result.SetNull();
  bool needed = false;
  for (char c : s) {
    if (c >= kFrom && c <= kTo) needed = true;
    if (static_cast<unsigned char>(c) >= 0x80) return Convert(s, result.Build());
  }
  if (!needed) return result.Set(s);
  std::string& out = result.Build();
  out.assign(s);
  for (char& c : out) {
    if (c >= kFrom && c <= kTo) c = static_cast<char>(c ^ 0x20);
  }
}

bool IsBlank(char c) {
  return static_cast<unsigned char>(c) <= ' ';
}

template <bool kLeft, bool kRight>
void TrimKernel(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string_view s = args.String(0);
  if (LVCalcIsNull(s)) return result.SetNull();
  if (kLeft) {
    while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  }
  if (kRight) {
    while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  }
  result.Set(s);
}

// ---- pieces

void Left(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string_view s = args.String(0);
  if (LVCalcIsNull(s)) return result.SetNull();
  result.Set(s.substr(0, Utf8PrefixBytes(s, WholeArg(args, 1))));
}

void Right(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string_view s = args.String(0);
  if (LVCalcIsNull(s)) return result.SetNull();
  int64_t count = WholeArg(args, 1);
  if (count <= 0) return result.Set(s.substr(0, 0));
  auto total = static_cast<int64_t>(IsAscii(s) ? s.size() : Utf8CharCount(s));
  result.Set(count >= total ? s : s.substr(Utf8PrefixBytes(s, total - count)));
}

void SubStr(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string_view s = args.String(0);
  if (LVCalcIsNull(s)) return result.SetNull();
  std::string_view rest = s.substr(Utf8PrefixBytes(s, std::max<int64_t>(WholeArg(args, 1), 1) - 1));
  result.Set(rest.substr(0, Utf8PrefixBytes(rest, WholeArg(args, 2))));
}

void Stuff(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  if (AnyTextNull(args)) return result.SetNull();
  std::string_view s = args.String(0);
  size_t start = Utf8PrefixBytes(s, std::max<int64_t>(WholeArg(args, 1), 1) - 1);
  size_t end = start + Utf8PrefixBytes(s.substr(start), WholeArg(args, 2));
  std::string& out = result.Build();
  out.append(s.substr(0, start)).append(args.String(3)).append(s.substr(end));
}

void Repeat(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string_view s = args.String(0);
  if (LVCalcIsNull(s)) return result.SetNull();
  int64_t count = WholeArg(args, 1);
  if (count <= 0 || s.empty()) return result.Set(s.substr(0, 0));
  if (static_cast<double>(count) * static_cast<double>(s.size()) > kMaxBuiltText) TooLong(args);
  std::string& out = result.Build();
  for (int64_t i = 0; i < count; ++i) out.append(s);
}

void Space(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  static const std::string kSpaces(256, ' ');
  int64_t count = std::max<int64_t>(WholeArg(args, 0), 0);
  if (count <= static_cast<int64_t>(kSpaces.size())) {
    return result.Set(std::string_view(kSpaces).substr(0, static_cast<size_t>(count)));
  }
  if (static_cast<size_t>(count) > kMaxBuiltText) TooLong(args);
  result.Build().assign(static_cast<size_t>(count), ' ');
}

void Concat(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string& out = result.Build();
  for (int32_t i = 0; i < args.Count(); ++i) out.append(args.String(i));
}

double Count(const TLVCalcArgs& args) {
  std::string_view s = args.String(0);
  return LVCalcIsNull(s) ? LVCalcNull() : static_cast<double>(Utf8CharCount(s));
}

// ---- search and replace

double Find(const TLVCalcArgs& args) {
  if (AnyTextNull(args)) return LVCalcNull();
  std::string_view what = args.String(0), s = args.String(1);
  int64_t order = args.Count() > 2 ? WholeArg(args, 2) : 1;
  if (order == 0) return LVCalcNull();
  if (what.empty()) return 0;
  size_t found = std::string_view::npos;
  if (order > 0) {
    for (size_t from = 0; order > 0; --order, from = found + 1) {
      found = s.find(what, from);
      if (found == std::string_view::npos) return 0;
    }
  } else {
    for (size_t from = std::string_view::npos; order < 0; ++order) {
      found = s.rfind(what, from);
      if (found == std::string_view::npos || (order < -1 && found == 0)) return 0;
      from = found - 1;
    }
  }
  return static_cast<double>(Utf8CharCount(s.substr(0, found)) + 1);
}

// Byte ranges of the occurrences of `pattern` in `s`, ignoring case.
void FindIgnoringCase(std::string_view s, std::string_view pattern, bool all,
                      std::vector<std::pair<size_t, size_t>>& found) {
  thread_local std::u32string text, folded;
  thread_local std::vector<size_t> offsets;
  text.clear();
  offsets.clear();
  for (size_t pos = 0; pos < s.size();) {
    offsets.push_back(pos);
    text += FoldCase(Utf8Next(s, pos));
  }
  offsets.push_back(s.size());
  folded.clear();
  for (size_t pos = 0; pos < pattern.size();) folded += FoldCase(Utf8Next(pattern, pos));
  for (size_t at = text.find(folded); at != std::u32string::npos;
       at = text.find(folded, at + folded.size())) {
    found.emplace_back(offsets[at], offsets[at + folded.size()]);
    if (!all) break;
  }
}

void Replace(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string_view s = args.String(0), old = args.String(1), replacement = args.String(2);
  if (LVCalcIsNull(s)) return result.SetNull();
  bool all = args.Count() > 3 && LVCalcIsTrue(args.Number(3));
  bool ignoreCase = args.Count() > 4 && LVCalcIsTrue(args.Number(4));
  if (old.empty()) return result.Set(s);
  thread_local std::vector<std::pair<size_t, size_t>> found;
  found.clear();
  if (ignoreCase) {
    FindIgnoringCase(s, old, all, found);
  } else {
    for (size_t at = s.find(old); at != std::string_view::npos; at = s.find(old, at + old.size())) {
      found.emplace_back(at, at + old.size());
      if (!all) break;
    }
  }
  if (found.empty()) return result.Set(s);
  std::string& out = result.Build();
  size_t copied = 0;
  for (auto [from, to] : found) {
    out.append(s.substr(copied, from - copied)).append(replacement);
    copied = to;
    if (out.size() > kMaxBuiltText) TooLong(args);
  }
  out.append(s.substr(copied));
}

// ---- code pages and digests

void Chr(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  double code = std::trunc(args.Number(0));
  if (!(code >= 0 && code <= 255)) return result.SetNull();
  result.Set(AnsiCharText(static_cast<uint8_t>(code)));
}

template <void (*Convert)(std::string_view, std::string&)>
void TextKernel(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string_view s = args.String(0);
  if (LVCalcIsNull(s)) return result.SetNull();
  Convert(s, result.Build());
}

std::string& AnsiBytes(std::string_view s) {
  thread_local std::string bytes;
  bytes.clear();
  AppendAnsiBytes(s, bytes);
  return bytes;
}

double Crc32(const TLVCalcArgs& args) {
  std::string_view s = args.String(0);
  if (LVCalcIsNull(s)) return LVCalcNull();
  const std::string& bytes = AnsiBytes(s);
  return static_cast<double>(
      crc32_z(crc32_z(0, nullptr, 0), reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

void Md5(std::string_view s, std::string& out) {
  AppendHex(Md5Digest(AnsiBytes(s)), out);
}
void Sha1(std::string_view s, std::string& out) {
  AppendHex(Sha1Digest(AnsiBytes(s)), out);
}

// ---- numbers as texts

// Significant digits of a plain decimal text ("-0.00120" has 3).
int SignificantDigits(std::string_view text) {
  int digits = 0, pendingZeros = 0;
  bool started = false;
  for (char c : text) {
    if (c < '0' || c > '9') continue;
    if (c == '0') {
      if (started) ++pendingZeros;
      continue;
    }
    started = true;
    digits += pendingZeros + 1;
    pendingZeros = 0;
  }
  return digits;
}

// Str's text: the exact format of FloatToText, written without allocating for the
// usual numbers (those that need no exponent). Whole numbers go through the integer
// writer, and a number whose shortest exact text has at most 15 digits is that text;
// only the rest pays for rounding to 15 digits.
void NumberText(double value, std::string& out) {
  const TLVFormatSettings& fs = DefaultFormatSettings();
  char buffer[64];
  char* end = buffer;
  if (value == 0) {
    out.assign(1, '0');
    return;
  }
  if (std::fabs(value) < 1e15 && value == std::trunc(value)) {
    end = std::to_chars(buffer, buffer + sizeof buffer, static_cast<int64_t>(value)).ptr;
    out.assign(buffer, end);
    return;
  }
  end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
  std::string_view text(buffer, static_cast<size_t>(end - buffer));
  if (SignificantDigits(text) > 15) {
    end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 15).ptr;
    text = std::string_view(buffer, static_cast<size_t>(end - buffer));
  }
  if (text.find_first_of("eEn") != std::string_view::npos) {
    out = FloatToText(value, fs);
    return;
  }
  out.assign(text);
  if (size_t dot = out.find('.'); dot != std::string::npos) out[dot] = fs.decimalSeparator;
}

void Str(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  NumberText(args.Number(0), result.Build());
}

double Val(const TLVCalcArgs& args) {
  std::string_view s = args.String(0);
  if (LVCalcIsNull(s)) return LVCalcNull();
  const TLVFormatSettings& fs = DefaultFormatSettings();
  if (auto value = ParseFloat(s, fs)) return *value;
  if (fs.decimalSeparator != '.') {
    TLVFormatSettings point = fs;
    point.decimalSeparator = '.';
    if (auto value = ParseFloat(s, point)) return *value;
  }
  return LVCalcNull();
}

void StrZero(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string& out = result.Build();
  NumberText(args.Number(0), out);
  int64_t width = WholeArg(args, 1);
  if (width > static_cast<int64_t>(kMaxBuiltText)) TooLong(args);
  auto length = static_cast<int64_t>(out.size());
  if (width <= length) return;
  size_t signLength = out[0] == '-' ? 1 : 0;
  out.insert(signLength, static_cast<size_t>(width - length), '0');
}

// The conversion letter of the placeholder that takes each argument, in argument
// order: Format's placeholders are "%" [index ":"] ["-"] [width] ["." precision] type,
// where width and precision may be "*" (taking an integer argument).
void PlaceholderTypes(std::string_view pattern, std::vector<char>& types) {
  types.clear();
  size_t next = 0;
  auto take = [&](char type) {
    if (types.size() <= next) types.resize(next + 1, 's');
    types[next++] = type;
  };
  auto digits = [&](size_t& i) {
    size_t value = 0;
    while (i < pattern.size() && pattern[i] >= '0' && pattern[i] <= '9') {
      value = std::min<size_t>(value * 10 + static_cast<size_t>(pattern[i++] - '0'), 1000);
    }
    return value;
  };
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '%') continue;
    if (++i < pattern.size() && pattern[i] == '%') continue;
    size_t start = i;
    size_t index = digits(i);
    if (i < pattern.size() && pattern[i] == ':') {
      next = index;
      ++i;
    } else {
      i = start;
    }
    if (i < pattern.size() && pattern[i] == '-') ++i;
    if (i < pattern.size() && pattern[i] == '*') {
      take('d');
      ++i;
    } else {
      digits(i);
    }
    if (i < pattern.size() && pattern[i] == '.') {
      ++i;
      if (i < pattern.size() && pattern[i] == '*') {
        take('d');
        ++i;
      } else {
        digits(i);
      }
    }
    if (i < pattern.size()) take(static_cast<char>(pattern[i] | 0x20));
  }
}

void FormatKernel(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  if (AnyTextNull(args)) return result.SetNull();
  std::string_view pattern = args.String(0);
  thread_local std::vector<char> types;
  thread_local std::vector<std::string> numberTexts;
  PlaceholderTypes(pattern, types);
  std::vector<TLVFormatArg> formatArgs;
  formatArgs.reserve(static_cast<size_t>(args.Count()));
  numberTexts.resize(static_cast<size_t>(args.Count()));
  for (int32_t i = 1; i < args.Count(); ++i) {
    auto slot = static_cast<size_t>(i - 1);
    char type = slot < types.size() ? types[slot] : 's';
    bool wantsText = type == 's';
    if (args.IsString(i) && (wantsText || !ParseFloat(args.String(i), DefaultFormatSettings()))) {
      formatArgs.emplace_back(args.String(i));
      continue;
    }
    double value =
        args.IsString(i) ? *ParseFloat(args.String(i), DefaultFormatSettings()) : args.Number(i);
    if (wantsText) {
      NumberText(value, numberTexts[slot]);
      formatArgs.emplace_back(numberTexts[slot]);
    } else if ((type == 'd' || type == 'u' || type == 'x') && value == std::trunc(value) &&
               std::fabs(value) < 9e18) {
      formatArgs.emplace_back(static_cast<int64_t>(value));
    } else {
      formatArgs.emplace_back(value);
    }
  }
  try {
    result.Build() = lv::Format(pattern, std::span<const TLVFormatArg>(formatArgs));
  } catch (const ELVConvertError&) {
    throw EFormatFunctionError({pattern});
  }
}

void GetVar(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string_view name = args.String(0);
  if (LVCalcIsNull(name)) return result.SetNull();
  if (const TLVEnvVarCollectionItem* item = LVEnvVariables().Find(name)) {
    result.Build() = item->GetTheValue();
    return;
  }
  const char* value = IsValidEnvVarName(name) ? std::getenv(std::string(name).c_str()) : nullptr;
  if (!value) return result.SetNull();
  result.Build() = value;
}

// ---- distances

template <int64_t (*Distance)(std::string_view, std::string_view)>
double DistanceKernel(const TLVCalcArgs& args) {
  if (AnyTextNull(args)) return LVCalcNull();
  int64_t distance = Distance(args.String(0), args.String(1));
  if (distance < 0) TooLong(args);
  return static_cast<double>(distance);
}

void EditDistArray(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  if (AnyTextNull(args)) return result.SetNull();
  if (!EditScript(args.String(0), args.String(1), result.Build())) TooLong(args);
}

}  // namespace

void RegisterStringFunctions(TLVFunctionCollection& f) {
  f.AddString("Upper", 1, 1, "S", kString, CaseKernel<'a', 'z', Utf8ToUpper>);
  f.AddString("Lower", 1, 1, "S", kString, CaseKernel<'A', 'Z', Utf8ToLower>);
  f.AddString("Trim", 1, 1, "S", kString, TrimKernel<true, true>);
  f.AddString("TrimLeft,ltrim", 1, 1, "S", kString, TrimKernel<true, false>);
  f.AddString("TrimRight,rtrim", 1, 1, "S", kString, TrimKernel<false, true>);
  f.AddString("SubStr", 3, 3, "SN", kString, SubStr);
  f.AddString("Stuff", 4, 4, "SNNS", kString, Stuff);
  f.AddString("Left", 2, 2, "SN", kString, Left);
  f.AddString("Right", 2, 2, "SN", kString, Right);
  f.AddString("Space", 1, 1, "N", kString, Space);
  f.AddString("Repeat", 2, 2, "SN", kString, Repeat);
  f.AddString("Concat", 2, -1, "S", kString, Concat, 0);
  f.AddNumber("Count", 1, 1, "S", kString, Count);
  f.AddNumber("Find,findEx", 2, 3, "SSN", kString, Find);
  f.AddString("Replace,strtran", 3, 5, "SSSNN", kString, Replace);
  f.AddString("Chr", 1, 1, "N", kString, Chr);
  f.AddString("AnsiToOem", 1, 1, "S", kString, TextKernel<AnsiToOemText>);
  f.AddString("OemToAnsi", 1, 1, "S", kString, TextKernel<OemToAnsiText>);
  f.AddString("Str", 1, 1, "N", kString, Str);
  f.AddNumber("Val", 1, 1, "S", kString, Val);
  f.AddString("StrZero", 2, 2, "N", kString, StrZero);
  f.AddString("Format", 2, -1, "SA", kString, FormatKernel);
  f.AddNumber("LevDist,LevenshteinDistance,EditDist", 2, 2, "S", kString,
              DistanceKernel<LevenshteinDistance>);
  f.AddNumber("DamLevDist,DamerauLevenshteinDistance", 2, 2, "S", kString,
              DistanceKernel<DamerauLevenshteinDistance>);
  f.AddString("EditDistArray", 2, 2, "S", kHidden, EditDistArray);
  f.AddNumber("CRC32", 1, 1, "S", kString, Crc32);
  f.AddString("MD5", 1, 1, "S", kString, TextKernel<Md5>);
  f.AddString("SHA1", 1, 1, "S", kString, TextKernel<Sha1>);
  f.AddString("GetVar", 1, 1, "S", kOther, GetVar);
}

}  // namespace lv
