// The analytic kernel: the trained model itself, seen by teachers and executors only
// through normalized numbers. Inputs and outputs are column-major matrices of
// normalized components (a row per table row). The kernel remembers which columns
// it was built for, so that an executor can check them against the tuned source.
// Not shared between threads; a copy (Clone) lets a node train on the side and keep
// the previous model when the training is cancelled.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/columns/LV_Block.h"
#include "core/registry/LV_Settings.h"
#include "mining/LV_MiningTypes.h"

namespace lv {

class TLVAnalyticKernel {
 public:
  virtual ~TLVAnalyticKernel() = default;

  // The kernel kind, written with the kernel.
  virtual std::string_view KernelName() const = 0;
  virtual std::unique_ptr<TLVAnalyticKernel> Clone() const = 0;

  // Whether a further training may start from what was learnt.
  virtual bool CanContinueTeach() const { return false; }
  // Whether the kernel learns outputs from targets. A kernel that learns from the
  // inputs alone (a map, a clustering) has no outputs and needs none.
  virtual bool NeedsOutputs() const { return true; }
  // The stop conditions an epoch teacher of this kernel may check.
  virtual TLVEnumSet<TLVTeacherStopConditionType> SupportedStopConditions() const {
    return {TLVTeacherStopConditionType::tecEpochCount};
  }

  // Forgets what was learnt and shapes the kernel for the columns given (their names)
  // and the components they take.
  void InitKernel(std::vector<std::string> inputs, int32_t inputWidth,
                  std::vector<std::string> outputs, int32_t outputWidth);
  bool Trained() const { return trained_; }
  const std::vector<std::string>& InputNames() const { return inputNames_; }
  const std::vector<std::string>& OutputNames() const { return outputNames_; }
  int32_t InputWidth() const { return inputWidth_; }
  int32_t OutputWidth() const { return outputWidth_; }

  // The outputs of `rows` rows: in[j * ldIn + i] is component j of row i, and so out.
  virtual void Compute(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
                       ptrdiff_t ldOut) const = 0;

  // Columns the kernel adds to an executor's table besides its outputs (for a map: each
  // row's node and cluster; for a tree: the probability of the predicted class), by name
  // and type. A kind offers the same ones trained or not, so a node's columns do not
  // change with training.
  struct TResultColumn {
    std::string name;
    TLVDataType type = TLVDataType::dtFloat;
    // The name is a suffix of the first output's name ("<output>_PROB"); such a column
    // exists only while that output does.
    bool afterFirstOutput = false;
  };
  virtual std::vector<TResultColumn> ResultColumns() const { return {}; }
  // Their values for `rows` rows: out[k * ldOut + i] is result column k of row i, NaN
  // for an empty cell.
  virtual void ComputeResults(const double* /*in*/, ptrdiff_t /*ldIn*/, TLVRowIndex /*rows*/,
                              double* /*out*/, ptrdiff_t /*ldOut*/) const {}

  // The shape ("Inputs", "Outputs", widths, "Trained"), then the kernel's own state.
  void SaveTo(ILVSettingsSection& section) const;
  void LoadFrom(const ILVSettingsSection& section);

 protected:
  void SetTrained(bool value) { trained_ = value; }
  // The kernel's parameters, after the shape.
  virtual void DoInit() = 0;
  virtual void SaveState(ILVSettingsSection& section) const = 0;
  virtual void LoadState(const ILVSettingsSection& section) = 0;

 private:
  std::vector<std::string> inputNames_;
  std::vector<std::string> outputNames_;
  int32_t inputWidth_ = 0;
  int32_t outputWidth_ = 0;
  bool trained_ = false;
};

}  // namespace lv
