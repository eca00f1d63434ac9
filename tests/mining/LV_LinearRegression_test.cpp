#include "mining/models/LV_LinearRegression.h"

#include <gtest/gtest.h>

#include <vector>

#include "LV_MiningTestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "core/registry/LV_Vendor.h"
#include "mining/models/LV_LinearRegressionVendor.h"
#include "mining/normalizers/LV_BitMaskNormalizer.h"
#include "mining/random/LV_Random.h"

namespace lv {
namespace {

constexpr auto kTeach = TLVDataSourceType::dstTeach;
constexpr auto kTest = TLVDataSourceType::dstTest;

// y = 3 + 2 x1 - 0.5 x2 + a little noise, drawn exactly as
// tests/mining/data/regression_reference.py draws it; "c" is constant and "k" is a
// category. With `gaps`, three rows follow that miss y, x1 or x2.
std::shared_ptr<test::TTestTable> RegressionTable(int n = 200, bool gaps = false) {
  TLVRandom random(2024);
  std::vector<std::vector<TLVValue>> rows;
  for (int i = 0; i < n; ++i) {
    const double x1 = 10 * random.Random();
    const double x2 = 5 * random.Random() - 2;
    const double y = 3 + 2 * x1 - 0.5 * x2 + 0.1 * (random.Random() - 0.5);
    rows.push_back({TLVValue::Float(x1), TLVValue::Float(x2), TLVValue::Float(y),
                    TLVValue::Float(4), TLVValue::String(i % 2 ? "a" : "b")});
  }
  for (int missing = 0; gaps && missing < 3; ++missing) {
    std::vector<TLVValue> row = rows[static_cast<size_t>(missing)];
    row[static_cast<size_t>(missing == 0 ? 2 : missing - 1)] = TLVValue::Null(TLVDataType::dtFloat);
    rows.push_back(std::move(row));
  }
  return std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"x1", TLVDataType::dtFloat},
                                             {"x2", TLVDataType::dtFloat},
                                             {"y", TLVDataType::dtFloat},
                                             {"c", TLVDataType::dtFloat},
                                             {"k", TLVDataType::dtString}},
      std::move(rows));
}

void Tune(TLVModelHandler& model, std::vector<int32_t> inputs) {
  TLVTunedNormDataSource& tuned = model.TunedNormDataSource();
  for (int32_t i : inputs) tuned.Columns()[i].SetDataStatus(TLVDataStatus::dsInput);
  tuned.Columns()[2].SetDataStatus(TLVDataStatus::dsOutput);
}

TEST(LinearRegression, CoefficientsAgreeWithAnIndependentLeastSquares) {
  // Rows with a missing value take no part.
  TLVLinearRegression model;
  model.SetParentSource(RegressionTable(200, true));
  Tune(model, {0, 1});
  model.TeachDataSource().SetPercent(kTeach, 100);
  model.Teach(nullptr);
  const auto& kernel = static_cast<const TLVLinearRegressionKernel&>(*model.Kernel());
  ASSERT_TRUE(kernel.Trained());
  // From numpy.linalg.lstsq on the same rows (see the reference script).
  const std::vector<double> expected = {2.995593662582749, 2.0009912548827886, -0.49838965312926};
  ASSERT_EQ(kernel.Coefficients().size(), 1u);
  for (size_t j = 0; j < expected.size(); ++j) {
    EXPECT_NEAR(kernel.Coefficients()[0][j], expected[j], 1e-10) << j;
  }
  EXPECT_NEAR(kernel.RSquared()[0], 0.9999747182003509, 1e-10);
  EXPECT_EQ(model.Teacher().GetResult(), TLVTeachResult::trFinished);
  EXPECT_EQ(model.Teacher().Errors(kTeach).rows, 200);
  EXPECT_EQ(model.TeachDataSource().Rows(kTeach).size(), 203u);
  EXPECT_EQ(model.Teacher().Errors(kTest).rows, 0);

  // The executor offers the predictions beside the data.
  ILVDataSource& out = *model.GetDataSourceIntf();
  const int32_t predicted = out.GetColumnsInfo().IndexOfColumn("y_OUT");
  ASSERT_GE(predicted, 0);
  for (TLVRowIndex row : {0, 57, 199}) {
    const double x1 = out.GetNumber(row, 0);
    const double x2 = out.GetNumber(row, 1);
    EXPECT_NEAR(out.GetNumber(row, predicted), expected[0] + expected[1] * x1 + expected[2] * x2,
                1e-9);
    EXPECT_NEAR(out.GetNumber(row, predicted), out.GetNumber(row, 2), 0.06);
  }
}

