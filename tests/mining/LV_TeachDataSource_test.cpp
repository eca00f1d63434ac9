#include "mining/teach/LV_TeachDataSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "LV_MiningTestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"

namespace lv {
namespace {

using test::ErrorKey;
using test::ErrorText;
constexpr auto kTeach = TLVDataSourceType::dstTeach;
constexpr auto kTest = TLVDataSourceType::dstTest;

// Rows 0..n-1: x = row, flag = row % 3 == 0 (null on rows divisible by 5), colour
// "c<row % 4>".
std::shared_ptr<test::TTestTable> MakeTable(int n) {
  std::vector<std::vector<TLVValue>> rows;
  for (int i = 0; i < n; ++i) {
    rows.push_back(
        {TLVValue::Float(i),
         i % 5 == 0 ? TLVValue::Null(TLVDataType::dtBoolean) : TLVValue::Boolean(i % 3 == 0),
         TLVValue::String("c" + std::to_string(i % 4))});
  }
  return std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"x", TLVDataType::dtFloat},
                                             {"flag", TLVDataType::dtBoolean},
                                             {"colour", TLVDataType::dtString}},
      std::move(rows));
}

struct TFixture {
  explicit TFixture(int n)
      : table(MakeTable(n)), tuned(std::make_shared<TLVTunedNormDataSource>()) {
    tuned->SetDataSource(table);
    teach.SetTunedNormDataSource(tuned);
  }
  std::shared_ptr<test::TTestTable> table;
  std::shared_ptr<TLVTunedNormDataSource> tuned;
  TLVTeachDataSource teach;
};

std::vector<TLVRowIndex> Sorted(std::vector<TLVRowIndex> rows) {
  std::sort(rows.begin(), rows.end());
  return rows;
}

std::vector<TLVRowIndex> Range(TLVRowIndex from, TLVRowIndex to) {
  std::vector<TLVRowIndex> rows(static_cast<size_t>(to - from));
  std::iota(rows.begin(), rows.end(), from);
  return rows;
}

TEST(TeachDataSource, SplitSizesRoundHalfToEven) {
  EXPECT_EQ(TLVTeachDataSource::SplitSizes(5, 50, 50), (std::array<TLVRowIndex, 2>{2, 2}));
  EXPECT_EQ(TLVTeachDataSource::SplitSizes(7, 50, 50), (std::array<TLVRowIndex, 2>{3, 4}));
  EXPECT_EQ(TLVTeachDataSource::SplitSizes(3, 50, 50), (std::array<TLVRowIndex, 2>{1, 2}));
  EXPECT_EQ(TLVTeachDataSource::SplitSizes(10, 70, 30), (std::array<TLVRowIndex, 2>{7, 3}));
  EXPECT_EQ(TLVTeachDataSource::SplitSizes(0, 70, 30), (std::array<TLVRowIndex, 2>{0, 0}));

  // With N = 5 and 50/50 the fifth row is in no set.
  TFixture f(5);
  f.teach.SetPercent(kTeach, 50);
  f.teach.SetPercent(kTest, 50);
  EXPECT_EQ(f.teach.Rows(kTeach), Range(0, 2));
  EXPECT_EQ(f.teach.Rows(kTest), Range(2, 4));
  EXPECT_EQ(f.teach.SetOfRow(4), std::nullopt);
  EXPECT_EQ(f.teach.SetOfRow(3), kTest);
}

TEST(TeachDataSource, PercentagesAreRescaledToStayWithinAHundred) {
  TLVTeachDataSource teach;
  EXPECT_DOUBLE_EQ(teach.GetPercent(kTeach), 70);
  teach.SetPercent(kTest, 40);
  EXPECT_DOUBLE_EQ(teach.GetPercent(kTeach), 60);
  EXPECT_DOUBLE_EQ(teach.GetPercent(kTest), 40);
  teach.SetPercent(kTeach, 50);
  EXPECT_DOUBLE_EQ(teach.GetPercent(kTest), 40);  // 90 in all: nothing to rescale
  teach.SetPercent(kTeach, 100);
  EXPECT_DOUBLE_EQ(teach.GetPercent(kTest), 0);
  teach.SetPercent(kTest, 25);
  EXPECT_DOUBLE_EQ(teach.GetPercent(kTeach), 75);
  EXPECT_EQ(ErrorText([&] { teach.SetPercent(kTest, 101); }),
            "Процент 101 должен лежать в диапазоне от 0 до 100");
  EXPECT_EQ(ErrorKey([&] { teach.SetPercent(kTest, -1); }), "ErrPercentRange");
  EXPECT_DOUBLE_EQ(teach.GetPercent(kTest), 25);
  EXPECT_EQ(ErrorText([&] { teach.SetSplitOrders({kTest, kTest}); }), "SetSplitOrders Error");
  EXPECT_EQ(teach.GetSplitOrders()[0], kTeach);
}

