#include <gtest/gtest.h>

#include "core/LV_TestTable.h"
#include "core/sources/LV_CachedDataSource.h"

namespace lv {
namespace {

using test::MakeNumbers;
using test::ReadColumn;
using test::TNotifyCounter;

TEST(CachedDataSource, SnapshotReadsBackEveryValueByBlocksAndByCells) {
  auto table = MakeNumbers(1000);
  table->Columns()[1].SetDataStatus(TLVDataStatus::dsInput);
  auto cached = std::make_shared<TLVCachedDataSource>();
  cached->Cache().SetRowBlockBytes(256);  // many row blocks
  cached->CopyFrom(*table);
  EXPECT_EQ(cached->Columns()[1].GetDataStatus(), TLVDataStatus::dsInput);
  EXPECT_FALSE(table->Locked());
  ASSERT_EQ(cached->GetRowCount(), 1000);
  for (int32_t c = 0; c < 3; ++c) EXPECT_EQ(ReadColumn(*cached, c), ReadColumn(*table, c)) << c;
  for (TLVRowIndex r : {0, 3, 517, 999}) {
    EXPECT_EQ(cached->GetValue(r, 2), table->GetValue(r, 2));
    double n = cached->GetNumber(r, 1);
    EXPECT_TRUE(r % 7 == 3 ? std::isnan(n) : n == static_cast<double>(r) / 2);
    EXPECT_TRUE(std::isnan(cached->GetNumber(r, 2)));
  }
  TLVValue held = cached->GetValue(998, 2);
  cached->Close();
  EXPECT_EQ(held.AsText(), "n998");  // a text handed out outlives the rows
}

TEST(CachedThroughDataSource, ComputesOncePerOpenAndCachesWhatThePlanSays) {
  auto table = MakeNumbers(50);
  auto through = std::make_shared<test::TScaledX<TLVCachedThroughDataSource>>(10, "X10");
  through->SetDataSource(table);
  EXPECT_EQ(through->CachedColumns(), std::vector<int32_t>{3});
  auto first = ReadColumn(*through, 3);
  auto second = ReadColumn(*through, 3);
  EXPECT_EQ(first, second);
  EXPECT_EQ(first[4].AsDouble(), 20.0);
  EXPECT_EQ(through->computedRows, 50);
  EXPECT_EQ(through->CachedRowCount(), 50);
  EXPECT_EQ(ReadColumn(*through, 2), ReadColumn(*table, 2));

  TNotifyCounter counter(*through);
  through->SetCacheAllColumns(false);
  EXPECT_TRUE(counter.reasons.empty());
  through->SetCacheAllColumns(true);
  EXPECT_EQ(counter.Count(TLVNotifyReason::nrColumnsChanged), 1u);
  EXPECT_EQ(through->CachedRowCount(), 0);
  EXPECT_EQ(through->CachedColumns(), (std::vector<int32_t>{0, 1, 2, 3}));
  EXPECT_EQ(ReadColumn(*through, 2), ReadColumn(*table, 2));
  EXPECT_EQ(through->computedRows, 100);
  EXPECT_EQ(through->CachedRowCount(), 50);

  // New parent rows: the cache is dropped and rebuilt on the next read.
  table->SetRows({});
  EXPECT_EQ(through->GetRowCount(), 0);
}

}  // namespace
}  // namespace lv
