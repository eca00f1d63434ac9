#include "io/LV_TextValues.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

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

}  // namespace
}  // namespace lv
