#include "mining/normalizers/LV_TunedNormDataSource.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <vector>

#include "LV_MiningTestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "core/text/LV_Errors.h"
#include "mining/normalizers/LV_BitMaskNormalizer.h"
#include "mining/normalizers/LV_LinearNormalizer.h"

namespace lv {
namespace {

std::shared_ptr<test::TTestTable> MakeTable() {
  std::vector<std::vector<TLVValue>> rows;
  const char* colours[] = {"red", "green", "blue"};
  for (int i = 0; i < 11; ++i) {
    rows.push_back({TLVValue::Float(i * 0.5), TLVValue::Integer(i % 4),
                    TLVValue::String(colours[i % 3]), TLVValue::Float(7)});
  }
  return std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"x", TLVDataType::dtFloat},
                                             {"y", TLVDataType::dtInteger},
                                             {"colour", TLVDataType::dtString},
                                             {"flat", TLVDataType::dtFloat}},
      std::move(rows));
}

std::shared_ptr<TLVTunedNormDataSource> MakeTuned(std::shared_ptr<test::TTestTable> table) {
  auto tuned = std::make_shared<TLVTunedNormDataSource>();
  tuned->SetDataSource(table);
  tuned->Columns()[0].SetDataStatus(TLVDataStatus::dsInput);
  tuned->Columns()[1].SetDataKind(TLVDataKind::dkContinuous);
  tuned->Columns()[1].SetDataStatus(TLVDataStatus::dsOutput);
  tuned->Columns()[2].SetDataStatus(TLVDataStatus::dsInput);
  tuned->Columns()[3].SetDataStatus(TLVDataStatus::dsInput);
  return tuned;
}

TEST(TunedNormDataSource, FitsNormalizersAndFillsTheMatrixByBlocks) {
  auto tuned = MakeTuned(MakeTable());
  EXPECT_EQ(tuned->Normalizer(0), nullptr);
  tuned->PrepareNormalizers();
  EXPECT_EQ(tuned->Normalizer(0)->ClassName(), "TLVLinearNormalizer");
  EXPECT_EQ(tuned->Normalizer(1)->ClassName(), "TLVLinearNormalizer");
  EXPECT_EQ(tuned->Normalizer(2)->ClassName(), "TLVUniqueValuesNormalizer");
  EXPECT_EQ(tuned->Normalizer(3)->ClassName(), "TLVSingularContinuesNormalizer");
  EXPECT_EQ(tuned->InputColumns(), (std::vector<int32_t>{0, 2, 3}));
  EXPECT_EQ(tuned->OutputColumns(), (std::vector<int32_t>{1}));

  EXPECT_EQ(test::ErrorKey([&] { tuned->SetNormalizerClass(0, "TLVBitMaskNormalizer"); }),
            "ErrNormalizerNotApplicable");
  tuned->SetNormalizerClass(2, "TLVBitMaskNormalizer");
  static_cast<TLVBitMaskNormalizer*>(tuned->Normalizer(2))->SetBitMaskCodeType(1);
  static_cast<TLVLinearNormalizer*>(tuned->Normalizer(0))->SetExpandRange(true);
  // A new preparation keeps the user's classes and their settings.
  tuned->PrepareNormalizers();
  EXPECT_EQ(tuned->Normalizer(2)->OutputWidth(), 3);
  EXPECT_TRUE(static_cast<TLVLinearNormalizer*>(tuned->Normalizer(0))->GetExpandRange());

  const std::vector<int32_t> inputs = tuned->InputColumns();
  ASSERT_EQ(tuned->WidthOf(inputs), 5);
  // Every row, then a gather of some rows in a chosen order.
  const TLVRowIndex n = tuned->GetRowCount();
  std::vector<double> all(static_cast<size_t>(5 * n));
  tuned->NormalizeRows(inputs, nullptr, 0, n, all.data(), n);
  const std::vector<TLVRowIndex> picked = {9, 0, 4, 10, 5};
  std::vector<double> some(5 * picked.size());
  tuned->NormalizeRows(inputs, picked.data(), 0, 5, some.data(), 5);
  for (size_t r = 0; r < picked.size(); ++r) {
    const TLVRowIndex row = picked[r];
    std::vector<double> expected = {tuned->Normalizer(0)->Normalize(tuned->GetValue(row, 0))};
    std::vector<double> mask(3);
    tuned->Normalizer(2)->NormalizeVector(tuned->GetValue(row, 2), mask);
    expected.insert(expected.end(), mask.begin(), mask.end());
    expected.push_back(0.0);
    for (size_t j = 0; j < 5; ++j) {
      EXPECT_DOUBLE_EQ(some[j * 5 + r], expected[j]) << "row " << row << " component " << j;
      EXPECT_DOUBLE_EQ(all[j * static_cast<size_t>(n) + static_cast<size_t>(row)], expected[j]);
    }
  }
}

