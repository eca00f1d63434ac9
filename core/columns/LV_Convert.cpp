#include "core/columns/LV_Convert.h"

#include <fast_float/fast_float.h>

#include <cmath>
#include <cstdio>
#include <limits>

#include "core/text/LV_Format.h"

namespace lv {

namespace {

// Days from 1970-01-01 of a proleptic Gregorian date (H. Hinnant's algorithm).
int64_t DaysFromCivil(int64_t y, int m, int d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, int& y, int& m, int& d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  y = static_cast<int>(yoe + era * 400 + (m <= 2));
}

constexpr int64_t kEpochOffset = 25569;  // 1970-01-01 counted from 1899-12-30

int DaysInMonth(int y, int m) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  return m == 2 && leap ? 29 : kDays[m - 1];
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

// Reads 1 to `maxDigits` digits; false when there is none.
bool ReadInt(std::string_view& s, int maxDigits, int& value) {
  int digits = 0;
  value = 0;
  while (!s.empty() && digits < maxDigits && s.front() >= '0' && s.front() <= '9') {
    value = value * 10 + (s.front() - '0');
    s.remove_prefix(1);
    ++digits;
  }
  return digits > 0;
}

bool EqualsIgnoringAsciiCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

}  // namespace

std::optional<double> EncodeDateTime(int year, int month, int day, int hour, int minute, int second,
                                     int millisecond) {
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month) || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
      second < 0 || second > 59 || millisecond < 0 || millisecond > 999) {
    return std::nullopt;
  }
  double date = static_cast<double>(DaysFromCivil(year, month, day) + kEpochOffset);
  double time = (hour * 3600000.0 + minute * 60000.0 + second * 1000.0 + millisecond) / 86400000.0;
  // Before the epoch the fraction still counts forward within the day.
  return date < 0 ? date - time : date + time;
}

TLVDateParts DecodeDateTime(double days) {
  TLVDateParts p{};
  double whole = std::trunc(days);
  auto ms = static_cast<int64_t>(std::llround(std::fabs(days - whole) * 86400000.0));
  if (ms >= 86400000) {
    ms -= 86400000;
    whole += days < 0 ? -1 : 1;
  }
  CivilFromDays(static_cast<int64_t>(whole) - kEpochOffset, p.year, p.month, p.day);
  p.hour = static_cast<int>(ms / 3600000);
  p.minute = static_cast<int>(ms / 60000 % 60);
  p.second = static_cast<int>(ms / 1000 % 60);
  p.millisecond = static_cast<int>(ms % 1000);
  return p;
}

std::string FormatDateTime(std::string_view pattern, double days, const TLVFormatSettings& fs) {
  TLVDateParts p = DecodeDateTime(days);
  std::string out;
  char buf[16];
  size_t i = 0;
  auto put = [&](int value, int width) {
    std::snprintf(buf, sizeof buf, "%0*d", width, value);
    out += buf;
  };
  while (i < pattern.size()) {
    char c = static_cast<char>(pattern[i] | 0x20);
    size_t run = 1;
    while (i + run < pattern.size() && static_cast<char>(pattern[i + run] | 0x20) == c) ++run;
    switch (c) {
      case 'd':
        put(p.day, run >= 2 ? 2 : 1);
        break;
      case 'm':
        put(p.month, run >= 2 ? 2 : 1);
        break;
      case 'y':
        if (run <= 2) {
          put(p.year % 100, 2);
        } else {
          put(p.year, 4);
        }
        break;
      case 'h':
        put(p.hour, run >= 2 ? 2 : 1);
        break;
      case 'n':
        put(p.minute, run >= 2 ? 2 : 1);
        break;
      case 's':
        put(p.second, run >= 2 ? 2 : 1);
        break;
      case 'z':
        put(p.millisecond, 3);
        break;
      default:
        for (size_t k = 0; k < run; ++k) {
          char lit = pattern[i + k];
          out += lit == '/' ? fs.dateSeparator : lit == ':' ? fs.timeSeparator : lit;
        }
        break;
    }
    i += run;
  }
  return out;
}