TEST(LinearRegression, DependentInputsAreRefusedAndTheModelKept) {
  TLVLinearRegression model;
  model.SetParentSource(RegressionTable());
  Tune(model, {0});
  model.Teach(nullptr);
  const std::vector<double> before =
      static_cast<const TLVLinearRegressionKernel&>(*model.Kernel()).Coefficients()[0];

  // Without an output there is nothing to learn, and the model stays.
  model.TunedNormDataSource().Columns()[2].SetDataStatus(TLVDataStatus::dsUsable);
  EXPECT_EQ(test::ErrorKey([&] { model.Teach(nullptr); }), "ErrModelNoOutputs");
  model.TunedNormDataSource().Columns()[2].SetDataStatus(TLVDataStatus::dsOutput);
  EXPECT_EQ(model.Kernel()->OutputWidth(), 1);

  // A constant input repeats the constant term.
  model.TunedNormDataSource().Columns()[3].SetDataStatus(TLVDataStatus::dsInput);
  EXPECT_EQ(test::ErrorKey([&] { model.Teach(nullptr); }), "ErrRegressionSingular");
  EXPECT_EQ(static_cast<const TLVLinearRegressionKernel&>(*model.Kernel()).Coefficients()[0],
            before);
  EXPECT_EQ(model.Teacher().GetResult(), TLVTeachResult::trAborted);

  // A one-hot category beside the constant term too; against a base category it fits.
  model.TunedNormDataSource().Columns()[3].SetDataStatus(TLVDataStatus::dsUsable);
  model.TunedNormDataSource().Columns()[4].SetDataStatus(TLVDataStatus::dsInput);
  model.TunedNormDataSource().PrepareNormalizers();
  model.TunedNormDataSource().SetNormalizerClass(4, "TLVBitMaskNormalizer");
  static_cast<TLVBitMaskNormalizer*>(model.TunedNormDataSource().Normalizer(4))
      ->SetBitMaskCodeType(1);
  EXPECT_EQ(test::ErrorKey([&] { model.Teach(nullptr); }), "ErrRegressionSingular");
  model.TunedNormDataSource().SetNormalizerClass(4, "TLVBaseCategoryNormalizer");
  EXPECT_NO_THROW(model.Teach(nullptr));
  EXPECT_EQ(model.Kernel()->InputWidth(), 2);
}