TEST(TunedNormDataSource, ListedRunsOfRowsReadAsTheirBlocks) {
  std::vector<std::vector<TLVValue>> rows;
  for (int i = 0; i < 1300; ++i) rows.push_back({TLVValue::Float(i), TLVValue::Float(i % 9)});
  auto table = std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"x", TLVDataType::dtFloat},
                                             {"y", TLVDataType::dtFloat}},
      std::move(rows));
  auto tuned = std::make_shared<TLVTunedNormDataSource>();
  tuned->SetDataSource(table);
  tuned->Columns()[0].SetDataStatus(TLVDataStatus::dsInput);
  tuned->PrepareNormalizers();
  // The rows 100..1299 listed, as a training set in source order lists them, then with
  // two rows swapped, against the same rows read from row 100 on.
  std::vector<TLVRowIndex> listed(1200);
  std::iota(listed.begin(), listed.end(), TLVRowIndex{100});
  std::vector<double> expected(1200), got(1200);
  tuned->NormalizeRows(std::vector<int32_t>{0}, nullptr, 100, 1200, expected.data(), 1200);
  tuned->NormalizeRows(std::vector<int32_t>{0}, listed.data(), 0, 1200, got.data(), 1200);
  EXPECT_EQ(got, expected);
  std::swap(listed[700], listed[701]);
  std::swap(expected[700], expected[701]);
  tuned->NormalizeRows(std::vector<int32_t>{0}, listed.data(), 0, 1200, got.data(), 1200);
  EXPECT_EQ(got, expected);
}

TEST(TunedNormDataSource, ReopensWithItsPurposesModesAndNormalizers) {
  auto table = MakeTable();
  auto tuned = MakeTuned(table);
  tuned->PrepareNormalizers();
  tuned->SetNormalizerClass(2, "TLVBaseCategoryNormalizer");
  tuned->Normalizer(0)->Helper()->SetEnabled(true);
  tuned->Normalizer(0)->Helper()->SetRange(-1, 1);
  tuned->SetExecuteMode(true);
  tuned->SetDesignMode(false);
  test::TMapSection section;
  tuned->SaveSettingsTo(section);

  auto loaded = std::make_shared<TLVTunedNormDataSource>();
  loaded->LoadSettingsFrom(section);
  loaded->SetDataSource(table);
  EXPECT_TRUE(loaded->GetExecuteMode());
  EXPECT_FALSE(loaded->GetDesignMode());
  EXPECT_EQ(loaded->InputColumns(), tuned->InputColumns());
  EXPECT_EQ(loaded->Columns()[1].GetDataKind(), TLVDataKind::dkContinuous);
  EXPECT_EQ(loaded->Normalizer(2)->ClassName(), "TLVBaseCategoryNormalizer");

  const std::vector<int32_t> inputs = tuned->InputColumns();
  const TLVRowIndex n = tuned->GetRowCount();
  const auto width = static_cast<size_t>(tuned->WidthOf(inputs));
  std::vector<double> before(width * static_cast<size_t>(n)), after(before.size());
  tuned->NormalizeRows(inputs, nullptr, 0, n, before.data(), n);
  loaded->NormalizeRows(inputs, nullptr, 0, n, after.data(), n);
  EXPECT_EQ(before, after);
  EXPECT_DOUBLE_EQ(after[static_cast<size_t>(n) - 1], 1.0);  // x at its maximum maps to 1

  // Opened under a parent that has no columns yet, the choices wait for the columns.
  auto early = std::make_shared<TLVTunedNormDataSource>();
  early->LoadSettingsFrom(section);
  early->SetExecuteMode(false);
  early->SetDesignMode(true);
  early->SetDataSource(std::make_shared<test::TTestTable>(std::vector<test::TTestTable::TColumn>{},
                                                          std::vector<std::vector<TLVValue>>{}));
  EXPECT_EQ(early->Columns().Count(), 0);
  early->SetDataSource(table);
  EXPECT_EQ(early->InputColumns(), tuned->InputColumns());
  EXPECT_EQ(early->OutputColumns(), std::vector<int32_t>{1});

  test::TMapSection bad;
  bad.AddSection("Columns").AddItem("Column").Put("DataStatus", "dsNowhere");
  EXPECT_THROW(loaded->LoadSettingsFrom(bad), ELVError);
  EXPECT_EQ(loaded->Columns().Count(), 4);
}

}  // namespace
}  // namespace lv
