// The parser and evaluator beyond single-line cases: messages, nesting limits,
// short-circuit evaluation, and the block evaluator checked against the row walk on
// random formulas and data.
#include "transform/formula/LV_FloatCLineParser.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <string>
#include <vector>

#include "LV_TestHelpers.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

std::string ErrorOf(std::string_view formula) {
  return test::MessageOf([&] { TLineParser().Parse(formula); });
}

TEST(LineParser, MessagesNameTheCulprit) {
  EXPECT_EQ(ErrorOf("1 +\n2 +\n\"open"), "В строке 3 имеется незакрытая строковая константа");
  EXPECT_EQ(ErrorOf("/* a\nb */ 1 +\n\"open"), "В строке 3 имеется незакрытая строковая константа");
  EXPECT_EQ(ErrorOf("Цена * 2"), "Некорректный символ \"Ц\"");
  EXPECT_EQ(ErrorOf("FOO(1)"), "Неизвестная функция: FOO");
  EXPECT_EQ(ErrorOf("1 + 2 *"), "Неправильное выражение: \"2*\"");
  EXPECT_EQ(ErrorOf("1 AND"), "Неправильное выражение: \"1 AND \"");
  EXPECT_EQ(ErrorOf("IsNull(1;2)"), "Неверное количество параметров функции IsNull");
  EXPECT_EQ(ErrorOf("(1"), "Неправильно расставлены скобки");
  EXPECT_EQ(ErrorOf("\"a\" + 1"), "Несовместимые типы");
}

TEST(LineParser, FormulaMaySpanLines) {
  TLineParser parser;
  parser.Parse("1 +\r\n\t2 // the rest\r\n+ 3");
  EXPECT_EQ(parser.EvaluateNumber(), 6);
}

TEST(LineParser, NestingIsBoundedNotRecursedToDeath) {
  const int depth = 100000;
  std::string nested;
  for (int i = 0; i < depth; ++i) nested += "(1+";
  nested += "1";
  nested += std::string(depth, ')');
  try {
    TLineParser parser;
    parser.Parse(nested);
    FAIL() << "parsed";
  } catch (const ENestingTooDeepError& e) {
    EXPECT_NE(std::string(e.what()).find("256"), std::string::npos);
  }
  // Redundant brackets cost no depth at all.
  TLineParser parser;
  parser.Parse(std::string(depth, '(') + "7" + std::string(depth, ')'));
  EXPECT_EQ(parser.EvaluateNumber(), 7);
  // A long flat chain is one level, however long.
  std::string chain = "1";
  for (int i = 0; i < 20000; ++i) chain += "+1";
  parser.Parse(chain);
  EXPECT_EQ(parser.EvaluateNumber(), 20001);
}

TEST(LineParser, FailedParseKeepsThePreviousFormula) {
  TLineParser parser;
  parser.Parse("2 * 21");
  EXPECT_THROW(parser.Parse("2 *"), EInvalidExpressionError);
  EXPECT_EQ(parser.Expression(), "2 * 21");
  EXPECT_EQ(parser.EvaluateNumber(), 42);
  EXPECT_FALSE(parser.Volatile());
  parser.Parse("1 - RAN DOM()");  // spaces are dropped before names are read
  EXPECT_TRUE(parser.Volatile());
}

TEST(LineParser, TextResultAsNumber) {
  TLineParser parser;
  parser.Parse("\"12\" + \"5\"");
  EXPECT_EQ(parser.EvaluateNumber(), 125);
  EXPECT_THROW(parser.RequireNumberResult(), EStringResultError);
  parser.Parse("\"x\"");
  EXPECT_TRUE(std::isnan(parser.EvaluateNumber()));
  parser.Parse("1 / 0");
  EXPECT_EQ(std::bit_cast<uint64_t>(parser.EvaluateNumber()), kLVCalcNullBits);
  EXPECT_EQ(parser.EvaluateString(), "");
  parser.Parse("2.5");
  EXPECT_EQ(parser.EvaluateString(), "2,5");
}

