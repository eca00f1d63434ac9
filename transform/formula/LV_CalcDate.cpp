// Date and time functions of the formula language. A date is the number of days since
// 1899-12-30 with the time of day as the fraction; before that day the number is the
// negative day minus the time (the day count and the time count in opposite
// directions), so arithmetic on dates goes through a linear day count.
//
// Rules chosen here:
// - DayOfWeek numbers the days Monday = 1 ... Sunday = 7, as ISO weeks do; Week is the
//   ISO 8601 week number and StartOfTheWeek the Monday of that week.
// - DaysBetween, MonthsBetween and YearsBetween count whole units between the two
//   moments whatever their order (never negative): the months between a and b (a <= b)
//   are the largest k with AddMonth(a; k) <= b, so 31 January to 28 February is one
//   month and 29 February 2020 to 28 February 2021 is one year.
// - The counts of AddDay ... AddYear and the parts of EncodeDate are truncated to
//   whole numbers; a date outside the years 1 to 9999 is missing.
// - StrToDate without a format reads the process date format; with one, each run of a
//   letter D, M, Y, H, N, S or Z reads up to its length in digits (at least two; four
//   for a year unless YY is followed directly by another letter; three for Z), other
//   characters must appear as written, a year of one or two digits falls between 1950
//   and 2049, and a missing year is the current one.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>

#include "core/columns/LV_Convert.h"
#include "env/LV_EnvVariables.h"
#include "transform/formula/LV_CalcBuiltins.h"

