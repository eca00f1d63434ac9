#include <gtest/gtest.h>

#include <map>

#include "LV_TestHelpers.h"
#include "core/LV_TestTable.h"
#include "core/sources/LV_DerivedDataSource.h"
#include "core/sources/LV_TunedDataSource.h"
#include "core/text/LV_Errors.h"

namespace lv {
namespace {

using test::MakeNumbers;
using test::ReadColumn;
using test::TNotifyCounter;
using test::TTestTable;

TEST(DataSource, OpensOnFirstReadAndRefusesStructuralChangesWhileOpen) {
  auto table = MakeNumbers(5);
  EXPECT_FALSE(table->GetActive());
  EXPECT_EQ(table->GetRowCount(), 5);
  EXPECT_TRUE(table->GetActive());
  EXPECT_EQ(table->opens, 1);
  try {
    table->Columns().AddColumn("Y", TLVDataType::dtFloat);
    FAIL();
  } catch (const ELVError& e) {
    EXPECT_EQ(e.Key(), "ErrDataSourceActive");
  }
  EXPECT_EQ(table->Columns().Count(), 3);
  // Purposes are not structure: they may change on an open source.
  table->Columns()[1].SetDataStatus(TLVDataStatus::dsInput);
  table->Close();
  table->Columns().AddColumn("Y", TLVDataType::dtFloat);
  EXPECT_EQ(table->Columns().Count(), 4);
}

TEST(DataSource, CellReadsAndGathersAgreeWithBlockReads) {
  auto table = MakeNumbers(10);
  std::vector<TLVValue> x = ReadColumn(*table, 1);
  ASSERT_EQ(x.size(), 10u);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(table->GetValue(i, 1), x[static_cast<size_t>(i)]) << i;
    EXPECT_EQ(table->IsNull(i, 1), i % 7 == 3);
    double n = table->GetNumber(i, 1);
    EXPECT_TRUE(i % 7 == 3 ? std::isnan(n) : n == i / 2.0);
  }
  EXPECT_EQ(table->GetValue(4, 2).AsText(), "n4");

  // Gathers with runs, repeats and reversed order.
  const TLVRowIndex rows[] = {9, 2, 3, 4, 4, 0};
  const int32_t n = std::min<int32_t>(6, kLVBlockSize);
  TLVBlock block;
  table->ReadRows(2, rows, n, block);
  for (int32_t i = 0; i < n; ++i) {
    EXPECT_EQ(block.Strings()[i], "n" + std::to_string(rows[i]));
  }
  table->ReadRows(1, rows, n, block);
  for (int32_t i = 0; i < n; ++i) EXPECT_EQ(block.IsNull(i), rows[i] == 3);