TEST(FunctionCollection, RefusesBadAndTakenNames) {
  TLVFunctionCollection base;
  auto kernel = [](const TLVCalcArgs&) { return 1.0; };
  base.AddNumber("One,Uno", 0, 0, "", TLVCalcFunctionGroup::fgHidden, kernel);
  TLVFunctionCollection own;
  own.SetBase(&base);
  EXPECT_EQ(test::MessageOf<EDuplicateFunctionError>(
                [&] { own.AddNumber("uno", 0, 0, "", TLVCalcFunctionGroup::fgHidden, kernel); }),
            "Функция с именем uno уже зарегистрирована");
  EXPECT_EQ(test::MessageOf<EInvalidFunctionNameError>(
                [&] { own.AddNumber("Two,2x", 0, 0, "", TLVCalcFunctionGroup::fgHidden, kernel); }),
            "Неверное имя функции 2x");
  EXPECT_EQ(own.Find("two"), nullptr);  // a refused function leaves nothing behind
  EXPECT_THROW(own.AddNumber("A,a", 0, 0, "", TLVCalcFunctionGroup::fgHidden, kernel),
               EDuplicateFunctionError);
  EXPECT_EQ(own.Find("ONE")->Name(), "One");
}

// A function that counts the rows it is computed for.
int gCalls = 0;

void AddCounting(TLineParser& parser) {
  parser.Functions().AddNumber(
      "Counted", 0, 0, "", TLVCalcFunctionGroup::fgHidden,
      [](const TLVCalcArgs&) {
        ++gCalls;
        return 1.0;
      },
      fnVolatile);
  parser.Variables().Add("X", TLVCalcKind::ckNumber);
}

TEST(LineParser, OperandsAreEvaluatedOnlyWhereNeeded) {
  struct TCase {
    const char* formula;
    int rowCalls;    // with X = 0
    int blockCalls;  // X = 0, 1, NULL, 2 in four rows
  };
  const TCase cases[] = {
      {"0 AND Counted()", 0, 0},
      {"X AND Counted()", 0, 3},
      {"X OR Counted()", 1, 2},
      {"IFF(X; Counted(); 5)", 0, 2},
      {"IFF(X; 5; Counted())", 1, 2},
      {"NVL(X; Counted())", 0, 1},
      {"DecodeN(X; 1; Counted(); 2; 7; Counted())", 1, 3},
      {"IN(X; 0; Counted())", 0, 3},
  };
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.formula);
    TLineParser parser;
    AddCounting(parser);
    parser.Parse(c.formula);
    gCalls = 0;
    parser.Variables()[0].SetNumber(0);
    parser.EvaluateNumber();
    EXPECT_EQ(gCalls, c.rowCalls);
    if (kLVBlockSize < 4) continue;
    const double x[] = {0, 1, LVCalcNull(), 2};
    TLVCalcVector input{TLVCalcKind::ckNumber, x, nullptr, 1};
    gCalls = 0;
    parser.EvaluateBlock(&input, {nullptr, 4});
    EXPECT_EQ(gCalls, c.blockCalls);
  }
}

// Random formulas over random rows: the block evaluator with a random selection must
// give bit for bit what the row walk gives.
class TFormulaGenerator {
 public:
  explicit TFormulaGenerator(uint32_t seed) : random_(seed) {}

  std::string Number(int depth) {
    int pick = Pick(depth > 3 ? 4 : 15);
    switch (pick) {
      case 0:
        return "X";
      case 1:
        return "Y";
      case 2:
        return std::to_string(Pick(5));
      case 3:
        return "Null()";
      case 4:
        return "(" + Number(depth + 1) + Op("+-*/") + Number(depth + 1) + Op("+-*/") +
               Number(depth + 1) + Op("+*") + Number(depth + 1) + ")";
      case 5:
        return "(" + Number(depth + 1) + Op("=!<>$%") + Number(depth + 1) + ")";
      case 6:
        return "(" + Text(depth + 1) + Op("=<>") + Text(depth + 1) + ")";
      case 7:
        return "(" + Number(depth + 1) + " AND " + Number(depth + 1) + ")";
      case 8:
        return "(" + Number(depth + 1) + " OR " + Number(depth + 1) + ")";
      case 9:
        return "(NOT " + Number(depth + 1) + " XOR " + Number(depth + 1) + ")";
      case 10:
        return "IFF(" + Number(depth + 1) + ";" + Number(depth + 1) + ";" + Number(depth + 1) + ")";
      case 11:
        return "NVL(" + Number(depth + 1) + ";" + Number(depth + 1) + ")";
      case 12:
        return "IN(" + Number(depth + 1) + ";" + Number(depth + 1) + ";" + Number(depth + 1) + ")";
      case 13:
        return "Round(Abs(" + Number(depth + 1) + "); 1) + Count(" + Text(depth + 1) + ")";
      default:
        return "DecodeN(" + Number(depth + 1) + ";1;" + Number(depth + 1) + ";" +
               Number(depth + 1) + ")";
    }
  }

