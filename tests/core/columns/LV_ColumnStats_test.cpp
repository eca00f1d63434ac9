#include <gtest/gtest.h>

#include <cmath>

#include "core/LV_TestTable.h"
#include "core/columns/LV_ColumnStats.h"

namespace lv {
namespace {

TEST(ColumnStats, OnePassGivesMomentsCountsUniquesAndLongestText) {
  auto table = test::MakeNumbers(15);  // X = i/2 except rows 3 and 10
  UpdateColumnStats(*table);
  const TLVStatInfo* x = table->Columns()[1].GetStatInfo();
  ASSERT_NE(x, nullptr);
  std::vector<double> values;
  for (int i = 0; i < 15; ++i) {
    if (i % 7 != 3) values.push_back(i / 2.0);
  }
  double sum = 0, sumSq = 0;
  for (double v : values) {
    sum += v;
    sumSq += v * v;
  }
  double n = static_cast<double>(values.size());
  double mean = sum / n;
  double var = (sumSq - n * mean * mean) / (n - 1);
  EXPECT_EQ(x->totalCount, 15);
  EXPECT_EQ(x->nullCount, 2);
  EXPECT_DOUBLE_EQ(x->min, 0.0);
  EXPECT_DOUBLE_EQ(x->max, 7.0);
  EXPECT_DOUBLE_EQ(x->sum, sum);
  EXPECT_DOUBLE_EQ(x->sumSq, sumSq);
  EXPECT_DOUBLE_EQ(x->avg, mean);
  EXPECT_NEAR(x->stdDev, std::sqrt(var), 1e-12);
  EXPECT_EQ(x->uniqueValuesCount, 13);
  EXPECT_EQ(x->uniqueValues.front().AsDouble(), 0.0);
  EXPECT_EQ(x->Value(TLVStatInfoType::sitNullCount).AsDouble(), 2.0);

  const TLVStatInfo* name = table->Columns()[2].GetStatInfo();
  EXPECT_EQ(name->maxTextLength, 3.0);
  EXPECT_EQ(name->longestText, "n10");
  EXPECT_TRUE(std::isnan(name->sum));
  EXPECT_EQ(name->uniqueValues[0].AsText(), "n0");
  EXPECT_EQ(name->uniqueValues[1].AsText(), "n1");
  EXPECT_EQ(name->uniqueValues[2].AsText(), "n10");
  EXPECT_EQ(table->Columns()[2].GetDataSize(), 3);
  EXPECT_FALSE(table->Locked());
}

TEST(ColumnStats, TextLengthCountsCharactersAndEmptyColumnsHaveNoMoments) {
  auto table = std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"S", TLVDataType::dtString},
                                             {"D", TLVDataType::dtDateTime}},
      std::vector<std::vector<TLVValue>>{
          {TLVValue::String("Москва"), TLVValue::Null(TLVDataType::dtDateTime)},
          {TLVValue::String("Oslo12"), TLVValue::Null(TLVDataType::dtDateTime)}});
  UpdateColumnStats(*table, nullptr, {.uniqueValues = false});
  const TLVStatInfo* s = table->Columns()[0].GetStatInfo();
  EXPECT_EQ(s->maxTextLength, 6.0);
  EXPECT_EQ(s->longestText, "Москва");  // the first of equal lengths
  EXPECT_FALSE(s->uniqueValuesFound);
  EXPECT_TRUE(s->Value(TLVStatInfoType::sitUniqueValuesCount).IsNull());
  const TLVStatInfo* d = table->Columns()[1].GetStatInfo();
  EXPECT_EQ(d->nullCount, 2);
  EXPECT_TRUE(std::isnan(d->avg));
}

}  // namespace
}  // namespace lv
