// Kernels of the built-in functions called one row at a time, as the evaluator will;
// the formula cases in data/*.formulas are the main suite, these pin what is easiest to
// see in C++ (registration, numerics over grids, digests, limits).
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "LV_TestHelpers.h"
#include "core/columns/LV_Convert.h"
#include "transform/calc/LV_CalcDataFunctions.h"
#include "transform/formula/LV_CalcBuiltins.h"
#include "transform/formula/LV_CalcFunctions.h"
#include "transform/formula/LV_CalcHash.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

// One argument: a number or a text; std::nullopt of either kind is missing.
struct TArg {
  TArg(double value) : number(value) {}
  TArg(int value) : number(value) {}
  TArg(const char* value) : isText(true), text(value) {}
  static TArg NullText() {
    TArg arg("");
    arg.nullText = true;
    return arg;
  }
  double number = 0;
  bool isText = false;
  bool nullText = false;
  std::string text;
};

const TPFunction& Function(std::string_view name) {
  const TPFunction* f = LVCalcFunctions().Find(name);
  if (!f) throw std::runtime_error("no function " + std::string(name));
  return *f;
}

// Calls a function's kernel for one row with constant (stride 0) arguments.
class TCall {
 public:
  TCall(std::string_view name, std::vector<TArg> args)
      : f_(Function(name)), args_(std::move(args)) {
    numbers_.resize(args_.size());
    texts_.resize(args_.size());
    for (size_t i = 0; i < args_.size(); ++i) {
      TLVCalcVector v;
      v.stride = 0;
      if (args_[i].isText) {
        texts_[i] = args_[i].nullText ? std::string_view{} : std::string_view(args_[i].text);
        v.kind = TLVCalcKind::ckString;
        v.strings = &texts_[i];
      } else {
        numbers_[i] = args_[i].number;
        v.numbers = &numbers_[i];
      }
      vectors_.push_back(v);
    }
  }

  bool Propagates() const {
    if (!f_.Has(fnNullPropagates)) return false;
    for (const TArg& a : args_) {
      if (!a.isText && std::isnan(a.number)) return true;
    }
    return false;
  }

  double Number() {
    if (Propagates()) return LVCalcNull();
    return f_.numKernel(Args());
  }

  std::optional<std::string> Text() {
    if (Propagates()) return std::nullopt;
    TLVCalcStrResult result;
    f_.strKernel(Args(), result);
    if (LVCalcIsNull(result.Value())) return std::nullopt;
    return std::string(result.Value());
  }

 private:
  TLVCalcArgs Args() const {
    return TLVCalcArgs(f_, vectors_.data(), static_cast<int32_t>(vectors_.size()), nullptr);
  }
  const TPFunction& f_;
  std::vector<TArg> args_;
  std::vector<double> numbers_;
  std::vector<std::string_view> texts_;
  std::vector<TLVCalcVector> vectors_;
};

double Num(std::string_view name, std::vector<TArg> args) {
  return TCall(name, std::move(args)).Number();
}
std::optional<std::string> Str(std::string_view name, std::vector<TArg> args) {
  return TCall(name, std::move(args)).Text();
}

double Date(int y, int m, int d) {
  return *EncodeDateTime(y, m, d);
}

const double kNull = LVCalcNull();

TEST(CalcFunctions, RegistrationRefusesTakenAndBadNames) {
  TLVFunctionCollection& functions = LVCalcFunctions();
  auto kernel = [](const TLVCalcArgs&) { return 0.0; };
  EXPECT_EQ(test::MessageOf<EDuplicateFunctionError>(
                [&] { functions.AddNumber("Pi", 0, 0, "", TLVCalcFunctionGroup::fgMath, kernel); }),
            "Функция с именем Pi уже зарегистрирована");
  // An alias is taken as well, whatever its case.
  EXPECT_THROW(functions.AddNumber("MyFind,FINDEX", 0, 0, "", TLVCalcFunctionGroup::fgMath, kernel),
               EDuplicateFunctionError);
  EXPECT_EQ(test::MessageOf<EInvalidFunctionNameError>([&] {
              functions.AddNumber("1st", 0, 0, "", TLVCalcFunctionGroup::fgMath, kernel);
            }),
            "Неверное имя функции 1st");
  EXPECT_EQ(functions.Find("MyFind"), nullptr);
  // Start-up registers once; a second start-up must not try again (and so not throw).
  EXPECT_NO_THROW(BuiltinFunctionsStartup());
}