  EXPECT_THROW(table->GetValue(10, 0), ELVDataError);
  EXPECT_THROW(table->GetValue(-1, 0), ELVDataError);
  EXPECT_THROW(table->GetValue(0, 3), ELVDataError);
  EXPECT_THROW(table->ReadBlock(0, 9, 2, block), ELVDataError);
  // A gather's indexes are checked however they go wrong, among good ones too.
  for (TLVRowIndex wrong : {TLVRowIndex{10}, TLVRowIndex{-1}, INT64_MIN, INT64_MAX}) {
    const TLVRowIndex mixed[] = {0, 9, wrong, 5};
    EXPECT_THROW(table->ReadRows(0, mixed, 4, block), ELVDataError);
  }
  EXPECT_FALSE(AnyRowOutside(rows, n, 10));
  EXPECT_TRUE(AnyRowOutside(rows, 1, 0));
}

TEST(DataSource, LocksChainUpThroughEveryAncestor) {
  auto table = MakeNumbers(3);
  table->SetComponentName("parent");
  auto tuned = std::make_shared<TLVTunedDataSource>();
  tuned->SetDataSource(table);
  auto derived = std::make_shared<TLVDerivedDataSource>();
  derived->SetDataSource(tuned);
  {
    TLVLockGuard lock(*derived);
    EXPECT_TRUE(tuned->Locked());
    EXPECT_TRUE(table->Locked());
    derived->Lock();  // locks nest
    derived->Unlock();
    EXPECT_TRUE(table->Locked());
  }
  EXPECT_FALSE(tuned->Locked());
  EXPECT_FALSE(table->Locked());
  EXPECT_EQ(table->lockLog, (std::vector<std::string>{"lock parent", "lock parent", "unlock parent",
                                                      "unlock parent"}));
  // A locked source keeps its parent.
  TLVLockGuard lock(*tuned);
  EXPECT_THROW(tuned->SetDataSource(MakeNumbers(1)), ELVError);
}

TEST(TunedDataSource, ModeWritesNotifyOnlyWhenTheyChangeSomething) {
  auto table = MakeNumbers(3);
  auto tuned = std::make_shared<TLVTunedDataSource>();
  tuned->SetDataSource(table);
  TNotifyCounter counter(*tuned);
  EXPECT_TRUE(tuned->GetDesignMode());
  EXPECT_FALSE(tuned->GetExecuteMode());
  tuned->SetDesignMode(true);
  tuned->SetExecuteMode(false);
  EXPECT_TRUE(counter.reasons.empty());
  tuned->SetExecuteMode(true);
  EXPECT_EQ(counter.Count(TLVNotifyReason::nrColumnsChanged), 1u);
  tuned->SetDesignMode(false);
  EXPECT_EQ(counter.Count(TLVNotifyReason::nrColumnsChanged), 2u);
  EXPECT_EQ(tuned->GetColumnsInfoVendorName(), "TLVDefaultColumnsInfoVendor");
}

TEST(TunedDataSource, DesignModeFollowsTheParentAndExecuteModeFreezesTheColumns) {
  auto table = MakeNumbers(4);
  auto tuned = std::make_shared<TLVTunedDataSource>();
  tuned->SetDataSource(table);
  ASSERT_EQ(tuned->Columns().Count(), 3);
  tuned->Columns()[1].SetDataStatus(TLVDataStatus::dsInput);
  tuned->Columns()[1].SetDisplayName("Икс");
  EXPECT_EQ(ReadColumn(*tuned, 1), ReadColumn(*table, 1));

  // Design mode: the list follows the parent and keeps the user's settings.
  table->Close();
  table->AddColumnLater("Z", TLVDataType::dtString);
  ASSERT_EQ(tuned->Columns().Count(), 4);
  EXPECT_EQ(tuned->Columns()[1].GetDataStatus(), TLVDataStatus::dsInput);
  EXPECT_EQ(tuned->Columns()[1].GetDisplayName(), "Икс");
  EXPECT_EQ(tuned->Columns()[3].GetName(), "Z");

  // Execute mode: frozen; a parent column that went away fails the open.
  tuned->SetExecuteMode(true);
  table->Close();
  table->Columns().Delete(1);
  EXPECT_EQ(tuned->Columns().Count(), 4);
  try {
    tuned->Open();
    FAIL();
  } catch (const ELVError& e) {
    EXPECT_EQ(e.Key(), "ErrParentColumnNotFound");
    EXPECT_NE(std::string(e.what()).find("\"X\""), std::string::npos);
  }
  EXPECT_FALSE(tuned->GetActive());
}

TEST(TunedDataSource, SettingsPersistByNameAndRefuseUnknownVendors) {
  std::map<std::string, std::string> store;
  auto tuned = std::make_shared<TLVTunedDataSource>();
  tuned->SetExecuteMode(true);
  tuned->SaveSettings([&](const std::string& k, const std::string& v) { store[k] = v; });
  EXPECT_EQ(store, (std::map<std::string, std::string>{
                       {"ColumnsInfoVendorName", "TLVDefaultColumnsInfoVendor"},
                       {"DesignMode", "True"},
                       {"ExecuteMode", "True"}}));
  auto loaded = std::make_shared<TLVTunedDataSource>();
  auto reader = [&](const std::string& k) -> std::optional<std::string> { return store[k]; };
  loaded->LoadSettings(reader);
  EXPECT_TRUE(loaded->GetExecuteMode());
  store["ColumnsInfoVendorName"] = "NoSuchVendor";
  try {
    loaded->LoadSettings(reader);
    FAIL();
  } catch (const ELVError& e) {
    EXPECT_EQ(e.Key(), "ErrVendorNotFound");
  }
  EXPECT_EQ(loaded->GetColumnsInfoVendorName(), "TLVDefaultColumnsInfoVendor");
}

TEST(TunedDataSource, ReadsConvertWhereTheTunedTypeDiffersFromTheParent) {
  auto table = MakeNumbers(4);
  auto tuned = std::make_shared<TLVTunedDataSource>();
  tuned->SetDataSource(table);
  tuned->SetExecuteMode(true);
  tuned->Columns()[0].SetDataType(TLVDataType::dtString);
  auto ids = ReadColumn(*tuned, 0);
  ASSERT_EQ(ids.size(), 4u);
  EXPECT_EQ(ids[3].AsText(), "3");
}

class TPurposeTuned : public TLVTunedDataSource {
 protected:
  TLVPurposeNeed PurposeNeed(const TLVColumnInfo& column) const override {
    if (column.GetDataStatus() != TLVDataStatus::dsInput) return TLVPurposeNeed::pnNothing;
    return column.GetDataKind() == TLVDataKind::dkDiscrete ? TLVPurposeNeed::pnUniqueValues
                                                           : TLVPurposeNeed::pnStatistics;
  }
};

TEST(TunedDataSource, PurposeChecksNameTheColumnAndThePurpose) {
  auto table = MakeNumbers(4);
  auto tuned = std::make_shared<TPurposeTuned>();
  tuned->SetDataSource(table);
  tuned->ValidatePurposes();  // nothing is an input yet
  tuned->Columns()[1].SetDataStatus(TLVDataStatus::dsInput);
  EXPECT_EQ(
      test::MessageOf([&] { tuned->ValidatePurposes(); }),
      "Столбец \"X\" у которого не рассчитана статистика не может иметь назначение \"Входное\"");
  tuned->Columns()[1].SetStatInfo(std::make_shared<TLVStatInfo>());
  tuned->ValidatePurposes();

  tuned->Columns()[2].SetDataStatus(TLVDataStatus::dsInput);
  try {
    tuned->ValidatePurposes();
    FAIL();
  } catch (const ELVError& e) {
    EXPECT_EQ(e.Key(), "ErrColumnNoUniqueValues");
  }
  auto stats = std::make_shared<TLVStatInfo>();
  stats->uniqueValuesFound = true;
  stats->uniqueValues = {TLVValue::String("a"), TLVValue::String("c")};
  tuned->Columns()[2].SetStatInfo(stats);
  tuned->ValidatePurposes();
  TLVTunedDataSource::CheckUniqueValueKnown(tuned->Columns()[2], TLVValue::String("c"));
  EXPECT_EQ(test::MessageOf([&] {
              TLVTunedDataSource::CheckUniqueValueKnown(tuned->Columns()[2], TLVValue::String("b"));
            }),
            "Уникальное значение \"b\" столбца \"NAME\" отсутствовало на момент построения модели");
  tuned->CheckEnoughRows(4);
  EXPECT_THROW(tuned->CheckEnoughRows(5), ELVError);
}

TEST(DerivedDataSource, PassesParentColumnsThroughAndComputesItsOwn) {
  auto table = MakeNumbers(11);
  auto derived = std::make_shared<test::TScaledX<TLVDerivedDataSource>>(2, "X2");
  derived->SetDataSource(table);
  ASSERT_EQ(derived->Columns().Count(), 4);
  EXPECT_FALSE(derived->DerivedColumns().Derived(0).Computed());
  EXPECT_TRUE(derived->DerivedColumns().Derived(3).Computed());
  auto x = ReadColumn(*derived, 1);
  auto x2 = ReadColumn(*derived, 3);
  ASSERT_EQ(x2.size(), 11u);
  for (size_t i = 0; i < 11; ++i) {
    EXPECT_EQ(x2[i].IsNull(), x[i].IsNull());
    if (!x[i].IsNull()) {
      EXPECT_EQ(x2[i].AsDouble(), 2 * x[i].AsDouble());
    }
  }
  const TLVRowIndex rows[] = {9, 4, 10};
  TLVBlock block;
  derived->ReadRows(3, rows, std::min<int32_t>(3, kLVBlockSize), block);
  EXPECT_EQ(block.Numbers()[0], 9.0);
  if (kLVBlockSize >= 3) {
    EXPECT_TRUE(block.IsNull(2));
  }

  // A change of the parent's columns reaches the grandchildren and redefines the output.
  TNotifyCounter counter(*derived);
  table->Close();
  table->AddColumnLater("W", TLVDataType::dtBoolean);
  EXPECT_GE(counter.Count(TLVNotifyReason::nrColumnsChanged), 1u);
  EXPECT_EQ(derived->Columns().Count(), 5);
  EXPECT_EQ(derived->Columns()[4].GetName(), "X2");
  // A change of its rows closes the output and tells the children.
  derived->Open();
  table->SetRows({});
  EXPECT_FALSE(derived->GetActive());
  EXPECT_GE(counter.Count(TLVNotifyReason::nrDataChanged), 1u);
  EXPECT_EQ(derived->GetRowCount(), 0);
}

TEST(DataSource, ComponentsWithoutATableCannotFeedAChild) {
  TLVComponent view;
  EXPECT_EQ(test::MessageOf([&] { RequireDataSource(view); }),
            "Компонент не поддерживает ILVDataSource.");
  auto table = MakeNumbers(1);
  EXPECT_EQ(RequireDataSource(*table).get(), static_cast<ILVDataSource*>(table.get()));
}

}  // namespace
}  // namespace lv
