#include "mining/neural/LV_ActivFunc.h"

#include <Eigen/Core>
#include <array>
#include <cmath>
#include <numbers>

#include "core/registry/LV_Properties.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"
#include "mining/LV_MiningTypes.h"

namespace lv {

namespace {

using namespace std::string_view_literals;
using T = TActivationFunctionType;

constexpr std::array kTypeNames{
    "afnNone"sv, "afnCustom"sv, "afnSigmoid"sv, "afnHyperTan"sv,  "afnArcTan"sv,
    "afnLog"sv,  "afnRBF"sv,    "afnLinear"sv,  "afnThreshold"sv, "afnLinearBounded"sv};
const TLVEnumDescriptor kTypeDescriptor{"TActivationFunctionType", kTypeNames, true, true};

// -1, 0 or 1 by the sign of t; a NaN product (zero times an infinite slope) counts as 0.
double SignOf(double t) {
  return t > 0 ? 1.0 : (t < 0 ? -1.0 : 0.0);
}

// The exponential overflows long before the sigmoid stops changing in the last bit, so
// the limits are taken by the sign of the argument rather than from inf / inf.
double Sigmoid(double alpha, double x) {
  if (std::isnan(x)) return x;
  const double t = alpha * x;
  const double e = std::exp(-t);
  if (std::isnan(t) || std::isinf(e)) return 0.5 * (SignOf(t) + 1);
  return 1 / (1 + e);
}

// The sigmoid of a run with a finite slope, vectorized: the exponential of whole packets
// first, then 1 / (1 + e), with 0 where the exponential overflows (Eigen's clamps at the
// largest double instead of giving infinity). Safe in place: each step is elementwise.
void SigmoidRun(double alpha, const double* x, double* y, ptrdiff_t n) {
  if (n < 4) {  // a single value (Compute) is not worth the packets
    for (ptrdiff_t i = 0; i < n; ++i) y[i] = Sigmoid(alpha, x[i]);
    return;
  }
  constexpr double kOverflow = 1e308;
  Eigen::Map<Eigen::ArrayXd>(y, n) = (Eigen::Map<const Eigen::ArrayXd>(x, n) * -alpha).exp();
  for (ptrdiff_t i = 0; i < n; ++i) y[i] = y[i] >= kOverflow ? 0.0 : 1 / (1 + y[i]);
}

double HyperTan(double alpha, double x) {
  if (std::isnan(x)) return x;
  const double t = alpha * x;
  if (std::isnan(t) || std::isinf(t)) return SignOf(t);
  return std::tanh(t);
}

double ArcTan(double x) {
  if (std::isinf(x)) return SignOf(x);
  return 2 * std::atan(x) / std::numbers::pi;
}

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TActivationFunctionType) {
  return kTypeDescriptor;
}

TLVActivationFunction& TLVActivationFunction::operator=(const TLVActivationFunction& other) {
  if (this != &other) {
    CopyValue(other);
    Changed();
  }
  return *this;
}

void TLVActivationFunction::CopyValue(const TLVActivationFunction& other) {
  type_ = other.type_;
  slope_ = other.slope_;
  parameter_ = other.parameter_;
  onCompute_ = other.onCompute_;
}

void TLVActivationFunction::SetFunctionType(TActivationFunctionType type) {
  if (type == type_) return;
  type_ = type;
  Changed();
}

void TLVActivationFunction::SetSlope(double slope) {
  if (slope == slope_) return;
  slope_ = slope;
  Changed();
}

void TLVActivationFunction::SetParameter(double parameter) {
  if (parameter == parameter_) return;
  parameter_ = parameter;
  Changed();
}

void TLVActivationFunction::SetOnCompute(std::function<double(double)> compute) {
  onCompute_ = std::move(compute);
  Changed();
}

bool TLVActivationFunction::SameAs(const TLVActivationFunction& other) const {
  if (type_ == T::afnCustom && (onCompute_ || other.onCompute_)) return false;
  return type_ == other.type_ && slope_ == other.slope_ && parameter_ == other.parameter_;
}

double TLVActivationFunction::Compute(double x) const {
  double y = 0;
  ComputeBlock(&x, &y, 1);
  return y;
}

double TLVActivationFunction::Derivative(double y) const {
  double d = 0;
  DerivativeBlock(&y, &d, 1);
  return d;
}

void TLVActivationFunction::ComputeBlock(const double* x, double* y, ptrdiff_t n) const {
  const double a = slope_;
  const double p = parameter_;
  switch (type_) {
    case T::afnNone:
      for (ptrdiff_t i = 0; i < n; ++i) y[i] = x[i];
      break;
    case T::afnCustom:
      for (ptrdiff_t i = 0; i < n; ++i) y[i] = onCompute_ ? onCompute_(x[i]) : 0.0;
      break;
    case T::afnSigmoid:
      if (std::isfinite(a)) {
        SigmoidRun(a, x, y, n);
      } else {
        for (ptrdiff_t i = 0; i < n; ++i) y[i] = Sigmoid(a, x[i]);
      }
      break;
    case T::afnHyperTan:
      for (ptrdiff_t i = 0; i < n; ++i) y[i] = HyperTan(a, x[i]);
      break;
    case T::afnArcTan:
      for (ptrdiff_t i = 0; i < n; ++i) y[i] = ArcTan(x[i]);
      break;
    case T::afnLog:
      // asinh is ln(x + sqrt(x^2 + 1)) without the cancellation for large negative x.
      for (ptrdiff_t i = 0; i < n; ++i) y[i] = std::asinh(x[i]);
      break;
    case T::afnRBF:
      for (ptrdiff_t i = 0; i < n; ++i) y[i] = std::exp(-(x[i] * x[i]) / (a * a));
      break;
    case T::afnLinear:
      for (ptrdiff_t i = 0; i < n; ++i) y[i] = a * x[i];
      break;
    case T::afnThreshold:
      for (ptrdiff_t i = 0; i < n; ++i) y[i] = std::isnan(x[i]) ? x[i] : (x[i] > a ? 1.0 : 0.0);
      break;
    case T::afnLinearBounded:
      for (ptrdiff_t i = 0; i < n; ++i) {
        y[i] = x[i] > p ? a * p : (x[i] < -p ? -a * p : a * x[i]);
      }
      break;
  }
}

void TLVActivationFunction::DerivativeBlock(const double* y, double* d, ptrdiff_t n) const {
  const double a = slope_;
  switch (type_) {
    case T::afnSigmoid:
      for (ptrdiff_t i = 0; i < n; ++i) d[i] = a * y[i] * (1 - y[i]);
      break;
    case T::afnHyperTan:
      for (ptrdiff_t i = 0; i < n; ++i) d[i] = 1 - y[i] * y[i];
      break;
    case T::afnArcTan:
      // y = 2 atan(x) / pi, so dy/dx = (2 / pi) / (1 + x^2) = (2 / pi) cos^2(pi y / 2).
      for (ptrdiff_t i = 0; i < n; ++i) {
        const double c = std::cos(std::numbers::pi / 2 * y[i]);
        d[i] = 2 / std::numbers::pi * c * c;
      }
      break;
    case T::afnLog:
      for (ptrdiff_t i = 0; i < n; ++i) d[i] = 1 / std::sqrt(y[i] * y[i] + 1);
      break;
    case T::afnLinear:
    case T::afnLinearBounded:
      for (ptrdiff_t i = 0; i < n; ++i) d[i] = a;
      break;
    case T::afnNone:
    case T::afnCustom:
    case T::afnRBF:
    case T::afnThreshold:
      for (ptrdiff_t i = 0; i < n; ++i) d[i] = 0;
      break;
  }
}

void TLVActivationFunction::SaveTo(ILVSettingsSection& section) const {
  WriteSetting(section, "Type", type_);
  WriteSetting(section, "Slope", slope_);
  WriteSetting(section, "AddParam", parameter_);
}

void TLVActivationFunction::LoadFrom(const ILVSettingsSection& section) {
  const T type = ReadSetting(section, "Type", T::afnSigmoid);
  const double slope = ReadSetting(section, "Slope", 1.0);
  const double parameter = ReadSetting(section, "AddParam", 1.0);
  type_ = type;
  slope_ = slope;
  parameter_ = parameter;
  Changed();
}

void RegisterActivFuncTexts() {
  RegisterEnumTexts(kTypeDescriptor);
  TLVLocalization::Instance().RegisterKeys({"ActivFuncSlopeCaption", "ActivFuncParameterCaption"});
}

}  // namespace lv