TEST(CalcFunctions, AliasesShareTheirFunction) {
  const std::vector<std::pair<const char*, const char*>> aliases = {
      {"MothsBetween", "MonthsBetween"},
      {"findEx", "Find"},
      {"strtran", "Replace"},
      {"ltrim", "TrimLeft"},
      {"rtrim", "TrimRight"},
      {"dtos", "DateToStr"},
      {"dttos", "DateTimeToStr"},
      {"EditDist", "LevDist"},
      {"LevenshteinDistance", "LevDist"},
      {"DamerauLevenshteinDistance", "DamLevDist"}};
  for (auto [alias, name] : aliases) {
    EXPECT_EQ(LVCalcFunctions().Find(alias), &Function(name)) << alias;
    EXPECT_EQ(Function(alias).Name(), name);
  }
  for (const char* hidden : {"avggeom", "reldev", "absdev", "EditDistArray"}) {
    EXPECT_EQ(Function(hidden).group, TLVCalcFunctionGroup::fgHidden) << hidden;
  }
  EXPECT_TRUE(Function("Random").Has(fnVolatile));
  EXPECT_TRUE(Function("Now").Has(fnVolatile));
  EXPECT_FALSE(Function("Concat").Has(fnNullPropagates));
}

TEST(CalcFunctions, RoundTakesDecimalHalvesAwayFromZero) {
  EXPECT_EQ(Num("Round", {2.5}), 3);
  EXPECT_EQ(Num("Round", {-2.5}), -3);
  EXPECT_EQ(Num("Round", {2.4999}), 2);
  EXPECT_DOUBLE_EQ(Num("Round", {2.675, 2}), 2.68);
  EXPECT_DOUBLE_EQ(Num("Round", {1.005, 2}), 1.01);
  EXPECT_DOUBLE_EQ(Num("Round", {-1.005, 2}), -1.01);
  EXPECT_EQ(Num("Round", {1250, -2}), 1300);
  EXPECT_EQ(Num("Round", {1e300, 2}), 1e300);
}

TEST(CalcFunctions, InvKhi2InvertsFKhi2) {
  for (double n : {1.0, 2.0, 3.0, 7.0, 30.0, 250.0}) {
    for (double x : {1e-4, 0.05, 0.7, 1.0, 2.5, 9.0, 20.0, 40.0, 200.0}) {
      double p = Num("FKhi2", {n, x});
      if (p > 1 - 1e-6 || p < 1e-300) continue;  // beyond what a probability can carry
      EXPECT_NEAR(Num("InvKhi2", {n, p}), x, 1e-9 * std::max(1.0, x)) << n << " " << x;
      EXPECT_NEAR(p + Num("PKhi2", {n, x}), 1, 1e-14);
    }
  }
  // Closed forms: two degrees of freedom, and the familiar 5 % point of one.
  EXPECT_NEAR(Num("FKhi2", {2, 3}), 1 - std::exp(-1.5), 1e-15);
  EXPECT_NEAR(Num("DKhi2", {2, 3}), 0.5 * std::exp(-1.5), 1e-15);
  EXPECT_NEAR(Num("InvKhi2", {1, 0.95}), 3.841458820694124, 1e-9);
  // A tail far below what 1 - FKhi2 could show: e^-100 (1 + 100 + 100^2/2! + ... + 100^4/4!).
  EXPECT_NEAR(Num("PKhi2", {10, 200}), 1.6139305336977305e-37, 1e-50);
  EXPECT_TRUE(std::isnan(Num("InvKhi2", {3, 1})));
  EXPECT_TRUE(std::isnan(Num("FKhi2", {0, 1})));
  EXPECT_EQ(Num("InvKhi2", {3, 0}), 0);
}