  std::string Text(int depth) {
    switch (Pick(depth > 3 ? 3 : 7)) {
      case 0:
        return "S";
      case 1:
        return Pick(2) ? "\"a\"" : "\"\"";
      case 2:
        return "\"b\"";
      case 3:
        return "(" + Text(depth + 1) + "+" + Text(depth + 1) + ")";
      case 4:
        return "IF(" + Number(depth + 1) + ";" + Text(depth + 1) + ";" + Text(depth + 1) + ")";
      case 5:
        return "Concat(Upper(" + Text(depth + 1) + "); Left(" + Text(depth + 1) + "; 1))";
      default:
        return "Decode(" + Text(depth + 1) + ";\"a\";" + Text(depth + 1) + ")";
    }
  }

  int Pick(int n) { return static_cast<int>(random_() % static_cast<uint32_t>(n)); }

 private:
  std::string Op(std::string_view ops) {
    static const char* const kSpelled[] = {"=", "<>", "<", ">", "<=", ">="};
    char c = ops[static_cast<size_t>(Pick(static_cast<int>(ops.size())))];
    std::string_view all = "=!<>$%";
    size_t at = all.find(c);
    return at == std::string_view::npos ? std::string(1, c) : kSpelled[at];
  }

  std::mt19937 random_;
};

bool SameValue(const TLVCalcScalar& row, const TLVCalcVector& block, int32_t p) {
  if (block.IsString()) {
    std::string_view b = block.String(p);
    return row.textNull == LVCalcIsNull(b) && (row.textNull || row.text == b);
  }
  return std::bit_cast<uint64_t>(LVCalcNormalize(row.number)) ==
         std::bit_cast<uint64_t>(LVCalcNormalize(block.Number(p)));
}

TEST(LineParser, BlockEvaluationAgreesWithTheRowWalk) {
  TFormulaGenerator generator(20261122);
  const int32_t n = kLVBlockSize;
  std::vector<double> x(n), y(n);
  std::vector<std::string> storage(n);
  std::vector<std::string_view> s(n);
  const double values[] = {0, 1, 2, -1.5, LVCalcNull()};
  const char* const texts[] = {"a", "b", "", "ab"};
  for (int round = 0; round < 300; ++round) {
    for (int32_t p = 0; p < n; ++p) {
      x[p] = values[generator.Pick(5)];
      y[p] = values[generator.Pick(5)];
      int t = generator.Pick(5);
      storage[p] = t < 4 ? texts[t] : "";
      s[p] = t < 4 ? std::string_view(storage[p]) : std::string_view();
    }
    std::vector<int32_t> selected;
    for (int32_t p = 0; p < n; ++p) {
      if (generator.Pick(3) != 0) selected.push_back(p);
    }
    std::string formula = generator.Pick(4) == 0 ? generator.Text(0) : generator.Number(0);
    SCOPED_TRACE(formula);
    TLineParser parser;
    parser.Variables().Add("X", TLVCalcKind::ckNumber);
    parser.Variables().Add("Y", TLVCalcKind::ckNumber);
    parser.Variables().Add("S", TLVCalcKind::ckString);
    parser.Parse(formula);
    const TLVCalcVector inputs[] = {{TLVCalcKind::ckNumber, x.data(), nullptr, 1},
                                    {TLVCalcKind::ckNumber, y.data(), nullptr, 1},
                                    {TLVCalcKind::ckString, nullptr, s.data(), 1}};
    bool dense = generator.Pick(2) == 0;
    TLVSelection sel = dense ? TLVSelection{nullptr, n}
                             : TLVSelection{selected.data(), static_cast<int32_t>(selected.size())};
    TLVCalcVector block = parser.EvaluateBlock(inputs, sel);
    for (int32_t k = 0; k < sel.count; ++k) {
      const int32_t p = sel[k];
      parser.Variables()[0].SetNumber(x[p]);
      parser.Variables()[1].SetNumber(y[p]);
      parser.Variables()[2].SetText(s[p]);
      TLVCalcScalar row = parser.EvaluateValue();
      ASSERT_TRUE(SameValue(row, block, p)) << "row " << p;
    }
  }
}

}  // namespace
}  // namespace lv
