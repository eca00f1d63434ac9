#include <gtest/gtest.h>

#include "core/columns/LV_Convert.h"

namespace lv {
namespace {

TEST(Convert, DatesCountDaysFromTheEndOf1899) {
  EXPECT_EQ(EncodeDateTime(1899, 12, 30), 0.0);
  EXPECT_EQ(EncodeDateTime(1900, 1, 1), 2.0);
  EXPECT_EQ(EncodeDateTime(2000, 2, 29), 36585.0);
  EXPECT_EQ(EncodeDateTime(2024, 1, 1, 12), 45292.5);
  EXPECT_EQ(EncodeDateTime(1899, 12, 29, 6), -1.25);
  EXPECT_EQ(EncodeDateTime(2023, 2, 29), std::nullopt);
  EXPECT_EQ(EncodeDateTime(2023, 13, 1), std::nullopt);
  EXPECT_EQ(EncodeDateTime(2023, 1, 1, 24), std::nullopt);
  for (double days : {0.0, 45292.5, -1.25, 2958465.999988426, 12345.678}) {
    TLVDateParts p = DecodeDateTime(days);
    auto again = EncodeDateTime(p.year, p.month, p.day, p.hour, p.minute, p.second, p.millisecond);
    ASSERT_TRUE(again);
    EXPECT_NEAR(*again, days, 1e-8) << days;
  }
}

TEST(Convert, DateTextFollowsTheSettings) {
  TLVFormatSettings fs;
  double d = *EncodeDateTime(2024, 3, 7, 9, 5, 30);
  EXPECT_EQ(FormatDateTime(fs.shortDateFormat, d, fs), "07.03.2024");
  EXPECT_EQ(FormatDateTime("d/m/yy hh:nn:ss.zzz", d, fs), "7.3.24 09:05:30.000");
  EXPECT_EQ(ValueToText(TLVValue::DateTime(d), fs), "07.03.2024 09:05:30");
  EXPECT_EQ(ValueToText(TLVValue::DateTime(std::trunc(d)), fs), "07.03.2024");
  EXPECT_EQ(ParseDateTime("07.03.2024 09:05:30", fs), d);
  EXPECT_EQ(ParseDateTime(" 7.3.2024 ", fs), std::trunc(d));
  EXPECT_EQ(ParseDateTime("7.3.24", fs), std::trunc(d));
  EXPECT_EQ(ParseDateTime("7.3.99", fs), EncodeDateTime(1999, 3, 7));
  TLVFormatSettings us = fs;
  us.shortDateFormat = "mm/dd/yyyy";
  us.dateSeparator = '/';
  EXPECT_EQ(ParseDateTime("03/07/2024", us), std::trunc(d));
  EXPECT_EQ(FormatDateTime(us.shortDateFormat, d, us), "03/07/2024");
  for (const char* bad : {"", "31.02.2024", "7.3", "7.3.2024 25:00", "7.3.2024 10", "x.3.2024",
                          "7.3.2024 10:00:00 extra"}) {
    EXPECT_EQ(ParseDateTime(bad, fs), std::nullopt) << bad;
  }
}

TEST(Convert, NumbersAndBooleansUseTheNodeFormats) {
  TLVFormatSettings fs;
  EXPECT_EQ(ParseFloat("1,25", fs), 1.25);
  EXPECT_EQ(ParseFloat(" +3 ", fs), 3.0);
  EXPECT_EQ(ParseFloat("1.25", fs), std::nullopt);
  EXPECT_EQ(ParseFloat("1,2x", fs), std::nullopt);
  EXPECT_EQ(FloatToText(0.1, fs), "0,1");
  TLVFormatSettings dot = fs;
  dot.decimalSeparator = '.';
  EXPECT_EQ(ParseFloat("1.25e3", dot), 1250.0);
  EXPECT_EQ(TextToValue("2147483648", TLVDataType::dtInteger, fs), std::nullopt);
  EXPECT_EQ(TextToValue("-7", TLVDataType::dtInteger, fs)->AsInteger(), -7);
  EXPECT_EQ(TextToValue("TRUE", TLVDataType::dtBoolean, fs)->AsBoolean(), true);
  EXPECT_EQ(TextToValue("0", TLVDataType::dtBoolean, fs)->AsBoolean(), false);
  EXPECT_EQ(TextToValue("да", TLVDataType::dtBoolean, fs), std::nullopt);
  EXPECT_EQ(ValueToText(TLVValue::Boolean(true), fs), "True");
  EXPECT_EQ(ValueToText(TLVValue::Null(TLVDataType::dtFloat), fs), "");
}

TEST(Convert, BlocksConvertValueByValueAndReportLosses) {
  TLVBlock floats, out;
  floats.Reset(TLVDataType::dtFloat, std::min<int32_t>(3, kLVBlockSize));
  const double values[] = {2.5, 3e12, 0};
  for (int32_t i = 0; i < floats.Count(); ++i) {
    floats.Numbers()[i] = values[i];
    floats.Valid()[i] = i != 2;
  }
  bool allConverted = ConvertBlock(floats, TLVDataType::dtInteger, out, DefaultFormatSettings());
  EXPECT_EQ(out.Integers()[0], 2);  // ties round to even
  if (floats.Count() > 1) {
    EXPECT_FALSE(allConverted);
    EXPECT_TRUE(out.IsNull(1));
  }
  EXPECT_TRUE(ConvertBlock(floats, TLVDataType::dtString, out, DefaultFormatSettings()));
  EXPECT_EQ(out.Strings()[0], "2,5");
  EXPECT_TRUE(ConvertBlock(floats, TLVDataType::dtBoolean, out, DefaultFormatSettings()));
  EXPECT_EQ(out.Numbers()[0], 1.0);
}

}  // namespace
}  // namespace lv