namespace lv {
namespace {

constexpr auto kDate = TLVCalcFunctionGroup::fgDateTime;
constexpr double kHalfMillisecond = 0.5 / 86400000.0;
// 0001-01-01 and the day after 9999-12-31.
constexpr double kFirstDay = -693593;
constexpr double kLastDay = 2958466;

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

double Linear(double date) {
  double day = std::trunc(date);
  return day + std::fabs(date - day);
}

double FromLinear(double linear) {
  double day = std::floor(linear);
  return day >= 0 ? linear : day - (linear - day);
}

// The parts of a date; false for a missing date or one outside the calendar.
bool Split(double date, TLVDateParts& parts) {
  if (!(date > kFirstDay - 1 && date < kLastDay)) return false;
  parts = DecodeDateTime(date);
  return parts.year >= 1 && parts.year <= 9999;
}

double Encode(int year, int month, int day, const TLVDateParts& time) {
  auto date =
      EncodeDateTime(year, month, day, time.hour, time.minute, time.second, time.millisecond);
  return date ? *date : LVCalcNull();
}

// The whole-day number of a date's calendar day (the time dropped).
bool DayNumber(double date, int64_t& day) {
  TLVDateParts p;
  if (!Split(date, p)) return false;
  day = static_cast<int64_t>(*EncodeDateTime(p.year, p.month, p.day));
  return true;
}

int IsoDayOfWeek(int64_t day) {
  // Day 0, 1899-12-30, was a Saturday.
  return static_cast<int>(((day + 5) % 7 + 7) % 7) + 1;
}

template <int TLVDateParts::*Part>
double PartOf(const TLVCalcArgs& args) {
  TLVDateParts p;
  return Split(args.Number(0), p) ? p.*Part : LVCalcNull();
}

double DayOfWeek(const TLVCalcArgs& args) {
  int64_t day;
  return DayNumber(args.Number(0), day) ? IsoDayOfWeek(day) : LVCalcNull();
}

double StartOfTheWeek(const TLVCalcArgs& args) {
  int64_t day;
  return DayNumber(args.Number(0), day) ? static_cast<double>(day - IsoDayOfWeek(day) + 1)
                                        : LVCalcNull();
}

double IsoWeek(const TLVCalcArgs& args) {
  int64_t day;
  if (!DayNumber(args.Number(0), day)) return LVCalcNull();
  // The week belongs to the year of its Thursday.
  int64_t thursday = day - IsoDayOfWeek(day) + 4;
  TLVDateParts p;
  if (!Split(static_cast<double>(thursday), p)) return LVCalcNull();
  auto firstOfYear = static_cast<int64_t>(*EncodeDateTime(p.year, 1, 1));
  return static_cast<double>((thursday - firstOfYear) / 7 + 1);
}

double AddMonths(double date, double count) {
  TLVDateParts p;
  if (!Split(date, p) || !(std::fabs(count) < 120000)) return LVCalcNull();
  int64_t total = int64_t{p.year} * 12 + (p.month - 1) + static_cast<int64_t>(std::trunc(count));
  if (total < 12 || total >= 120000) return LVCalcNull();
  int year = static_cast<int>(total / 12), month = static_cast<int>(total % 12) + 1;
  return Encode(year, month, std::min(p.day, DaysInMonth(year, month)), p);
}

double AddDays(double date, double count) {
  double result = FromLinear(Linear(date) + std::trunc(count));
  return result > kFirstDay - 1 && result < kLastDay ? result : LVCalcNull();
}

template <int kMonths>
double AddMonthsKernel(const TLVCalcArgs& args) {
  return AddMonths(args.Number(0), std::trunc(args.Number(1)) * kMonths);
}

template <int kDays>
double AddDaysKernel(const TLVCalcArgs& args) {
  return AddDays(args.Number(0), std::trunc(args.Number(1)) * kDays);
}

double DaysBetween(const TLVCalcArgs& args) {
  double a = args.Number(0), b = args.Number(1);
  if (!std::isfinite(a) || !std::isfinite(b)) return LVCalcNull();
  return std::floor(std::fabs(Linear(b) - Linear(a)) + kHalfMillisecond);
}

// Whole months from the earlier to the later date, by AddMonth's own rule.
double MonthsBetween(double a, double b, int unit) {
  TLVDateParts pa, pb;
  if (!Split(a, pa) || !Split(b, pb)) return LVCalcNull();
  if (Linear(a) > Linear(b)) {
    std::swap(a, b);
    std::swap(pa, pb);
  }
  int64_t months = (int64_t{pb.year} - pa.year) * 12 + (pb.month - pa.month);
  int64_t count = months / unit;
  while (count > 0 &&
         Linear(AddMonths(a, static_cast<double>(count * unit))) > Linear(b) + kHalfMillisecond) {
    --count;
  }
  return static_cast<double>(count);
}

// A whole number argument; anything beyond the calendar's ranges is as bad as 10^6.
int Whole(double value) {
  return static_cast<int>(std::clamp(std::trunc(value), -1e6, 1e6));
}

double EncodeDate(const TLVCalcArgs& args) {
  auto date = EncodeDateTime(Whole(args.Number(0)), Whole(args.Number(1)), Whole(args.Number(2)));
  return date ? *date : LVCalcNull();
}

// Seconds may carry a fraction; the time of day must stay below 24 hours.
double TimeOfDay(double hours, double minutes, double seconds) {
  hours = std::trunc(hours);
  minutes = std::trunc(minutes);
  if (!(hours >= 0 && hours < 24 && minutes >= 0 && minutes < 60 && seconds >= 0 && seconds < 60)) {
    return LVCalcNull();
  }
  return (hours * 3600 + minutes * 60 + seconds) / 86400;
}

double EncodeTime(const TLVCalcArgs& args) {
  return TimeOfDay(args.Number(0), args.Number(1), args.Number(2));
}

double EncodeDateTimeKernel(const TLVCalcArgs& args) {
  double date = EncodeDate(args);
  double time = TimeOfDay(args.Number(3), args.Number(4), args.Number(5));
  if (LVCalcIsNull(date) || LVCalcIsNull(time)) return LVCalcNull();
  return date < 0 ? date - time : date + time;
}

// ---- texts

char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool ReadDigits(std::string_view text, size_t& pos, size_t maxDigits, int& value) {
  size_t start = pos;
  value = 0;
  while (pos < text.size() && pos - start < maxDigits && text[pos] >= '0' && text[pos] <= '9') {
    value = value * 10 + (text[pos++] - '0');
  }
  return pos > start;
}

double ParseByPattern(std::string_view text, std::string_view pattern) {
  int year = 0, month = 1, day = 1, hour = 0, minute = 0, second = 0, millisecond = 0;
  bool hasYear = false, hasDate = false;
  size_t yearDigits = 4, pos = 0;
  for (size_t i = 0; i < pattern.size();) {
    char c = LowerAscii(pattern[i]);
    size_t run = 1;
    while (i + run < pattern.size() && LowerAscii(pattern[i + run]) == c) ++run;
    int* target = nullptr;
    size_t maxDigits = std::max<size_t>(run, 2);
    switch (c) {
      case 'd':
        target = &day;
        break;
      case 'm':
        target = &month;
        break;
      case 'y':
        // "YY" followed by a separator still takes a four-digit year; packed digits
        // ("YYMMDD") must stop at two.
        target = &year;
        maxDigits = run <= 2 && i + run < pattern.size() &&
                            std::isalpha(static_cast<unsigned char>(pattern[i + run]))
                        ? 2
                        : 4;
        break;
      case 'h':
        target = &hour;
        break;
      case 'n':
        target = &minute;
        break;
      case 's':
        target = &second;
        break;
      case 'z':
        target = &millisecond;
        maxDigits = 3;
        break;
      default:
        for (size_t k = 0; k < run; ++k, ++pos) {
          if (pos >= text.size() || text[pos] != pattern[i + k]) return LVCalcNull();
        }
        break;
    }
    if (target) {
      size_t start = pos;
      if (!ReadDigits(text, pos, maxDigits, *target)) return LVCalcNull();
      if (c == 'y') {
        hasYear = true;
        yearDigits = pos - start;
      }
      hasDate = hasDate || c == 'd' || c == 'm' || c == 'y';
    }
    i += run;
  }
  while (pos < text.size() && text[pos] == ' ') ++pos;
  if (pos != text.size()) return LVCalcNull();
  if (!hasDate) {
    return TimeOfDay(hour, minute, second + millisecond / 1000.0);
  }
  if (!hasYear) {
    year = DecodeDateTime(LVLocalNow()).year;
  } else if (yearDigits <= 2) {
    year += year < 50 ? 2000 : 1900;
  }
  auto date = EncodeDateTime(year, month, day, hour, minute, second, millisecond);
  return date ? *date : LVCalcNull();
}

double StrToDate(const TLVCalcArgs& args) {
  std::string_view text = args.String(0);
  if (LVCalcIsNull(text)) return LVCalcNull();
  if (args.Count() > 1 && !LVCalcIsNull(args.String(1)))
    return ParseByPattern(text, args.String(1));
  auto date = ParseDateTime(text, DefaultFormatSettings());
  return date ? *date : LVCalcNull();
}

std::string_view PatternArg(const TLVCalcArgs& args, int32_t index, const std::string& fallback) {
  return index < args.Count() && !LVCalcIsNull(args.String(index)) ? args.String(index)
                                                                   : std::string_view(fallback);
}

void DateToStr(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  TLVDateParts p;
  if (!Split(args.Number(0), p)) return result.SetNull();
  const TLVFormatSettings& fs = DefaultFormatSettings();
  result.Build() = FormatDateTime(PatternArg(args, 1, fs.shortDateFormat), args.Number(0), fs);
}

void DateTimeToStr(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  TLVDateParts p;
  if (!Split(args.Number(0), p)) return result.SetNull();
  const TLVFormatSettings& fs = DefaultFormatSettings();
  std::string& out = result.Build();
  out = FormatDateTime(PatternArg(args, 1, fs.shortDateFormat), args.Number(0), fs);
  out += ' ';
  out += FormatDateTime(PatternArg(args, 2, fs.longTimeFormat), args.Number(0), fs);
}

}  // namespace

void RegisterDateFunctions(TLVFunctionCollection& f) {
  constexpr uint32_t kNow = fnNullPropagates | fnVolatile;
  f.AddNumber(
      "Today", 0, 0, "", kDate, [](const TLVCalcArgs&) { return std::floor(LVLocalNow()); }, kNow);
  f.AddNumber(
      "Now", 0, 0, "", kDate, [](const TLVCalcArgs&) { return LVLocalNow(); }, kNow);
  f.AddNumber("Year", 1, 1, "N", kDate, PartOf<&TLVDateParts::year>);
  f.AddNumber("Month", 1, 1, "N", kDate, PartOf<&TLVDateParts::month>);
  f.AddNumber("Day", 1, 1, "N", kDate, PartOf<&TLVDateParts::day>);
  f.AddNumber("Hour", 1, 1, "N", kDate, PartOf<&TLVDateParts::hour>);
  f.AddNumber("Minute", 1, 1, "N", kDate, PartOf<&TLVDateParts::minute>);
  f.AddNumber("Second", 1, 1, "N", kDate, PartOf<&TLVDateParts::second>);
  f.AddNumber("Week", 1, 1, "N", kDate, IsoWeek);
  f.AddNumber("DayOfWeek", 1, 1, "N", kDate, DayOfWeek);
  f.AddNumber("DaysBetween", 2, 2, "N", kDate, DaysBetween);
  f.AddNumber("MonthsBetween,MothsBetween", 2, 2, "N", kDate,
              [](const TLVCalcArgs& a) { return MonthsBetween(a.Number(0), a.Number(1), 1); });
  f.AddNumber("YearsBetween", 2, 2, "N", kDate,
              [](const TLVCalcArgs& a) { return MonthsBetween(a.Number(0), a.Number(1), 12); });
  f.AddNumber("AddDay", 2, 2, "N", kDate, AddDaysKernel<1>);
  f.AddNumber("AddWeek", 2, 2, "N", kDate, AddDaysKernel<7>);
  f.AddNumber("AddMonth", 2, 2, "N", kDate, AddMonthsKernel<1>);
  f.AddNumber("AddQuarter", 2, 2, "N", kDate, AddMonthsKernel<3>);
  f.AddNumber("AddYear", 2, 2, "N", kDate, AddMonthsKernel<12>);
  f.AddNumber("EncodeDate", 3, 3, "N", kDate, EncodeDate);
  f.AddNumber("EncodeTime", 3, 3, "N", kDate, EncodeTime);
  f.AddNumber("EncodeDateTime", 6, 6, "N", kDate, EncodeDateTimeKernel);
  f.AddNumber("StartOfTheWeek", 1, 1, "N", kDate, StartOfTheWeek);
  f.AddNumber("StrToDate", 1, 2, "S", kDate, StrToDate, 0);
  f.AddString("DateToStr,dtos", 1, 2, "NS", kDate, DateToStr);
  f.AddString("DateTimeToStr,dttos", 1, 3, "NS", kDate, DateTimeToStr);
}

}  // namespace lv
