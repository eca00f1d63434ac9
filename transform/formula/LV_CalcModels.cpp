// Model-building functions of the formula language: the forms of forecasting models
// that a user writes by hand over lagged columns.
//
// - MovingAverage is the mean of its arguments, X(t) ... X(t - n + 1).
// - ExpMovingAverage weighs X(t - k) by (1 - a)^k with a = 2 / (n + 1) for n
//   arguments, divided by the sum of the weights, so the newest value counts most
//   and a constant series averages to itself.
// - AutoRegression(C; A0; X(t); A1; X(t-1) ...) is C + A0 X(t) + A1 X(t-1) + ...;
//   ARMA and ARIMA are the same linear form over the values the user passes (lagged
//   values and lagged errors; differenced values for ARIMA). A coefficient without
//   its value is an error in the argument count.
// - ADDICTIVE adds its components (trend + season + ...); MULTIPLICATIVE multiplies
//   them.
#include <cmath>

#include "transform/formula/LV_CalcBuiltins.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

constexpr auto kModels = TLVCalcFunctionGroup::fgModels;

double Finite(double value) {
  return std::isfinite(value) ? value : LVCalcNull();
}

double MovingAverage(const TLVCalcArgs& args) {
  double sum = 0;
  for (int32_t i = 0; i < args.Count(); ++i) sum += args.Number(i);
  return Finite(sum / args.Count());
}

double ExpMovingAverage(const TLVCalcArgs& args) {
  double keep = 1 - 2.0 / (args.Count() + 1);
  double weight = 1, weights = 0, sum = 0;
  for (int32_t i = 0; i < args.Count(); ++i) {
    sum += weight * args.Number(i);
    weights += weight;
    weight *= keep;
  }
  return Finite(sum / weights);
}

double LinearForm(const TLVCalcArgs& args) {
  if (args.Count() % 2 == 0) throw ENumParameterError({args.Function().Name()});
  double sum = args.Number(0);
  for (int32_t i = 1; i + 1 < args.Count(); i += 2) sum += args.Number(i) * args.Number(i + 1);
  return Finite(sum);
}

double Additive(const TLVCalcArgs& args) {
  double sum = 0;
  for (int32_t i = 0; i < args.Count(); ++i) sum += args.Number(i);
  return Finite(sum);
}

double Multiplicative(const TLVCalcArgs& args) {
  double product = 1;
  for (int32_t i = 0; i < args.Count(); ++i) product *= args.Number(i);
  return Finite(product);
}

}  // namespace

void RegisterModelFunctions(TLVFunctionCollection& f) {
  f.AddNumber("MovingAverage", 2, -1, "N", kModels, MovingAverage);
  f.AddNumber("ExpMovingAverage", 2, -1, "N", kModels, ExpMovingAverage);
  f.AddNumber("AutoRegression", 5, -1, "N", kModels, LinearForm);
  f.AddNumber("ADDICTIVE", 2, -1, "N", kModels, Additive);
  f.AddNumber("MULTIPLICATIVE", 2, -1, "N", kModels, Multiplicative);
  f.AddNumber("ARMA", 3, -1, "N", kModels, LinearForm);
  f.AddNumber("ARIMA", 3, -1, "N", kModels, LinearForm);
}

}  // namespace lv