TEST(TeachDataSource, OrderSplitFollowsTheSetOrderAndEachSetsSortOrder) {
  TFixture f(10);
  f.teach.SetPercent(kTeach, 60);
  f.teach.SetPercent(kTest, 30);
  EXPECT_EQ(f.teach.Rows(kTeach), Range(0, 6));
  EXPECT_EQ(f.teach.Rows(kTest), Range(6, 9));
  EXPECT_EQ(f.teach.SetOfRow(9), std::nullopt);

  f.teach.SetSplitOrders({kTest, kTeach});
  f.teach.SetSortOrder(kTest, TLVTeachDataSourveSortOrder::tsoDesc);
  f.teach.SetSortOrder(kTeach, TLVTeachDataSourveSortOrder::tsoRandom);
  EXPECT_EQ(f.teach.Rows(kTest), (std::vector<TLVRowIndex>{2, 1, 0}));
  EXPECT_EQ(Sorted(f.teach.Rows(kTeach)), Range(3, 9));
  EXPECT_NE(f.teach.Rows(kTeach), Range(3, 9));
  EXPECT_EQ(f.teach.GetRowNumber(TLVDataSourceTypeEx::dsteTest, 0), 2);
  EXPECT_EQ(f.teach.GetRowCount(TLVDataSourceTypeEx::dsteAll), 10);
  EXPECT_EQ(ErrorKey([&] { f.teach.GetRowNumber(TLVDataSourceTypeEx::dsteTest, 3); }),
            "ErrTeachRowIndex");

  // A set out of use gets no rows; the sets read as tables of the tuned source.
  f.teach.SetDataSourceTypes({kTeach});
  EXPECT_TRUE(f.teach.Rows(kTest).empty());
  auto view = f.teach.DataSource(TLVDataSourceTypeEx::dsteTeach);
  ASSERT_EQ(view->GetRowCount(), 6);
  EXPECT_EQ(view->GetNumber(0, 0), static_cast<double>(f.teach.Rows(kTeach)[0]));
}

TEST(TeachDataSource, RandomSplitIsReproducedByTheSavedProject) {
  TFixture f(200);
  f.teach.SetSplitType(TLVSplitType::stRandom);
  f.teach.SetPercent(kTest, 30);
  const std::vector<TLVRowIndex> teachRows = f.teach.Rows(kTeach);
  const std::vector<TLVRowIndex> testRows = f.teach.Rows(kTest);
  ASSERT_EQ(teachRows.size(), 140u);
  ASSERT_EQ(testRows.size(), 60u);
  std::vector<TLVRowIndex> both = teachRows;
  both.insert(both.end(), testRows.begin(), testRows.end());
  EXPECT_EQ(Sorted(both), Range(0, 200));
  EXPECT_NE(Sorted(teachRows), Range(0, 140));

  test::TMapSection saved;
  f.teach.SaveTo(saved);
  ASSERT_NE(saved.FindSection("Indexes"), nullptr);
  EXPECT_TRUE(saved.FindSection("Indexes")->Get("RandSeed"));
  ASSERT_NE(saved.FindSection("RowNumbers"), nullptr);
  EXPECT_EQ(saved.FindSection("RowNumbers")->Get("Count"), "200");

  TLVTeachDataSource reopened;
  reopened.LoadFrom(saved);
  test::TMapSection savedAgain;
  reopened.SaveTo(savedAgain);
  ASSERT_NE(savedAgain.FindSection("RowNumbers"), nullptr);
  EXPECT_EQ(savedAgain.FindSection("RowNumbers")->Get("Sets"),
            saved.FindSection("RowNumbers")->Get("Sets"));
  reopened.SetTunedNormDataSource(f.tuned);
  EXPECT_EQ(reopened.Rows(kTeach), teachRows);
  EXPECT_EQ(reopened.Rows(kTest), testRows);

  // The stored assignment wins over the seed: the same rows, in the new draw's order.
  test::TMapSection otherSeed;
  reopened.SaveTo(otherSeed);
  for (auto& [name, child] : otherSeed.children) {
    if (name == "Indexes") child->Put("RandSeed", "12345");
  }
  TLVTeachDataSource kept;
  kept.LoadFrom(otherSeed);
  kept.SetTunedNormDataSource(f.tuned);
  EXPECT_EQ(Sorted(kept.Rows(kTest)), Sorted(testRows));
  EXPECT_NE(kept.Rows(kTest), testRows);

  // A changed split draws anew.
  kept.SetPercent(kTest, 50);
  EXPECT_EQ(kept.Rows(kTest).size(), 100u);

  test::TMapSection bad;
  bad.AddSection("RowNumbers").Put("Count", "3");
  EXPECT_THROW(kept.LoadFrom(bad), ELVError);
  EXPECT_DOUBLE_EQ(kept.GetPercent(kTest), 50);
}