TEST(CalcFunctions, DateRules) {
  // ISO weeks at year ends, Monday = 1.
  EXPECT_EQ(Num("Week", {Date(2021, 1, 3)}), 53);
  EXPECT_EQ(Num("Week", {Date(2021, 1, 4)}), 1);
  EXPECT_EQ(Num("Week", {Date(2024, 12, 30)}), 1);
  EXPECT_EQ(Num("Week", {Date(2026, 12, 31) + 0.75}), 53);
  EXPECT_EQ(Num("DayOfWeek", {Date(2024, 1, 1)}), 1);
  EXPECT_EQ(Num("DayOfWeek", {Date(1899, 12, 24)}), 7);
  EXPECT_EQ(Num("StartOfTheWeek", {Date(2024, 1, 7) + 0.5}), Date(2024, 1, 1));
  // Month ends clamp, and the counts between dates follow the same rule either way round.
  EXPECT_EQ(Num("AddMonth", {Date(2024, 1, 31), 1}), Date(2024, 2, 29));
  EXPECT_EQ(Num("AddQuarter", {Date(2023, 11, 30), -1}), Date(2023, 8, 30));
  EXPECT_EQ(Num("AddYear", {Date(2020, 2, 29), 1}), Date(2021, 2, 28));
  EXPECT_EQ(Num("MonthsBetween", {Date(2024, 2, 29), Date(2024, 1, 31)}), 1);
  EXPECT_EQ(Num("MonthsBetween", {Date(2024, 1, 31), Date(2024, 2, 28)}), 0);
  EXPECT_EQ(Num("YearsBetween", {Date(2020, 2, 29), Date(2021, 2, 28)}), 1);
  EXPECT_EQ(Num("YearsBetween", {Date(2020, 3, 1), Date(2021, 2, 28)}), 0);
  EXPECT_EQ(Num("DaysBetween", {Date(2024, 3, 1) + 0.25, Date(2024, 2, 28) + 0.5}), 1);
  // Across the day count's zero the time runs the other way.
  EXPECT_EQ(Num("AddDay", {*EncodeDateTime(1899, 12, 29, 18), 1}),
            *EncodeDateTime(1899, 12, 30, 18));
  EXPECT_EQ(Num("DaysBetween", {*EncodeDateTime(1899, 12, 29, 18), 0.5}), 0);
  EXPECT_TRUE(std::isnan(Num("AddYear", {Date(9999, 6, 1), 1})));
  EXPECT_TRUE(std::isnan(Num("Year", {1e300})));
  EXPECT_TRUE(std::isnan(Num("EncodeDate", {2023, 2, 29})));
}

TEST(CalcFunctions, StrToDateByPattern) {
  EXPECT_EQ(Num("StrToDate", {"05.03.24", "DD.MM.YY"}), Date(2024, 3, 5));
  EXPECT_EQ(Num("StrToDate", {"5/3/1961/07:08:09", "DD/MM/YY/HH:NN:SS"}),
            *EncodeDateTime(1961, 3, 5, 7, 8, 9));
  EXPECT_EQ(Num("StrToDate", {"20240305", "YYYYMMDD"}), Date(2024, 3, 5));
  EXPECT_EQ(Num("StrToDate", {"05.03.2024"}), Date(2024, 3, 5));
  EXPECT_TRUE(std::isnan(Num("StrToDate", {"05-03-24", "DD.MM.YY"})));
  EXPECT_TRUE(std::isnan(Num("StrToDate", {"31.02.24", "DD.MM.YY"})));
  EXPECT_TRUE(std::isnan(Num("StrToDate", {TArg::NullText()})));
}

