#include "mining/assoc/LV_AssociationRulesVendor.h"

#include <gtest/gtest.h>

#include "LV_TestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "core/registry/LV_Vendor.h"

namespace lv {
namespace {

std::shared_ptr<test::TTestTable> Receipts() {
  std::vector<std::vector<TLVValue>> rows;
  const std::vector<std::pair<int32_t, const char*>> lines = {
      {1, "хлеб"},   {1, "масло"}, {2, "хлеб"},   {2, "масло"}, {2, "молоко"}, {3, "хлеб"},
      {3, "молоко"}, {4, "масло"}, {4, "молоко"}, {5, "хлеб"},  {5, "масло"}};
  for (const auto& [tid, item] : lines)
    rows.push_back({TLVValue::String(std::to_string(tid)), TLVValue::String(item)});
  return std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"check", TLVDataType::dtString},
                                             {"good", TLVDataType::dtString}},
      std::move(rows));
}

void Tune(TLVAssociationRulesNode& node) {
  node.SetParentSource(Receipts());
  node.TunedSource().Columns()[0].SetDataStatus(TLVDataStatus::dsTransactionID);
  node.TunedSource().Columns()[1].SetDataStatus(TLVDataStatus::dsItemID);
  node.Teacher().SetMinSupport(0.4);
  node.Teacher().SetMinConfidence(0.7);
}

TEST(AssociationRulesNode, OffersItsRulesAsATableAndKeepsThemInTheProject) {
  ASSERT_NE(LVComponentVendors().FindByID("AssociationRules"), nullptr);
  TLVAssociationRulesNode node;
  Tune(node);
  ILVDataSource& table = *node.GetDataSourceIntf();
  EXPECT_EQ(table.GetRowCount(), 0);
  node.Teach(nullptr);
  // Bread 4, butter 4, milk 3 of 5, and each pair at 2 or 3: only bread and butter (3)
  // make rules as sure as 0.7, both at 0.75.
  EXPECT_EQ(node.TeachSummary(), "Транзакций 5, часто встречающихся множеств 6, правил 2.");
  ASSERT_EQ(table.GetRowCount(), 2);
  EXPECT_EQ(table.GetColumnsInfo().GetColumnInfo(0)->GetDisplayName(), "Условие");
  EXPECT_EQ(table.GetValue(0, 0).AsText(), "{масло}");
  EXPECT_EQ(table.GetValue(0, 1).AsText(), "{хлеб}");
  EXPECT_DOUBLE_EQ(table.GetNumber(0, 2), 0.6);
  EXPECT_DOUBLE_EQ(table.GetNumber(0, 3), 0.75);
  EXPECT_DOUBLE_EQ(table.GetNumber(0, 4), 0.75 / 0.8);

  test::TMapSection saved;
  node.SaveSettingsTo(saved);
  TLVAssociationRulesNode reopened;
  reopened.LoadSettingsFrom(saved);
  EXPECT_EQ(reopened.Teacher().GetMinSupport(), 0.4);
  EXPECT_EQ(reopened.GetDataSourceIntf()->GetRowCount(), 2);
  EXPECT_EQ(reopened.GetDataSourceIntf()->GetValue(1, 0).AsText(), "{хлеб}");
  // The purposes came back with the project: the same search finds the same rules.
  reopened.SetParentSource(Receipts());
  reopened.Teach(nullptr);
  EXPECT_EQ(reopened.TeachSummary(), node.TeachSummary());

  // A failed search and a damaged section both leave the rules as they were.
  node.Teacher().SetMinSupport(0.9);
  node.Teacher().SetMaxSupport(0.5);
  EXPECT_EQ(test::KeyOf([&] { node.Teach(nullptr); }), "ErrAssnMinSupportGreaterMax");
  saved.children.front().second->Put("ExecuteMode", "maybe");
  EXPECT_EQ(test::KeyOf([&] { reopened.LoadSettingsFrom(saved); }), "ErrPropertyValue");
  EXPECT_EQ(node.GetDataSourceIntf()->GetRowCount(), 2);
  EXPECT_EQ(reopened.GetDataSourceIntf()->GetRowCount(), 2);
}

}  // namespace
}  // namespace lv
