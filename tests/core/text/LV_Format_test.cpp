#include <gtest/gtest.h>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"

namespace lv {
namespace {

TEST(Format, IntegersWidthAndMinimumDigits) {
  EXPECT_EQ(Format("%d", {42}), "42");
  EXPECT_EQ(Format("%.4d", {42}), "0042");
  EXPECT_EQ(Format("%.4d", {-42}), "-0042");
  EXPECT_EQ(Format("%5d|%-5d|", {7, 7}), "    7|7    |");
  EXPECT_EQ(Format("%x", {255}), "FF");
  EXPECT_EQ(Format("%u", {-1}), "4294967295");
  EXPECT_EQ(Format("%*d", {4, 3}), "   3");
}

TEST(Format, RealsUseTheDecimalSeparatorOfTheSettings) {
  EXPECT_EQ(Format("%4.2f", {3.14159}), "3,14");
  EXPECT_EQ(Format("%f", {2.0}), "2,00");
  EXPECT_EQ(Format("%8.3f", {-1.5}), "  -1,500");
  EXPECT_EQ(Format("%n", {1234567.891}), "1 234 567,89");
  // Whole groups of three: no separator in front of the first group, with or without
  // a sign.
  EXPECT_EQ(Format("%n", {123.0}), "123,00");
  EXPECT_EQ(Format("%.0n", {123456.0}), "123 456");
  EXPECT_EQ(Format("%.1n", {-123456789.0}), "-123 456 789,0");
  EXPECT_EQ(Format("%n", {-999.5}), "-999,50");
  EXPECT_EQ(Format("%.0n", {1000.0}), "1 000");
  EXPECT_EQ(Format("%e", {12345.0}), "1,23450000000000E+004");
  EXPECT_EQ(Format("%.3e", {-0.00012}), "-1,20E-004");
  TLVFormatSettings dot;
  dot.decimalSeparator = '.';
  TLVFormatArg arg(0.5);
  EXPECT_EQ(FormatWith(dot, "%g", std::span(&arg, 1)), "0.5");
}

TEST(Format, GeneralIsShortestWithoutTrailingZeros) {
  EXPECT_EQ(Format("%g", {0.5}), "0,5");
  EXPECT_EQ(Format("%g", {100.0}), "100");
  EXPECT_EQ(Format("%g", {1.0 / 3}), "0,333333333333333");
  EXPECT_EQ(Format("%g", {1e20}), "1E20");
  EXPECT_EQ(Format("%g", {0.00001}), "0,00001");
  EXPECT_EQ(Format("%g", {0.000001}), "1E-6");
  EXPECT_EQ(Format("%g", {-2.5e-7}), "-2,5E-7");
  EXPECT_EQ(Format("%.3g", {1234.0}), "1,23E3");
  EXPECT_EQ(Format("%g", {0.0}), "0");
  EXPECT_EQ(Format("%g", {7}), "7");  // an integer where a real is expected
}

TEST(Format, TextsPrecisionCountsCharactersNotBytes) {
  EXPECT_EQ(Format("[%s]", {"абв"}), "[абв]");
  EXPECT_EQ(Format("[%.2s]", {"абв"}), "[аб]");
  EXPECT_EQ(Format("[%5s]", {"абв"}), "[  абв]");
  EXPECT_EQ(Format("[%-5s]", {"абв"}), "[абв  ]");
}

TEST(Format, PositionalArgumentsAndPercent) {
  EXPECT_EQ(Format("%1:s %0:s", {"мир", "привет"}), "привет мир");
  // After a positional specifier, unnumbered ones continue from the next argument.
  EXPECT_EQ(Format("%1:s %s %0:s", {"a", "b", "c"}), "b c a");
  EXPECT_EQ(Format("100%%", {}), "100%");
  EXPECT_EQ(Format("%0:s-%0:s", {"x"}), "x-x");
}

TEST(Format, MismatchedPatternRaisesConvertError) {
  for (auto [pattern, arg] : std::initializer_list<std::pair<const char*, TLVFormatArg>>{
           {"%d", TLVFormatArg("text")},
           {"%s", TLVFormatArg(1)},
           {"%d %d", TLVFormatArg(1)},
           {"%", TLVFormatArg(1)},
           {"%q", TLVFormatArg(1)},
           {"%5:s", TLVFormatArg("x")},
           {"%999999999d", TLVFormatArg(1)}}) {
    try {
      Format(pattern, std::span(&arg, 1));
      ADD_FAILURE() << pattern;
    } catch (const ELVConvertError& e) {
      EXPECT_EQ(e.Key(), "SInvalidFormat");
      EXPECT_NE(std::string(e.what()).find(pattern), std::string::npos);
    }
  }
}

TEST(Errors, CarryTheFormattedRussianTextOfTheirKey) {
  ELVError error("ErrDataSize", {"Цена", -5});
  EXPECT_EQ(error.Key(), "ErrDataSize");
  EXPECT_STREQ(error.what(), "Размер столбца \"Цена\" не может быть отрицательным (-5)");
  // A text whose placeholders do not fit the arguments is shown as it stands.
  ELVError loose("ErrDataSize", {});
  EXPECT_NE(std::string(loose.what()).find("%s"), std::string::npos);
}

TEST(Localization, EveryRegisteredKeyHasAText) {
  auto& table = TLVLocalization::Instance();
  EXPECT_GT(table.RegisteredKeys().size(), 100u);
  EXPECT_EQ(table.RegisteredKeysWithoutText(), std::vector<std::string>{});
}

TEST(Localization, ResourceSyntax) {
  TLVLocalization& table = TLVLocalization::Instance();
  table.Load("\xEF\xBB\xBF# comment\r\nA=first line\\nsecond\r\n;x=y\nB=C=D\n\n=no key\nbroken\n");
  EXPECT_EQ(table.Text("A"), "first line\nsecond");
  EXPECT_EQ(table.Text("B"), "C=D");
  EXPECT_FALSE(table.HasText("x"));
  EXPECT_FALSE(table.HasText("broken"));
  EXPECT_EQ(table.Text("Missing"), "[Missing]");
  table.Load(EmbeddedRussianTexts());
  EXPECT_EQ(table.Text("TLVDataType.dtFloat"), "Вещественный");
}

}  // namespace
}  // namespace lv
