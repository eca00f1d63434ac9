#include "io/LV_TextValues.h"

#include <fast_float/fast_float.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "env/LV_Logger.h"

namespace lv {

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view TrimBlanks(std::string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Reads 1 to `maxDigits` digits from the front of `s`; the count read (0 for none).
int ReadDigits(std::string_view& s, int maxDigits, int& value) {
  int count = 0;
  value = 0;
  while (count < maxDigits && count < static_cast<int>(s.size()) && IsDigit(s[count])) {
    value = value * 10 + (s[count] - '0');
    ++count;
  }
  s.remove_prefix(static_cast<size_t>(count));
  return count;
}

// "00" to "99", for writing two digits at a time.
constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// Writes `value` (0 to 9999, as every part of a date is) with at least `width` digits.
void PutDigits(char*& p, int value, int width) {
  auto v = static_cast<unsigned>(value) % 10000;
  const int digits = v >= 1000 ? 4 : v >= 100 ? 3 : v >= 10 ? 2 : 1;
  char* const end = p + (digits > width ? digits : width);
  char* q = end;
  for (; q - p >= 2; v /= 100) {
    q -= 2;
    std::memcpy(q, kDigitPairs + 2 * (v % 100), 2);
  }
  if (q > p) *p = static_cast<char>('0' + v % 10);
  p = end;
}

// Writes `value`, which has at most `width` (2 to 4) digits, with exactly `width`.
void PutFixedDigits(char* at, int value, int width) {
  const auto v = static_cast<unsigned>(value);
  if (width == 2) {
    std::memcpy(at, kDigitPairs + 2 * (v % 100), 2);
  } else if (width == 3) {
    at[0] = static_cast<char>('0' + v / 100 % 10);
    std::memcpy(at + 1, kDigitPairs + 2 * (v % 100), 2);
  } else {
    std::memcpy(at, kDigitPairs + 2 * (v / 100 % 100), 2);
    std::memcpy(at + 2, kDigitPairs + 2 * (v % 100), 2);
  }
}

// h:n[:s[.zzz]] with `separator`, blanks allowed after it.
bool ReadTime(std::string_view& s, char separator, int& hour, int& minute, int& second,
              int& millisecond) {
  second = millisecond = 0;
  if (ReadDigits(s, 2, hour) == 0) return false;
  if (s.empty() || s.front() != separator) return false;
  s.remove_prefix(1);
  if (ReadDigits(s, 2, minute) == 0) return false;
  if (!s.empty() && s.front() == separator) {
    s.remove_prefix(1);
    if (ReadDigits(s, 2, second) == 0) return false;
    if (s.size() >= 2 && (s[0] == '.' || s[0] == ',') && IsDigit(s[1])) {
      s.remove_prefix(1);
      // A fraction of a second: ".5" is half a second.
      const int digits = ReadDigits(s, 3, millisecond);
      for (int k = digits; k < 3; ++k) millisecond *= 10;
    }
  }
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  return true;
}

// Calendar arithmetic of the import and the export, which convert millions of dates:
// days are counted from 0001-01-01 (day 1); 1899-12-30, day 0 of a date value, is day
// 693594.
constexpr int64_t kDayOfEpoch = 693594;
constexpr int kMonthStart[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
constexpr int kMonthLength[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

bool IsLeapYear(int64_t year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int64_t DaysBeforeYear(int64_t year) {
  const int64_t p = year - 1;
  return 365 * p + p / 4 - p / 100 + p / 400;
}

// The day number of a calendar date (days since 1899-12-30), exactly what
// EncodeDateTime gives for a date without a time, at a fraction of its cost.
bool DayNumber(int year, int month, int day, double& days) {
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1) return false;
  const bool leap = IsLeapYear(year);
  if (day > kMonthLength[month - 1] + (month == 2 && leap ? 1 : 0)) return false;
  const int64_t n =
      DaysBeforeYear(year) + kMonthStart[month - 1] + (month > 2 && leap ? 1 : 0) + day;
  days = static_cast<double>(n - kDayOfEpoch);
  return true;
}

// The calendar date of a whole day number (days since 1899-12-30, years 1 to 9999), in
// closed form: the year is counted from 1 March, so that the leap day comes last and
// the months before it follow a fixed pattern of lengths (153 days every 5 months).
void CalendarDate(int64_t dayNumber, int& year, int& month, int& day) {
  // Days since 0000-03-01; the years asked for make it positive.
  const int64_t z = dayNumber + kDayOfEpoch + 305;
  const int64_t era = z / 146097;
  const int64_t dayOfEra = z - era * 146097;
  const int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;  // 0 is March
  day = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  month = static_cast<int>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
  year = static_cast<int>(era * 400 + yearOfEra + (month <= 2 ? 1 : 0));
}

bool SameTextIgnoringCase(std::string_view text, const std::string& expected) {
  if (text == expected) return true;
  bool ascii = true;
  if (text.size() == expected.size()) {
    size_t i = 0;
    for (; i < text.size(); ++i) {
      char a = text[i], b = expected[i];
      if (static_cast<unsigned char>(a) >= 0x80 || static_cast<unsigned char>(b) >= 0x80) break;
      if (a >= 'A' && a <= 'Z') a = static_cast<char>(a - 'A' + 'a');
      if (b >= 'A' && b <= 'Z') b = static_cast<char>(b - 'A' + 'a');
      if (a != b) return false;
    }
    if (i == text.size()) return true;
    ascii = false;
  } else {
    for (char c : text) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    for (char c : expected) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
  }
  // Letters beyond ASCII change their length in UTF-8 only rarely, but they do: only
  // the full Unicode comparison can tell.
  return !ascii && LVSameTextIgnoringCase(text, expected);
}

}  // namespace

// --- TLVDatePattern ---

TLVDatePattern::TLVDatePattern(std::string_view pattern, char dateSeparator, char timeSeparator) {
  int dateParts = 0;
  bool separatorSeen = false;
  size_t i = 0;
  while (i < pattern.size()) {
    const char c = static_cast<char>(pattern[i] | 0x20);
    size_t run = 1;
    while (i + run < pattern.size() && static_cast<char>(pattern[i + run] | 0x20) == c) ++run;
    const auto width = static_cast<uint8_t>(run >= 2 ? 2 : 1);
    switch (c) {
      case 'd':
      case 'm':
      case 'y': {
        const uint8_t w = c == 'y' ? static_cast<uint8_t>(run <= 2 ? 2 : 4) : width;
        tokens_.push_back({c, w, 0});
        if (dateParts < 3) {
          order[dateParts] = c;
          widths[dateParts] = c == 'y' ? w : 2;
          ++dateParts;
        }
        break;
      }
      case 'h':
      case 'n':
      case 's':
        tokens_.push_back({c, width, 0});
        hasTime_ = true;
        break;
      case 'z':
        tokens_.push_back({c, 3, 0});
        hasTime_ = hasMilliseconds_ = true;
        break;
      default:
        for (size_t k = 0; k < run; ++k) {
          const char raw = pattern[i + k];
          const char literal = raw == '/' ? dateSeparator : raw == ':' ? timeSeparator : raw;
          tokens_.push_back({0, 1, literal});
          if (dateParts > 0 && dateParts < 3 && !separatorSeen) {
            separator = literal;
            separatorSeen = true;
          }
        }
        break;
    }
    i += run;
  }
  for (const TToken& token : tokens_) {
    maxLength_ += token.kind == 0 ? 1 : token.kind == 'y' ? 4 : token.kind == 'z' ? 3 : 2;
  }
  // A part never has more digits than its width, except a day, month or time part of
  // width 1 (and a year of width 2 is written as its last two digits).
  const bool fixed = std::all_of(tokens_.begin(), tokens_.end(), [](const TToken& token) {
    return token.kind == 0 || token.kind == 'y' || token.kind == 'z' || token.width == 2;
  });
  if (fixed) {
    for (const TToken& token : tokens_) {
      if (token.kind == 0) {
        fixedText_ += token.literal;
        continue;
      }
      fixedParts_.push_back(token);
      fixedOffsets_.push_back(fixedText_.size());
      fixedText_.append(token.width, '0');
    }
  }
}

int TLVDatePattern::PartOf(const TToken& token, const TLVDateParts& parts) {
  switch (token.kind) {
    case 'd':
      return parts.day;
    case 'm':
      return parts.month;
    case 'y':
      return token.width == 2 ? parts.year % 100 : parts.year;
    case 'h':
      return parts.hour;
    case 'n':
      return parts.minute;
    case 's':
      return parts.second;
    default:
      return parts.millisecond;
  }
}

char* TLVDatePattern::Put(const TLVDateParts& parts, char* p) const {
  if (!fixedText_.empty()) {
    std::memcpy(p, fixedText_.data(), fixedText_.size());
    for (size_t i = 0; i < fixedParts_.size(); ++i) {
      char* at = p + fixedOffsets_[i];
      PutFixedDigits(at, PartOf(fixedParts_[i], parts), fixedParts_[i].width);
    }
    return p + fixedText_.size();
  }
  for (const TToken& token : tokens_) {
    if (token.kind == 0) {
      *p++ = token.literal;
    } else {
      PutDigits(p, PartOf(token, parts), token.kind == 'z' ? 3 : token.width);
    }
  }
  return p;
}

// --- TLVTextValueReader ---

TLVTextValueReader::TLVTextValueReader(const TLVFormatSettings& fs)
    : decimalSeparator_(fs.decimalSeparator),
      trueText_(fs.trueText),
      falseText_(fs.falseText),
      own_(RuleOf(fs)),
      system_(RuleOf(DefaultFormatSettings())),
      iso_{{'y', 'm', 'd'}, '-', '-', {4, 2, 2}, false, ':'} {}

TLVTextValueReader::TDateRule TLVTextValueReader::RuleOf(const TLVFormatSettings& fs) {
  TLVDatePattern pattern(fs.shortDateFormat, fs.dateSeparator, fs.timeSeparator);
  TDateRule rule{};
  for (int k = 0; k < 3; ++k) {
    rule.order[k] = pattern.order[k];
    rule.widths[k] = pattern.widths[k];
  }
  rule.separator = fs.dateSeparator;
  rule.altSeparator = pattern.separator != '\0' ? pattern.separator : fs.dateSeparator;
  rule.packed = pattern.separator == '\0';
  rule.timeSeparator = fs.timeSeparator;
  return rule;
}

bool TLVTextValueReader::ReadFloat(std::string_view text, double& value) const {
  std::string_view s = TrimBlanks(text);
  if (!s.empty() && s.front() == '+') {
    s.remove_prefix(1);
    if (!s.empty() && (s.front() == '-' || s.front() == '+')) return false;
  }
  if (s.empty()) return false;
  // A missing value is never written as a number.
  const char lead = s.front() == '-' && s.size() > 1 ? s[1] : s.front();
  if (lead == 'n' || lead == 'N') return false;
  fast_float::parse_options options{fast_float::chars_format::general, decimalSeparator_};
  auto result = fast_float::from_chars_advanced(s.data(), s.data() + s.size(), value, options);
  return result.ec == std::errc() && result.ptr == s.data() + s.size();
}

bool TLVTextValueReader::ReadInteger(std::string_view text, int32_t& value) const {
  std::string_view s = TrimBlanks(text);
  bool negative = false;
  if (!s.empty() && (s.front() == '-' || s.front() == '+')) {
    negative = s.front() == '-';
    s.remove_prefix(1);
  }
  if (s.empty()) return false;
  int64_t magnitude = 0;
  for (char c : s) {
    if (!IsDigit(c)) return false;
    magnitude = magnitude * 10 + (c - '0');
    if (magnitude > int64_t{std::numeric_limits<int32_t>::max()} + 1) return false;
  }
  const int64_t signedValue = negative ? -magnitude : magnitude;
  if (signedValue > std::numeric_limits<int32_t>::max()) return false;
  value = static_cast<int32_t>(signedValue);
  return true;
}

bool TLVTextValueReader::ReadBoolean(std::string_view text, bool& value) const {
  if (SameTextIgnoringCase(text, trueText_)) {
    value = true;
    return true;
  }
  if (SameTextIgnoringCase(text, falseText_)) {
    value = false;
    return true;
  }
  double number;
  if (!ReadFloat(text, number)) return false;
  value = number != 0;
  return true;
}

bool TLVTextValueReader::ReadWithRule(std::string_view text, const TDateRule& rule, double& days) {
  text = TrimBlanks(text);
  std::string_view s = text;
  int parts[3] = {0, 0, 0};
  int yearDigits = 0;
  bool date = true;
  for (int k = 0; k < 3 && date; ++k) {
    if (k > 0 && !rule.packed) {
      if (s.empty() || (s.front() != rule.separator && s.front() != rule.altSeparator)) {
        date = false;
        break;
      }
      s.remove_prefix(1);
    }
    const int maxDigits = rule.packed ? rule.widths[k] : rule.order[k] == 'y' ? 4 : 2;
    const int digits = ReadDigits(s, maxDigits, parts[k]);
    if (digits == 0 || (rule.packed && digits != maxDigits)) date = false;
    if (rule.order[k] == 'y') yearDigits = digits;
  }
  int hour = 0, minute = 0, second = 0, millisecond = 0;
  if (!date) {
    // A time of day alone.
    s = text;
    if (!ReadTime(s, rule.timeSeparator, hour, minute, second, millisecond) || !s.empty()) {
      return false;
    }
    auto v = EncodeDateTime(1899, 12, 30, hour, minute, second, millisecond);
    if (!v) return false;
    days = *v;
    return true;
  }
  int day = 0, month = 0, year = 0;
  for (int k = 0; k < 3; ++k) {
    (rule.order[k] == 'd' ? day : rule.order[k] == 'm' ? month : year) = parts[k];
  }
  if (yearDigits <= 2) year += year < 50 ? 2000 : 1900;
  if (s.empty()) return DayNumber(year, month, day, days);
  if (s.front() == 'T' && rule.separator == '-') {
    s.remove_prefix(1);
  } else if (IsBlank(s.front())) {
    while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  } else {
    return false;
  }
  if (!ReadTime(s, rule.timeSeparator, hour, minute, second, millisecond) || !s.empty()) {
    return false;
  }
  auto v = EncodeDateTime(year, month, day, hour, minute, second, millisecond);
  if (!v) return false;
  days = *v;
  return true;
}

bool TLVTextValueReader::ReadDateTime(std::string_view text, double& days) const {
  return ReadWithRule(text, own_, days) || ReadWithRule(text, system_, days) ||
         ReadWithRule(text, iso_, days);
}

// --- TLVTextValueWriter ---

namespace {
constexpr int64_t kMillisecondsPerDay = 86400000;
}  // namespace

TLVTextValueWriter::TLVTextValueWriter(const TLVFormatSettings& fs)
    : decimalSeparator_(fs.decimalSeparator),
      date_(fs.shortDateFormat, fs.dateSeparator, fs.timeSeparator),
      time_(fs.longTimeFormat, fs.dateSeparator, fs.timeSeparator) {}

namespace {

constexpr double kPowersOf10[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
constexpr uint64_t kIntegerPowersOf10[] = {1,
                                           10,
                                           100,
                                           1000,
                                           10000,
                                           100000,
                                           1000000,
                                           10000000,
                                           100000000,
                                           1000000000,
                                           10000000000,
                                           100000000000,
                                           1000000000000,
                                           10000000000000,
                                           100000000000000,
                                           1000000000000000};
// Scaled values stay below this, where a double's step is at most 1/8: the nearest
// integer to the scaled value is then found exactly, and at most one decimal of a given
// length lies close enough to the value to read back as it.
constexpr double kScaledLimit = 1125899906842624.0;  // 2^50

// Writes `n` with exactly `width` digits, zeros in front, and returns the end.
char* PutPadded(char* out, uint64_t n, int width) {
  char* const end = out + width;
  char* q = end;
  for (; q - out >= 2; n /= 100) {
    q -= 2;
    std::memcpy(q, kDigitPairs + 2 * (n % 100), 2);
  }
  if (q > out) *out = static_cast<char>('0' + n % 10);
  return end;
}

// Most numbers of tables are short decimals (prices, quantities, amounts). For those the
// shortest text that reads back as the same double is found by scaling to integers and
// checking the division back, which is exact: a text of n with k decimals reads as
// the double nearest to n / 10^k, and that is what the division of the two (exact)
// doubles gives. This is many times cheaper than the general shortest search, and it
// writes the same text std::to_chars does: the same digits, in the plain form whenever
// that form is not longer than the exponent form. Returns null, having written
// nothing, for the numbers it leaves to std::to_chars.
char* PutShortDecimal(double value, char separator, char* out) {
  const double magnitude = std::fabs(value);
  if (!(magnitude < kScaledLimit)) return nullptr;  // also infinities and NaN
  if (magnitude == 0) {
    if (std::signbit(value)) *out++ = '-';
    *out++ = '0';
    return out;
  }
  // The most decimals the limit allows, from the binary exponent (one step too many
  // at most). A shorter decimal that reads back is this one with zeros at the end.
  const int exponent = static_cast<int>(std::bit_cast<uint64_t>(magnitude) >> 52) - 1023;
  int decimals = 15 - std::clamp((exponent + 1) * 1233 >> 12, 0, 15);
  if (decimals > 0 && magnitude * kPowersOf10[decimals] >= kScaledLimit) --decimals;
  const double scaled = magnitude * kPowersOf10[decimals];
  if (scaled >= kScaledLimit) return nullptr;
  // Signed conversions are single instructions; the values fit.
  auto n = static_cast<uint64_t>(static_cast<int64_t>(scaled + 0.5));
  if (static_cast<double>(static_cast<int64_t>(n)) / kPowersOf10[decimals] != magnitude) {
    return nullptr;
  }
  // Without branches: how many zeros a value ends with is anyone's guess.
  for (int step : {8, 4, 2, 1}) {
    const uint64_t unit = kIntegerPowersOf10[step];
    const uint64_t shorter = n / unit;
    const bool take = decimals >= step && shorter * unit == n;
    n = take ? shorter : n;
    decimals -= take ? step : 0;
  }
  // The plain form is n's digits with a point or a leading "0."; the exponent form
  // d.ddd followed by "e+XX" or "e-XX" (two digits of exponent are enough here) has
  // the digits without the zeros at the end, which only a whole number can have.
  const auto bits = static_cast<unsigned>(64 - std::countl_zero(n));
  const int guess = static_cast<int>(bits * 1233 >> 12);  // about log10(2) * bits
  const int digits = guess + (n >= kIntegerPowersOf10[guess] ? 1 : 0);
  int significant = digits;
  if (decimals == 0) {
    for (uint64_t m = n; m % 10 == 0; m /= 10) --significant;
  }
  const int plain = decimals == 0 ? digits : digits > decimals ? digits + 1 : decimals + 2;
  if (plain > significant + (significant > 1 ? 1 : 0) + 4) return nullptr;
  if (value < 0) *out++ = '-';
  if (decimals == 0) return PutPadded(out, n, digits);
  const uint64_t unit = kIntegerPowersOf10[decimals];
  if (digits > decimals) {
    out = PutPadded(out, n / unit, digits - decimals);
  } else {
    *out++ = '0';
  }
  *out++ = separator;
  return PutPadded(out, n % unit, decimals);
}

}  // namespace

char* TLVTextValueWriter::PutFloat(double value, char* out) const {
  if (char* end = PutShortDecimal(value, decimalSeparator_, out)) return end;
  char* end = std::to_chars(out, out + kMaxNumberLength, value).ptr;
  if (decimalSeparator_ != '.') {
    for (char* p = out; p < end; ++p) {
      if (*p == '.') *p = decimalSeparator_;
    }
  }
  return end;
}

char* TLVTextValueWriter::PutInteger(int32_t value, char* out) const {
  return std::to_chars(out, out + kMaxNumberLength, value).ptr;
}

char* TLVTextValueWriter::PutDateTime(double days, char* out) const {
  // Split as DecodeDateTime splits: the whole day towards zero, the time of day from the
  // rest, rounded to the millisecond.
  auto day = static_cast<int64_t>(days);
  const double rest = days - static_cast<double>(day);
  auto ms = static_cast<int64_t>((rest < 0 ? -rest : rest) * kMillisecondsPerDay + 0.5);
  if (ms >= kMillisecondsPerDay) {
    ms -= kMillisecondsPerDay;
    day += days < 0 ? -1 : 1;
  }
  const auto msOfDay = static_cast<int>(ms);
  TLVDateParts parts{
      0, 0, 0, msOfDay / 3600000, msOfDay / 60000 % 60, msOfDay / 1000 % 60, msOfDay % 1000};
  CalendarDate(day, parts.year, parts.month, parts.day);
  char* p = date_.Put(parts, out);
  if (date_.HasTime() || msOfDay == 0) return p;
  *p++ = ' ';
  p = time_.Put(parts, p);
  if (parts.millisecond != 0 && !time_.HasMilliseconds()) {
    *p++ = '.';
    PutDigits(p, parts.millisecond, 3);
  }
  return p;
}

}  // namespace lv
