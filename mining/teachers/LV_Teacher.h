// Teachers drive the training of an analytic kernel over the sets of a teach data
// source.
//
// TLVTeacher keeps whether a training starts afresh ("InitKernel") or continues, its
// state and the result of the last training (0..5, see TLVTeachResult).
// TLVErrorCalcTeacher adds the error statistics of each set: a row's error is the mean
// over output components of ((output - target) / width of the component's range)^2;
// a row counts as recognised below "RecognitionErr". TLVEpochTeacher repeats epochs
// until the first of its stop conditions holds. A model brings its own teacher by
// overriding DoTeach (or TeachEpoch). Teachers are used by one thread.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/sources/LV_Progress.h"
#include "mining/LV_MiningTypes.h"
#include "mining/teach/LV_TeachDataSource.h"
#include "mining/teachers/LV_AnalyticKernel.h"

namespace lv {

// The result of the last training, shown as "Состояние учителя".
enum class TLVTeachResult : uint8_t {
  trAborted,    // stopped by the user
  trFinished,   // a stop condition met or a normal end
  trStarted,    // a new training is running
  trContinued,  // a continued training is running
  trPaused,     // shown while the teacher is paused
  trNotTaught   // nothing trained yet
};

std::string TeachResultText(TLVTeachResult result);

class TLVTeacher {
 public:
  virtual ~TLVTeacher() = default;

  const std::shared_ptr<TLVAnalyticKernel>& GetKernel() const { return kernel_; }
  void SetKernel(std::shared_ptr<TLVAnalyticKernel> kernel) { kernel_ = std::move(kernel); }
  TLVTeachDataSource* GetTeachDataSource() const { return teach_; }
  void SetTeachDataSource(TLVTeachDataSource* teach) { teach_ = teach; }

  // Whether a training starts from a fresh kernel. Switching it off needs a kernel
  // that can continue ("ErrNoKernel", "ErrNoContinueTeach").
  bool GetInitKernel() const { return initKernel_; }
  void SetInitKernel(bool value);
  virtual bool CanContinueTeach() const { return kernel_ && kernel_->CanContinueTeach(); }

  TLVTeacherState GetState() const { return state_; }
  void Pause() { state_ = TLVTeacherState::tstPause; }
  // Records a training stopped from outside (the node put its previous model back).
  void MarkAborted() {
    result_ = TLVTeachResult::trAborted;
    state_ = TLVTeacherState::tstFinished;
  }
  TLVTeachResult GetResult() const {
    return state_ == TLVTeacherState::tstPause ? TLVTeachResult::trPaused : result_;
  }

  // Checks the data, starts (fresh or continued), trains, and ends with trFinished, or
  // with trAborted when the user cancels (the ELVAbort goes on to the caller).
  void Teach(ILVProgress* progress = nullptr);

  // "InitKernel", "State", "Result".
  virtual void SaveTo(ILVSettingsSection& section) const;
  virtual void LoadFrom(const ILVSettingsSection& section);

 protected:
  // A kind's own checks, made first so that it can name what is missing in its own
  // words before the general checks do.
  virtual void CheckTeach() const {}
  virtual void DoTeach(ILVProgress* progress) = 0;
  // Called at the start, before DoTeach (error statistics reset there).
  virtual void StartTeach() {}
  TLVTeachDataSource& Data() const;
  TLVAnalyticKernel& Kernel() const;

 private:
  std::shared_ptr<TLVAnalyticKernel> kernel_;
  TLVTeachDataSource* teach_ = nullptr;
  bool initKernel_ = true;
  TLVTeacherState state_ = TLVTeacherState::tstFinished;
  TLVTeachResult result_ = TLVTeachResult::trNotTaught;
};

// The error statistics of one set.
struct TLVSetErrors {
  TLVRowIndex rows = 0;
  TLVRowIndex recognized = 0;
  double errorSum = 0;
  double avgError = 0;
  double maxError = -1.7e308;
  double percentRecognized = 0;
};

class TLVErrorCalcTeacher : public TLVTeacher {
 public:
  double GetRecognitionErr() const { return recognitionErr_; }
  void SetRecognitionErr(double value) { recognitionErr_ = value; }

  const TLVSetErrors& Errors(TLVDataSourceType set) const {
    return errors_[static_cast<size_t>(set)];
  }
  void ResetErrors(TLVDataSourceType set) { errors_[static_cast<size_t>(set)] = {}; }
  // The widths of the output components' ranges (the error's divisors); a width of 0
  // counts as 1.
  void SetOutputRanges(std::vector<double> widths) { widths_ = std::move(widths); }
  // One row: `outputs` and `targets` have a component each. A row with a missing
  // target or result (a null input) is not counted.
  void AddRow(std::span<const double> outputs, std::span<const double> targets,
              TLVDataSourceType set);
  // `rows` rows of column-major outputs and targets (leading dimension `ld`).
  void AddRows(const double* outputs, const double* targets, ptrdiff_t ld, TLVRowIndex rows,
               TLVDataSourceType set);
  // The average and the percentage of the set.
  void FinishErrors(TLVDataSourceType set);

  // Recomputes a set's statistics: the kernel over the set's rows against their targets.
  void CalcErrors(TLVDataSourceType set, ILVProgress* progress = nullptr);

  // Lines of the kind's own results of the last training for the run log (none here).
  virtual std::vector<std::string> TeachDetails() const { return {}; }

  // Adds "RecognitionErr" and "Errors" (a sub-item per set, named by the set).
  void SaveTo(ILVSettingsSection& section) const override;
  void LoadFrom(const ILVSettingsSection& section) override;

 protected:
  void StartTeach() override;

 private:
  double recognitionErr_ = 0.05;
  std::array<TLVSetErrors, 2> errors_;
  std::vector<double> widths_;
};

class TLVEpochTeacher : public TLVErrorCalcTeacher {
 public:
  struct TThresholds {
    double avgError = 0.05;
    double maxError = 0.05;
    double percentRecognized = 100;
  };

  int32_t GetMaxEpochCount() const { return maxEpochCount_; }
  // Virtual: a teacher whose epochs are planned in parts spreads a new total over them.
  virtual void SetMaxEpochCount(int32_t value);
  int32_t GetCurrentEpoch() const { return currentEpoch_; }
  void SetCurrentEpoch(int32_t value) { currentEpoch_ = value; }
  // The checked conditions (within what the kernel supports, when there is one).
  TLVEnumSet<TLVTeacherStopConditionType> GetStopConditions() const;
  void SetStopConditions(TLVEnumSet<TLVTeacherStopConditionType> conditions) {
    stopConditions_ = conditions;
  }
  TThresholds& Thresholds(TLVDataSourceType set) { return thresholds_[static_cast<size_t>(set)]; }

  // The first condition that holds after the epoch just done, in the fixed order;
  // conditions of an empty set are skipped.
  std::optional<TLVTeacherStopConditionType> StopTest() const;

  void SaveTo(ILVSettingsSection& section) const override;
  void LoadFrom(const ILVSettingsSection& section) override;

 protected:
  // Epochs until a condition holds; the errors of both sets are computed after each.
  void DoTeach(ILVProgress* progress) override;
  virtual void TeachEpoch(ILVProgress* progress) = 0;

 private:
  int32_t maxEpochCount_ = 10000;
  int32_t currentEpoch_ = 0;
  TLVEnumSet<TLVTeacherStopConditionType> stopConditions_{
      TLVTeacherStopConditionType::tecEpochCount};
  std::array<TThresholds, 2> thresholds_;
};

void RegisterTeacherTexts();

}  // namespace lv
