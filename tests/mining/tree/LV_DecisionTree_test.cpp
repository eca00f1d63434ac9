#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "../LV_MiningTestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "core/registry/LV_Vendor.h"
#include "mining/random/LV_Random.h"
#include "mining/tree/LV_DecisionTreeVendor.h"

namespace lv {
namespace {

constexpr auto kTeach = TLVDataSourceType::dstTeach;
constexpr auto kTest = TLVDataSourceType::dstTest;
using TColumns = std::vector<test::TTestTable::TColumn>;
using TRows = std::vector<std::vector<TLVValue>>;

TLVValue S(const char* text) {
  return TLVValue::String(text);
}

// The classic weather table, every attribute a category; "play" is the class.
std::shared_ptr<test::TTestTable> Weather() {
  const char* rows[][5] = {
      {"sunny", "hot", "high", "false", "no"},       {"sunny", "hot", "high", "true", "no"},
      {"overcast", "hot", "high", "false", "yes"},   {"rainy", "mild", "high", "false", "yes"},
      {"rainy", "cool", "normal", "false", "yes"},   {"rainy", "cool", "normal", "true", "no"},
      {"overcast", "cool", "normal", "true", "yes"}, {"sunny", "mild", "high", "false", "no"},
      {"sunny", "cool", "normal", "false", "yes"},   {"rainy", "mild", "normal", "false", "yes"},
      {"sunny", "mild", "normal", "true", "yes"},    {"overcast", "mild", "high", "true", "yes"},
      {"rainy", "mild", "high", "true", "no"},       {"overcast", "hot", "normal", "false", "yes"}};
  TRows table;
  for (const auto& row : rows)
    table.push_back({S(row[0]), S(row[1]), S(row[2]), S(row[3]), S(row[4])});
  return std::make_shared<test::TTestTable>(TColumns{{"outlook", TLVDataType::dtString},
                                                     {"temperature", TLVDataType::dtString},
                                                     {"humidity", TLVDataType::dtString},
                                                     {"windy", TLVDataType::dtString},
                                                     {"play", TLVDataType::dtString}},
                                            std::move(table));
}

// Noisy classes over a real x, an integer n and a category k: the class follows a few
// thresholds, and one row in `noise` gets a random class.
std::shared_ptr<test::TTestTable> Noisy(int rows, int noise, uint32_t seed = 7) {
  TLVRandom random(seed);
  TRows table;
  const char* classes[] = {"A", "B", "C"};
  const char* kinds[] = {"p", "q", "r"};
  for (int i = 0; i < rows; ++i) {
    const double x = 10 * random.Random();
    const auto n = static_cast<int32_t>(random.Random() * 20);
    const int k = static_cast<int>(random.Random() * 3);
    int c = x < 4 ? 0 : (n >= 12 ? 1 : (k == 2 ? 2 : 0));
    if (static_cast<int>(random.Random() * noise) == 0) c = static_cast<int>(random.Random() * 3);
    table.push_back({TLVValue::Float(x), TLVValue::Integer(n), S(kinds[k]), S(classes[c])});
  }
  return std::make_shared<test::TTestTable>(TColumns{{"x", TLVDataType::dtFloat},
                                                     {"n", TLVDataType::dtInteger},
                                                     {"k", TLVDataType::dtString},
                                                     {"cls", TLVDataType::dtString}},
                                            std::move(table));
}

// A model over `table` with the last column as the class and the others as inputs,
// trained on every row.
void Tune(TLVDecisionTreeHandler& model, std::shared_ptr<ILVDataSource> table, bool strict = true) {
  model.SetParentSource(table);
  TLVTunedNormDataSource& tuned = model.TunedNormDataSource();
  const int32_t last = tuned.Columns().Count() - 1;
  for (int32_t i = 0; i < last; ++i) tuned.Columns()[i].SetDataStatus(TLVDataStatus::dsInput);
  tuned.Columns()[last].SetDataStatus(TLVDataStatus::dsOutput);
  model.TeachDataSource().SetPercent(kTeach, 100);
  // The strict reading of the growth rules; NeedClearRules is tested on its own.
  model.TreeTeacher().SetNeedClearRules(!strict);
}

std::vector<std::string> RuleTexts(const TLVDecisionTree& tree) {
  std::vector<std::string> texts;
  for (const TLVTreeRule& rule : tree.Rules()) texts.push_back(tree.RuleText(rule));
  return texts;
}

TEST(TreeMeasures, EntropyGainRatioAndThresholdsByHand) {
  // The weather table at the root: 9 yes, 5 no; outlook splits 5 (2/3), 4 (4/0), 5 (3/2).
  const double info = TreeEntropy(std::vector<double>{9, 5});
  EXPECT_NEAR(info, 0.940286, 1e-6);
  const double weighted =
      (5 * TreeEntropy(std::vector<double>{2, 3}) + 4 * TreeEntropy(std::vector<double>{4, 0}) +
       5 * TreeEntropy(std::vector<double>{3, 2})) /
      14;
  const double si = TreeSplitInfo(std::vector<double>{5, 4, 5}, 14);
  EXPECT_NEAR(si, 1.577406, 1e-6);
  EXPECT_NEAR(TreeGainRatio(info - weighted, si), 0.156428, 1e-6);
  EXPECT_EQ(TreeEntropy(std::vector<double>{7, 0, 0}), 0.0);  // a pure node
  EXPECT_EQ(TreeGainRatio(0.5, 0), -1.0);                     // one branch: invalid
  EXPECT_EQ(test::ErrorKey([] {
              TreeEntropy(std::vector<double>{3, -1});
            }),
            "ErrTreeNegativeCount");

  EXPECT_EQ(TreeThreshold(3, 4, false), 3.5);
  EXPECT_EQ(TreeThreshold(3, 4, true), 4);  // 3.5 rounds half to even
  EXPECT_EQ(TreeThreshold(4, 5, true), 5);  // 4.5 rounds to 4, which is a: b instead
  EXPECT_EQ(TreeThreshold(2, 7, true), 4);  // 4.5 again, now inside the gap
  EXPECT_EQ(TreeThreshold(-3, -2, true), -2);
  EXPECT_EQ(test::ErrorText([] { TreeThreshold(1e308, 1.7e308, false); }),
            "Потеря точности при вычислении порога. Возможно в исходных данных содержаться "
            "очень большие числа");
  const double a = 1.0;
  EXPECT_EQ(test::ErrorKey([a] { TreeThreshold(a, std::nextafter(a, 2.0), false); }),
            "ErrTreeThresholdPrecision");
}

TEST(TreeMeasures, AddErrsInAllFourCasesAndTheConfidenceMapping) {
  EXPECT_NEAR(NormalQuantile(0.975), 1.959963984540054, 1e-14);
  EXPECT_NEAR(NormalQuantile(0.75), 0.6744897501960817, 1e-14);
  EXPECT_NEAR(NormalQuantile(1e-10), -6.361340902404056, 1e-11);
  const TLVPruneConfidence c = TreePruneConfidence(0.25);
  EXPECT_EQ(c.cf, 0.25);
  EXPECT_NEAR(c.coeff, 0.4549364231195727, 1e-14);
  // No error, a fraction of one, the last rows, and the normal bound.
  EXPECT_NEAR(TreeAddErrs(6, 0, c), 1.2377968440954012, 1e-12);
  EXPECT_NEAR(TreeAddErrs(6, 0.5, c), 1.2706517010318286, 1e-12);
  EXPECT_NEAR(TreeAddErrs(2, 1.6, c), 0.268, 1e-12);
  EXPECT_NEAR(TreeAddErrs(100, 10, c), 2.7496114511898675, 1e-12);
  EXPECT_NEAR(TreeAddErrs(14, 5, c), 1.7611198072729666, 1e-12);
  EXPECT_EQ(TreeAddErrs(0, 0, c), 0.0);
  // A zero confidence makes every row of the first two cases an error.
  const TLVPruneConfidence none = TreePruneConfidence(0);
  EXPECT_EQ(TreeAddErrs(6, 0, none), 6.0);
  EXPECT_EQ(TreeAddErrs(6, 0.5, none), 6.0);
  EXPECT_EQ(TreeAddErrs(100, 10, none), 90.0);
  // At one half and above no deviate is added; a higher confidence never adds more.
  EXPECT_EQ(TreePruneConfidence(0.5).coeff, 0.0);
  EXPECT_LT(TreeAddErrs(100, 10, TreePruneConfidence(0.4)), TreeAddErrs(100, 10, c));
  EXPECT_EQ(test::ErrorKey([] { TreePruneConfidence(1.5); }), "ErrTreeConfidenceLevel");
  EXPECT_EQ(test::ErrorKey([] { TreePruneConfidence(-0.1); }), "ErrTreeConfidenceLevel");
  EXPECT_EQ(test::ErrorKey([] { TreePruneConfidence(std::nan("")); }), "ErrTreeConfidenceLevel");
}

TEST(TreeMeasures, PruningPrefersALeafThenTheLargestBranchWithinATenth) {
  using A = TLVPruneAction;
  EXPECT_EQ(TreePruneAction(5.1, 5.0, 5.0, false), A::paLeaf);
  EXPECT_EQ(TreePruneAction(5.1, 5.0, 5.5, true), A::paLeaf);
  EXPECT_EQ(TreePruneAction(5.15, 5.0, 5.0, false), A::paLargestBranch);
  EXPECT_EQ(TreePruneAction(5.15, 5.0, 5.0, true), A::paKeep);  // the branch is a leaf
  EXPECT_EQ(TreePruneAction(5.0, 5.0, 4.85, false), A::paLargestBranch);
  EXPECT_EQ(TreePruneAction(6.0, 5.0, 5.1, false), A::paLargestBranch);
  EXPECT_EQ(TreePruneAction(6.0, 5.0, 5.15, false), A::paKeep);
}

TEST(DecisionTree, GrowsTheWeatherTreeByGainRatioAndWritesItsRules) {
  TLVDecisionTreeHandler model;
  Tune(model, Weather());
  std::vector<int32_t> created, leaves;
  model.TreeTeacher().OnNodeCreated = [&](const TLVTreeNode& n) { created.push_back(n.caseCount); };
  model.TreeTeacher().OnLeafCreated = [&](const TLVTreeNode& n) { leaves.push_back(n.caseCount); };
  model.Teach(nullptr);
  const TLVDecisionTree& tree = model.Tree();
  // outlook (0.156) narrowly beats humidity (0.152) at the root.
  ASSERT_EQ(tree.Tree().children.size(), 3u);
  EXPECT_EQ(tree.Attributes()[0].name, "outlook");
  EXPECT_EQ(tree.Tree().children[0].condition.inputColumnIndex, 0);
  EXPECT_NEAR(tree.Tree().entropy, 0.940286, 1e-6);
  EXPECT_EQ(tree.Tree().caseCount, 14);
  EXPECT_EQ(tree.ClassNames(), (std::vector<std::string>{"no", "yes"}));
  EXPECT_EQ(tree.Tree().decision, 1);
  EXPECT_EQ(RuleTexts(tree),
            (std::vector<std::string>{
                "ЕСЛИ outlook = overcast ТО play = yes (поддержка 4, достоверность 100,0%)",
                "ЕСЛИ outlook = rainy AND windy = false ТО play = yes (поддержка 3, достоверность "
                "100,0%)",
                "ЕСЛИ outlook = rainy AND windy = true ТО play = no (поддержка 2, достоверность "
                "100,0%)",
                "ЕСЛИ outlook = sunny AND humidity = high ТО play = no (поддержка 3, достоверность "
                "100,0%)",
                "ЕСЛИ outlook = sunny AND humidity = normal ТО play = yes (поддержка 2, "
                "достоверность 100,0%)"}));
  EXPECT_EQ(created, (std::vector<int32_t>{14, 4, 5, 3, 2, 5, 3, 2}));
  EXPECT_EQ(leaves, (std::vector<int32_t>{4, 3, 2, 3, 2}));
  const TLVDsTreeTeacherC45& teacher = model.TreeTeacher();
  EXPECT_EQ(teacher.NodesCount(), 8);
  EXPECT_EQ(teacher.LeafsCount(), 5);
  EXPECT_EQ(teacher.Result(kTeach).numberRecognized, 14);
  EXPECT_EQ(teacher.Result(kTeach).PercentRecognized(), 100.0);
  EXPECT_EQ(teacher.Result(kTest).PercentRecognized(), 0.0);  // an empty set
  // Pruning at the usual confidence keeps the weather tree; the estimate is its leaves'.
  auto leaf = [](double n) { return n * (1 - std::pow(0.25, 1 / n)); };
  EXPECT_NEAR(tree.ErrorEstimate(), leaf(4) + 2 * (leaf(3) + leaf(2)), 1e-12);
}

TEST(DecisionTree, DiscreteSplitsNeedMoreThanTwiceTheMinimumAndComeOncePerPath) {
  // Four rows that a category or a number would separate perfectly.
  auto table = [](bool numeric) {
    TRows rows;
    for (int i = 0; i < 4; ++i) {
      rows.push_back(
          {numeric ? TLVValue::Float(i / 2) : S(i < 2 ? "a" : "b"), S(i < 2 ? "X" : "Y")});
    }
    return std::make_shared<test::TTestTable>(
        TColumns{{"v", numeric ? TLVDataType::dtFloat : TLVDataType::dtString},
                 {"cls", TLVDataType::dtString}},
        std::move(rows));
  };
  TLVDecisionTreeHandler categories;
  Tune(categories, table(false));
  categories.TreeTeacher().SetPruneNodes(false);
  categories.Teach(nullptr);
  EXPECT_TRUE(categories.Tree().Tree().IsLeaf());  // 4 rows, not more than 2 x 2
  categories.TreeTeacher().SetMinCaseCount(1);
  categories.Teach(nullptr);
  EXPECT_EQ(categories.Tree().LeafCount(), 2);

  TLVDecisionTreeHandler numbers;
  Tune(numbers, table(true));
  numbers.TreeTeacher().SetPruneNodes(false);
  numbers.Teach(nullptr);
  EXPECT_EQ(numbers.Tree().LeafCount(), 2);
  EXPECT_EQ(numbers.Tree().Tree().children[0].condition.threshold, 0.5);

  // The noisy table grown without pruning: no path tests the category twice.
  TLVDecisionTreeHandler noisy;
  Tune(noisy, Noisy(600, 4));
  noisy.TreeTeacher().SetPruneNodes(false);
  noisy.Teach(nullptr);
  for (const TLVTreeRule& rule : noisy.Tree().Rules()) {
    int32_t tests = 0;
    for (const TLVTreeCondition& c : rule.path) tests += c.inputColumnIndex == 2 ? 1 : 0;
    EXPECT_LE(tests, 1);
  }
  // Every node that a category splits has more than 2 x MinCaseCount rows.
  auto check = [](auto& self, const TLVTreeNode& node) -> void {
    if (!node.IsLeaf() && node.children[0].condition.inputColumnIndex == 2) {
      EXPECT_GT(node.caseCount, 4);
    }
    for (const TLVTreeNode& child : node.children) {
      if (!child.IsLeaf()) {
        int32_t full = 0;
        for (const TLVTreeNode& c : child.children) full += c.caseCount >= 2 ? 1 : 0;
        EXPECT_GE(full, 2);
      }
      self(self, child);
    }
  };
  check(check, noisy.Tree().Tree());
}

TEST(DecisionTree, IntegerThresholdsAndTiesToTheFirstColumn) {
  // n is an integer column: 3 | 4 splits at 4, written as below 4 and 4 or more.
  TRows rows;
  for (int i = 0; i < 6; ++i) {
    const int32_t n = i < 3 ? 3 : 4;
    rows.push_back({TLVValue::Integer(n), TLVValue::Float(n), S(i < 3 ? "lo" : "hi")});
  }
  auto table = std::make_shared<test::TTestTable>(TColumns{{"n", TLVDataType::dtInteger},
                                                           {"f", TLVDataType::dtFloat},
                                                           {"cls", TLVDataType::dtString}},
                                                  std::move(rows));
  TLVDecisionTreeHandler model;
  Tune(model, table);
  model.Teach(nullptr);
  const TLVTreeNode& root = model.Tree().Tree();
  ASSERT_EQ(root.children.size(), 2u);
  // f splits as well as n: the first column keeps the place.
  EXPECT_EQ(root.children[0].condition.inputColumnIndex, 0);
  EXPECT_EQ(root.children[0].condition.threshold, 4);
  EXPECT_EQ(root.children[0].condition.conditionSign, TLVConditionSign::csLess);
  EXPECT_EQ(root.children[1].condition.conditionSign, TLVConditionSign::csGreaterOrEqual);
  EXPECT_EQ(RuleTexts(model.Tree())[0],
            "ЕСЛИ n < 4 ТО cls = lo (поддержка 3, достоверность 100,0%)");
  EXPECT_EQ(RuleTexts(model.Tree())[1],
            "ЕСЛИ n >= 4 ТО cls = hi (поддержка 3, достоверность 100,0%)");

  // With n out, the real column splits at the midpoint.
  model.TunedNormDataSource().Columns()[0].SetDataStatus(TLVDataStatus::dsUsable);
  model.Teach(nullptr);
  EXPECT_EQ(model.Tree().Tree().children[0].condition.threshold, 3.5);

  // Values too large to average fail with the precision message, keeping the model.
  TRows huge;
  for (int i = 0; i < 6; ++i) {
    huge.push_back(
        {TLVValue::Integer(i), TLVValue::Float(i < 3 ? 1e308 : 1.7e308), S(i < 3 ? "lo" : "hi")});
  }
  table->SetRows(std::move(huge));
  EXPECT_EQ(test::ErrorKey([&] { model.Teach(nullptr); }), "ErrTreeThresholdPrecision");
  EXPECT_EQ(model.Tree().Tree().children[0].condition.threshold, 3.5);
}

TEST(DecisionTree, PruningGrowsCoarserAsTheConfidenceFalls) {
  auto table = Noisy(1500, 3);
  int32_t previous = 0;
  std::vector<int32_t> leaves;
  for (double confidence : {0.001, 0.05, 0.25, 0.5, 1.0}) {
    TLVDecisionTreeHandler model;
    Tune(model, table);
    model.TreeTeacher().SetConfidenceLevel(confidence);
    model.Teach(nullptr);
    leaves.push_back(model.Tree().LeafCount());
    EXPECT_GE(leaves.back(), previous) << confidence;
    previous = leaves.back();
  }
  EXPECT_LT(leaves.front(), leaves.back());
  TLVDecisionTreeHandler unpruned;
  Tune(unpruned, table);
  unpruned.TreeTeacher().SetPruneNodes(false);
  int32_t progress = 0;
  unpruned.TreeTeacher().OnPruneProgress = [&](int32_t, int32_t) { ++progress; };
  unpruned.Teach(nullptr);
  EXPECT_GE(unpruned.Tree().LeafCount(), leaves.back());
  EXPECT_EQ(progress, 0);
  EXPECT_GT(unpruned.Tree().LeafCount(), leaves[2]);
}

TEST(DecisionTree, APureTableIsOneLeaf) {
  TRows rows;
  for (int i = 0; i < 10; ++i) rows.push_back({TLVValue::Float(i), S("same")});
  auto table = std::make_shared<test::TTestTable>(
      TColumns{{"x", TLVDataType::dtFloat}, {"cls", TLVDataType::dtString}}, std::move(rows));
  TLVDecisionTreeHandler model;
  Tune(model, table);
  model.Teach(nullptr);
  EXPECT_TRUE(model.Tree().Tree().IsLeaf());
  EXPECT_EQ(model.Tree().Tree().entropy, 0.0);
  EXPECT_EQ(
      RuleTexts(model.Tree()),
      std::vector<std::string>{"ЕСЛИ ИСТИНА ТО cls = same (поддержка 10, достоверность 100,0%)"});
}

// Whether a row of the noisy table meets a rule's conditions.
bool Meets(const TLVDecisionTree& tree, const TLVTreeRule& rule, ILVDataSource& data,
           TLVRowIndex row) {
  for (const TLVTreeCondition& c : rule.path) {
    const TLVTreeAttribute& attribute = tree.Attributes()[static_cast<size_t>(c.inputColumnIndex)];
    const int32_t column = data.GetColumnsInfo().IndexOfColumn(attribute.name);
    if (attribute.discrete) {
      if (std::string(data.GetValue(row, column).AsText()) !=
          attribute.valueNames[static_cast<size_t>(c.uniqueValueIndex)]) {
        return false;
      }
    } else if ((data.GetNumber(row, column) < c.threshold) !=
               (c.conditionSign == TLVConditionSign::csLess)) {
      return false;
    }
  }
  return true;
}

TEST(DecisionTree, RulesClassifyEveryRowAsTheExecutorAndSurviveReopening) {
  auto table = Noisy(800, 5);
  TLVDecisionTreeHandler model;
  Tune(model, table);
  model.TeachDataSource().SetPercent(kTeach, 70);
  model.TeachDataSource().SetPercent(kTest, 30);
  model.Teach(nullptr);
  const TLVDecisionTree& tree = model.Tree();
  const std::vector<TLVTreeRule> rules = tree.Rules();
  ASSERT_GT(rules.size(), 3u);
  ILVDataSource& out = *model.GetDataSourceIntf();
  const int32_t predicted = out.GetColumnsInfo().IndexOfColumn("cls_OUT");
  ASSERT_GE(predicted, 0);
  int64_t right = 0;
  for (TLVRowIndex row = 0; row < out.GetRowCount(); ++row) {
    int32_t matched = -1;
    for (size_t r = 0; r < rules.size(); ++r) {
      if (!Meets(tree, rules[r], *table, row)) continue;
      ASSERT_EQ(matched, -1) << "two rules meet row " << row;
      matched = static_cast<int32_t>(r);
    }
    ASSERT_GE(matched, 0) << row;
    ASSERT_EQ(std::string(out.GetValue(row, predicted).AsText()),
              rules[static_cast<size_t>(matched)].decision)
        << row;
    if (row < 560)
      right += out.GetValue(row, predicted).AsText() == table->GetValue(row, 3).AsText();
  }
  // The probability beside the class is the share of the class in the deciding leaf.
  const int32_t probability = out.GetColumnsInfo().IndexOfColumn("cls_PROB");
  ASSERT_EQ(probability, predicted + 2);
  for (TLVRowIndex row = 0; row < out.GetRowCount(); row += 37) {
    for (const TLVTreeRule& rule : rules) {
      if (!Meets(tree, rule, *table, row)) continue;
      EXPECT_DOUBLE_EQ(out.GetNumber(row, probability), rule.confidence) << row;
    }
  }
  const TLVDsTreeTeacherC45& teacher = model.TreeTeacher();
  EXPECT_EQ(teacher.Result(kTeach).rowCounts, 560);
  EXPECT_EQ(teacher.Result(kTeach).numberRecognized, right);
  EXPECT_EQ(teacher.Result(kTest).rowCounts, 240);
  // The confusion matrix adds up to its set, its diagonal to the recognised rows.
  int64_t sum = 0, diagonal = 0;
  for (size_t i = 0; i < 9; ++i) sum += teacher.Result(kTest).confusion[i];
  for (size_t i = 0; i < 9; i += 4) diagonal += teacher.Result(kTest).confusion[i];
  EXPECT_EQ(sum, 240);
  EXPECT_EQ(diagonal, teacher.Result(kTest).numberRecognized);
  const std::vector<std::string> details = model.TeachDetails();
  ASSERT_EQ(details.size(), 9u);
  EXPECT_TRUE(details[1].starts_with("Матрица ошибок (Обучающее множество): распознано "))
      << details[1];
  EXPECT_TRUE(details[2].starts_with("A: ")) << details[2];

  test::TMapSection saved;
  model.SaveSettingsTo(saved);
  TLVDecisionTreeHandler reopened;
  reopened.LoadSettingsFrom(saved);
  reopened.SetParentSource(table);
  EXPECT_EQ(reopened.Tree().Tree(), tree.Tree());
  EXPECT_EQ(reopened.Tree().Attributes(), tree.Attributes());
  EXPECT_EQ(RuleTexts(reopened.Tree()), RuleTexts(tree));
  EXPECT_EQ(reopened.TreeTeacher().GetMinCaseCount(), 2);
  EXPECT_EQ(reopened.TreeTeacher().Result(kTest).confusion, teacher.Result(kTest).confusion);
  EXPECT_EQ(reopened.TreeTeacher().LeafsCount(), teacher.LeafsCount());
  ILVDataSource& again = *reopened.GetDataSourceIntf();
  for (TLVRowIndex row = 0; row < out.GetRowCount(); ++row) {
    ASSERT_EQ(again.GetValue(row, predicted).AsText(), out.GetValue(row, predicted).AsText());
  }

  // A tree edited into nonsense is refused and the node stays as it was.
  test::TMapSection damaged;
  model.SaveSettingsTo(damaged);
  for (auto& [name, child] : damaged.children) {
    if (name != "Kernel") continue;
    for (auto& [inner, tree2] : child->children) {
      if (inner == "Tree") tree2->Put("ClassCounts", "1;2");
    }
  }
  EXPECT_THROW(reopened.LoadSettingsFrom(damaged), ELVError);
  EXPECT_EQ(reopened.Tree().Tree(), tree.Tree());
  // So is a kernel whose inputs are fewer than the attributes its tree tests.
  test::TMapSection narrowed;
  model.SaveSettingsTo(narrowed);
  for (auto& [name, child] : narrowed.children) {
    if (name == "Kernel") child->Put("InputWidth", "2");
  }
  EXPECT_THROW(reopened.LoadSettingsFrom(narrowed), ELVError);
  EXPECT_EQ(reopened.Tree().Attributes(), tree.Attributes());
}

TEST(DecisionTree, MissingValuesAreSpreadOverTheBranches) {
  // x decides the class (60 L at 1, 40 H at 9); ten L rows have no x and are spread
  // over the branches by the known rows: 50 : 40.
  TRows rows;
  for (int i = 0; i < 100; ++i) {
    const bool low = i % 5 < 3;
    rows.push_back(
        {i % 10 == 0 ? TLVValue::Null(TLVDataType::dtFloat) : TLVValue::Float(low ? 1 : 9),
         S(low ? "L" : "H")});
  }
  auto table = std::make_shared<test::TTestTable>(
      TColumns{{"x", TLVDataType::dtFloat}, {"cls", TLVDataType::dtString}}, std::move(rows));
  TLVDecisionTreeHandler model;
  Tune(model, table);
  model.Teach(nullptr);
  const TLVTreeNode& root = model.Tree().Tree();
  ASSERT_EQ(root.children.size(), 2u);
  EXPECT_EQ(model.TreeTeacher().DistributedCount(), 10);
  EXPECT_DOUBLE_EQ(root.children[0].caseCount, 50 + 10 * 5.0 / 9);
  EXPECT_DOUBLE_EQ(root.children[1].classCounts[1], 10 * 4.0 / 9);  // L rows among the H
  // A row without x gets the mixture of both leaves.
  std::vector<double> mixture(2);
  const double missing = LVMissing();
  model.Tree().Distribution(&missing, 1, mixture);
  EXPECT_NEAR(mixture[1], 0.6, 1e-12);
  EXPECT_NEAR(mixture[0], 0.4, 1e-12);
  int32_t decided = -1;
  double probability = 0;
  model.Tree().Classify(&missing, 1, 1, &decided, &probability);
  EXPECT_EQ(decided, 1);
  EXPECT_NEAR(probability, 0.6, 1e-12);
  // The executor shows the same for the rows without x.
  ILVDataSource& out = *model.GetDataSourceIntf();
  EXPECT_EQ(out.GetValue(0, 2).AsText(), "L");
  EXPECT_NEAR(out.GetNumber(0, 4), 0.6, 1e-12);

  // Gaps in every input make weights of many fractions: sums of them must not fail
  // the entropies, and every row still gets a class and a probability.
  auto noisy = Noisy(3000, 5, 11);
  TRows gappy;
  for (TLVRowIndex row = 0; row < noisy->GetRowCount(); ++row) {
    std::vector<TLVValue> values;
    for (int32_t column = 0; column < 4; ++column) {
      const bool gap = (column == 0 && row % 3 == 0) || (column == 2 && row % 7 == 1);
      values.push_back(gap ? TLVValue::Null(noisy->Columns()[column].GetDataType())
                           : noisy->GetValue(row, column));
    }
    gappy.push_back(std::move(values));
  }
  auto table2 = std::make_shared<test::TTestTable>(TColumns{{"x", TLVDataType::dtFloat},
                                                            {"n", TLVDataType::dtInteger},
                                                            {"k", TLVDataType::dtString},
                                                            {"cls", TLVDataType::dtString}},
                                                   std::move(gappy));
  TLVDecisionTreeHandler spread;
  Tune(spread, table2, false);
  spread.Teach(nullptr);
  EXPECT_GT(spread.TreeTeacher().DistributedCount(), 1000);
  EXPECT_GT(spread.TreeTeacher().Result(kTeach).PercentRecognized(), 60);
  ILVDataSource& result = *spread.GetDataSourceIntf();
  for (TLVRowIndex row = 0; row < result.GetRowCount(); ++row) {
    ASSERT_FALSE(result.IsNull(row, 4)) << row;
    ASSERT_GT(result.GetNumber(row, 6), 0.0) << row;
  }
}

TEST(DecisionTree, BadInputIsRefusedWithItsMessageAndTheModelKept) {
  auto table = Noisy(200, 5);
  TLVDecisionTreeHandler model;
  Tune(model, table);
  model.Teach(nullptr);
  const TLVTreeNode before = model.Tree().Tree();
  // A failed training puts back the node's objects: reach them afresh each time.
  auto column = [&model](int32_t i) -> TLVColumnInfo& {
    return model.TunedNormDataSource().Columns()[i];
  };
  TLVDsTreeTeacherC45& teacher = model.TreeTeacher();

  EXPECT_EQ(test::ErrorText([&] { teacher.SetMinCaseCount(0); }),
            "Минимальное количество примеров не может быть меньше 1");
  EXPECT_EQ(teacher.GetMinCaseCount(), 2);
  EXPECT_EQ(test::ErrorKey([&] { teacher.SetConfidenceLevel(1.01); }), "ErrTreeConfidenceLevel");
  EXPECT_EQ(teacher.GetConfidenceLevel(), 0.25);

  // A continuous class, two outputs, too few rows, an input with no value.
  column(3).SetDataStatus(TLVDataStatus::dsInput);
  column(0).SetDataStatus(TLVDataStatus::dsOutput);
  EXPECT_EQ(test::ErrorKey([&] { model.Teach(nullptr); }), "ErrTreeOutputNotDiscrete");
  column(3).SetDataStatus(TLVDataStatus::dsOutput);
  EXPECT_EQ(test::ErrorText([&] { model.Teach(nullptr); }),
            "Нормализованный выходной столбец может быть только один");
  column(0).SetDataStatus(TLVDataStatus::dsInput);
  model.TreeTeacher().SetMinCaseCount(150);
  EXPECT_EQ(test::ErrorText([&] { model.Teach(nullptr); }),
            "Обучающая выборка должна состоять как минимум из 300 примеров");
  EXPECT_EQ(model.Tree().Tree(), before);

  TRows empty;
  for (int i = 0; i < 20; ++i) {
    empty.push_back(
        {TLVValue::Float(i), TLVValue::Null(TLVDataType::dtFloat), S(i % 2 ? "a" : "b")});
  }
  TLVDecisionTreeHandler blank;
  Tune(blank, std::make_shared<test::TTestTable>(TColumns{{"x", TLVDataType::dtFloat},
                                                          {"gap", TLVDataType::dtFloat},
                                                          {"cls", TLVDataType::dtString}},
                                                 std::move(empty)));
  EXPECT_EQ(test::ErrorKey([&] { blank.Teach(nullptr); }), "ErrTreeInputEmpty");
  EXPECT_FALSE(blank.Tree().Trained());
}

TEST(DecisionTree, ClearRulesGrowNoMoreThanTheStrictReading) {
  auto table = Noisy(1500, 3);
  TLVDecisionTreeHandler strict, clear;
  Tune(strict, table, true);
  Tune(clear, table, false);
  for (TLVDecisionTreeHandler* model : {&strict, &clear}) {
    model->TreeTeacher().SetPruneNodes(false);
    model->Teach(nullptr);
  }
  EXPECT_LT(clear.Tree().LeafCount(), strict.Tree().LeafCount());
}

TEST(DecisionTree, IsInTheDataMiningCatalogue) {
  std::shared_ptr<TLVComponent> node = LVComponentVendors().CreateComponent("DecisionTree");
  EXPECT_NE(dynamic_cast<TLVDecisionTreeHandler*>(node.get()), nullptr);
}

}  // namespace
}  // namespace lv