TEST(ModelHandler, FailedOrCancelledTrainingKeepsThePreviousModel) {
  auto table = RegressionTable(3000);
  TLVLinearRegression model;
  model.SetParentSource(table);
  Tune(model, {0, 1});
  model.Teach(nullptr);
  auto coefficients = [&model] {
    return static_cast<const TLVLinearRegressionKernel&>(*model.Kernel()).Coefficients()[0];
  };
  const std::vector<double> before = coefficients();
  ILVDataSource& out = *model.GetDataSourceIntf();
  const double predicted = out.GetNumber(5, 5);

  test::TCancelAt cancel(1);
  EXPECT_THROW(model.Teach(&cancel), ELVAbort);
  EXPECT_EQ(model.Teacher().GetResult(), TLVTeachResult::trAborted);
  EXPECT_EQ(coefficients(), before);
  EXPECT_EQ(model.GetDataSourceIntf()->GetNumber(5, 5), predicted);

  // New rows whose x2 is constant fit new normalizers and then cannot be regressed: the
  // model keeps the normalizers it was trained with and applies them to the new rows.
  std::vector<std::vector<TLVValue>> rows;
  for (int row = 0; row < 3000; ++row) {
    rows.push_back({TLVValue::Float(row), TLVValue::Float(1), TLVValue::Float(row % 7),
                    TLVValue::Float(4), TLVValue::String("a")});
  }
  table->SetRows(std::move(rows));
  EXPECT_EQ(test::ErrorKey([&] { model.Teach(nullptr); }), "ErrRegressionSingular");
  EXPECT_EQ(coefficients(), before);
  EXPECT_EQ(model.TunedNormDataSource().Normalizer(1)->ClassName(), "TLVLinearNormalizer");
  EXPECT_NEAR(model.GetDataSourceIntf()->GetNumber(5, 5), before[0] + before[1] * 5 + before[2],
              1e-9);
}

TEST(ModelHandler, ReopenedProjectGivesTheSameSplitAndPredictions) {
  auto table = RegressionTable();
  TLVLinearRegression model;
  model.SetComponentName("Регрессия");
  model.SetParentSource(table);
  Tune(model, {0, 1});
  model.TeachDataSource().SetSplitType(TLVSplitType::stRandom);
  model.Teach(nullptr);
  EXPECT_EQ(model.Teacher().Errors(kTeach).rows, 140);
  EXPECT_EQ(model.Teacher().Errors(kTest).rows, 60);
  EXPECT_TRUE(model.TeachSummary().starts_with(
      "Обучение завершено. Обучающее множество: строк 140, средняя ошибка "));

  test::TMapSection saved;
  model.SaveSettingsTo(saved);
  TLVLinearRegression reopened;
  reopened.LoadSettingsFrom(saved);
  reopened.SetParentSource(table);
  EXPECT_EQ(reopened.TeachDataSource().Rows(kTest), model.TeachDataSource().Rows(kTest));
  EXPECT_EQ(reopened.Teacher().Errors(kTest).avgError, model.Teacher().Errors(kTest).avgError);
  ILVDataSource& a = *model.GetDataSourceIntf();
  ILVDataSource& b = *reopened.GetDataSourceIntf();
  ASSERT_EQ(b.GetColumnsInfo().GetColumnCount(), a.GetColumnsInfo().GetColumnCount());
  for (TLVRowIndex row = 0; row < a.GetRowCount(); ++row) {
    ASSERT_EQ(b.GetNumber(row, 5), a.GetNumber(row, 5)) << row;
    ASSERT_EQ(b.GetNumber(row, 6), a.GetNumber(row, 6)) << row;
  }
  // Retraining the reopened model reproduces the coefficients from the same rows.
  reopened.Teach(nullptr);
  EXPECT_EQ(static_cast<const TLVLinearRegressionKernel&>(*reopened.Kernel()).Coefficients(),
            static_cast<const TLVLinearRegressionKernel&>(*model.Kernel()).Coefficients());

  // A damaged kernel section leaves the node as it was.
  test::TMapSection damaged;
  model.SaveSettingsTo(damaged);
  for (auto& [name, child] : damaged.children) {
    if (name == "Kernel") child->Put("InputWidth", "x");
  }
  EXPECT_THROW(reopened.LoadSettingsFrom(damaged), ELVError);
  EXPECT_EQ(reopened.GetDataSourceIntf()->GetNumber(3, 5), a.GetNumber(3, 5));
}

TEST(ModelHandler, LinearRegressionIsInTheDataMiningCatalogue) {
  std::shared_ptr<TLVComponent> node = LVComponentVendors().CreateComponent("LinearRegression");
  EXPECT_NE(dynamic_cast<TLVLinearRegression*>(node.get()), nullptr);
  EXPECT_NE(dynamic_cast<ILVTeachable*>(node.get()), nullptr);
}

}  // namespace
}  // namespace lv