TEST(CalcFunctions, TextsCountCharactersNotBytes) {
  EXPECT_EQ(Str("Upper", {"ёжик in Москве"}), "ЁЖИК IN МОСКВЕ");
  EXPECT_EQ(Str("Lower", {"ЁЖИК IN МОСКВЕ"}), "ёжик in москве");
  EXPECT_EQ(Str("Left", {"Привет", 3}), "При");
  EXPECT_EQ(Str("Right", {"Привет", 2}), "ет");
  EXPECT_EQ(Str("SubStr", {"Привет", 2, 3}), "рив");
  EXPECT_EQ(Str("Stuff", {"Привет", 2, 3, "--"}), "П--ет");
  EXPECT_EQ(Num("Count", {"ёлка"}), 4);
  EXPECT_EQ(Num("Find", {"к", "ёлка ёлка", -1}), 8);
  EXPECT_EQ(Str("Left", {TArg::NullText(), 3}), std::nullopt);
  EXPECT_EQ(Str("Left", {"abc", kNull}), std::nullopt);
}

TEST(CalcFunctions, StrWritesWhatFloatToTextWrites) {
  for (double v : {0.0, -0.0, 1.0, -42.0, 0.1, 1.5, 123456789012345.0, 1e15, 1e16, 0.0001, 0.00001,
                   1.23e-7, 2.0 / 3, -1e300, 99999999999999.99}) {
    EXPECT_EQ(Str("Str", {v}), FloatToText(v, DefaultFormatSettings())) << v;
  }
  EXPECT_EQ(Str("StrZero", {-42, 5}), "-0042");
  EXPECT_EQ(Num("Val", {" 1.5 "}), 1.5);
  EXPECT_EQ(Num("Val", {"1,5"}), 1.5);
  EXPECT_TRUE(std::isnan(Num("Val", {"1,5x"})));
}

