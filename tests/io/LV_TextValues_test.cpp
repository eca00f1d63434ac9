#include "io/LV_TextValues.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

namespace lv {
namespace {

TLVFormatSettings Formats(char decimal, std::string dateFormat, char dateSeparator) {
  TLVFormatSettings fs;
  fs.decimalSeparator = decimal;
  fs.shortDateFormat = std::move(dateFormat);
  fs.dateSeparator = dateSeparator;
  fs.trueText = "Да";
  fs.falseText = "нет";
  return fs;
}

// What `put` writes into a buffer of `room` characters.
template <class Put>
std::string Written(Put put, size_t room = TLVTextValueWriter::kMaxNumberLength) {
  std::string text(room, '\0');
  text.resize(static_cast<size_t>(put(text.data()) - text.data()));
  return text;
}

std::optional<double> Date(const TLVTextValueReader& reader, std::string_view text) {
  double days;
  return reader.ReadDateTime(text, days) ? std::optional(days) : std::nullopt;
}

TEST(TextValues, NumbersFollowTheNodesDecimalSeparator) {
  TLVTextValueReader comma(Formats(',', "dd.mm.yyyy", '.'));
  double v = 0;
  EXPECT_TRUE(comma.ReadFloat(" -12,5 ", v));
  EXPECT_EQ(v, -12.5);
  EXPECT_TRUE(comma.ReadFloat("+1,5e3", v));
  EXPECT_EQ(v, 1500);
  EXPECT_TRUE(comma.ReadFloat("-inf", v));
  EXPECT_TRUE(std::isinf(v));
  for (const char* bad : {"12.5", "1 000", "nan", "-NaN", "+-1", "", "1,5x", ","}) {
    EXPECT_FALSE(comma.ReadFloat(bad, v)) << bad;
  }
  TLVTextValueReader dot(Formats('.', "dd.mm.yyyy", '.'));
  EXPECT_TRUE(dot.ReadFloat("12.5", v));
  EXPECT_FALSE(dot.ReadFloat("12,5", v));

  int32_t i = 0;
  EXPECT_TRUE(comma.ReadInteger(" -2147483648 ", i));
  EXPECT_EQ(i, std::numeric_limits<int32_t>::min());
  EXPECT_TRUE(comma.ReadInteger("+007", i));
  EXPECT_EQ(i, 7);
  for (const char* bad : {"2147483648", "1,0", "1e3", "-", "99999999999999999999"}) {
    EXPECT_FALSE(comma.ReadInteger(bad, i)) << bad;
  }
}

TEST(TextValues, BooleansIgnoreCaseAndAcceptNumbers) {
  TLVTextValueReader reader(Formats(',', "dd.mm.yyyy", '.'));
  bool b = false;
  EXPECT_TRUE(reader.ReadBoolean("ДА", b));
  EXPECT_TRUE(b);
  EXPECT_TRUE(reader.ReadBoolean("Нет", b));
  EXPECT_FALSE(b);
  EXPECT_TRUE(reader.ReadBoolean("0,0", b));
  EXPECT_FALSE(b);
  EXPECT_TRUE(reader.ReadBoolean("-2", b));
  EXPECT_TRUE(b);
  EXPECT_FALSE(reader.ReadBoolean("true", b));
  EXPECT_FALSE(reader.ReadBoolean("Да ", b));
}

TEST(TextValues, DatesByTheNodesFormatThenBySystemRules) {
  const double day = *EncodeDateTime(2024, 2, 29);
  TLVTextValueReader ymd(Formats(',', "yyyy/mm/dd", '-'));
  EXPECT_EQ(Date(ymd, "2024-02-29"), day);
  EXPECT_EQ(Date(ymd, "2024-2-29 13:05"), *EncodeDateTime(2024, 2, 29, 13, 5));
  EXPECT_EQ(Date(ymd, " 2024-02-29   13:05:07.25 "), *EncodeDateTime(2024, 2, 29, 13, 5, 7, 250));
  // The system's format is the fall-back, and so is ISO with a T.
  EXPECT_EQ(Date(ymd, "29.02.2024"), day);
  EXPECT_EQ(Date(ymd, "2024-02-29T08:00:00"), *EncodeDateTime(2024, 2, 29, 8));
  // Two-digit years: below 50 in this century.
  TLVTextValueReader mdy(Formats(',', "m/d/yy", '/'));
  EXPECT_EQ(Date(mdy, "2/29/24"), day);
  EXPECT_EQ(Date(mdy, "12/31/99"), *EncodeDateTime(1999, 12, 31));
  // A format without separators is read by its widths.
  TLVTextValueReader packed(Formats(',', "yyyymmdd", '.'));
  EXPECT_EQ(Date(packed, "20240229"), day);
  EXPECT_EQ(Date(packed, "2024229"), std::nullopt);
  // A time alone is a fraction of a day.
  EXPECT_EQ(Date(packed, "18:00"), 0.75);
  for (const char* bad :
       {"30.02.2024", "2024-13-01", "29.02.2024 25:00", "29.02.2024x", "12", "", "29.02"}) {
    EXPECT_EQ(Date(ymd, bad), std::nullopt) << bad;
  }
}

TEST(TextValues, WrittenValuesReadBackExactly) {
  for (char decimal : {',', '.'}) {
    TLVFormatSettings fs = Formats(decimal, "dd.mm.yyyy", '.');
    TLVTextValueWriter writer(fs);
    TLVTextValueReader reader(fs);
    for (double x : {0.1 + 0.2, -1e-300, 123456789012345678.0, 1.0 / 3, -0.0, 5e-324,
                     std::numeric_limits<double>::max(), std::numeric_limits<double>::infinity()}) {
      const std::string text = Written([&](char* out) { return writer.PutFloat(x, out); });
      double back = 0;
      ASSERT_TRUE(reader.ReadFloat(text, back)) << text;
      EXPECT_EQ(std::signbit(back), std::signbit(x));
      EXPECT_EQ(back, x) << text;
    }
    for (double days : {*EncodeDateTime(2024, 2, 29), *EncodeDateTime(1900, 1, 1, 23, 59, 59, 999),
                        *EncodeDateTime(1, 1, 1), *EncodeDateTime(9999, 12, 31, 12),
                        *EncodeDateTime(1899, 12, 29, 6)}) {
      const std::string text = Written([&](char* out) { return writer.PutDateTime(days, out); },
                                       writer.MaxDateTimeLength());
      EXPECT_EQ(Date(reader, text), days) << text;
    }
  }
  TLVTextValueWriter writer(Formats(',', "dd.mm.yyyy", '.'));
  const double moment = *EncodeDateTime(2024, 3, 5, 7, 8, 9, 10);
  EXPECT_EQ(Written([&](char* out) { return writer.PutDateTime(moment, out); },
                    writer.MaxDateTimeLength()),
            "05.03.2024 07:08:09.010");
  EXPECT_EQ(Written([&](char* out) { return writer.PutFloat(-2.5, out); }), "-2,5");
  EXPECT_EQ(Written([&](char* out) { return writer.PutInteger(-7, out); }), "-7");
}

TEST(TextValues, FloatsAreWrittenAsTheLibrarysShortestText) {
  // Short decimals take a path of their own; every number must come out exactly as the
  // library's shortest form (with the node's decimal separator) would have it.
  uint64_t state = 42;
  auto next = [&] {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  };
  std::vector<double> values = {
      0.001,     0.0001, 1e5,     120000, 1125899906842623.0, 1125899906842624.0,
      0.1 + 0.2, 1e-15,  9.5e-16, 1.0 / 3};
  for (int i = 0; i < 100000; ++i) {
    const uint64_t bits = next();
    const double sign = bits & 1 ? -1.0 : 1.0;
    // Decimals of 0 to 17 places and up to 16 digits, integers with zeros at the end,
    // and any bit pattern at all.
    const auto places = static_cast<int>((bits >> 1) % 18);
    const auto digits = static_cast<int>((bits >> 6) % 16) + 1;
    const double mantissa =
        static_cast<double>(next() % static_cast<uint64_t>(std::pow(10, digits)));
    values.push_back(sign * mantissa / std::pow(10.0, places));
    values.push_back(sign * mantissa * std::pow(10.0, places % 8));
    double any;
    const uint64_t raw = next();
    std::memcpy(&any, &raw, sizeof any);
    if (std::isfinite(any)) values.push_back(any);
  }
  for (char decimal : {',', '.'}) {
    TLVTextValueWriter writer(Formats(decimal, "dd.mm.yyyy", '.'));
    for (double x : values) {
      char expected[64];
      std::string library(expected, std::to_chars(expected, expected + sizeof expected, x).ptr);
      for (char& c : library) c = c == '.' ? decimal : c;
      ASSERT_EQ(Written([&](char* out) { return writer.PutFloat(x, out); }), library);
    }
  }
}

// Calls `each(text, day, lastOfMonth)` for every day from 1 January `firstYear` to 31
// December `lastYear`: its dd.mm.yyyy text and its day number, counted on from the
// first day with the Gregorian leap-year rule.
template <class Each>
void ForEveryDay(int firstYear, int lastYear, Each each) {
  const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  double day = *EncodeDateTime(firstYear, 1, 1);
  char text[] = "dd.mm.yyyy";
  for (int year = firstYear; year <= lastYear; ++year) {
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    for (int month = 1; month <= 12; ++month) {
      const int last = lengths[month - 1] + (month == 2 && leap ? 1 : 0);
      for (int d = 1; d <= last; ++d, ++day) {
        const int parts[] = {d / 10,      d % 10,          month / 10,     month % 10,
                             year / 1000, year / 100 % 10, year / 10 % 10, year % 10};
        const int at[] = {0, 1, 3, 4, 6, 7, 8, 9};
        for (int k = 0; k < 8; ++k) text[at[k]] = static_cast<char>('0' + parts[k]);
        each(std::string_view(text), day, d == last);
      }
    }
  }
}

TEST(TextValues, EveryDayOfTheCalendarIsWrittenByItsDate) {
  TLVTextValueWriter writer(Formats(',', "dd.mm.yyyy", '.'));
  char written[32];
  ForEveryDay(1, 9999, [&](std::string_view expected, double day, bool) {
    const char* end = writer.PutDateTime(day, written);
    ASSERT_EQ(std::string_view(written, static_cast<size_t>(end - written)), expected);
  });
}

TEST(TextValues, EveryDayOfTheCalendarIsReadAsItsDay) {
  // Four centuries around the turns where the leap-year rule has its exceptions:
  // 1700, 1800, 1900 and 2100 have no 29 February, 1600, 2000 and 2400 do.
  TLVTextValueReader reader(Formats(',', "dd.mm.yyyy", '.'));
  int checked = 0;
  ForEveryDay(1596, 2404, [&](std::string_view text, double day, bool lastOfMonth) {
    ASSERT_EQ(Date(reader, text), day) << text;
    if (lastOfMonth) {
      // The day after the last one of the month is no date.
      std::string next(text);
      const int after = (next[0] - '0') * 10 + (next[1] - '0') + 1;
      next[0] = static_cast<char>('0' + after / 10);
      next[1] = static_cast<char>('0' + after % 10);
      ASSERT_EQ(Date(reader, next), std::nullopt) << next;
    }
    ++checked;
  });
  EXPECT_EQ(checked, 809 * 365 + 197);
  EXPECT_EQ(Date(reader, "29.02.1900"), std::nullopt);
  EXPECT_EQ(Date(reader, "29.02.2000"), *EncodeDateTime(2000, 2, 29));
}

}  // namespace
}  // namespace lv
