// Dates as the filter compares them, and the first/last periods of its conditions.
//
// A date value is days since 1899-12-30 with the time as fraction; before that day the
// fraction still counts forward within the day, so the number does not grow with time.
// The filter therefore compares dates by their key: whole milliseconds since
// 1899-12-30 00:00 in time order. Keys are whole numbers held exactly in a double, the
// query text writes them to the millisecond, and a database that stores the same
// text agrees with the in-memory comparison to the millisecond. Dates outside years
// 1 to 9999 have no text and count as missing.
//
// A period counts whole calendar units: days, weeks from Monday, months, quarters
// from January, April, July and October, years from January. "The last N" units end
// with the unit holding the base date and go back N units; "the first N" begin with
// that unit and go forward N units.
//
// Pure functions; the texts of the wording come from the text table.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "transform/filter/LV_FilterTypes.h"

namespace lv {

inline constexpr double kLVMsPerDay = 86400000.0;
// 0001-01-01 00:00:00.000 and 9999-12-31 23:59:59.999 as keys.
inline constexpr double kLVMinDateKey = -693593.0 * kLVMsPerDay;
inline constexpr double kLVMaxDateKey = 2958466.0 * kLVMsPerDay - 1;

// The key of a date value; NaN when the value is missing or outside years 1 to 9999.
// Inline: the filter computes it for every date it compares.
inline double FilterDateKey(double days) {
  // Outside this range no key is valid, and the conversions below stay defined.
  if (!(days > -693594.0 && days < 2958466.0)) return LVMissing();
  const auto whole = static_cast<int64_t>(days);
  const double fraction = days - static_cast<double>(whole);
  const auto ms = static_cast<int64_t>((fraction < 0 ? -fraction : fraction) * kLVMsPerDay + 0.5);
  const auto key = static_cast<double>(whole * 86400000 + ms);
  return key < kLVMinDateKey || key > kLVMaxDateKey ? LVMissing() : key;
}
// The date value of a key.
double FilterKeyToDays(double key);
// The key as "yyyy-mm-dd hh:nn:ss.zzz": the text of dates in query texts and in the
// stored compare values.
std::string FilterKeyText(double key);
// Reads "yyyy-mm-dd", optionally followed by " hh:nn", ":ss" and ".zzz" (a "T" may
// stand for the space); nullopt when the text is not such a date.
std::optional<double> ParseFilterDate(std::string_view text);

// A half-open interval of keys [from, to); empty when from >= to.
struct TLVKeyInterval {
  double from = 0;
  double to = 0;
};

// The keys of the period `period` counted from the date whose key is `baseKey`;
// `last` chooses the last N units instead of the first N.
TLVKeyInterval ResolvePeriod(const TLVFilterPeriod& period, bool last, double baseKey);

// 0, 1 or 2: which of the three Russian forms a count takes ("день", "дня", "дней").
int FilterPluralForm(int64_t count);
// "последние 3 месяца от текущей даты" and the like.
std::string DescribePeriod(const TLVFilterPeriod& period, bool last);

void RegisterFilterDatesTexts();

}  // namespace lv