TEST(CalcFunctions, DigestsMatchStandardVectors) {
  std::string hex;
  auto md5 = [&](std::string_view s) {
    hex.clear();
    AppendHex(Md5Digest(s), hex);
    return hex;
  };
  auto sha1 = [&](std::string_view s) {
    hex.clear();
    AppendHex(Sha1Digest(s), hex);
    return hex;
  };
  EXPECT_EQ(md5(""), "D41D8CD98F00B204E9800998ECF8427E");
  EXPECT_EQ(md5("abc"), "900150983CD24FB0D6963F7D28E17F72");
  // 80 bytes: the padding spills into a second block.
  EXPECT_EQ(md5("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            "57EDF4A22BE3C955AC49DA2E2107B67A");
  EXPECT_EQ(sha1(""), "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709");
  EXPECT_EQ(sha1("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "84983E441C3BD26EBAAE4AA1F95129E5E54670F1");
  EXPECT_EQ(sha1(std::string(1000000, 'a')), "34AA973CD4C4DAA4F61EEB2BDBAD27316534016F");
  // The functions digest the ANSI bytes, not the UTF-8 ones.
  EXPECT_EQ(Str("MD5", {"Привет"}), "43A3F987A7AF93811B7682E43ED0752A");
  EXPECT_EQ(Str("SHA1", {"Ёлка"}), "66EC7062AE5925ED48D465C3E8706F3DCE04AAE8");
  EXPECT_EQ(Num("CRC32", {"123456789"}), 3421780262.0);
  EXPECT_EQ(Num("CRC32", {"Привет"}), 3495928863.0);
}

TEST(CalcFunctions, EditDistances) {
  EXPECT_EQ(Num("LevDist", {"kitten", "sitting"}), 3);
  EXPECT_EQ(Num("LevDist", {"CA", "ABC"}), 3);
  EXPECT_EQ(Num("DamLevDist", {"CA", "ABC"}), 2);  // not the restricted variant's 3
  EXPECT_EQ(Num("DamLevDist", {"ёлка", "ëлак"}), 2);
  EXPECT_EQ(Num("LevDist", {"", "абв"}), 3);
  EXPECT_EQ(Str("EditDistArray", {"kitten", "sitting"}), "R===R=I");
  std::string xs(5000, 'x'), ys(5000, 'y');
  EXPECT_THROW(Num("LevDist", {xs.c_str(), ys.c_str()}), EFunctionArgumentError);
}

TEST(CalcFunctions, RegularExpressions) {
  EXPECT_EQ(Num("RegExMatch", {"^\\w+$", "Привет"}), 1);
  // Empty matches advance one character and are counted once per place.
  EXPECT_EQ(Num("RegExMatchCount", {"x*", "axxb"}), 4);
  EXPECT_EQ(Str("RegExMatchedExp", {"\\d+", "a1b22c333", 3}), "333");
  EXPECT_EQ(Str("RegExMatchedExp", {"\\d+", "a1b22c333", 4}), std::nullopt);
  EXPECT_EQ(Str("RegExMatchedSubExp", {"(\\w)(\\d)?", "a1b", 2, 2}), std::nullopt);
  EXPECT_EQ(Str("RegExMatchedNamedSubExp", {"(?<y>\\d{4})-(?<m>\\d\\d)", "on 2024-03", "m"}), "03");
  EXPECT_EQ(Str("RegExReplace", {"\\d+", "a1b22c333", "<$0>", 2}), "a1b<22>c333");
  EXPECT_EQ(Str("RegExReplaceAll", {"(\\w+)@", "x@ y@", "$1#"}), "x# y#");
  EXPECT_EQ(Str("RegExEmail", {"пишите: ivan.petrov@mail.ru, info@почта.рф", 2}), "info@почта.рф");
  EXPECT_EQ(Str("RegExDomain", {"см. https://www.example.co.uk/path и a@b.ru, site.org", 2}),
            "site.org");
  EXPECT_THROW(Num("RegExMatch", {"(", "x"}), ERegExError);
  EXPECT_THROW(Str("RegExReplaceAll", {"a", "a", "$9"}), ERegExReplaceError);
  // The library's verdicts in Russian; a rare one keeps the library's text after ours.
  auto messageOf = [](auto&& call) { return test::MessageOf(call); };
  EXPECT_EQ(messageOf([] {
              Num("RegExMatch", {"a(b", "x"});
            }),
            "Ошибка в регулярном выражении \"a(b\": нет закрывающей скобки ) (4)");
  EXPECT_EQ(messageOf([] {
              Num("RegExMatch", {"*a", "x"});
            }),
            "Ошибка в регулярном выражении \"*a\": квантификатору не предшествует повторяемый "
            "элемент (1)");
  EXPECT_EQ(messageOf([] {
              Str("RegExReplaceAll", {"a", "a", "$9"});
            }),
            "Неверная строка замены \"$9\": ссылка на несуществующую группу");
  EXPECT_EQ(messageOf([] {
              Num("RegExMatch", {"(?<=a+)b", "x"});
            }),
            "Ошибка в регулярном выражении \"(?<=a+)b\": проверка назад (?<=...) должна иметь "
            "фиксированную длину (1)");
  EXPECT_TRUE(messageOf([] {
                Num("RegExMatch", {"(?z)", "x"});
              })
                  .starts_with("Ошибка в регулярном выражении \"(?z)\": ошибка библиотеки "
                               "регулярных выражений 111 ("));
  // Catastrophic backtracking stops at the limit instead of running for hours.
  std::string runaway(40, 'a');
  runaway += '!';
  EXPECT_THROW(Num("RegExMatch", {"^(a|aa)+$", runaway.c_str()}), ERegExLimitError);
}

TEST(CalcFunctions, FormatConvertsArgumentsToThePlaceholders) {
  EXPECT_EQ(Str("Format", {"%s-%s", "ab", 1.5}), "ab-1,5");
  EXPECT_EQ(Str("Format", {"%.3d|%5.1f|%x", 7, "2,26", 255}), "007|  2,3|FF");
  EXPECT_EQ(Str("Format", {"%1:s%0:s", "a", "b"}), "ba");
  EXPECT_EQ(Str("Format", {"%s", TArg::NullText()}), std::nullopt);
  EXPECT_EQ(test::MessageOf<EFormatFunctionError>([] {
              Str("Format", {"%d", "abc"});
            }),
            "Функция FORMAT имеет некорректную строку форматирования, либо аргументы имеют "
            "неверный тип: (%d)");
  EXPECT_THROW(Str("Format", {"%s %s", "a"}), EFormatFunctionError);
}

TEST(CalcFunctions, ModelForms) {
  EXPECT_DOUBLE_EQ(Num("ExpMovingAverage", {4, 4, 4}), 4);
  // Three values: a = 0.5, weights 1, 0.5, 0.25.
  EXPECT_DOUBLE_EQ(Num("ExpMovingAverage", {7, 0, 0}), 4);
  EXPECT_DOUBLE_EQ(Num("AutoRegression", {1, 2, 3, 4, 5}), 27);
  EXPECT_THROW(Num("ARMA", {1, 2, 3, 4}), ENumParameterError);
}

}  // namespace
}  // namespace lv

namespace lv {
namespace {

// The function reference in docs/formulas.md is what users read: every function the
// catalogue lists, under every name, must be there.
TEST(CalcFunctions, EveryListedFunctionIsDocumented) {
  std::ifstream file(std::string(LV_TEST_DATA_DIR) + "/../../../docs/formulas.md");
  ASSERT_TRUE(file);
  std::string docs((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const TLVFunctionCollection* collections[] = {&LVCalcFunctions(), &CalcDataFunctions()};
  for (const TLVFunctionCollection* functions : collections) {
    for (const auto& f : functions->Items()) {
      if (f->group == TLVCalcFunctionGroup::fgHidden) continue;
      for (const std::string& name : f->names) {
        EXPECT_NE(docs.find("`" + name + "`"), std::string::npos) << name;
      }
    }
  }
}

}  // namespace
}  // namespace lv

namespace lv {
namespace {

// data/function-arguments.txt transcribes the catalogue's argument column with the
// counts it allows; every registered function must be there and take exactly those.
TEST(CalcFunctions, ArgumentCountsFollowTheCatalogue) {
  std::ifstream file(std::string(LV_TEST_DATA_DIR) + "/function-arguments.txt");
  ASSERT_TRUE(file);
  std::map<std::string, std::pair<int32_t, int32_t>, std::less<>> listed;
  std::string line;
  while (std::getline(file, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> cells;
    for (size_t from = 0;;) {
      size_t bar = line.find('|', from);
      std::string cell = line.substr(from, bar == std::string::npos ? bar : bar - from);
      size_t first = cell.find_first_not_of(' ');
      cells.push_back(cell.substr(first, cell.find_last_not_of(' ') + 1 - first));
      if (bar == std::string::npos) break;
      from = bar + 1;
    }
    ASSERT_EQ(cells.size(), 4u) << line;
    listed[cells[0]] = {std::stoi(cells[2]), cells[3] == "*" ? -1 : std::stoi(cells[3])};
  }
  ASSERT_GT(listed.size(), 100u);
  size_t checked = 0;
  const TLVFunctionCollection* collections[] = {&LVCalcFunctions(), &CalcDataFunctions()};
  for (const TLVFunctionCollection* functions : collections) {
    for (const auto& f : functions->Items()) {
      auto it = listed.find(f->Name());
      if (it == listed.end()) {
        ADD_FAILURE() << f->Name() << " is not in function-arguments.txt";
        continue;
      }
      ++checked;
      EXPECT_EQ(f->minArgs, it->second.first) << f->Name();
      EXPECT_EQ(f->maxArgs, it->second.second) << f->Name();
    }
  }
  EXPECT_EQ(checked, listed.size()) << "a listed function is not registered";
}

}  // namespace
}  // namespace lv
