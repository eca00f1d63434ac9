// An add-in library built with the tests is loaded and its functions called from
// formulas; the records it gets wrong are refused one by one.
#include "transform/formula/LV_CalcPlugin.h"

#include <gtest/gtest.h>

#include "transform/formula/LV_FloatCLineParser.h"

namespace lv {
namespace {

TEST(CalcPlugin, LibraryFunctionsJoinTheLanguage) {
  TLVFunctionCollection functions;
  functions.SetBase(&LVCalcFunctions());
  std::vector<std::string> messages = LoadCalcPlugins(LV_TEST_PLUGIN_DIR, functions);
  // The second PlugHypot, the bad name and the record without an entry point.
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_NE(messages[0].find("Функция с именем PlugHypot уже зарегистрирована"), std::string::npos);
  EXPECT_NE(messages[1].find("Неверное имя функции 2bad"), std::string::npos);
  EXPECT_NE(messages[2].find("Нет ссылки на функцию"), std::string::npos);
  ASSERT_FALSE(LoadedCalcPlugins().empty());
  EXPECT_EQ(LoadedCalcPlugins().back().FunctionNames(),
            (std::vector<std::string>{"PlugHypot", "PlugReverse"}));
  EXPECT_EQ(functions.Find("plughypot")->Description(), "Гипотенуза");

  TLineParser parser;
  parser.Functions().SetBase(&functions);
  parser.Variables().Add("S", TLVCalcKind::ckString).SetText("абв");
  parser.Parse("PlugHypot(3; 4) + 1");
  EXPECT_EQ(parser.EvaluateNumber(), 6);
  parser.Parse("PlugReverse(\"" + std::string(200, 'x') + "y\")");
  EXPECT_EQ(parser.EvaluateString(), "y" + std::string(200, 'x'));
  parser.Parse("IsNull(PlugReverse(Null()))");
  EXPECT_EQ(parser.EvaluateNumber(), 1);  // Null() as text is a missing text; -1 is missing
  EXPECT_TRUE(LoadCalcPlugins("/nonexistent/folder", functions).empty());
}

}  // namespace
}  // namespace lv
