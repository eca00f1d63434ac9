#include "transform/group/LV_UngroupData.h"

#include <gtest/gtest.h>

#include "LV_TestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "core/text/LV_Errors.h"
#include "transform/group/LV_GroupData.h"

namespace lv {
namespace {

using enum TLVDataType;
using test::ReadColumn;
using test::TTestTable;

std::shared_ptr<TTestTable> Detailed(std::vector<double> qty) {
  const char* regions[] = {"Юг", "Юг", "Север", "Юг", "Север"};
  const char* products[] = {"A", "B", "A", "A", "C"};
  const double sales[] = {10, 30, 5, 20, 7};
  std::vector<std::vector<TLVValue>> rows;
  for (size_t i = 0; i < 5; ++i) {
    rows.push_back({TLVValue::String(regions[i]), TLVValue::String(products[i]),
                    std::isnan(qty[i]) ? TLVValue::Null(dtFloat) : TLVValue::Float(qty[i]),
                    TLVValue::Float(sales[i])});
  }
  using C = TTestTable::TColumn;
  return std::make_shared<TTestTable>(
      std::vector<C>{
          {"Region", dtString}, {"Product", dtString}, {"Qty", dtFloat}, {"Sales", dtFloat}},
      std::move(rows));
}

struct TChain {
  std::shared_ptr<TTestTable> table;
  std::shared_ptr<TLVGroupData> grouping;
  std::shared_ptr<TLVUngroupData> node;
};

TChain Chain(std::vector<double> qty = {1, 3, 2, 4, 2}) {
  TChain chain{Detailed(std::move(qty)), std::make_shared<TLVGroupData>(),
               std::make_shared<TLVUngroupData>()};
  chain.grouping->SetDataSource(chain.table);
  chain.grouping->Dimensions().AddDimension("Region");
  chain.grouping->Facts().AddFact("Sales", TLVGroupDataFunction::gdSum);
  chain.node->SetDataSource(chain.grouping);
  chain.node->SetExpandColumnName("Product");
  chain.node->SetKeyColumnName("Qty");
  chain.node->Facts().AddFact("Sales", "Sales");
  return chain;
}

std::vector<std::string> Texts(ILVDataSource& node, int32_t column) {
  std::vector<std::string> texts;
  for (const TLVValue& v : ReadColumn(node, column)) texts.emplace_back(v.AsText());
  return texts;
}

std::vector<double> Numbers(ILVDataSource& node, int32_t column) {
  std::vector<double> numbers;
  for (const TLVValue& v : ReadColumn(node, column)) numbers.push_back(v.AsDouble());
  return numbers;
}

TEST(UngroupData, SpreadsEachGroupOverEveryValueInBlocksOfK) {
  TChain chain = Chain();
  TLVUngroupData& node = *chain.node;
  ASSERT_EQ(node.GetColumnsInfo().GetColumnCount(), 3);
  EXPECT_EQ(node.GetColumnsInfo().GetColumnInfo(1)->GetName(), "Product");
  // Two groups, three products: 2·3 rows, each group's block in the product order.
  EXPECT_EQ(Texts(node, 0),
            (std::vector<std::string>{"Север", "Север", "Север", "Юг", "Юг", "Юг"}));
  EXPECT_EQ(Texts(node, 1), (std::vector<std::string>{"A", "B", "C", "A", "B", "C"}));
  // Север: 12 by qty A 2, C 2; Юг: 60 by qty A 5, B 3.
  EXPECT_EQ(Numbers(node, 2), (std::vector<double>{6, 0, 6, 37.5, 22.5, 0}));

  // The latest row of each group only.
  node.SetDistribEvalType(TLVDistribEvalType::detLatestData);
  node.SetKeyStatsDepth(1);
  EXPECT_EQ(Numbers(node, 2), (std::vector<double>{0, 0, 12, 60, 0, 0}));
  node.SetKeyStatsDepth(2);
  EXPECT_EQ(Numbers(node, 2), (std::vector<double>{6, 0, 6, 60 * (4.0 / 7), 60 * (3.0 / 7), 0}));
  // A depth below 1 is refused and not stored.
  EXPECT_EQ(test::MessageOfFailure([&] { node.SetKeyStatsDepth(0); }, "ErrUngroupDepth"),
            "Количество последних значений должно быть больше 0");
  EXPECT_EQ(node.GetKeyStatsDepth(), 2);
}

TEST(UngroupData, RefusesDistributionsItCannotApply) {
  // Север's quantities are all zero.
  TChain zero = Chain({1, 3, 0, 4, 0});
  EXPECT_EQ(test::MessageOfFailure([&] { zero.node->Open(); }, "ErrUngroupZeroSum"),
            "Невозможно разгруппировать данные, сумма равна нулю");
  EXPECT_FALSE(zero.node->GetActive());
  const double gap = std::nan("");
  TChain empty = Chain({gap, gap, gap, gap, gap});
  EXPECT_EQ(test::MessageOfFailure([&] { empty.node->Open(); }, "ErrUngroupNoKeyData"),
            "Нет данных для оценки распределения фактов.\r\nУправляющий столбец содержит только "
            "пустые значения.");
}

TEST(UngroupData, RefusesBadSettingsWithTheirMessages) {
  TChain chain = Chain();
  TLVUngroupData& node = *chain.node;
  EXPECT_EQ(node.RestorableColumns(), (std::vector<std::string>{"Product", "Qty", "Sales"}));
  auto fails = [&](std::string_view key) {
    return test::MessageOfFailure([&] { node.Open(); }, key);
  };
  node.SetExpandColumnName("");
  EXPECT_EQ(fails("ErrUngroupNoKeyColumn"), "Не указан ключевой столбец");
  node.SetExpandColumnName("Region");
  EXPECT_EQ(fails("ErrUngroupBadExpandColumn"), "Указан недопустимый столбец для восстановления");
  node.SetExpandColumnName("Product");
  node.SetKeyColumnName("");
  EXPECT_EQ(fails("ErrUngroupNoControlColumn"), "Не указан управляющий столбец");
  node.SetKeyColumnName("Product");
  EXPECT_EQ(fails("ErrUngroupBadKeyColumn"), "Указан недопустимый ключевой столбец");
  node.SetKeyColumnName("Qty");
  node.Facts()[0].SetRefColumnName("");
  EXPECT_EQ(fails("ErrUngroupNoRefColumn"), "Не указан исходный столбец для факта \"Sales\"");
  node.Facts().Clear();
  EXPECT_EQ(fails("ErrUngroupNoFacts"), "Не указано ни одного факта");

  // Without a grouping parent nothing can be restored.
  TLVUngroupData orphan;
  orphan.SetDataSource(chain.table);
  EXPECT_EQ(test::MessageOfFailure([&] { orphan.Open(); }, "ErrUngroupNoGroupIntf"),
            "Не найден интерфейс группировки данных");
  chain.grouping->Dimensions().Clear();
  EXPECT_EQ(test::MessageOfFailure([&] { node.RestorableColumns(); }, "ErrUngroupNoDimensions"),
            "Нет доступных измерений");
}

TEST(UngroupData, PersistsItsSettings) {
  TChain chain = Chain();
  chain.node->SetDistribEvalType(TLVDistribEvalType::detLatestData);
  chain.node->SetKeyStatsDepth(3);
  test::TMapSection section;
  chain.node->SaveSettingsTo(section);
  EXPECT_EQ(section.Get("DistribEvalType"), "detLatestData");
  TLVUngroupData loaded;
  loaded.LoadSettingsFrom(section);
  EXPECT_EQ(loaded.GetExpandColumnName(), "Product");
  EXPECT_EQ(loaded.GetKeyColumnName(), "Qty");
  EXPECT_EQ(loaded.GetKeyStatsDepth(), 3);
  ASSERT_EQ(loaded.Facts().Count(), 1);
  EXPECT_EQ(loaded.Facts()[0].GetRefColumnName(), "Sales");
  // A stored depth of 0 is refused like a typed one.
  section.Put("KeyStatsDepth", "0");
  EXPECT_THROW(loaded.LoadSettingsFrom(section), ELVError);
}

}  // namespace
}  // namespace lv
