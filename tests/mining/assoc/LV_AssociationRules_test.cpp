#include "mining/assoc/LV_AssociationRules.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <tuple>
#include <vector>

#include "LV_TestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "mining/assoc/LV_AssnRulesSortFilter.h"
#include "mining/assoc/LV_AssociationRulesTeacher.h"
#include "mining/random/LV_Random.h"

namespace lv {
namespace {

using TRows = std::vector<std::vector<TLVValue>>;

std::shared_ptr<test::TTestTable> Baskets(TRows rows, TLVDataType tidType = TLVDataType::dtInteger,
                                          TLVDataType itemType = TLVDataType::dtString) {
  return std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{
          {"tid", tidType}, {"item", itemType}, {"qty", TLVDataType::dtFloat}},
      std::move(rows));
}

std::vector<TLVValue> Row(int32_t tid, std::string_view item) {
  return {TLVValue::Integer(tid), TLVValue::String(item), TLVValue::Float(1)};
}

void Tune(TLVAssnRulesTunedSource& source, std::shared_ptr<ILVDataSource> table) {
  source.SetDataSource(std::move(table));
  source.Columns()[0].SetDataStatus(TLVDataStatus::dsTransactionID);
  source.Columns()[1].SetDataStatus(TLVDataStatus::dsItemID);
  for (int32_t c : {0, 1}) source.Columns()[c].SetDataKind(TLVDataKind::dkDiscrete);
}

std::vector<std::vector<int32_t>> AsLists(const TLVTransactions& transactions) {
  std::vector<std::vector<int32_t>> lists;
  for (int32_t t = 0; t < transactions.Count(); ++t) {
    lists.emplace_back(transactions[t].begin(), transactions[t].end());
  }
  return lists;
}

TEST(AssnRulesSource, TransactionsGatherTheItemsOfEachIdentifierInNameOrder) {
  // Rows of one transaction need not be together; an item bought twice counts once.
  TLVAssnRulesTunedSource source;
  Tune(source, Baskets({Row(7, "хлеб"), Row(3, "молоко"), Row(7, "масло"), Row(7, "хлеб"),
                        Row(3, "хлеб")}));
  const TLVTransactions transactions = source.BuildTransactions();
  EXPECT_EQ(transactions.ItemNames(), (std::vector<std::string>{"масло", "молоко", "хлеб"}));
  EXPECT_EQ(AsLists(transactions), (std::vector<std::vector<int32_t>>{{0, 2}, {1, 2}}));

  // Integer items are numbered by value, not by their text.
  TLVAssnRulesTunedSource numbers;
  Tune(numbers, std::make_shared<test::TTestTable>(
                    std::vector<test::TTestTable::TColumn>{{"t", TLVDataType::dtString},
                                                           {"i", TLVDataType::dtInteger}},
                    TRows{{TLVValue::String("a"), TLVValue::Integer(10)},
                          {TLVValue::String("b"), TLVValue::Integer(9)},
                          {TLVValue::String("a"), TLVValue::Integer(-1)}}));
  const TLVTransactions byValue = numbers.BuildTransactions();
  EXPECT_EQ(byValue.ItemNames(), (std::vector<std::string>{"-1", "9", "10"}));
  EXPECT_EQ(AsLists(byValue), (std::vector<std::vector<int32_t>>{{0, 2}, {1}}));
}

TEST(AssnRulesSource, BadInputIsRefusedWithItsMessage) {
  TLVAssnRulesTunedSource source;
  Tune(source, Baskets({Row(1, "a"), Row(2, "b")}));
  source.Columns()[2].SetDataStatus(TLVDataStatus::dsItemID);
  EXPECT_EQ(test::MessageOf([&] { source.BuildTransactions(); }),
            "Не верное количество столбцов назначения \"Элемент\"");
  source.Columns()[2].SetDataStatus(TLVDataStatus::dsUsable);
  source.Columns()[0].SetDataStatus(TLVDataStatus::dsUsable);
  EXPECT_EQ(test::MessageOf([&] { source.CheckColumns(); }),
            "Не верное количество столбцов назначения \"Транзакция\"");

  TLVAssnRulesTunedSource continuous;
  Tune(continuous, Baskets({Row(1, "a")}));
  continuous.Columns()[1].SetDataStatus(TLVDataStatus::dsUsable);
  continuous.Columns()[2].SetDataStatus(TLVDataStatus::dsItemID);
  EXPECT_EQ(test::MessageOf([&] { continuous.BuildTransactions(); }),
            "Вид данных должен быть дискретным");

  TLVAssnRulesTunedSource gaps;
  Tune(
      gaps,
      Baskets({Row(1, "a"),
               Row(2, "b"),
               {TLVValue::Integer(2), TLVValue::Null(TLVDataType::dtString), TLVValue::Float(1)}}));
  EXPECT_EQ(test::MessageOf([&] { gaps.BuildTransactions(); }),
            "Данные содержат пропущенные значения");

  TLVAssnRulesTunedSource oneBasket;
  Tune(oneBasket, Baskets({Row(1, "a"), Row(1, "b")}));
  EXPECT_EQ(test::MessageOf([&] { oneBasket.BuildTransactions(); }),
            "Слишком мало уникальных значений");
  TLVAssnRulesTunedSource oneItem;
  Tune(oneItem, Baskets({Row(1, "a"), Row(2, "a")}));
  EXPECT_EQ(test::KeyOf([&] { oneItem.BuildTransactions(); }), "ErrAssnTooFewUnique");
}

// --- the search against brute force ---

struct TExpected {
  std::map<std::vector<int32_t>, int32_t> sets;  // frequent set -> count
  // (condition, consequence) -> (support, confidence, lift)
  std::map<std::pair<std::vector<int32_t>, std::vector<int32_t>>,
           std::tuple<double, double, double>>
      rules;
};

int32_t CountOf(const std::vector<std::vector<int32_t>>& transactions,
                const std::vector<int32_t>& set) {
  int32_t count = 0;
  for (const auto& t : transactions) {
    count += std::includes(t.begin(), t.end(), set.begin(), set.end()) ? 1 : 0;
  }
  return count;
}

std::vector<int32_t> Pick(const std::vector<int32_t>& items, uint32_t mask) {
  std::vector<int32_t> picked;
  for (size_t i = 0; i < items.size(); ++i) {
    if ((mask >> i) & 1) picked.push_back(items[i]);
  }
  return picked;
}

// Every set over `items` items whose every non-empty subset has a support within the
// limits, and every split of those with a confidence within the limits.
TExpected BruteForce(const std::vector<std::vector<int32_t>>& transactions, int32_t items,
                     const TLVAssociationRulesTeacher& teacher) {
  const auto n = static_cast<double>(transactions.size());
  std::vector<int32_t> all(static_cast<size_t>(items));
  for (int32_t i = 0; i < items; ++i) all[static_cast<size_t>(i)] = i;
  std::map<uint32_t, int32_t> counts;
  for (uint32_t mask = 1; mask < (1u << items); ++mask)
    counts[mask] = CountOf(transactions, Pick(all, mask));
  auto within = [&](uint32_t mask) {
    const double support = counts[mask] / n;
    return support >= teacher.GetMinSupport() && support <= teacher.GetMaxSupport();
  };
  TExpected expected;
  for (uint32_t mask = 1; mask < (1u << items); ++mask) {
    const int power = std::popcount(mask);
    if (teacher.GetMaxItemSetPower() > 0 && power > teacher.GetMaxItemSetPower()) continue;
    bool frequent = true;
    for (uint32_t sub = mask; sub > 0 && frequent; sub = (sub - 1) & mask) frequent = within(sub);
    if (!frequent) continue;
    expected.sets[Pick(all, mask)] = counts[mask];
    for (uint32_t a = (mask - 1) & mask; a > 0; a = (a - 1) & mask) {
      const double confidence = static_cast<double>(counts[mask]) / counts[a];
      if (confidence < teacher.GetMinConfidence() || confidence > teacher.GetMaxConfidence())
        continue;
      const double lift = confidence / (counts[mask & ~a] / n);
      expected.rules[{Pick(all, a), Pick(all, mask & ~a)}] = {counts[mask] / n, confidence, lift};
    }
  }
  return expected;
}

void ExpectSameAsBruteForce(const TLVAssociationRules& model, const TExpected& expected,
                            const std::string& what) {
  std::map<std::vector<int32_t>, int32_t> found;
  for (const TLVAssnItemSet& set : model.LargeItemSets()) found[set.items] = set.supportCount;
  EXPECT_EQ(found, expected.sets) << what;
  ASSERT_EQ(model.Rules().size(), expected.rules.size()) << what;
  for (const TLVAssociationRule& rule : model.Rules()) {
    const auto& sets = model.LargeItemSets();
    const auto key = std::make_pair(sets[static_cast<size_t>(rule.antecedentSet)].items,
                                    sets[static_cast<size_t>(rule.consequentSet)].items);
    auto it = expected.rules.find(key);
    ASSERT_NE(it, expected.rules.end()) << what << " " << model.ItemSetText(key.first);
    const auto [support, confidence, lift] = it->second;
    EXPECT_DOUBLE_EQ(rule.support, support) << what;
    EXPECT_DOUBLE_EQ(rule.confidence, confidence) << what;
    EXPECT_NEAR(rule.lift, lift, 1e-12) << what;
    // The rule's own set is the union of its two sides.
    std::vector<int32_t> joined = key.first;
    joined.insert(joined.end(), key.second.begin(), key.second.end());
    std::sort(joined.begin(), joined.end());
    EXPECT_EQ(sets[static_cast<size_t>(rule.largeItemSet)].items, joined) << what;
  }
}

TLVTransactions RandomTransactions(TLVRandom& random, int32_t count, int32_t items,
                                   std::vector<std::vector<int32_t>>& lists) {
  TLVTransactions transactions;
  lists.clear();
  for (int32_t t = 0; t < count; ++t) {
    std::vector<int32_t> basket;
    // Low item numbers are common, high ones rare, so that sets of every power occur.
    for (int32_t i = 0; i < items; ++i) {
      if (random.Random() < 0.75 - 0.07 * i) basket.push_back(i);
    }
    transactions.Add(basket);
    lists.push_back(basket);
  }
  return transactions;
}

TEST(AssociationRulesTeacher, FindsExactlyTheSetsAndRulesThatBruteForceCounts) {
  TLVRandom random(77);
  struct TCase {
    double minSupport, maxSupport, minConfidence, maxConfidence;
    int32_t maxPower;
  };
  const std::vector<TCase> cases = {{0.05, 1, 0, 1, 0},      {0.2, 1, 0.6, 1, 0},
                                    {0.1, 0.6, 0.3, 0.9, 0}, {0.08, 1, 0.5, 1, 2},
                                    {0.3, 0.3, 0, 1, 0},     {0.01, 1, 0.95, 1, 0}};
  for (int round = 0; round < 12; ++round) {
    const TCase& c = cases[static_cast<size_t>(round) % cases.size()];
    const int32_t items = 6 + round % 4;
    std::vector<std::vector<int32_t>> lists;
    TLVAssociationRulesTeachDataSource data;
    data.SetTransactions(RandomTransactions(random, 40 + 13 * round, items, lists));
    TLVAssociationRules model;
    TLVAssociationRulesTeacher teacher;
    teacher.SetAssociationRules(&model);
    teacher.SetTeachDataSource(&data);
    teacher.SetMinSupport(c.minSupport);
    teacher.SetMaxSupport(c.maxSupport);
    teacher.SetMinConfidence(c.minConfidence);
    teacher.SetMaxConfidence(c.maxConfidence);
    teacher.SetMaxItemSetPower(c.maxPower);
    // Every third round uses tiny hash tables, so that candidates share chains and go
    // through deep nodes while they are counted.
    if (round % 3 == 2) teacher.HashTreeShape = {7, 2, 20000};
    teacher.Teach();
    ExpectSameAsBruteForce(model, BruteForce(lists, items, teacher),
                           "round " + std::to_string(round));
    EXPECT_EQ(model.GetState(), TLVKernelState::ksTrained);
    EXPECT_EQ(model.GetTransactionsCount(), static_cast<int32_t>(lists.size()));
  }
}

TLVTransactions Shop() {
  // 0 bread (6 of 8), 1 butter (6), 2 milk (5), 3 jam (2).
  TLVTransactions t;
  for (const std::vector<int32_t>& basket : std::vector<std::vector<int32_t>>{
           {0, 1}, {0, 1, 2}, {0, 2}, {0, 1, 3}, {2, 3}, {0, 1, 2}, {1, 2}, {0, 1}}) {
    t.Add(basket);
  }
  t.SetItemNames({"хлеб", "масло", "молоко", "джем"});
  return t;
}

struct TShopSearch {
  TLVAssociationRulesTeachDataSource data;
  TLVAssociationRules model;
  TLVAssociationRulesTeacher teacher;
  TShopSearch() {
    data.SetTransactions(Shop());
    teacher.SetAssociationRules(&model);
    teacher.SetTeachDataSource(&data);
    teacher.SetMinSupport(0.25);
    teacher.SetMinConfidence(0.5);
  }
};

TEST(AssociationRulesTeacher, StagesReportTheirProgressAndCandidates) {
  TShopSearch s;
  std::vector<std::tuple<int32_t, int32_t, int32_t>> found;
  s.teacher.OnCandidatesFindEvent = [&](TLVAssociationRulesTeacher& sender, int32_t power,
                                        int32_t candidates, int32_t frequent) {
    EXPECT_EQ(&sender, &s.teacher);
    found.emplace_back(power, candidates, frequent);
  };
  struct TStages : ILVProgress {
    std::vector<std::string> captions;
    void Start(std::string_view caption, int64_t) override { captions.emplace_back(caption); }
    void SetPosition(int64_t) override {}
    bool Cancelled() const override { return false; }
    void Finish() override {}
  } progress;
  s.teacher.Teach(&progress);
  // Pairs at 2/8 or more: bread-butter 5, bread-milk 3, butter-milk 3 (those with jam 1);
  // the triple bread-butter-milk 2.
  EXPECT_EQ(found, (std::vector<std::tuple<int32_t, int32_t, int32_t>>{
                       {1, 4, 4}, {2, 6, 3}, {3, 1, 1}, {4, 0, 0}}));
  EXPECT_EQ(s.model.Positions(), (std::vector<int32_t>{0, 4, 7, 8}));
  ASSERT_GE(progress.captions.size(), 6u);
  EXPECT_EQ(progress.captions[0], "Поиск одноэлементных часто встречающихся множеств");
  EXPECT_EQ(progress.captions[1], "Объединение часто встречающихся множеств");
  EXPECT_EQ(progress.captions[2], "Удаление избыточных часто встречающихся множеств");
  EXPECT_EQ(progress.captions[3], "Построение хеш-дерева");
  EXPECT_EQ(progress.captions[4], "Подсчет поддержки");
  EXPECT_EQ(progress.captions.back(), "Вычисление правил");
}

TEST(AssociationRulesTeacher, LimitsAreCheckedAndAFailedSearchKeepsTheModel) {
  TShopSearch s;
  s.teacher.Teach();
  const size_t rules = s.model.Rules().size();
  ASSERT_GT(rules, 0u);

  EXPECT_EQ(test::KeyOf([&] { s.teacher.SetMinSupport(0); }), "ErrAssnSupportRange");
  EXPECT_EQ(test::KeyOf([&] { s.teacher.SetMaxConfidence(1.5); }), "ErrAssnConfidenceRange");
  EXPECT_EQ(test::KeyOf([&] { s.teacher.SetMaxItemSetPower(-1); }), "ErrAssnMaxPower");
  EXPECT_EQ(s.teacher.GetMinSupport(), 0.25);

  s.teacher.SetMaxSupport(0.2);
  EXPECT_EQ(test::MessageOf([&] { s.teacher.Teach(); }),
            "Минимальная поддержка должна быть не больше максимальной поддержки");
  s.teacher.SetMaxSupport(0.25);  // equal limits are accepted
  s.teacher.Teach();
  for (const TLVAssnItemSet& set : s.model.LargeItemSets()) EXPECT_EQ(set.supportCount, 2);
  // Jam alone: bread-butter-milk has subsets above the limit.
  EXPECT_EQ(s.model.LargeItemSets().size(), 1u);

  s.teacher.SetMaxSupport(1);
  s.teacher.Teach();
  s.teacher.SetMinConfidence(0.9);
  s.teacher.SetMaxConfidence(0.8);
  EXPECT_EQ(test::MessageOf([&] { s.teacher.Teach(); }),
            "Минимальная достоверность должна быть не больше максимальной достоверности");
  s.teacher.SetMinConfidence(0.5);
  s.teacher.SetMaxConfidence(1);

  // Candidate trees that cannot hold two sets in one slot stop the search.
  s.teacher.HashTreeShape = {2, 1, 0};
  EXPECT_EQ(test::MessageOf([&] { s.teacher.Teach(); }),
            "Слишком много часто встречающихся множеств, увеличьте минимальную или уменьшите "
            "максимальную поддержку.");
  EXPECT_EQ(s.model.Rules().size(), rules);
  EXPECT_EQ(s.model.GetState(), TLVKernelState::ksTrained);

  TLVAssociationRulesTeacher bare;
  EXPECT_EQ(test::MessageOf([&] { bare.Teach(); }), "Нет ссылки на источник данных");
  bare.SetTeachDataSource(&s.data);
  EXPECT_EQ(test::MessageOf([&] { bare.Teach(); }), "Нет ссылки на ассоциативные правила");
}

TEST(AssociationRules, SavedModelReopensWithEveryRuleAndLookup) {
  TShopSearch s;
  s.teacher.Teach();
  test::TMapSection saved;
  s.model.SaveTo(saved);
  TLVAssociationRules reopened;
  reopened.LoadFrom(saved);
  ASSERT_EQ(reopened.Rules().size(), s.model.Rules().size());
  for (size_t i = 0; i < reopened.Rules().size(); ++i) {
    const TLVAssociationRule& a = reopened.Rules()[i];
    const TLVAssociationRule& b = s.model.Rules()[i];
    EXPECT_EQ(std::tie(a.largeItemSet, a.antecedentSet, a.consequentSet),
              std::tie(b.largeItemSet, b.antecedentSet, b.consequentSet));
    EXPECT_EQ(a.support, b.support);
    EXPECT_EQ(a.confidence, b.confidence);
    EXPECT_DOUBLE_EQ(a.lift, b.lift);
  }
  EXPECT_EQ(reopened.Positions(), s.model.Positions());
  EXPECT_EQ(reopened.ItemNames(), s.model.ItemNames());
  EXPECT_EQ(reopened.GetState(), TLVKernelState::ksTrained);
  EXPECT_EQ(reopened.GetMinSupport(), 0.25);
  EXPECT_EQ(reopened.GetTransactionsCount(), 8);
  EXPECT_EQ(reopened
                .LargeItemSets()[static_cast<size_t>(
                    reopened.RequireIndexOf(std::vector<int32_t>{0, 1, 2}))]
                .supportCount,
            2);
  EXPECT_EQ(reopened.RequireItem(3), 3);
  EXPECT_EQ(test::MessageOf([&] {
              reopened.RequireIndexOf(std::vector<int32_t>{2, 3});
            }),
            "Множество {молоко, джем} не найдено");
  EXPECT_EQ(test::MessageOf([&] { reopened.RequireItem(9); }),
            "Одноэлементное множество [9] не найдено");
  EXPECT_EQ(test::MessageOf([&] { reopened.SetTransactionsCount(3); }),
            "Количество транзакций можно установить только во время построения правил");

  // A damaged list leaves the model as it was.
  test::TMapSection damaged;
  s.model.SaveTo(damaged);
  damaged.Put("Positions", "0 4 6 8");
  EXPECT_EQ(test::KeyOf([&] { reopened.LoadFrom(damaged); }), "ErrPropertyValue");
  EXPECT_EQ(reopened.Rules().size(), s.model.Rules().size());
}

// "{a} => {b}" of each listed rule.
std::vector<std::string> RuleTexts(const TLVAssociationRules& model,
                                   const std::vector<int32_t>& rules) {
  std::vector<std::string> texts;
  for (const int32_t i : rules) {
    const TLVAssociationRule& rule = model.Rules()[static_cast<size_t>(i)];
    texts.push_back(model.ItemSetText(rule.antecedentSet) + " => " +
                    model.ItemSetText(rule.consequentSet));
  }
  return texts;
}

TEST(AssnRulesSortFilter, RulesAreFilteredAndSortedAsTheViewAsks) {
  TShopSearch s;
  s.teacher.Teach();
  ASSERT_EQ(s.model.Rules().size(), 8u);
  TLVAssnRulesSortFilter view;
  EXPECT_EQ(view.Apply(s.model), (std::vector<int32_t>{0, 1, 2, 3, 4, 5, 6, 7}));
  view.FilterSet = {TLVAssnRulesFilterType::arftConsequent,
                    TLVAssnRulesFilterType::arftConfidenceMin};
  view.FilterConsequentSet = {1};
  view.FilterConfidenceMin = 0.6;
  view.SortOrder = TLVAssnRulesSortOrder::arsoLift;
  view.SortDirection = TLVSortDirection::sdDesc;
  EXPECT_EQ(RuleTexts(s.model, view.Apply(s.model)),
            (std::vector<std::string>{"{хлеб} => {масло}", "{хлеб, молоко} => {масло}",
                                      "{молоко} => {масло}"}));
  view.FilterSet = {TLVAssnRulesFilterType::arftLiftMin, TLVAssnRulesFilterType::arftSupportMax};
  view.FilterLiftMin = 0.85;
  view.FilterSupportMax = 0.4;
  view.SortOrder = TLVAssnRulesSortOrder::arsoAntecedent;
  view.SortDirection = TLVSortDirection::sdAsc;
  EXPECT_EQ(RuleTexts(s.model, view.Apply(s.model)),
            (std::vector<std::string>{"{хлеб, молоко} => {масло}", "{масло, молоко} => {хлеб}"}));

  test::TMapSection saved;
  view.SaveTo(saved);
  TLVAssnRulesSortFilter reopened;
  reopened.LoadFrom(saved);
  EXPECT_EQ(reopened.Apply(s.model), view.Apply(s.model));
  EXPECT_EQ(saved.texts["FilterSet"], "arftSupportMax,arftLiftMin");
  saved.Put("SortOrder", "arsoNowhere");
  EXPECT_EQ(test::KeyOf([&] { reopened.LoadFrom(saved); }), "ErrPropertyValue");
  EXPECT_EQ(reopened.SortOrder, TLVAssnRulesSortOrder::arsoAntecedent);
}

TEST(AssnRulesSortFilter, ItemSetsAndTheWhatIfSearchWorkOnTheModel) {
  TShopSearch s;
  s.teacher.Teach();
  auto texts = [&](const std::vector<int32_t>& sets) {
    std::vector<std::string> all;
    for (const int32_t i : sets) all.push_back(s.model.ItemSetText(i));
    return all;
  };
  TLVAssnItemSetFilter filter;
  filter.filters = {TLVAssnRulesItemSetFilterType::isftPowerMin,
                    TLVAssnRulesItemSetFilterType::isftPowerMax};
  filter.powerMin = 2;
  filter.powerMax = 2;
  EXPECT_EQ(texts(SortFilterItemSets(s.model, TLVAssnRulesItemSetSortOrder::issoSupport,
                                     TLVSortDirection::sdDesc, filter)),
            (std::vector<std::string>{"{хлеб, масло}", "{хлеб, молоко}", "{масло, молоко}"}));
  filter.filters = {TLVAssnRulesItemSetFilterType::isftName,
                    TLVAssnRulesItemSetFilterType::isftSupportMax};
  filter.items = {2};
  filter.supportMax = 0.4;
  EXPECT_EQ(
      texts(SortFilterItemSets(s.model, TLVAssnRulesItemSetSortOrder::issoName,
                               TLVSortDirection::sdAsc, filter)),
      (std::vector<std::string>{"{хлеб, масло, молоко}", "{хлеб, молоко}", "{масло, молоко}"}));

  using M = TLVAssnRulesFindRulesCufOffMeasure;
  const std::vector<int32_t> milk{2};
  EXPECT_EQ(RuleTexts(s.model, FindRules(s.model, milk, M::fcomNone)),
            (std::vector<std::string>{"{молоко} => {хлеб}", "{молоко} => {масло}"}));
  EXPECT_EQ(RuleTexts(s.model, FindRules(s.model, milk)),
            (std::vector<std::string>{"{молоко} => {хлеб}"}));
  const std::vector<int32_t> breadMilk{0, 2};
  EXPECT_EQ(RuleTexts(s.model, FindRules(s.model, breadMilk, M::fcomLift)),
            (std::vector<std::string>{"{хлеб} => {масло}"}));
  EXPECT_EQ(RuleTexts(s.model, FindRules(s.model, breadMilk, M::fcomConfidence)),
            (std::vector<std::string>{"{хлеб} => {масло}"}));
  EXPECT_EQ(FindRules(s.model, breadMilk, M::fcomNone).size(), 3u);
  const std::vector<int32_t> jam{3};
  EXPECT_TRUE(FindRules(s.model, jam, M::fcomSupport).empty());
}

}  // namespace
}  // namespace lv
