// Activation functions of the neurons of a multilayer network.
//
// A function is its type, a slope (alpha) and a parameter (P). Compute gives y(x) and
// Derivative gives f' from the neuron's output y, as back-propagation needs it. Some
// derivatives are deliberately not the true ones, and projects trained with them depend
// on it: the hyperbolic tangent ignores the slope, the logarithmic type uses
// 1 / sqrt(y^2 + 1) of the output, the bounded linear type gives alpha outside its bounds
// too, and no error flows through the none, custom, Gaussian and threshold types.
// The block forms run the same formulas over runs of values with the type switch
// outside the loop. A function is a small value; OnChange is not copied with it.
#pragma once

#include <cstddef>
#include <functional>

#include "core/columns/LV_Types.h"
#include "core/registry/LV_Settings.h"

namespace lv {

enum class TActivationFunctionType : uint8_t {
  afnNone,
  afnCustom,
  afnSigmoid,
  afnHyperTan,
  afnArcTan,
  afnLog,
  afnRBF,
  afnLinear,
  afnThreshold,
  afnLinearBounded
};
const TLVEnumDescriptor& DescribeEnum(TActivationFunctionType);

class TLVActivationFunction {
 public:
  TLVActivationFunction() = default;
  TLVActivationFunction(TActivationFunctionType type, double slope = 1, double parameter = 1)
      : type_(type), slope_(slope), parameter_(parameter) {}
  TLVActivationFunction(const TLVActivationFunction& other) { CopyValue(other); }
  TLVActivationFunction& operator=(const TLVActivationFunction& other);

  TActivationFunctionType GetFunctionType() const { return type_; }
  void SetFunctionType(TActivationFunctionType type);
  double GetSlope() const { return slope_; }
  void SetSlope(double slope);
  double GetParameter() const { return parameter_; }
  void SetParameter(double parameter);
  // The user's function of the custom type (0 when none is assigned).
  void SetOnCompute(std::function<double(double)> compute);
  void SetOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }

  // Same type, slope and parameter (custom functions are equal only without OnCompute).
  bool SameAs(const TLVActivationFunction& other) const;

  double Compute(double x) const;
  double Derivative(double y) const;
  // y[i] = Compute(x[i]) and d[i] = Derivative(y[i]) for i < n.
  void ComputeBlock(const double* x, double* y, ptrdiff_t n) const;
  void DerivativeBlock(const double* y, double* d, ptrdiff_t n) const;

  // "Type" (the value name), "Slope", "AddParam".
  void SaveTo(ILVSettingsSection& section) const;
  // Reads all three before changing anything; a bad value raises "ErrPropertyValue".
  void LoadFrom(const ILVSettingsSection& section);

 private:
  void CopyValue(const TLVActivationFunction& other);
  void Changed() const {
    if (onChange_) onChange_();
  }

  TActivationFunctionType type_ = TActivationFunctionType::afnSigmoid;
  double slope_ = 1;
  double parameter_ = 1;
  std::function<double(double)> onCompute_;
  std::function<void()> onChange_;
};

void RegisterActivFuncTexts();

}  // namespace lv
