#include <gtest/gtest.h>

#include "LV_TestHelpers.h"
#include "core/LV_TestTable.h"
#include "core/sources/LV_DataEngine.h"
#include "core/sources/LV_FilteredDataSource.h"
#include "core/text/LV_Errors.h"

namespace lv {
namespace {

using test::MakeNumbers;
using test::ReadColumn;
using test::TCancelAt;
using test::TTestTable;

TEST(FilteredDataSource, ShowsTheRowsOfAnIndexSet) {
  auto table = MakeNumbers(20);
  auto filtered = std::make_shared<TLVFilteredDataSource>();
  filtered->SetDataSource(table);
  EXPECT_EQ(filtered->GetRowCount(), 0);
  filtered->SetIndexes(
      std::make_shared<TLVDataSourceIndexes>(std::vector<TLVRowIndex>{19, 0, 3, 3, 7}));
  auto names = ReadColumn(*filtered, 2);
  ASSERT_EQ(names.size(), 5u);
  EXPECT_EQ(names[0].AsText(), "n19");
  EXPECT_EQ(names[4].AsText(), "n7");
  EXPECT_TRUE(filtered->GetValue(2, 1).IsNull());
  const TLVRowIndex rows[] = {4, 0};
  TLVBlock block;
  filtered->ReadRows(0, rows, std::min<int32_t>(2, kLVBlockSize), block);
  EXPECT_EQ(block.Integers()[0], 7);

  filtered->SetIndexes(std::make_shared<TLVDataSourceIndexes>(std::vector<TLVRowIndex>{20}));
  EXPECT_THROW(filtered->Open(), ELVDataError);
}

// Keeps the rows whose ID is even.
class TEvenRows : public TLVCachedFilteredDataSource {
 protected:
  class TEvenIds : public ILVRowSelector {
   public:
    void SelectRows(ILVDataSource& parent, TLVRowIndex first, int32_t count,
                    std::vector<TLVRowIndex>& selected) override {
      parent.ReadBlock(0, first, count, ids_);
      for (int32_t i = 0; i < count; ++i) {
        if (ids_.Integers()[i] % 2 == 0) selected.push_back(first + i);
      }
    }

   private:
    TLVBlock ids_;
  };
  std::unique_ptr<ILVRowSelector> NewRowSelector() override { return std::make_unique<TEvenIds>(); }
};

TEST(CachedFilteredDataSource, KeepsSelectedParentRowsAsAnIndexArray) {
  auto table = MakeNumbers(25);
  auto even = std::make_shared<TEvenRows>();
  even->SetDataSource(table);
  EXPECT_EQ(even->GetRowCount(), 13);
  EXPECT_EQ(even->SelectedRows()[12], 24);
  auto ids = ReadColumn(*even, 0);
  for (size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(ids[i].AsInteger(), static_cast<int>(2 * i));
  auto x = ReadColumn(*even, 1);
  EXPECT_TRUE(x[5].IsNull());  // parent row 10
  EXPECT_EQ(x[6].AsDouble(), 6.0);

  table->SetRows({});
  EXPECT_EQ(even->GetRowCount(), 0);
}

TEST(CachedFilteredDataSource, TypeChangesOnlyWhereEveryValueConverts) {
  auto table = std::make_shared<TTestTable>(
      std::vector<TTestTable::TColumn>{
          {"T", TLVDataType::dtString}, {"U", TLVDataType::dtString}, {"N", TLVDataType::dtNone}},
      std::vector<std::vector<TLVValue>>{
          {TLVValue::String("1,5"), TLVValue::String("1,5"), TLVValue::Null(TLVDataType::dtNone)},
          {TLVValue::Null(TLVDataType::dtString), TLVValue::String("x"),
           TLVValue::Null(TLVDataType::dtNone)},
          {TLVValue::String(" -2 "), TLVValue::String("3"), TLVValue::Null(TLVDataType::dtNone)}});
  auto all = std::make_shared<TLVCachedFilteredDataSource>();
  all->SetDataSource(table);

  all->SetColumnDataType(0, TLVDataType::dtFloat);
  EXPECT_EQ(all->Columns()[0].GetDataType(), TLVDataType::dtFloat);
  auto t = ReadColumn(*all, 0);
  EXPECT_EQ(t[0].AsDouble(), 1.5);
  EXPECT_TRUE(t[1].IsNull());
  EXPECT_EQ(t[2].AsDouble(), -2.0);

  EXPECT_EQ(test::MessageOf([&] { all->SetColumnDataType(1, TLVDataType::dtFloat); }),
            "Нельзя преобразовать данные столбца \"U\", имеющего тип \"Строковый\" к типу "
            "\"Вещественный\"");
  EXPECT_EQ(all->Columns()[1].GetDataType(), TLVDataType::dtString);
  EXPECT_EQ(test::MessageOf([&] { all->SetColumnDataType(2, TLVDataType::dtInteger); }),
            "Тип данных столбца \"N\" не может быть изменен");
  // Back to text: numbers are shown with the default formats.
  all->SetColumnDataType(0, TLVDataType::dtString);
  EXPECT_EQ(ReadColumn(*all, 0)[0].AsText(), "1,5");
}

// A process engine whose phase counts the parent's rows.
class TCountingEngine : public TLVDataProcessEngine {
 public:
  class TOutput : public TLVDerivedDataSource {
   public:
    TCountingEngine* engine = nullptr;

   protected:
    void DoOpen() override {
      engine->CheckProcessed();
      TLVDerivedDataSource::DoOpen();
    }
  };
  TCountingEngine()
      : TLVDataProcessEngine(std::make_shared<TLVTunedDataSource>(), std::make_shared<TOutput>()) {
    static_cast<TOutput&>(DerivedDataSource()).engine = this;
    SetComponentName("Счётчик");
  }
  TLVRowIndex counted = -1;

 protected:
  void DoProcess(ILVProgress* progress) override {
    TLVProgressScope scope(progress, "count", TunedDataSource().GetRowCount());
    TLVRowIndex rows = TunedDataSource().GetRowCount();
    for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) scope.Step(first);
    counted = rows;
  }
  void DoUnprocess() override { counted = -1; }
};

TEST(DataEngine, ProcessPhaseGuardsTheOutputAndIsUndoneByUpstreamChanges) {
  auto table = MakeNumbers(10);
  TCountingEngine engine;
  engine.SetDataSource(table);
  auto output = RequireDataSource(engine);
  EXPECT_EQ(output->GetColumnsInfo().GetColumnCount(), 3);  // descriptions need no phase
  try {
    output->GetRowCount();
    FAIL();
  } catch (const ELVError& e) {
    EXPECT_EQ(e.Key(), "ErrDataNotProcessed");
    EXPECT_NE(std::string(e.what()).find("Счётчик"), std::string::npos);
  }
  TCancelAt cancel(0);
  EXPECT_THROW(engine.Process(&cancel), ELVAbort);
  EXPECT_FALSE(engine.Processed());
  EXPECT_EQ(cancel.finished, 1);
  EXPECT_FALSE(table->Locked());

  engine.BatchProcess().Execute(nullptr);
  EXPECT_TRUE(engine.Processed());
  EXPECT_EQ(engine.counted, 10);
  EXPECT_EQ(output->GetRowCount(), 10);

  table->SetRows({});
  EXPECT_FALSE(engine.Processed());
  EXPECT_EQ(engine.counted, -1);
  EXPECT_THROW(output->GetRowCount(), ELVError);
}

}  // namespace
}  // namespace lv
