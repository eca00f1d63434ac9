#include "transform/filter/LV_FilterDates.h"

#include <gtest/gtest.h>

#include <cmath>

namespace lv {
namespace {

using U = TLVFirstLastDateListType;
using B = TLVFirstLastBaseDateType;

double Key(std::string_view text) {
  return FilterDateKey(*ParseFilterDate(text));
}

// The period as "from .. to" texts of whole days.
std::string Period(int32_t count, U unit, bool last, std::string_view base) {
  const TLVKeyInterval keys = ResolvePeriod({count, unit, B::bdtCustom}, last, Key(base));
  return FilterKeyText(keys.from).substr(0, 10) + " .. " + FilterKeyText(keys.to).substr(0, 10);
}

TEST(FilterDates, KeysFollowTimeOnBothSidesOf1899) {
  // Before 1899-12-30 the fraction counts forward within the day.
  EXPECT_LT(FilterDateKey(-1.25), FilterDateKey(-1.75));
  EXPECT_LT(FilterDateKey(-1.75), FilterDateKey(0));
  EXPECT_EQ(FilterDateKey(-0.5), FilterDateKey(0.5));
  EXPECT_EQ(FilterKeyText(FilterDateKey(-1.75)), "1899-12-29 18:00:00.000");
  // Keys are whole milliseconds, rounded as dates are shown.
  EXPECT_EQ(FilterDateKey(45000 + 0.4 / kLVMsPerDay), FilterDateKey(45000));
  EXPECT_EQ(FilterKeyText(FilterDateKey(45000.9999999999)), "2023-03-16 00:00:00.000");
  EXPECT_EQ(FilterKeyText(FilterDateKey(-1.9999999999)), "1899-12-30 00:00:00.000");
  // Outside years 1 to 9999 a date has no text, and counts as missing.
  EXPECT_TRUE(std::isnan(FilterDateKey(3e6)));
  EXPECT_TRUE(std::isnan(FilterDateKey(-700000)));
  EXPECT_TRUE(std::isnan(FilterDateKey(LVMissing())));
  EXPECT_FALSE(std::isnan(Key("0001-01-01")));
  EXPECT_FALSE(std::isnan(Key("9999-12-31 23:59:59.999")));

  for (const char* text : {"2024-02-29 23:59:59.999", "0001-01-01 00:00:00.000",
                           "1899-12-29 06:00:00.000", "1601-07-04 10:20:30.040"}) {
    EXPECT_EQ(FilterKeyText(Key(text)), text);
    EXPECT_EQ(FilterKeyToDays(Key(text)), *ParseFilterDate(text)) << text;
  }
  EXPECT_EQ(ParseFilterDate("2024-01-02T10:20"), ParseFilterDate("2024-01-02 10:20:00.000"));
  for (const char* bad : {"2024-02-30", "2024-1-1", "2024-01-01 24:00", "2024-01-01 10",
                          "2024-01-01 10:20:30.5", "2024-01-01x", "", "10000-01-01"}) {
    EXPECT_FALSE(ParseFilterDate(bad)) << bad;
  }
}

TEST(FilterDates, PeriodsCountWholeCalendarUnits) {
  // 2024-05-15 is a Wednesday; weeks begin on Monday.
  EXPECT_EQ(Period(1, U::fldWeek, true, "2024-05-15 18:00"), "2024-05-13 .. 2024-05-20");
  EXPECT_EQ(Period(2, U::fldWeek, true, "2024-05-19"), "2024-05-06 .. 2024-05-20");
  EXPECT_EQ(Period(2, U::fldWeek, false, "2024-05-13"), "2024-05-13 .. 2024-05-27");
  EXPECT_EQ(Period(1, U::fldWeek, true, "1899-12-30"), "1899-12-25 .. 1900-01-01");
  EXPECT_EQ(Period(1, U::fldDay, true, "2024-05-15 23:59"), "2024-05-15 .. 2024-05-16");
  EXPECT_EQ(Period(3, U::fldDay, false, "2024-02-28"), "2024-02-28 .. 2024-03-02");
  EXPECT_EQ(Period(3, U::fldMonth, true, "2024-01-31"), "2023-11-01 .. 2024-02-01");
  EXPECT_EQ(Period(14, U::fldMonth, false, "2024-01-31"), "2024-01-01 .. 2025-03-01");
  EXPECT_EQ(Period(2, U::fldQuarter, true, "2024-05-15"), "2024-01-01 .. 2024-07-01");
  EXPECT_EQ(Period(1, U::fldQuarter, false, "2024-12-31"), "2024-10-01 .. 2025-01-01");
  EXPECT_EQ(Period(1, U::fldYear, true, "2024-05-15"), "2024-01-01 .. 2025-01-01");
  EXPECT_EQ(Period(5, U::fldYear, false, "1898-03-01"), "1898-01-01 .. 1903-01-01");
  // Periods reaching past the years that have dates end there.
  const TLVKeyInterval far = ResolvePeriod({3, U::fldYear, B::bdtCustom}, false, Key("9999-06-01"));
  EXPECT_EQ(FilterKeyText(far.to), "9999-12-31 23:59:59.999");
  const TLVKeyInterval early =
      ResolvePeriod({30, U::fldDay, B::bdtCustom}, true, Key("0001-01-10"));
  EXPECT_EQ(FilterKeyText(early.from), "0001-01-01 00:00:00.000");
}

TEST(FilterDates, PluralFormsFollowTheLastTwoDigits) {
  const std::pair<int64_t, int> forms[] = {
      {1, 0},  {2, 1},  {4, 1},   {5, 2},   {11, 2},  {14, 2},   {20, 2},   {21, 0}, {22, 1},
      {25, 2}, {30, 2}, {101, 0}, {111, 2}, {112, 2}, {1000, 2}, {1001, 0}, {0, 2}};
  for (auto [count, form] : forms) EXPECT_EQ(FilterPluralForm(count), form) << count;
}

TEST(FilterDates, PeriodWordingAgreesWithCountAndGender) {
  auto wording = [](int32_t count, U unit, bool last, B base = B::bdtCurrent) {
    return DescribePeriod({count, unit, base, *ParseFilterDate("2024-03-01")}, last);
  };
  EXPECT_EQ(wording(1, U::fldDay, true), "последний 1 день от текущей даты");
  EXPECT_EQ(wording(2, U::fldDay, true), "последние 2 дня от текущей даты");
  EXPECT_EQ(wording(5, U::fldDay, false), "первые 5 дней от текущей даты");
  EXPECT_EQ(wording(11, U::fldDay, true), "последние 11 дней от текущей даты");
  EXPECT_EQ(wording(21, U::fldDay, true, B::bdtData), "последний 21 день от имеющихся данных");
  EXPECT_EQ(wording(22, U::fldMonth, false), "первые 22 месяца от текущей даты");
  EXPECT_EQ(wording(25, U::fldQuarter, true), "последние 25 кварталов от текущей даты");
  EXPECT_EQ(wording(111, U::fldYear, true), "последние 111 лет от текущей даты");
  EXPECT_EQ(wording(1, U::fldWeek, false), "первая 1 неделя от текущей даты");
  EXPECT_EQ(wording(21, U::fldWeek, true), "последняя 21 неделя от текущей даты");
  EXPECT_EQ(wording(3, U::fldWeek, true), "последние 3 недели от текущей даты");
  EXPECT_EQ(wording(1, U::fldYear, false, B::bdtCustom), "первый 1 год от 01.03.2024");
}

}  // namespace
}  // namespace lv
