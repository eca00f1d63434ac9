#include "transform/filter/LV_FilterDates.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "core/columns/LV_Convert.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

constexpr int64_t kMsPerDay = 86400000;
// 0001-01-01 and 9999-12-31 as day numbers.
constexpr int64_t kFirstDay = -693593;
constexpr int64_t kLastDay = 2958465;

int64_t FloorDiv(int64_t a, int64_t b) {
  int64_t q = a / b;
  return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

TLVDateParts DayParts(int64_t day) {
  return DecodeDateTime(static_cast<double>(day));
}

// The day number of the first day of month `month` (0-based, counted from year 0),
// held to the years that have dates.
int64_t MonthStartDay(int64_t month) {
  const int64_t year = FloorDiv(month, 12);
  if (year < 1) return kFirstDay;
  if (year > 9999) return kLastDay + 1;
  auto day = EncodeDateTime(static_cast<int>(year), static_cast<int>(month - year * 12) + 1, 1);
  return static_cast<int64_t>(*day);
}

// The first day of the unit that holds `day`, and the first day `shift` units away.
int64_t ShiftUnit(TLVFirstLastDateListType unit, int64_t day, int64_t shift) {
  using U = TLVFirstLastDateListType;
  switch (unit) {
    case U::fldDay:
      return day + shift;
    case U::fldWeek: {
      // Day 0 (1899-12-30) was a Saturday; weeks begin on Monday.
      const int64_t monday = day - (((day + 5) % 7) + 7) % 7;
      return monday + 7 * shift;
    }
    default: {
      const TLVDateParts p = DayParts(day);
      const int64_t months = unit == U::fldMonth ? 1 : unit == U::fldQuarter ? 3 : 12;
      const int64_t month = int64_t{p.year} * 12 + (p.month - 1);
      return MonthStartDay(month - month % months + months * shift);
    }
  }
}

double DayKey(int64_t day) {
  return std::clamp(static_cast<double>(day * kMsPerDay), kLVMinDateKey, kLVMaxDateKey);
}

enum class TGender : uint8_t { gMasculine, gFeminine };

TGender GenderOf(TLVFirstLastDateListType unit) {
  return unit == TLVFirstLastDateListType::fldWeek ? TGender::gFeminine : TGender::gMasculine;
}

}  // namespace

double FilterKeyToDays(double key) {
  const auto k = static_cast<int64_t>(key);
  const int64_t day = FloorDiv(k, kMsPerDay);
  const double fraction = static_cast<double>(k - day * kMsPerDay) / kLVMsPerDay;
  return day < 0 ? static_cast<double>(day) - fraction : static_cast<double>(day) + fraction;
}

std::string FilterKeyText(double key) {
  const auto k = static_cast<int64_t>(key);
  const int64_t day = FloorDiv(k, kMsPerDay);
  const int64_t ms = k - day * kMsPerDay;
  const TLVDateParts p = DayParts(day);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", p.year, p.month, p.day,
                static_cast<int>(ms / 3600000), static_cast<int>(ms / 60000 % 60),
                static_cast<int>(ms / 1000 % 60), static_cast<int>(ms % 1000));
  return text;
}

std::optional<double> ParseFilterDate(std::string_view text) {
  auto number = [&](size_t digits, int& value) {
    if (text.size() < digits) return false;
    value = 0;
    for (size_t i = 0; i < digits; ++i) {
      if (text[i] < '0' || text[i] > '9') return false;
      value = value * 10 + (text[i] - '0');
    }
    text.remove_prefix(digits);
    return true;
  };
  auto separator = [&](std::string_view allowed) {
    if (text.empty() || allowed.find(text.front()) == std::string_view::npos) return false;
    text.remove_prefix(1);
    return true;
  };
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, ms = 0;
  if (!number(4, year) || !separator("-") || !number(2, month) || !separator("-") ||
      !number(2, day)) {
    return std::nullopt;
  }
  if (!text.empty()) {
    if (!separator(" T") || !number(2, hour) || !separator(":") || !number(2, minute)) {
      return std::nullopt;
    }
    if (!text.empty() && (!separator(":") || !number(2, second))) return std::nullopt;
    if (!text.empty() && (!separator(".") || !number(3, ms))) return std::nullopt;
    if (!text.empty()) return std::nullopt;
  }
  auto days = EncodeDateTime(year, month, day);
  if (!days || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const double key =
      *days * kLVMsPerDay + hour * 3600000.0 + minute * 60000.0 + second * 1000.0 + ms;
  return FilterKeyToDays(key);
}

TLVKeyInterval ResolvePeriod(const TLVFilterPeriod& period, bool last, double baseKey) {
  const int64_t day = FloorDiv(static_cast<int64_t>(baseKey), kMsPerDay);
  const int64_t count = std::max<int64_t>(period.count, 1);
  if (last) {
    return {DayKey(ShiftUnit(period.unit, day, 1 - count)), DayKey(ShiftUnit(period.unit, day, 1))};
  }
  return {DayKey(ShiftUnit(period.unit, day, 0)), DayKey(ShiftUnit(period.unit, day, count))};
}

int FilterPluralForm(int64_t count) {
  const int64_t n = count < 0 ? -(count % 100) : count % 100;
  if (n >= 5 && n <= 20) return 2;
  const int64_t digit = n % 10;
  if (digit == 1) return 0;
  if (digit >= 2 && digit <= 4) return 1;
  return 2;
}

std::string DescribePeriod(const TLVFilterPeriod& period, bool last) {
  const int form = FilterPluralForm(period.count);
  std::string wordKey = last ? "SFilterLast" : "SFilterFirst";
  if (form != 0) {
    wordKey += "Plural";
  } else {
    wordKey += GenderOf(period.unit) == TGender::gFeminine ? "Feminine" : "Masculine";
  }
  static constexpr std::string_view kUnitFormKeys[] = {"", "SFilterUnitFew.", "SFilterUnitMany."};
  const std::string unit =
      form == 0 ? DisplayText(period.unit)
                : LVText(std::string(kUnitFormKeys[form]) + std::string(ValueName(period.unit)));
  const std::string from =
      period.base == TLVFirstLastBaseDateType::bdtCustom
          ? ValueToText(TLVValue::DateTime(period.customDate), DefaultFormatSettings())
          : DisplayText(period.base);
  return Format(LVText("SFilterPeriod"),
                {LVText(wordKey), std::to_string(period.count), unit, from});
}

void RegisterFilterDatesTexts() {
  auto& table = TLVLocalization::Instance();
  table.RegisterKeys({"SFilterPeriod", "SFilterFirstMasculine", "SFilterFirstFeminine",
                      "SFilterFirstPlural", "SFilterLastMasculine", "SFilterLastFeminine",
                      "SFilterLastPlural"});
  for (std::string_view unit : DescribeEnum(TLVFirstLastDateListType{}).valueNames) {
    table.RegisterKey("SFilterUnitFew." + std::string(unit));
    table.RegisterKey("SFilterUnitMany." + std::string(unit));
  }
}

}  // namespace lv