std::optional<double> ParseDateTime(std::string_view text, const TLVFormatSettings& fs) {
  text = Trim(text);
  // The order of day, month and year follows the short date format.
  char order[3] = {'d', 'm', 'y'};
  int found = 0;
  for (char ch : fs.shortDateFormat) {
    char c = static_cast<char>(ch | 0x20);
    if ((c == 'd' || c == 'm' || c == 'y') && found < 3 && (found == 0 || order[found - 1] != c)) {
      order[found++] = c;
    }
  }
  int parts[3] = {0, 0, 0};
  int yearDigits = 0;
  for (int k = 0; k < 3; ++k) {
    if (k > 0) {
      if (text.empty() || text.front() != fs.dateSeparator) return std::nullopt;
      text.remove_prefix(1);
    }
    size_t before = text.size();
    if (!ReadInt(text, order[k] == 'y' ? 4 : 2, parts[k])) return std::nullopt;
    if (order[k] == 'y') yearDigits = static_cast<int>(before - text.size());
  }
  int day = 0, month = 0, year = 0;
  for (int k = 0; k < 3; ++k) {
    (order[k] == 'd' ? day : order[k] == 'm' ? month : year) = parts[k];
  }
  if (yearDigits <= 2) year += year < 50 ? 2000 : 1900;
  int hour = 0, minute = 0, second = 0;
  text = Trim(text);
  if (!text.empty()) {
    if (!ReadInt(text, 2, hour)) return std::nullopt;
    if (text.empty() || text.front() != fs.timeSeparator) return std::nullopt;
    text.remove_prefix(1);
    if (!ReadInt(text, 2, minute)) return std::nullopt;
    if (!text.empty() && text.front() == fs.timeSeparator) {
      text.remove_prefix(1);
      if (!ReadInt(text, 2, second)) return std::nullopt;
    }
    if (!text.empty()) return std::nullopt;
  }
  return EncodeDateTime(year, month, day, hour, minute, second);
}

std::string FloatToText(double value, const TLVFormatSettings& fs) {
  TLVFormatArg arg(value);
  return FormatWith(fs, "%g", std::span(&arg, 1));
}

