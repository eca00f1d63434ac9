#include <gtest/gtest.h>

#include "core/columns/LV_ColumnInfo.h"
#include "core/text/LV_Errors.h"

namespace lv {
namespace {

// Records what the owning list is told.
struct TChangeLog {
  explicit TChangeLog(TLVColumnsInfo& list) {
    list.SetObserver(
        [this](TLVCollectionItem*, std::string_view property) { changes.emplace_back(property); });
  }
  std::vector<std::string> changes;
};

TEST(ColumnInfo, TypeSetsKindOnlyWhileUndefined) {
  TLVColumnsInfo list;
  TLVColumnInfo& c = list.AddColumn("A", TLVDataType::dtNone);
  EXPECT_EQ(c.GetDataKind(), TLVDataKind::dkUndefined);
  c.SetDataType(TLVDataType::dtFloat);
  EXPECT_EQ(c.GetDataKind(), TLVDataKind::dkContinuous);
  c.SetDataType(TLVDataType::dtString);
  EXPECT_EQ(c.GetDataKind(), TLVDataKind::dkDiscrete);
  c.SetDataType(TLVDataType::dtFloat);
  EXPECT_EQ(c.GetDataKind(), TLVDataKind::dkDiscrete);

  TLVColumnInfo& d = list.AddColumn("B", TLVDataType::dtNone);
  d.SetDataKind(TLVDataKind::dkDiscrete);
  d.SetDataType(TLVDataType::dtInteger);
  EXPECT_EQ(d.GetDataKind(), TLVDataKind::dkDiscrete);
  d.SetDataType(TLVDataType::dtBoolean);
  EXPECT_EQ(d.GetDataKind(), TLVDataKind::dkDiscrete);
}

TEST(ColumnInfo, ContinuousRefusedForBooleanAndStringAndNothingChanges) {
  for (TLVDataType type : {TLVDataType::dtBoolean, TLVDataType::dtString}) {
    TLVColumnsInfo list;
    TLVColumnInfo& c = list.AddColumn("Флаг", type);
    TChangeLog log(list);
    try {
      c.SetDataKind(TLVDataKind::dkContinuous);
      FAIL();
    } catch (const ELVError& e) {
      EXPECT_EQ(e.Key(), "ErrColumnCantBeContinuous");
      EXPECT_NE(std::string(e.what()).find("Флаг"), std::string::npos);
      EXPECT_NE(std::string(e.what()).find(DisplayText(type)), std::string::npos);
    }
    EXPECT_EQ(c.GetDataKind(), TLVDataKind::dkDiscrete);
    EXPECT_TRUE(log.changes.empty());
  }
}

TEST(ColumnInfo, ChangesAreReportedUnderPropertyNamesOnlyWhenValuesChange) {
  TLVColumnsInfo list;
  TLVColumnInfo& c = list.AddColumn("A", TLVDataType::dtInteger, TLVDataStatus::dsInput);
  TChangeLog log(list);
  c.SetDataType(TLVDataType::dtInteger);
  c.SetDataStatus(TLVDataStatus::dsInput);
  c.SetDataKind(TLVDataKind::dkContinuous);
  EXPECT_TRUE(log.changes.empty());
  c.SetDataType(TLVDataType::dtFloat);
  c.SetDataKind(TLVDataKind::dkDiscrete);
  c.SetDataStatus(TLVDataStatus::dsOutput);
  EXPECT_EQ(log.changes, (std::vector<std::string>{"citDataType", "citDataKind", "citDataStatus"}));
  // Inside an update bracket the list is told once, at its end.
  log.changes.clear();
  list.BeginUpdate();
  c.SetName("B");
  c.SetDataStatus(TLVDataStatus::dsKey);
  EXPECT_TRUE(log.changes.empty());
  list.EndUpdate();
  EXPECT_EQ(log.changes.size(), 1u);
}

TEST(ColumnInfo, UsableFollowsPurpose) {
  TLVColumnsInfo list;
  TLVColumnInfo& c = list.AddColumn("A", TLVDataType::dtFloat, TLVDataStatus::dsInput);
  TChangeLog log(list);
  c.SetUsable(true);
  EXPECT_EQ(c.GetDataStatus(), TLVDataStatus::dsInput);
  EXPECT_TRUE(log.changes.empty());
  c.SetUsable(false);
  EXPECT_EQ(c.GetDataStatus(), TLVDataStatus::dsUnUsable);
  EXPECT_FALSE(c.GetUsable());
  c.SetUsable(true);
  EXPECT_EQ(c.GetDataStatus(), TLVDataStatus::dsUsable);
  EXPECT_EQ(log.changes, (std::vector<std::string>{"citDataStatus", "citDataStatus"}));
}

TEST(ColumnInfo, DataSizeRules) {
  TLVColumnsInfo list;
  TLVColumnInfo& f = list.AddColumn("F", TLVDataType::dtFloat);
  f.SetDataSize(20);
  EXPECT_EQ(f.GetDataSize(), 0);
  EXPECT_THROW(f.SetDataSize(-1), ELVError);
  EXPECT_EQ(f.StoredDataSize(), 20);

  TLVColumnInfo& s = list.AddColumn("S", TLVDataType::dtString);
  EXPECT_EQ(s.GetDataSize(), 0);
  TChangeLog log(list);
  s.SetDataSize(12);  // no statistics yet: the item is marked changed
  EXPECT_EQ(s.GetDataSize(), 12);
  EXPECT_EQ(log.changes, std::vector<std::string>{"citDataSize"});

  auto stats = std::make_shared<TLVStatInfo>();
  s.SetStatInfo(stats);
  EXPECT_EQ(s.GetDataSize(), 12);
  s.SetDataSize(0);
  EXPECT_EQ(s.GetDataSize(), 1);  // statistics without a longest text
  EXPECT_EQ(log.changes.size(), 1u);
  stats->maxTextLength = 7.5;
  EXPECT_EQ(s.GetDataSize(), 8);
  s.SetDataSize(3);
  EXPECT_EQ(s.GetDataSize(), 8);
}

TEST(ColumnInfo, BinaryCopyAppliesKindStatusTypeThroughSetters) {
  TLVColumnsInfo list;
  TLVColumnInfo& source = list.AddColumn("Возраст", TLVDataType::dtFloat, TLVDataStatus::dsInput);
  source.SetDisplayName("Возраст клиента");
  TLVByteWriter writer;
  source.WriteTo(writer);
  EXPECT_EQ(writer.Data().size(),
            4 + std::string("Возраст").size() + 4 + std::string("Возраст клиента").size() + 3);
  EXPECT_EQ(writer.Data().substr(writer.Data().size() - 3),
            std::string({static_cast<char>(TLVDataKind::dkContinuous),
                         static_cast<char>(TLVDataStatus::dsInput),
                         static_cast<char>(TLVDataType::dtFloat)}));

  TLVColumnInfo copy;
  TLVByteReader reader(writer.Data());
  copy.ReadFrom(reader);
  EXPECT_EQ(copy.GetName(), "Возраст");
  EXPECT_EQ(copy.GetDisplayName(), "Возраст клиента");
  EXPECT_EQ(copy.GetDataKind(), TLVDataKind::dkContinuous);
  EXPECT_EQ(copy.GetDataStatus(), TLVDataStatus::dsInput);
  EXPECT_EQ(copy.GetDataType(), TLVDataType::dtFloat);

  // A continuous kind read before a string type ends as discrete.
  TLVByteWriter odd;
  odd.WriteString("S");
  odd.WriteString("");
  odd.WriteByte(static_cast<uint8_t>(TLVDataKind::dkContinuous));
  odd.WriteByte(static_cast<uint8_t>(TLVDataStatus::dsUsable));
  odd.WriteByte(static_cast<uint8_t>(TLVDataType::dtString));
  TLVColumnInfo fresh;
  TLVByteReader oddReader(odd.Data());
  fresh.ReadFrom(oddReader);
  EXPECT_EQ(fresh.GetDataKind(), TLVDataKind::dkDiscrete);

  // Truncated or out-of-range bytes are refused without touching the item.
  for (size_t cut = 0; cut < writer.Data().size(); ++cut) {
    TLVColumnInfo target;
    TLVByteReader truncated(std::string_view(writer.Data()).substr(0, cut));
    EXPECT_THROW(target.ReadFrom(truncated), ELVError);
    EXPECT_EQ(target.GetName(), "");
  }
  std::string bad = writer.Data();
  bad.back() = 42;
  TLVByteReader badReader(bad);
  EXPECT_THROW(copy.ReadFrom(badReader), ELVError);
}

TEST(ColumnInfo, ListFindsByNameAndByPurpose) {
  TLVColumnsInfo list;
  list.AddColumn("ID", TLVDataType::dtInteger, TLVDataStatus::dsKey);
  list.AddColumn("X", TLVDataType::dtFloat, TLVDataStatus::dsInput);
  list.AddColumn("Y", TLVDataType::dtFloat, TLVDataStatus::dsOutput);
  EXPECT_EQ(list.IndexOfColumn("X"), 1);
  EXPECT_EQ(list.IndexOfColumn("x"), -1);
  EXPECT_EQ(list.FindColumnInfo("Y")->GetColumnIndex(), 2);
  EXPECT_EQ(list.FindColumnInfo("Z"), nullptr);
  EXPECT_EQ(list.ColumnByStatus(TLVDataStatus::dsOutput).GetName(), "Y");
  try {
    list.ColumnByStatus(TLVDataStatus::dsTransactionID);
    FAIL();
  } catch (const ELVError& e) {
    EXPECT_EQ(e.Key(), "ErrColumnByStatusNotFound");
    EXPECT_NE(std::string(e.what()).find("Транзакция"), std::string::npos);
  }
  // A description outlives its list for whoever holds it.
  auto held = list.GetColumnInfo(0);
  list.Clear();
  EXPECT_EQ(held->GetName(), "ID");
  EXPECT_EQ(held->GetColumnIndex(), -1);
}

TEST(ColumnInfo, NormalColumnFallsBackToItsNameAndStoresOneBasedIndexes) {
  TLVNormalColumnDef column;
  column.SetName("Доход");
  EXPECT_EQ(column.GetNormalizerName(), "Доход");
  EXPECT_EQ(column.GetNormalizerIndex(), -1);
  EXPECT_EQ(column.StoredNormalizerIndex(), 0);
  column.LoadStoredIndexes(3, 1);
  EXPECT_EQ(column.GetNormalizerIndex(), 2);
  EXPECT_EQ(column.GetNormColumnIndex(), 0);
  column.SetNormalizerName("Норм");
  EXPECT_EQ(column.GetNormalizerName(), "Норм");
}

}  // namespace
}  // namespace lv
