#include "mining/neural/LV_ActivFunc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "core/LV_TestSection.h"
#include "core/text/LV_Errors.h"

namespace lv {
namespace {

using T = TActivationFunctionType;

TEST(ActivationFunction, ValuesOfEveryType) {
  const double x = 0.7;
  EXPECT_DOUBLE_EQ(TLVActivationFunction(T::afnNone, 3).Compute(x), x);
  EXPECT_DOUBLE_EQ(TLVActivationFunction(T::afnSigmoid, 2).Compute(x), 1 / (1 + std::exp(-1.4)));
  const double e = std::exp(1.4);
  EXPECT_NEAR(TLVActivationFunction(T::afnHyperTan, 2).Compute(x), (e - 1 / e) / (e + 1 / e),
              1e-15);
  // The arctangent and logarithmic types ignore the slope.
  EXPECT_DOUBLE_EQ(TLVActivationFunction(T::afnArcTan, 5).Compute(x),
                   2 * std::atan(x) / std::numbers::pi);
  EXPECT_NEAR(TLVActivationFunction(T::afnLog, 5).Compute(x), std::log(x + std::sqrt(x * x + 1)),
              1e-15);
  EXPECT_DOUBLE_EQ(TLVActivationFunction(T::afnRBF, 2).Compute(x), std::exp(-0.49 / 4));
  EXPECT_DOUBLE_EQ(TLVActivationFunction(T::afnLinear, 3).Compute(x), 2.1);

  // A custom function without OnCompute gives 0; with one, its value.
  TLVActivationFunction custom(T::afnCustom);
  EXPECT_EQ(custom.Compute(x), 0);
  custom.SetOnCompute([](double v) { return v * v; });
  EXPECT_DOUBLE_EQ(custom.Compute(3), 9);
}

TEST(ActivationFunction, ThresholdAndBoundedLinearEdges) {
  const TLVActivationFunction threshold(T::afnThreshold, 0.5);
  EXPECT_EQ(threshold.Compute(0.5), 0);  // x = alpha is not above the threshold
  EXPECT_EQ(threshold.Compute(std::nextafter(0.5, 1.0)), 1);
  EXPECT_EQ(threshold.Compute(-3), 0);

  const TLVActivationFunction bounded(T::afnLinearBounded, 2, 1.5);
  EXPECT_EQ(bounded.Compute(1.5), 3);  // inclusive on the linear side
  EXPECT_EQ(bounded.Compute(-1.5), -3);
  EXPECT_EQ(bounded.Compute(7), 3);  // alpha * P beyond P
  EXPECT_EQ(bounded.Compute(-7), -3);
  EXPECT_EQ(bounded.Compute(0.25), 0.5);
}

TEST(ActivationFunction, OverflowGivesTheLimits) {
  const double inf = std::numeric_limits<double>::infinity();
  const TLVActivationFunction sigmoid(T::afnSigmoid, 1);
  EXPECT_EQ(sigmoid.Compute(-1e6), 0);  // far below the exponential's overflow
  EXPECT_EQ(sigmoid.Compute(1e6), 1);
  EXPECT_EQ(sigmoid.Compute(-inf), 0);
  // An infinite slope times zero has no sign: the middle value.
  EXPECT_EQ(TLVActivationFunction(T::afnSigmoid, inf).Compute(0), 0.5);
  EXPECT_EQ(TLVActivationFunction(T::afnSigmoid, -2).Compute(1e6), 0);

  const TLVActivationFunction tanh(T::afnHyperTan, 1);
  EXPECT_EQ(tanh.Compute(1e6), 1);
  EXPECT_EQ(tanh.Compute(-inf), -1);
  EXPECT_EQ(TLVActivationFunction(T::afnHyperTan, inf).Compute(0), 0);

  const TLVActivationFunction arctan(T::afnArcTan);
  EXPECT_EQ(arctan.Compute(inf), 1);
  EXPECT_EQ(arctan.Compute(-inf), -1);
  EXPECT_EQ(arctan.Compute(0), 0);
  // A missing value stays missing.
  EXPECT_TRUE(std::isnan(sigmoid.Compute(std::nan(""))));
  // The same over a block, which takes the vectorized path.
  const double x[] = {-1e6, -800, -700, 0, 2, 1e6, std::nan(""), -inf};
  double y[8];
  sigmoid.ComputeBlock(x, y, 8);
  EXPECT_EQ(y[0], 0);
  EXPECT_EQ(y[1], 0);
  EXPECT_NEAR(y[2], std::exp(-700.0), 1e-310);
  EXPECT_EQ(y[3], 0.5);
  EXPECT_DOUBLE_EQ(y[4], 1 / (1 + std::exp(-2.0)));
  EXPECT_EQ(y[5], 1);
  EXPECT_TRUE(std::isnan(y[6]));
  EXPECT_EQ(y[7], 0);
}

TEST(ActivationFunction, DerivativesFromTheOutput) {
  const double y = 0.3;
  EXPECT_DOUBLE_EQ(TLVActivationFunction(T::afnSigmoid, 2).Derivative(y), 2 * y * (1 - y));
  EXPECT_DOUBLE_EQ(TLVActivationFunction(T::afnHyperTan, 2).Derivative(y), 1 - y * y);
  EXPECT_DOUBLE_EQ(TLVActivationFunction(T::afnLog, 2).Derivative(y), 1 / std::sqrt(y * y + 1));
  EXPECT_EQ(TLVActivationFunction(T::afnLinear, 2.5).Derivative(y), 2.5);
  // Outside its bounds the bounded type still passes alpha back.
  const TLVActivationFunction bounded(T::afnLinearBounded, 2.5, 0.1);
  EXPECT_EQ(bounded.Derivative(bounded.Compute(4)), 2.5);
  for (T type : {T::afnNone, T::afnCustom, T::afnRBF, T::afnThreshold}) {
    EXPECT_EQ(TLVActivationFunction(type, 2).Derivative(y), 0) << ValueName(type);
  }
  // The arctangent's comes from the output alone and equals the true one.
  const double x = 1.3;
  const TLVActivationFunction arctan(T::afnArcTan);
  EXPECT_NEAR(arctan.Derivative(arctan.Compute(x)), 2 / std::numbers::pi / (1 + x * x), 1e-15);
}

TEST(ActivationFunction, PersistedAsTypeSlopeAndAddParam) {
  TLVActivationFunction f(T::afnLinearBounded, 0.25, 3);
  test::TMapSection section;
  f.SaveTo(section);
  EXPECT_EQ(section.Get("Type"), "afnLinearBounded");
  EXPECT_EQ(section.Get("Slope"), "0.25");
  EXPECT_EQ(section.Get("AddParam"), "3");
  TLVActivationFunction read;
  int changes = 0;
  read.SetOnChange([&] { ++changes; });
  read.LoadFrom(section);
  EXPECT_TRUE(read.SameAs(f));
  EXPECT_EQ(changes, 1);
  // A bad type changes nothing.
  section.Put("Type", "afnCubic");
  section.Put("Slope", "9");
  EXPECT_THROW(read.LoadFrom(section), ELVError);
  EXPECT_EQ(read.GetSlope(), 0.25);
}

}  // namespace
}  // namespace lv
