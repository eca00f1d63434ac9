#include "transform/group/LV_GroupData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>

#include "LV_TestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "transform/LV_TransformStartup.h"

namespace lv {
namespace {

using enum TLVDataType;
using G = TLVGroupDataFunction;
using test::ReadColumn;
using test::TTestTable;

TLVValue S(std::string_view s) {
  return TLVValue::String(s);
}
TLVValue N(double x) {
  return TLVValue::Float(x);
}
TLVValue I(int32_t x) {
  return TLVValue::Integer(x);
}

// Region (text), Q (integer), P (real), D (date), Note (text), in the parent's order.
std::shared_ptr<TTestTable> Sales() {
  const TLVValue noQ = TLVValue::Null(dtInteger), noP = TLVValue::Null(dtFloat);
  const TLVValue noS = TLVValue::Null(dtString);
  using C = TTestTable::TColumn;
  return std::make_shared<TTestTable>(
      std::vector<C>{{"Region", dtString},
                     {"Q", dtInteger},
                     {"P", dtFloat},
                     {"D", dtDateTime},
                     {"Note", dtString}},
      std::vector<std::vector<TLVValue>>{
          {S("Юг"), I(4), N(1.5), TLVValue::DateTime(10), S("б")},
          {S("Ёлки"), I(1), noP, TLVValue::DateTime(20), S("а")},
          {S("Юг"), noQ, N(2.5), TLVValue::DateTime(30), noS},
          {S("Елово"), I(7), N(-1), TLVValue::DateTime(40), S("в")},
          {S("Юг"), I(2), N(4), TLVValue::DateTime(50), S("а")},
          {TLVValue::Null(dtString), I(5), N(3), TLVValue::DateTime(60), S("г")},
          {S("Юг"), I(4), noP, TLVValue::DateTime(70), S("Б")},
          {S("Ёлки"), noQ, noP, TLVValue::DateTime(80), noS},
      });
}

std::shared_ptr<TLVGroupData> Grouping(std::shared_ptr<ILVDataSource> parent,
                                       std::vector<std::string> dimensions,
                                       std::vector<std::pair<std::string, G>> facts) {
  auto node = std::make_shared<TLVGroupData>();
  node->SetDataSource(std::move(parent));
  for (const auto& d : dimensions) node->Dimensions().AddDimension(d);
  for (const auto& [name, func] : facts) node->Facts().AddFact(name, func);
  return node;
}

std::vector<TLVValue> Column(ILVDataSource& node, std::string_view name) {
  const int32_t index = node.GetColumnsInfo().IndexOfColumn(name);
  EXPECT_GE(index, 0) << name;
  return index < 0 ? std::vector<TLVValue>{} : ReadColumn(node, index);
}

std::vector<double> Numbers(const std::vector<TLVValue>& values) {
  std::vector<double> numbers;
  for (const TLVValue& v : values) numbers.push_back(v.IsNull() ? -999 : v.AsDouble());
  return numbers;
}

TEST(GroupData, EveryFunctionPerGroupInDimensionOrder) {
  auto node = Grouping(Sales(), {"Region"},
                       {{"Q", G::gdSum},
                        {"Q", G::gdCount},
                        {"Q", G::gdNullCount},
                        {"P", G::gdMin},
                        {"P", G::gdMax},
                        {"Q", G::gdAvg},
                        {"Q", G::gdMedian},
                        {"P", G::gdStdDev},
                        {"Note", G::gdUniqueCount},
                        {"Note", G::gdFirst},
                        {"Note", G::gdLast},
                        {"D", G::gdMedian},
                        {"Note", G::gdMin},
                        {"Note", G::gdMax}});
  // Groups: Елово, Ёлки, Юг, then the missing region.
  std::vector<TLVValue> regions = Column(*node, "Region");
  ASSERT_EQ(regions.size(), 4u);
  EXPECT_EQ(regions[0].AsText(), "Елово");
  EXPECT_EQ(regions[1].AsText(), "Ёлки");
  EXPECT_EQ(regions[2].AsText(), "Юг");
  EXPECT_TRUE(regions[3].IsNull());

  EXPECT_EQ(Numbers(Column(*node, "Q")), (std::vector<double>{7, 1, 10, 5}));
  EXPECT_EQ(Numbers(Column(*node, "Q_Count")), (std::vector<double>{1, 1, 3, 1}));
  EXPECT_EQ(Numbers(Column(*node, "Q_NullCount")), (std::vector<double>{0, 1, 1, 0}));
  // Ёлки has no price at all: its minimum and maximum are missing.
  EXPECT_EQ(Numbers(Column(*node, "P")), (std::vector<double>{-1, -999, 1.5, 3}));
  EXPECT_EQ(Numbers(Column(*node, "P_Max")), (std::vector<double>{-1, -999, 4, 3}));
  EXPECT_EQ(Numbers(Column(*node, "Q_Avg")), (std::vector<double>{7, 1, 10.0 / 3, 5}));
  EXPECT_EQ(Numbers(Column(*node, "Q_Median")), (std::vector<double>{7, 1, 4, 5}));
  // Sample deviation of 1.5, 2.5, 4; one value has none.
  std::vector<double> deviation = Numbers(Column(*node, "P_StdDev"));
  EXPECT_EQ(deviation[0], -999);
  EXPECT_NEAR(deviation[2],
              std::sqrt(((1.5 - 8.0 / 3) * (1.5 - 8.0 / 3) + (2.5 - 8.0 / 3) * (2.5 - 8.0 / 3) +
                         (4 - 8.0 / 3) * (4 - 8.0 / 3)) /
                        2),
              1e-12);
  // Юг's notes: б, а, Б (case counts for uniqueness) and one missing.
  EXPECT_EQ(Numbers(Column(*node, "Note")), (std::vector<double>{1, 1, 3, 1}));
  std::vector<TLVValue> first = Column(*node, "Note_First"), last = Column(*node, "Note_Last");
  EXPECT_EQ(first[2].AsText(), "б");
  EXPECT_EQ(last[2].AsText(), "Б");
  EXPECT_EQ(last[1].AsText(), "а");  // the missing note of the last Ёлки row is skipped
  // An even number of dates: the median lies halfway between the middle two.
  std::vector<TLVValue> dates = Column(*node, "D");
  EXPECT_EQ(dates[2].Type(), dtDateTime);
  EXPECT_EQ(dates[1].AsDouble(), 50);
  EXPECT_EQ(dates[2].AsDouble(), 40);
  EXPECT_EQ(Column(*node, "Note_Min")[2].AsText(), "а");
  EXPECT_EQ(Column(*node, "Note_Max")[2].AsText(), "Б");

  // Output types follow the functions.
  const ILVColumnsInfo& columns = node->GetColumnsInfo();
  EXPECT_EQ(columns.FindColumnInfo("Q")->GetDataType(), dtFloat);
  EXPECT_EQ(columns.FindColumnInfo("Q_Count")->GetDataType(), dtInteger);
  EXPECT_EQ(columns.FindColumnInfo("Note_First")->GetDataType(), dtString);
}

TEST(GroupData, MatchesAPlainComputationAcrossBlocks) {
  std::mt19937 random(5);
  auto pick = [&](int n) { return static_cast<int>(random() % static_cast<uint32_t>(n)); };
  std::vector<std::vector<TLVValue>> rows;
  std::map<std::pair<int, std::string>, std::vector<double>> expected;
  const char* names[] = {"а", "Б", "в"};
  for (int i = 0; i < 400; ++i) {
    const int a = pick(4) - 1;
    const std::string b = names[pick(3)];
    const double x = pick(10) == 0 ? std::nan("") : pick(50) * 0.5 - 3;
    rows.push_back({a < 0 ? TLVValue::Null(dtInteger) : I(a), S(b),
                    std::isnan(x) ? TLVValue::Null(dtFloat) : N(x)});
    // Missing A sorts last: key it above every value.
    auto& values = expected[{a < 0 ? 1000 : a, b == "а" ? "1" : b == "Б" ? "2" : "3"}];
    if (!std::isnan(x)) values.push_back(x);
  }
  using C = TTestTable::TColumn;
  auto table = std::make_shared<TTestTable>(
      std::vector<C>{{"A", dtInteger}, {"B", dtString}, {"X", dtFloat}}, std::move(rows));
  auto node =
      Grouping(table, {"A", "B"}, {{"X", G::gdSum}, {"X", G::gdMedian}, {"X", G::gdUniqueCount}});
  std::vector<double> sums = Numbers(Column(*node, "X")),
                      medians = Numbers(Column(*node, "X_Median"));
  std::vector<double> uniques = Numbers(Column(*node, "X_UniqueCount"));
  ASSERT_EQ(sums.size(), expected.size());
  size_t g = 0;
  for (auto& [key, values] : expected) {
    std::sort(values.begin(), values.end());
    double sum = 0;
    for (double v : values) sum += v;
    const size_t m = values.size();
    EXPECT_EQ(sums[g], m == 0 ? -999 : sum) << g;
    EXPECT_EQ(medians[g], m == 0 ? -999 : (values[(m - 1) / 2] + values[m / 2]) / 2) << g;
    EXPECT_EQ(uniques[g],
              static_cast<double>(std::unique(values.begin(), values.end()) - values.begin()));
    ++g;
  }
}

TEST(GroupData, RefusesBadSettingsAndStaysClosed) {
  auto table = Sales();
  auto node = Grouping(table, {}, {});
  EXPECT_EQ(test::MessageOfFailure([&] { node->Open(); }, "ErrGroupNoColumns"),
            "Не указаны столбцы для обработки");
  node->Dimensions().AddDimension("Region");
  node->Facts().AddFact("Note", G::gdSum);
  EXPECT_EQ(test::MessageOfFailure([&] { node->Open(); }, "ErrGroupColumnType"),
            "Недопустимый тип столбца Note для указанной функции группировки");
  node->Facts()[0].SetGroupFunc(G::gdAvg);
  EXPECT_EQ(test::KeyOf([&] { node->Open(); }), "ErrGroupColumnType");
  node->Facts()[0].SetName("Цена");
  EXPECT_EQ(test::KeyOf([&] { node->Open(); }), "ErrParentColumnNotFound");
  EXPECT_FALSE(node->GetActive());
  node->Facts()[0].SetName("D");
  EXPECT_EQ(node->GetRowCount(), 4);
  EXPECT_EQ(node->GetColumnsInfo().GetColumnInfo(1)->GetDataType(), dtDateTime);
}

class TRecordedProgress : public ILVProgress {
 public:
  void Start(std::string_view caption, int64_t) override { captions.emplace_back(caption); }
  void SetPosition(int64_t) override {}
  bool Cancelled() const override { return false; }
  void Finish() override {}
  std::vector<std::string> captions;
};

TEST(GroupData, StagesCacheAndFollowChanges) {
  auto table = Sales();
  auto node = Grouping(table, {"Region"}, {{"Q", G::gdMedian}});
  TRecordedProgress progress;
  node->SetProgress(&progress);
  EXPECT_EQ(node->GetRowCount(), 4);
  EXPECT_EQ(progress.captions, (std::vector<std::string>{"Заполнение кэша", "Агрегация",
                                                         "Расчет медианы", "Группировка"}));
  // Cached: a reopen serves the same groups without computing them again.
  node->Close();
  EXPECT_EQ(node->GetRowCount(), 4);
  EXPECT_EQ(progress.captions.size(), 4u);
  // New parent rows are grouped again.
  table->SetRows({{S("Юг"), I(1), N(1), TLVValue::DateTime(1), S("x")}});
  EXPECT_EQ(node->GetRowCount(), 1);
  EXPECT_EQ(progress.captions.size(), 8u);
  // So are the rows of a new parent.
  auto other = Sales();
  node->SetDataSource(other);
  EXPECT_EQ(node->GetRowCount(), 4);
  EXPECT_EQ(progress.captions.size(), 12u);
  // Without the cache every open computes; an empty parent has no groups.
  node->SetCached(false);
  other->SetRows({});
  EXPECT_EQ(node->GetRowCount(), 0);
  node->Close();
  EXPECT_EQ(node->GetRowCount(), 0);
  EXPECT_EQ(progress.captions.size(), 20u);
}

TEST(GroupData, PersistsAndDescribesItsSettings) {
  TransformStartup();
  TLVComponentVendor* vendor = LVComponentVendors().FindByID("GroupData");
  ASSERT_NE(vendor, nullptr);
  EXPECT_EQ(vendor->Caption(), "Группировка данных");
  auto made = Grouping(Sales(), {"Region"}, {{"Q", G::gdSum}, {"P", G::gdStdDev}});
  made->SetCached(false);
  EXPECT_EQ(made->ShortDescription(), "Измерения: Region; Факты: Q, P");
  EXPECT_EQ(DisplayText(G::gdStdDev), "Стандартное откл.");

  test::TMapSection section;
  made->SaveSettingsTo(section);
  TLVGroupData loaded;
  loaded.LoadSettingsFrom(section);
  EXPECT_FALSE(loaded.GetCached());
  ASSERT_EQ(loaded.Facts().Count(), 2);
  EXPECT_EQ(loaded.Facts()[1].GetName(), "P");
  EXPECT_EQ(loaded.Facts()[1].GetGroupFunc(), G::gdStdDev);
  EXPECT_EQ(loaded.Dimensions()[0].GetName(), "Region");
}

}  // namespace
}  // namespace lv
