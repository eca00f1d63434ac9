#include "app/LV_AppParams.h"

#include <gtest/gtest.h>

#include "LV_TestHelpers.h"
#include "core/text/LV_CodePage.h"
#include "core/text/LV_Errors.h"
#include "project/LV_Project.h"

namespace lv {
namespace {

TEST(AppParams, AFileSetsCodePageFormatsFolderAndPassword) {
  TLVAppParams params = ParseAppParams(
      "\xEF\xBB\xBF# ночной запуск\r\n"
      "ansicodepage = UTF-8\r\n"
      "; formats\n"
      "DecimalSeparator=.\n"
      "ThousandSeparator=\" \"\n"
      "ShortDateFormat=yyyy-mm-dd\n"
      "CacheFolder=/tmp/кэш\n"
      "BatchPassword=\"  пароль \"\"с кавычкой\"\"\"\n"
      "StrictProjectLoading=True\n",
      "night.ini");
  EXPECT_EQ(params.GetAnsiCodePage(), "UTF-8");
  EXPECT_EQ(params.GetDecimalSeparator(), '.');
  EXPECT_EQ(params.GetThousandSeparator(), ' ');
  EXPECT_EQ(params.GetShortDateFormat(), "yyyy-mm-dd");
  EXPECT_EQ(params.GetLongTimeFormat(), "hh:nn:ss");  // untouched
  EXPECT_EQ(params.GetCacheFolder(), "/tmp/кэш");
  EXPECT_EQ(params.GetBatchPassword(), "  пароль \"с кавычкой\"");

  TLVCodePage codePage = AnsiCodePage();
  TLVFormatSettings formats = DefaultFormatSettings();
  params.SetCacheFolder("");
  params.Apply();
  EXPECT_EQ(AnsiCodePage(), TLVCodePage::cpUTF8);
  EXPECT_EQ(DefaultFormatSettings().decimalSeparator, '.');
  // Projects opened from now on refuse settings they do not know.
  EXPECT_TRUE(StrictProjectLoading());
  EXPECT_TRUE(TLVProject().GetStrictLoading());
  SetAnsiCodePage(codePage);
  SetDefaultFormatSettings(formats);
  SetStrictProjectLoading(false);
}

TEST(AppParams, ABadLineNamesTheFileAndTheLine) {
  auto message = [](std::string_view text) {
    return test::MessageOf([&] { ParseAppParams(text, "p.ini"); });
  };
  EXPECT_EQ(message("\n\nColour=red"),
            "Ошибка в файле параметров приложения \"p.ini\", строка 3: неизвестный параметр "
            "\"Colour\"");
  EXPECT_NE(message("AnsiCodePage=866").find("строка 1: Неизвестная кодовая страница"),
            std::string::npos);
  EXPECT_NE(message("DecimalSeparator=,,").find("строка 1"), std::string::npos);
  EXPECT_NE(message("CacheFolder=a\ncachefolder=b").find("строка 2"), std::string::npos);
  EXPECT_NE(message("just text").find("ожидается запись"), std::string::npos);
  EXPECT_NE(message("BatchPassword=\"open").find("кавычк"), std::string::npos);
  EXPECT_THROW(LoadAppParams("/no/such/params.ini"), ELVError);
}

}  // namespace
}  // namespace lv
