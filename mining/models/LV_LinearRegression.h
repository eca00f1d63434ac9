// Linear regression: ordinary least squares of every normalized output component on
// the normalized inputs and a constant term.
//
// The teacher reads the training set a chunk of rows at a time and folds each chunk
// into the triangular factor of a QR decomposition of [1, inputs, outputs], so memory
// stays small on any number of rows and the solution never forms the normal equations
// (whose conditioning is the square of the data's). The coefficients come from the
// triangular system; the residual sums of squares fall out of the factor's last block,
// which gives R^2 without a second pass. Rows with a missing component are left out.
// A design whose columns are dependent (a constant input, a full one-hot coding beside
// the constant term) is refused with "ErrRegressionSingular".
#pragma once

#include <vector>

#include "mining/teachers/LV_AnalyticKernel.h"
#include "mining/teachers/LV_Teacher.h"

namespace lv {

class TLVLinearRegressionKernel : public TLVAnalyticKernel {
 public:
  static constexpr std::string_view kKernelName = "TLVLinearRegressionKernel";
  std::string_view KernelName() const override { return kKernelName; }
  std::unique_ptr<TLVAnalyticKernel> Clone() const override {
    return std::make_unique<TLVLinearRegressionKernel>(*this);
  }

  // coefficients[k] holds the constant term then one coefficient per input component,
  // for output component k; rSquared[k] its coefficient of determination.
  const std::vector<std::vector<double>>& Coefficients() const { return coefficients_; }
  const std::vector<double>& RSquared() const { return rSquared_; }
  void SetModel(std::vector<std::vector<double>> coefficients, std::vector<double> rSquared);

  void Compute(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
               ptrdiff_t ldOut) const override;

 protected:
  void DoInit() override;
  // "Coefficients" with an "Output" item per output component: "RSquared" and "Values".
  void SaveState(ILVSettingsSection& section) const override;
  void LoadState(const ILVSettingsSection& section) override;

 private:
  std::vector<std::vector<double>> coefficients_;
  std::vector<double> rSquared_;
};

class TLVLinearRegressionTeacher : public TLVErrorCalcTeacher {
 protected:
  void DoTeach(ILVProgress* progress) override;
};

void RegisterLinearRegressionTexts();

}  // namespace lv