TEST(TeachDataSource, CustomSplitByALogicalColumn) {
  TFixture f(30);
  EXPECT_EQ(ErrorKey([&] { f.teach.SetSplitType(TLVSplitType::stCustom), f.teach.Rows(kTeach); }),
            "ErrSplitColumnNotGiven");
  f.teach.SetSplitType(TLVSplitType::stOrder);
  f.teach.SetSplitCollumnName("nothing");
  EXPECT_EQ(f.teach.GetSplitType(), TLVSplitType::stCustom);
  EXPECT_EQ(ErrorText([&] { f.teach.Rows(kTeach); }),
            "Не найден столбец nothing для разбиения множества данных");
  f.teach.SetSplitCollumnName("colour");
  EXPECT_EQ(ErrorText([&] { f.teach.Rows(kTeach); }),
            "Cтолбец colour для разбиения множества данных должен быть логического типа");

  f.teach.SetSplitCollumnName("flag");
  std::vector<TLVRowIndex> expectTeach, expectTest;
  for (TLVRowIndex i = 0; i < 30; ++i) {
    if (i % 5 == 0) continue;
    (i % 3 == 0 ? expectTest : expectTeach).push_back(i);
  }
  EXPECT_EQ(Sorted(f.teach.Rows(kTeach)), expectTeach);
  EXPECT_EQ(Sorted(f.teach.Rows(kTest)), expectTest);
  EXPECT_EQ(f.teach.SetOfRow(0), std::nullopt);
  EXPECT_DOUBLE_EQ(f.teach.GetPercent(kTest), expectTest.size() * 100.0 / 30);
}

TEST(TeachDataSource, ChecksBeforeTrainingAndLazyRebuilds) {
  TFixture f(8);
  f.tuned->Columns()[2].SetDataStatus(TLVDataStatus::dsInput);
  // 70% of 8 rows: the first 6 hold c0..c3, so the training set is complete.
  EXPECT_NO_THROW(f.teach.CheckBeforeTraining());
  f.teach.SetPercent(kTeach, 25);
  EXPECT_EQ(ErrorText([&] { f.teach.CheckBeforeTraining(); }),
            "В обучающем наборе данных уникальные значения следующих полей не обладают "
            "свойством полноты: colour");
  // With fitted normalizers the training rows are checked against their lists.
  f.tuned->PrepareNormalizers();
  EXPECT_EQ(ErrorKey([&] { f.teach.CheckBeforeTraining(); }), "ErrTeachSetIncomplete");
  f.teach.SetPercent(kTeach, 50);
  EXPECT_NO_THROW(f.teach.CheckBeforeTraining());
  f.teach.SetPercent(kTeach, 25);
  f.teach.SetPercent(kTeach, 0);
  EXPECT_EQ(ErrorKey([&] { f.teach.CheckBeforeTraining(); }), "ErrTeachSetEmpty");
  f.teach.SetDataSourceTypes({kTest});
  EXPECT_EQ(ErrorKey([&] { f.teach.CheckBeforeTraining(); }), "ErrNoTeachSet");

  // A change of the rows makes the sets stale; without AutoRefresh they stay while the
  // number of rows does.
  f.teach.SetDataSourceTypes({kTeach, kTest});
  f.teach.SetPercent(kTeach, 50);
  f.teach.SetPercent(kTest, 50);
  f.teach.Rows(kTest);
  EXPECT_FALSE(f.teach.Stale());
  f.table->SetRows([] {
    std::vector<std::vector<TLVValue>> rows;
    for (int i = 0; i < 4; ++i) {
      rows.push_back({TLVValue::Float(i), TLVValue::Boolean(true), TLVValue::String("c0")});
    }
    return rows;
  }());
  EXPECT_TRUE(f.teach.Stale());
  EXPECT_EQ(f.teach.Rows(kTest), Range(2, 4));
  f.teach.SetAutoRefresh(false);
  f.table->SetRows(std::vector<std::vector<TLVValue>>(
      4, {TLVValue::Float(0), TLVValue::Boolean(true), TLVValue::String("c0")}));
  EXPECT_FALSE(f.teach.Stale());
}

}  // namespace
}  // namespace lv
