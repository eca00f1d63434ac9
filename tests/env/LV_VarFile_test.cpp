#include "env/LV_VarFile.h"

#include <gtest/gtest.h>

#include "core/text/LV_Errors.h"
#include "tests/env/LV_EnvTestHelpers.h"

namespace lv {
namespace {

using enum TLVEnvVarType;

TEST(VarFile, ReadsNamesTypesScopesAndQuotedValues) {
  const std::string text =
      "\xEF\xBB\xBF# variables of the nightly run\r\n"
      "; another comment\n"
      "\n"
      "Region=Север\r\n"
      "  Limit : Integer = 100 \n"
      "[Project]\n"
      "Rate:float=3,5\n"
      "Padded=\"  two  \"\n"
      "Quoted=\"say \"\"hi\"\"\"\n"
      "Empty=\n"
      "[ user ]\n"
      "When:dtDateTime=01.02.2025\n"
      "Url=http://host/?a=b";  // no line end at the end of the file
  auto entries = ParseVarFile(text, "nightly.var");
  ASSERT_EQ(entries.size(), 8u);
  struct TExpected {
    int32_t line;
    TLVEnvVarType scope;
    const char* name;
    TLVDataType type;
    const char* value;
  };
  const TExpected expected[] = {
      {4, evtUser, "Region", TLVDataType::dtString, "Север"},
      {5, evtUser, "Limit", TLVDataType::dtInteger, "100"},
      {7, evtProj, "Rate", TLVDataType::dtFloat, "3,5"},
      {8, evtProj, "Padded", TLVDataType::dtString, "  two  "},
      {9, evtProj, "Quoted", TLVDataType::dtString, "say \"hi\""},
      {10, evtProj, "Empty", TLVDataType::dtString, ""},
      {12, evtUser, "When", TLVDataType::dtDateTime, "01.02.2025"},
      {13, evtUser, "Url", TLVDataType::dtString, "http://host/?a=b"},
  };
  for (size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(entries[i].line, expected[i].line) << i;
    EXPECT_EQ(entries[i].scope, expected[i].scope) << i;
    EXPECT_EQ(entries[i].name, expected[i].name) << i;
    EXPECT_EQ(entries[i].type, expected[i].type) << i;
    EXPECT_EQ(entries[i].value, expected[i].value) << i;
  }

  // A variable the scope already has takes the file's type and value.
  TLVEnvVariables vars;
  vars.Add("limit", evtUser, "1");
  vars.Add("Region", evtProj, "Юг");
  ApplyVarFile(vars, entries);
  EXPECT_EQ(vars.Variables().Count(), 9);
  EXPECT_EQ(vars.Get("Limit").GetDataType(), TLVDataType::dtInteger);
  EXPECT_EQ(vars.Expand("%Region%-%Limit%"), "Север-100");
  EXPECT_EQ(vars.Get("Region", {evtProj}).GetTheValue(), "Юг");
  EXPECT_DOUBLE_EQ(vars.Get("Rate").AsFloat(), 3.5);
}

TEST(VarFile, ABadEntryIsReportedWithItsLineAndChangesNothing) {
  const struct {
    std::string text;
    int line;
    const char* says;
  } cases[] = {
      {"A=1\nno equals sign\n", 2, "ожидается запись вида ИМЯ=значение"},
      {"1A=x", 1, "Имя переменной \"1A\" не является правильным идентификатором"},
      {"=x", 1, "Имя переменной \"\" не является правильным идентификатором"},
      {"A:Money=1", 1, "неизвестный тип данных \"Money\""},
      {"A:=1", 1, "неизвестный тип данных \"\""},
      {"[Project\nA=1", 1, "заголовок раздела \"[Project\""},
      {"A=1\n\n[Company]", 3, "неизвестная область переменных \"Company\""},
      {"[System]", 1, "переменные области \"System\" заполняет сама программа"},
      {"[evtApp]", 1, "переменные области \"evtApp\" заполняет сама программа"},
      {"A:Integer=abc", 1,
       "Не удалось присвоить переменной с именем \"A\" значение \"abc\":\r\n"
       "  \"abc\" не является правильным целым числом"},
      {"A=1\n# comment\na=2", 3, "Переменная с именем \"a\" уже существует"},
      {"A=\"unterminated", 1, "значение в кавычках записано неверно"},
      {"A=\"x\"y\"", 1, "значение в кавычках записано неверно"},
      {"A=\"", 1, "значение в кавычках записано неверно"},
      {"A=ok\nB=\xC3\x28", 2, "строка содержит недопустимые символы"},
      {std::string("A=x\0y", 5), 1, "строка содержит недопустимые символы"},
  };
  for (const auto& c : cases) {
    try {
      ParseVarFile(c.text, "vars.txt");
      ADD_FAILURE() << c.text;
    } catch (const ELVError& e) {
      EXPECT_EQ(e.Key(), "ErrVarFileLine");
      std::string message = e.what();
      std::string head =
          "Ошибка в файле переменных \"vars.txt\", строка " + std::to_string(c.line) + ": ";
      EXPECT_TRUE(message.starts_with(head)) << message;
      EXPECT_NE(message.find(c.says), std::string::npos) << message;
    }
  }
  // The same name in two scopes is no clash.
  EXPECT_EQ(ParseVarFile("[Project]\nA=1\n[User]\nA=2", "vars.txt").size(), 2u);

  // Loading checks the whole file before it changes anything.
  test::TTempDir dir;
  test::WriteWholeFile(dir.Path() / "bad.var", "First=1\nSecond:Float=x\n");
  TLVEnvVariables vars;
  EXPECT_THROW(LoadVarFile(vars, dir.Path() / "bad.var"), ELVError);
  EXPECT_EQ(vars.Variables().Count(), 0);
}

TEST(VarFile, LoadsFromDiskAndNamesTheReasonWhenItCannot) {
  test::TTempDir dir;
  test::WriteWholeFile(dir.Path() / "run.var", "[Project]\nInput=%APPDIR%/in.csv\n");
  TLVEnvVariables vars;
  vars.Add("APPDIR", evtApp, "/srv");
  LoadVarFile(vars, dir.Path() / "run.var");
  // Values are kept as written; expanding a text does not expand the values again.
  EXPECT_EQ(vars.Get("Input").GetTheValue(), "%APPDIR%/in.csv");

  for (auto [path, reason] : {std::pair{dir.Path() / "missing.var", "файл или папка не существует"},
                              std::pair{dir.Path(), "это папка, а не файл"}}) {
    try {
      LoadVarFile(vars, path);
      ADD_FAILURE() << path;
    } catch (const ELVError& e) {
      EXPECT_EQ(e.Key(), "ErrVarFileOpen");
      EXPECT_EQ(std::string(e.what()),
                "Не удалось открыть файл переменных \"" + path.string() + "\": " + reason);
    }
  }
}

}  // namespace
}  // namespace lv
