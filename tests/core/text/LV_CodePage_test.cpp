#include <gtest/gtest.h>

#include "core/text/LV_CodePage.h"

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

TEST(CodePage, Utf8ValidationKnowsEveryLeadByteAndRefusesOverlongForms) {
  // The shortest form of each length is valid, one code point below it is overlong.
  EXPECT_TRUE(IsValidUtf8("\xC2\x80"));           // U+0080
  EXPECT_TRUE(IsValidUtf8("\xE0\xA0\x80"));       // U+0800
  EXPECT_FALSE(IsValidUtf8("\xE0\x9F\xBF"));      // U+07FF in three bytes
  EXPECT_FALSE(IsValidUtf8("\xE0\x80\xAF"));      // '/' in three bytes
  EXPECT_TRUE(IsValidUtf8("\xF0\x90\x80\x80"));   // U+10000
  EXPECT_FALSE(IsValidUtf8("\xF0\x8F\xBF\xBF"));  // U+FFFF in four bytes
  EXPECT_FALSE(IsValidUtf8("\xF0\x80\x80\xAF"));  // '/' in four bytes
  EXPECT_TRUE(IsValidUtf8("\xF4\x8F\xBF\xBF"));   // U+10FFFF, the last one
  // F5 to FF never begin a character, whatever follows them.
  for (int lead = 0xF5; lead <= 0xFF; ++lead) {
    const std::string bytes = {static_cast<char>(lead), '\x88', '\x80', '\x80', '\x80'};
    EXPECT_FALSE(IsValidUtf8(bytes)) << lead;
    EXPECT_FALSE(IsValidUtf8(bytes.substr(0, 3))) << lead;
  }
  // Each byte of a sequence that no character begins with is replaced on its own.
  TLVCodePageDecoder utf8(TLVCodePage::cpUTF8);
  EXPECT_EQ(utf8.Decode("\xF8\x88\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(utf8.Decode("\xE0\x9F\xBFx"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDx");
}

}  // namespace
}  // namespace lv
