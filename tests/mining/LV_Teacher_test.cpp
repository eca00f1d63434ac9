#include "mining/teachers/LV_Teacher.h"

#include <gtest/gtest.h>

#include <vector>

#include "LV_MiningTestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"

namespace lv {
namespace {

using test::ErrorKey;
using C = TLVTeacherStopConditionType;
constexpr auto kTeach = TLVDataSourceType::dstTeach;
constexpr auto kTest = TLVDataSourceType::dstTest;

// Predicts one learnt value per output component for every row.
class TConstantKernel : public TLVAnalyticKernel {
 public:
  std::string_view KernelName() const override { return "TConstantKernel"; }
  std::unique_ptr<TLVAnalyticKernel> Clone() const override {
    return std::make_unique<TConstantKernel>(*this);
  }
  bool CanContinueTeach() const override { return continuable; }
  TLVEnumSet<C> SupportedStopConditions() const override {
    return {C::tecEpochCount, C::tecTeachAvgError, C::tecTestAvgError};
  }
  void Compute(const double*, ptrdiff_t, TLVRowIndex rows, double* out,
               ptrdiff_t ldOut) const override {
    for (size_t j = 0; j < values.size(); ++j) {
      for (TLVRowIndex i = 0; i < rows; ++i) out[static_cast<ptrdiff_t>(j) * ldOut + i] = values[j];
    }
  }
  void Learn(double target) {
    for (double& v : values) v += (target - v) / 2;
    SetTrained(true);
  }

  bool continuable = true;
  std::vector<double> values;

 protected:
  void DoInit() override { values.assign(static_cast<size_t>(OutputWidth()), 0.0); }
  void SaveState(ILVSettingsSection&) const override {}
  void LoadState(const ILVSettingsSection&) override {}
};

// Moves the kernel halfway to `target` each epoch and records the result it saw.
class THalfwayTeacher : public TLVEpochTeacher {
 public:
  double target = 8;
  std::vector<TLVTeachResult> seen;

 protected:
  void TeachEpoch(ILVProgress*) override {
    seen.push_back(GetResult());
    static_cast<TConstantKernel&>(*GetKernel()).Learn(target);
  }
};

TEST(ErrorCalcTeacher, RowErrorsAveragesAndRecognition) {
  THalfwayTeacher teacher;
  teacher.SetOutputRanges({2, 4, 0});
  // ((1 - 0) / 2)^2, ((2 - 0) / 4)^2 and (0.5 - 0)^2 over a zero width counted as 1.
  teacher.AddRow(std::vector<double>{1, 2, 0.5}, std::vector<double>{0, 0, 0}, kTeach);
  EXPECT_DOUBLE_EQ(teacher.Errors(kTeach).maxError, 0.25);
  EXPECT_EQ(teacher.Errors(kTeach).recognized, 0);
  // Exactly at the threshold is not recognised; below it is.
  teacher.SetRecognitionErr(0.25);
  teacher.AddRow(std::vector<double>{1, 2, 0.5}, std::vector<double>{0, 0, 0}, kTeach);
  teacher.AddRow(std::vector<double>{0, 0, 0.1}, std::vector<double>{0, 0, 0}, kTeach);
  teacher.AddRow(std::vector<double>{0, 0, 0}, std::vector<double>{0, NAN, 0}, kTeach);
  teacher.FinishErrors(kTeach);
  const TLVSetErrors& errors = teacher.Errors(kTeach);
  EXPECT_EQ(errors.rows, 3);
  EXPECT_EQ(errors.recognized, 1);
  EXPECT_DOUBLE_EQ(errors.avgError, (0.25 + 0.25 + 0.01 / 3) / 3);
  EXPECT_DOUBLE_EQ(errors.percentRecognized, 100.0 / 3);
  teacher.FinishErrors(kTest);
  EXPECT_EQ(teacher.Errors(kTest).avgError, 0);
  EXPECT_EQ(teacher.Errors(kTest).percentRecognized, 0);
  EXPECT_EQ(teacher.Errors(kTest).maxError, -1.7e308);
}

TEST(EpochTeacher, StopTestOrderInclusiveAndEmptySetsSkipped) {
  THalfwayTeacher teacher;
  teacher.SetKernel(std::make_shared<TConstantKernel>());
  teacher.SetOutputRanges({1});
  // Only what the kernel supports is checked.
  teacher.SetStopConditions(
      {C::tecEpochCount, C::tecTeachAvgError, C::tecTeachMaxError, C::tecTestAvgError});
  EXPECT_FALSE(teacher.GetStopConditions().Contains(C::tecTeachMaxError));

  teacher.SetMaxEpochCount(3);
  teacher.SetCurrentEpoch(1);
  EXPECT_EQ(teacher.StopTest(), std::nullopt);
  teacher.SetCurrentEpoch(2);
  EXPECT_EQ(teacher.StopTest(), C::tecEpochCount);
  teacher.SetCurrentEpoch(0);

  // The training set's average equals its threshold: inclusive, it stops.
  teacher.Thresholds(kTeach).avgError = 0.25;
  teacher.AddRow(std::vector<double>{0.5}, std::vector<double>{0}, kTeach);
  teacher.FinishErrors(kTeach);
  EXPECT_EQ(teacher.Errors(kTeach).avgError, 0.25);
  EXPECT_EQ(teacher.StopTest(), C::tecTeachAvgError);

  // An empty test set never stops training, however lax its threshold.
  teacher.Thresholds(kTeach).avgError = 0.01;
  teacher.Thresholds(kTest).avgError = 1e9;
  EXPECT_EQ(teacher.StopTest(), std::nullopt);
  teacher.AddRow(std::vector<double>{0.2}, std::vector<double>{0}, kTest);
  teacher.FinishErrors(kTest);
  EXPECT_EQ(teacher.StopTest(), C::tecTestAvgError);
  // The epoch count comes first of all.
  teacher.SetCurrentEpoch(2);
  EXPECT_EQ(teacher.StopTest(), C::tecEpochCount);
}

std::shared_ptr<test::TTestTable> Table() {
  std::vector<std::vector<TLVValue>> rows;
  for (int i = 0; i < 10; ++i)
    rows.push_back({TLVValue::Float(i), TLVValue::Float(i % 2 ? 6 : 10)});
  return std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"x", TLVDataType::dtFloat},
                                             {"y", TLVDataType::dtFloat}},
      std::move(rows));
}