std::optional<double> ParseFloat(std::string_view text, const TLVFormatSettings& fs) {
  text = Trim(text);
  if (text.empty()) return std::nullopt;
  // A leading '+' is accepted by users' files but not by the parser.
  if (text.front() == '+') text.remove_prefix(1);
  double value = 0;
  fast_float::parse_options options{fast_float::chars_format::general, fs.decimalSeparator};
  auto result =
      fast_float::from_chars_advanced(text.data(), text.data() + text.size(), value, options);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string ValueToText(const TLVValue& value, const TLVFormatSettings& fs) {
  if (value.IsNull()) return {};
  switch (value.Type()) {
    case TLVDataType::dtBoolean:
      return value.AsBoolean() ? fs.trueText : fs.falseText;
    case TLVDataType::dtInteger:
      return std::to_string(value.AsInteger());
    case TLVDataType::dtFloat:
      return FloatToText(value.AsDouble(), fs);
    case TLVDataType::dtDateTime: {
      double days = value.AsDouble();
      std::string text = FormatDateTime(fs.shortDateFormat, days, fs);
      if (days != std::trunc(days)) {
        text += ' ';
        text += FormatDateTime(fs.longTimeFormat, days, fs);
      }
      return text;
    }
    case TLVDataType::dtString:
      return std::string(value.AsText());
    case TLVDataType::dtNone:
      break;
  }
  return {};
}

std::optional<TLVValue> TextToValue(std::string_view text, TLVDataType type,
                                    const TLVFormatSettings& fs) {
  switch (type) {
    case TLVDataType::dtString:
      return TLVValue::String(text);
    case TLVDataType::dtFloat:
      if (auto v = ParseFloat(text, fs)) return TLVValue::Float(*v);
      return std::nullopt;
    case TLVDataType::dtInteger: {
      auto v = ParseFloat(text, fs);
      if (!v || *v != std::trunc(*v) || *v < std::numeric_limits<int32_t>::min() ||
          *v > std::numeric_limits<int32_t>::max()) {
        return std::nullopt;
      }
      return TLVValue::Integer(static_cast<int32_t>(*v));
    }
    case TLVDataType::dtDateTime:
      if (auto v = ParseDateTime(text, fs)) return TLVValue::DateTime(*v);
      return std::nullopt;
    case TLVDataType::dtBoolean: {
      std::string_view t = Trim(text);
      if (EqualsIgnoringAsciiCase(t, fs.trueText) || t == "1") return TLVValue::Boolean(true);
      if (EqualsIgnoringAsciiCase(t, fs.falseText) || t == "0") return TLVValue::Boolean(false);
      return std::nullopt;
    }
    case TLVDataType::dtNone:
      break;
  }
  return std::nullopt;
}

bool TypeChangeAllowed(TLVDataType from, TLVDataType to) {
  return from != TLVDataType::dtNone && to != TLVDataType::dtNone;
}

namespace {

// One value of `in` as a TLVValue (texts viewed, not copied, where possible).
TLVValue BlockValue(const TLVBlock& in, int32_t i) {
  auto at = static_cast<size_t>(i);
  switch (in.Type()) {
    case TLVDataType::dtInteger:
      return TLVValue::Integer(in.Integers()[at]);
    case TLVDataType::dtBoolean:
      return TLVValue::Boolean(in.Numbers()[at] != 0);
    case TLVDataType::dtDateTime:
      return TLVValue::DateTime(in.Numbers()[at]);
    case TLVDataType::dtString:
      return TLVValue::String(in.Strings()[at]);
    default:
      return TLVValue::Float(in.Numbers()[at]);
  }
}

}  // namespace

bool ConvertBlock(const TLVBlock& in, TLVDataType to, TLVBlock& out, const TLVFormatSettings& fs) {
  const int32_t n = in.Count();
  out.Reset(to, n);
  bool allConverted = true;
  const bool numericIn = in.Type() != TLVDataType::dtString;
  for (int32_t i = 0; i < n; ++i) {
    auto at = static_cast<size_t>(i);
    out.Valid()[at] = 0;
    if (in.IsNull(i)) continue;
    if (numericIn && to != TLVDataType::dtString) {
      double v = in.NumberAt(i);
      if (to == TLVDataType::dtInteger) {
        double r = std::nearbyint(v);
        if (!(r >= std::numeric_limits<int32_t>::min() &&
              r <= std::numeric_limits<int32_t>::max())) {
          allConverted = false;
          continue;
        }
        out.Integers()[at] = static_cast<int32_t>(r);
      } else {
        out.Numbers()[at] = to == TLVDataType::dtBoolean ? (v != 0 ? 1.0 : 0.0) : v;
      }
      out.Valid()[at] = 1;
      continue;
    }
    std::string text =
        numericIn ? ValueToText(BlockValue(in, i), fs) : std::string(in.Strings()[at]);
    if (to == TLVDataType::dtString) {
      out.Strings()[at] = out.Arena().Store(text);
      out.Valid()[at] = 1;
      continue;
    }
    auto value = TextToValue(text, to, fs);
    if (!value) {
      allConverted = false;
      continue;
    }
    if (to == TLVDataType::dtInteger) {
      out.Integers()[at] = value->AsInteger();
    } else {
      out.Numbers()[at] = value->AsDouble();
    }
    out.Valid()[at] = 1;
  }
  return allConverted;
}

void ConvertBlockInPlace(TLVBlock& block, TLVDataType type, const TLVFormatSettings& fs) {
  if (block.Type() == type) return;
  TLVBlock read = std::move(block);
  block = TLVBlock();
  ConvertBlock(read, type, block, fs);
}

}  // namespace lv
