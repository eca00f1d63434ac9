#include <gtest/gtest.h>

#include "core/LV_CodePage.h"

namespace lv {
namespace {

TEST(CodePage, CyrillicRoundTripsThroughBothSingleBytePages) {
  const std::string text = "Привет, мир! Ёё №5";
  TLVCodePageEncoder ansi(TLVCodePage::cpWindows1251);
  TLVCodePageEncoder oem(TLVCodePage::cpCP866);
  std::string inAnsi, inOem;
  ASSERT_TRUE(ansi.Append(text, inAnsi));
  ASSERT_TRUE(oem.Append(text, inOem));
  EXPECT_EQ(inAnsi.size(), 18u);
  EXPECT_EQ(static_cast<unsigned char>(inAnsi[0]), 0xCF);  // П in Windows-1251
  EXPECT_EQ(static_cast<unsigned char>(inOem[0]), 0x8F);   // П in CP866
  EXPECT_EQ(TLVCodePageDecoder(TLVCodePage::cpWindows1251).Decode(inAnsi), text);
  EXPECT_EQ(TLVCodePageDecoder(TLVCodePage::cpCP866).Decode(inOem), text);
}

TEST(CodePage, UnrepresentableTextIsRefusedNotReplaced) {
  TLVCodePageEncoder ansi(TLVCodePage::cpWindows1251);
  std::string out = "kept";
  EXPECT_FALSE(ansi.Append("日本", out));
  EXPECT_FALSE(ansi.Append("a\xC3", out));  // malformed UTF-8
  EXPECT_EQ(out, "kept");
  TLVCodePageEncoder utf8(TLVCodePage::cpUTF8);
  EXPECT_TRUE(utf8.Append("日本", out));
  EXPECT_FALSE(utf8.Append("\xED\xA0\x80", out));  // a surrogate
}

TEST(CodePage, MalformedUtf8BecomesReplacementCharacters) {
  TLVCodePageDecoder utf8(TLVCodePage::cpUTF8);
  EXPECT_EQ(utf8.Decode("ok \xD0\x9F"), "ok П");
  EXPECT_EQ(utf8.Decode("a\xFF"
                        "b"),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(utf8.Decode("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");  // overlong '/'
  EXPECT_EQ(utf8.Decode("end\xE2\x82"), "end\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_TRUE(IsValidUtf8("€𝄞"));
  EXPECT_FALSE(IsValidUtf8("\xF4\x90\x80\x80"));  // past U+10FFFF
}

}  // namespace
}  // namespace lv