TEST(EpochTeacher, TrainsStartsContinuesPausesAndCancels) {
  auto table = Table();
  auto tuned = std::make_shared<TLVTunedNormDataSource>();
  tuned->SetDataSource(table);
  tuned->Columns()[0].SetDataStatus(TLVDataStatus::dsInput);
  tuned->Columns()[1].SetDataStatus(TLVDataStatus::dsOutput);
  tuned->PrepareNormalizers();
  TLVTeachDataSource data;
  data.SetTunedNormDataSource(tuned);

  THalfwayTeacher teacher;
  EXPECT_EQ(teacher.GetResult(), TLVTeachResult::trNotTaught);
  teacher.SetTeachDataSource(&data);
  EXPECT_EQ(ErrorKey([&] { teacher.Teach(); }), "ErrNoKernel");
  EXPECT_EQ(ErrorKey([&] { teacher.SetInitKernel(false); }), "ErrNoKernel");
  auto kernel = std::make_shared<TConstantKernel>();
  teacher.SetKernel(kernel);
  teacher.SetMaxEpochCount(4);
  teacher.Teach();
  EXPECT_EQ(teacher.seen, std::vector<TLVTeachResult>(4, TLVTeachResult::trStarted));
  EXPECT_EQ(teacher.GetResult(), TLVTeachResult::trFinished);
  EXPECT_EQ(TeachResultText(teacher.GetResult()), "Обучение завершено");
  EXPECT_EQ(teacher.GetCurrentEpoch(), 4);
  EXPECT_DOUBLE_EQ(kernel->values[0], 7.5);  // 0 -> 4 -> 6 -> 7 -> 7.5
  EXPECT_EQ(kernel->InputNames(), std::vector<std::string>{"x"});
  // Errors of both sets: 7 training rows and 3 test rows of targets 10 and 6, width 4.
  EXPECT_EQ(teacher.Errors(kTeach).rows, 7);
  EXPECT_EQ(teacher.Errors(kTest).rows, 3);
  EXPECT_DOUBLE_EQ(teacher.Errors(kTest).maxError, (2.5 / 4) * (2.5 / 4));

  // Continuing keeps the learnt value and the epoch count goes on.
  teacher.SetInitKernel(false);
  teacher.SetMaxEpochCount(5);
  teacher.seen.clear();
  teacher.Teach();
  EXPECT_EQ(teacher.seen, std::vector<TLVTeachResult>{TLVTeachResult::trContinued});
  EXPECT_DOUBLE_EQ(kernel->values[0], 7.75);
  kernel->continuable = false;
  EXPECT_EQ(ErrorKey([&] { teacher.SetInitKernel(true), teacher.SetInitKernel(false); }),
            "ErrNoContinueTeach");

  teacher.Pause();
  EXPECT_EQ(teacher.GetResult(), TLVTeachResult::trPaused);
  test::TCancelAt cancel(2);
  teacher.SetMaxEpochCount(100);
  EXPECT_THROW(teacher.Teach(&cancel), ELVAbort);
  EXPECT_EQ(teacher.GetResult(), TLVTeachResult::trAborted);
  EXPECT_EQ(teacher.GetState(), TLVTeacherState::tstFinished);
}

TEST(EpochTeacher, SettingsAndErrorsPersist) {
  THalfwayTeacher teacher;
  teacher.SetMaxEpochCount(20);
  teacher.SetCurrentEpoch(7);
  teacher.SetStopConditions({C::tecEpochCount, C::tecTestMaxError});
  teacher.Thresholds(kTest).maxError = 0.5;
  teacher.SetOutputRanges({1});
  teacher.AddRow(std::vector<double>{0.5}, std::vector<double>{0}, kTest);
  teacher.FinishErrors(kTest);
  test::TMapSection section;
  teacher.SaveTo(section);
  ASSERT_NE(section.FindSection("Errors"), nullptr);
  ASSERT_NE(section.FindSection("Errors")->FindSection("dstTest"), nullptr);
  EXPECT_EQ(section.FindSection("Errors")->FindSection("dstTest")->Get("Rows"), "1");
  EXPECT_EQ(section.Get("StopConditions"), "tecEpochCount,tecTestMaxError");

  THalfwayTeacher back;
  back.LoadFrom(section);
  EXPECT_EQ(back.GetMaxEpochCount(), 20);
  EXPECT_EQ(back.GetCurrentEpoch(), 7);
  EXPECT_DOUBLE_EQ(back.Thresholds(kTest).maxError, 0.5);
  EXPECT_DOUBLE_EQ(back.Errors(kTest).maxError, 0.25);
  EXPECT_EQ(back.StopTest(), C::tecTestMaxError);

  section.Put("MaxEpochCount", "0");
  EXPECT_THROW(back.LoadFrom(section), ELVError);
  EXPECT_EQ(back.GetMaxEpochCount(), 20);
}

}  // namespace
}  // namespace lv
