// Mathematics, statistics, finance and the chi-square distribution of the formula
// language.
//
// Rules shared by every function here:
// - A result that is not a finite number (a logarithm of zero, an overflowing power or
//   factorial, an arc sine beyond 1) is missing, as division by zero is.
// - A missing argument makes the result missing (the registry's default).
// - StdDev is the sample standard deviation (divisor n - 1).
// - avggeom is exp(mean(ln x)): missing when an argument is negative, 0 when one is 0.
// - reldev is the coefficient of variation, StdDev / |Avg|; absdev is the mean absolute
//   deviation from the mean, sum |x - Avg| / n.
// - AbsErr(a; b) = |a - b|; RelErr(a; b) = |a - b| / |a|, the first argument being the
//   reference value (missing when it is 0).
// - Round rounds halves away from zero, and a value within a few units of the last
//   binary place of a half counts as the half, so Round(2.675; 2) is 2.68 as written
//   in decimal. Negative digits round to tens, hundreds ...
// - Mod is the remainder of a / b with the sign of a (fmod); missing when b is 0.
// - AMGD is the sum-of-the-years'-digits depreciation:
//   (cost - salvage) * (life - period + 1) * 2 / (life * (life + 1)), missing unless
//   0 < life and 1 <= period <= life.
// - FKhi2(n; x) is the regularized lower incomplete gamma P(n/2, x/2) and PKhi2 its
//   complement Q, each computed directly (series below a + 1, Lentz's continued
//   fraction above) so that neither loses its small tail to cancellation. InvKhi2 finds
//   x by Newton's method kept inside a shrinking bracket, falling back to bisection.
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "transform/formula/LV_CalcBuiltins.h"

namespace lv {
namespace {

constexpr auto kMath = TLVCalcFunctionGroup::fgMath;
constexpr auto kStatistics = TLVCalcFunctionGroup::fgStatistics;
constexpr auto kFinance = TLVCalcFunctionGroup::fgFinance;
constexpr auto kHidden = TLVCalcFunctionGroup::fgHidden;

double Finite(double value) {
  return std::isfinite(value) ? value : LVCalcNull();
}

template <double (*F)(double)>
double Unary(const TLVCalcArgs& args) {
  return Finite(F(args.Number(0)));
}

template <double (*F)(double, double)>
double Binary(const TLVCalcArgs& args) {
  return Finite(F(args.Number(0), args.Number(1)));
}

// ---- lists of numbers

double Sum(const TLVCalcArgs& args) {
  double sum = 0;
  for (int32_t i = 0; i < args.Count(); ++i) sum += args.Number(i);
  return sum;
}

double Mean(const TLVCalcArgs& args) {
  return Sum(args) / args.Count();
}

double SampleStdDev(const TLVCalcArgs& args) {
  if (args.Count() < 2) return LVCalcNull();
  double mean = Mean(args), squares = 0;
  for (int32_t i = 0; i < args.Count(); ++i) {
    double d = args.Number(i) - mean;
    squares += d * d;
  }
  return std::sqrt(squares / (args.Count() - 1));
}

double Extreme(const TLVCalcArgs& args, bool largest) {
  double result = args.Number(0);
  for (int32_t i = 1; i < args.Count(); ++i) {
    double v = args.Number(i);
    if (largest ? v > result : v < result) result = v;
  }
  return result;
}

double GeometricMean(const TLVCalcArgs& args) {
  double logs = 0;
  for (int32_t i = 0; i < args.Count(); ++i) {
    double v = args.Number(i);
    if (v < 0) return LVCalcNull();
    if (v == 0) return 0;
    logs += std::log(v);
  }
  return std::exp(logs / args.Count());
}

double AbsoluteDeviation(const TLVCalcArgs& args) {
  double mean = Mean(args), sum = 0;
  for (int32_t i = 0; i < args.Count(); ++i) sum += std::fabs(args.Number(i) - mean);
  return sum / args.Count();
}

// ---- single numbers

double Sign(double x) {
  return x > 0 ? 1.0 : x < 0 ? -1.0 : 0.0;
}

double Ln(double x) {
  return x > 0 ? std::log(x) : LVCalcNull();
}

double LogBase(double base, double x) {
  if (base <= 0 || base == 1 || x <= 0) return LVCalcNull();
  return std::log(x) / std::log(base);
}

double Factorial(double n) {
  if (n < 0 || n != std::trunc(n)) return LVCalcNull();
  if (n > 170) return LVCalcNull();  // beyond the largest double
  double result = 1;
  for (int k = 2; k <= static_cast<int>(n); ++k) result *= k;
  return result;
}

double RoundHalfAway(double x, double digits) {
  digits = std::trunc(digits);
  if (digits > 15 || digits < -308) return digits > 15 ? x : 0.0;
  double scale = std::pow(10.0, std::fabs(digits));
  double scaled = digits >= 0 ? x * scale : x / scale;
  double whole = std::trunc(scaled);
  double fraction = std::fabs(scaled - whole);
  // The decimal the user wrote is rarely the double stored: 2.675 is 2.67499999...
  // A fraction that close to one half is taken for the half.
  double slack = 8 * std::numeric_limits<double>::epsilon() * std::max(1.0, std::fabs(scaled));
  if (fraction >= 0.5 - slack) whole += scaled < 0 ? -1 : 1;
  return digits >= 0 ? whole / scale : whole * scale;
}

double Round(const TLVCalcArgs& args) {
  return Finite(RoundHalfAway(args.Number(0), args.Count() > 1 ? args.Number(1) : 0));
}

double Mod(double a, double b) {
  return b == 0 ? LVCalcNull() : std::fmod(a, b);
}

double RandomUniform(const TLVCalcArgs&) {
  thread_local std::mt19937_64 engine{std::random_device{}()};
  return std::uniform_real_distribution<double>(0.0, 1.0)(engine);
}

double SumOfYearsDigits(const TLVCalcArgs& args) {
  double cost = args.Number(0), salvage = args.Number(1), life = args.Number(2),
         period = args.Number(3);
  if (!(life > 0) || period < 1 || period > life) return LVCalcNull();
  return Finite((cost - salvage) * (life - period + 1) * 2 / (life * (life + 1)));
}

// ---- one-line kernels

double CalcAbs(double x) {
  return std::fabs(x);
}
double CalcSin(double x) {
  return std::sin(x);
}
double CalcCos(double x) {
  return std::cos(x);
}
double CalcTan(double x) {
  return std::tan(x);
}
double CalcArcSin(double x) {
  return std::asin(x);
}
double CalcArcCos(double x) {
  return std::acos(x);
}
double CalcArcTan(double x) {
  return std::atan(x);
}
double CalcExp(double x) {
  return std::exp(x);
}
double CalcPow(double x, double y) {
  return std::pow(x, y);
}
double CalcSqrt(double x) {
  return std::sqrt(x);
}
double CalcInt(double x) {
  return std::trunc(x);
}
double CalcFrac(double x) {
  return x - std::trunc(x);
}
double CalcAbsErr(double a, double b) {
  return std::fabs(a - b);
}
double CalcRelErr(double a, double b) {
  return std::fabs(a - b) / std::fabs(a);
}

// ---- the chi-square distribution

constexpr double kTiny = 1e-300;
constexpr int kMaxTerms = 100000;

// exp(-x) x^a / Gamma(a), the factor both expansions share.
double GammaPrefactor(double a, double x) {
  return std::exp(-x + a * std::log(x) - std::lgamma(a));
}

double LowerGammaSeries(double a, double x) {
  double term = 1 / a, sum = term;
  for (int n = 1; n < kMaxTerms; ++n) {
    term *= x / (a + n);
    sum += term;
    if (std::fabs(term) < std::fabs(sum) * 1e-17) break;
  }
  return sum * GammaPrefactor(a, x);
}

double UpperGammaFraction(double a, double x) {
  double b = x + 1 - a, c = 1 / kTiny, d = 1 / b, h = d;
  for (int i = 1; i < kMaxTerms; ++i) {
    double an = -i * (i - a);
    b += 2;
    d = an * d + b;
    if (std::fabs(d) < kTiny) d = kTiny;
    c = b + an / c;
    if (std::fabs(c) < kTiny) c = kTiny;
    d = 1 / d;
    double step = d * c;
    h *= step;
    if (std::fabs(step - 1) < 1e-16) break;
  }
  return GammaPrefactor(a, x) * h;
}

// Regularized incomplete gamma: P (lower) when `upper` is false, Q = 1 - P otherwise.
double IncompleteGamma(double a, double x, bool upper) {
  if (x <= 0) return upper ? 1.0 : 0.0;
  if (x < a + 1) {
    double p = LowerGammaSeries(a, x);
    return upper ? 1 - p : p;
  }
  double q = UpperGammaFraction(a, x);
  return upper ? q : 1 - q;
}

double ChiSquareDensity(double n, double x) {
  if (!(n > 0)) return LVCalcNull();
  if (x < 0) return 0;
  double k = n / 2;
  if (x == 0) return k < 1 ? LVCalcNull() : k == 1 ? 0.5 : 0.0;
  return Finite(std::exp((k - 1) * std::log(x) - x / 2 - k * std::log(2.0) - std::lgamma(k)));
}

double ChiSquareCdf(double n, double x) {
  return n > 0 ? IncompleteGamma(n / 2, x / 2, false) : LVCalcNull();
}

double ChiSquareTail(double n, double x) {
  return n > 0 ? IncompleteGamma(n / 2, x / 2, true) : LVCalcNull();
}

double ChiSquareQuantile(double n, double p) {
  if (!(n > 0) || !(p >= 0) || !(p < 1)) return LVCalcNull();
  if (p == 0) return 0;
  // Newton's method runs on the logarithm of the probability: far in the tails the
  // probability behaves like a power of x, which is a straight line there, so the
  // steps stay long. The upper tail is used above the median so that a probability
  // near 1 keeps the digits of its complement.
  bool useTail = p > 0.5;
  double target = std::log(useTail ? 1 - p : p);
  double f = 0, slope = 0;
  auto evaluate = [&](double x) {
    double probability = useTail ? ChiSquareTail(n, x) : ChiSquareCdf(n, x);
    double density = ChiSquareDensity(n, x);
    // Both distances grow with x.
    f = useTail ? target - std::log(probability) : std::log(probability) - target;
    slope = density / probability;
  };
  double lo = 0, hi = std::max(n, 1.0);
  for (evaluate(hi); f < 0; evaluate(hi)) {
    lo = hi;
    hi *= 2;
    if (hi > 1e300) return LVCalcNull();
  }
  double x = (lo + hi) / 2;
  for (int iteration = 0; iteration < 500; ++iteration) {
    evaluate(x);
    if (f == 0) return x;
    (f < 0 ? lo : hi) = x;
    double next = x - f / slope;
    if (!(next > lo && next < hi)) next = (lo + hi) / 2;
    if (std::fabs(next - x) <= 1e-15 * x || hi - lo <= 1e-15 * hi) return next;
    x = next;
  }
  return x;
}

}  // namespace

void RegisterMathFunctions(TLVFunctionCollection& f) {
  f.AddNumber("Abs", 1, 1, "N", kMath, Unary<CalcAbs>);
  f.AddNumber("Sign", 1, 1, "N", kMath, Unary<Sign>);
  f.AddNumber("Pi", 0, 0, "", kMath, [](const TLVCalcArgs&) { return std::numbers::pi; });
  f.AddNumber("Sin", 1, 1, "N", kMath, Unary<CalcSin>);
  f.AddNumber("Cos", 1, 1, "N", kMath, Unary<CalcCos>);
  f.AddNumber("Tan", 1, 1, "N", kMath, Unary<CalcTan>);
  f.AddNumber("ArcSin", 1, 1, "N", kMath, Unary<CalcArcSin>);
  f.AddNumber("ArcCos", 1, 1, "N", kMath, Unary<CalcArcCos>);
  f.AddNumber("ArcTan", 1, 1, "N", kMath, Unary<CalcArcTan>);
  f.AddNumber("Exp", 1, 1, "N", kMath, Unary<CalcExp>);
  f.AddNumber("Ln", 1, 1, "N", kMath, Unary<Ln>);
  f.AddNumber("Log", 2, 2, "N", kMath, Binary<LogBase>);
  f.AddNumber("Pow", 2, 2, "N", kMath, Binary<CalcPow>);
  f.AddNumber("Sqrt", 1, 1, "N", kMath, Unary<CalcSqrt>);
  f.AddNumber("Factorial", 1, 1, "N", kMath, Unary<Factorial>);
  f.AddNumber("Round", 1, 2, "N", kMath, Round);
  f.AddNumber("Int", 1, 1, "N", kMath, Unary<CalcInt>);
  f.AddNumber("Frac", 1, 1, "N", kMath, Unary<CalcFrac>);
  f.AddNumber("Mod", 2, 2, "N", kMath, Binary<Mod>);
  f.AddNumber("Random", 0, 0, "", kMath, RandomUniform, fnNullPropagates | fnVolatile);

  f.AddNumber("Max", 2, -1, "N", kStatistics,
              [](const TLVCalcArgs& a) { return Extreme(a, true); });
  f.AddNumber("Min", 2, -1, "N", kStatistics,
              [](const TLVCalcArgs& a) { return Extreme(a, false); });
  f.AddNumber("Sum", 2, -1, "N", kStatistics, [](const TLVCalcArgs& a) { return Finite(Sum(a)); });
  f.AddNumber("SumSq", 2, -1, "N", kStatistics, [](const TLVCalcArgs& a) {
    double sum = 0;
    for (int32_t i = 0; i < a.Count(); ++i) sum += a.Number(i) * a.Number(i);
    return Finite(sum);
  });
  f.AddNumber("Avg", 2, -1, "N", kStatistics, [](const TLVCalcArgs& a) { return Finite(Mean(a)); });
  f.AddNumber("StdDev", 2, -1, "N", kStatistics,
              [](const TLVCalcArgs& a) { return Finite(SampleStdDev(a)); });
  f.AddNumber("avggeom", 1, -1, "N", kHidden,
              [](const TLVCalcArgs& a) { return Finite(GeometricMean(a)); });
  f.AddNumber("reldev", 1, -1, "N", kHidden,
              [](const TLVCalcArgs& a) { return Finite(SampleStdDev(a) / std::fabs(Mean(a))); });
  f.AddNumber("absdev", 1, -1, "N", kHidden,
              [](const TLVCalcArgs& a) { return Finite(AbsoluteDeviation(a)); });
  f.AddNumber("AbsErr", 2, 2, "N", kStatistics, Binary<CalcAbsErr>);
  f.AddNumber("RelErr", 2, 2, "N", kStatistics, Binary<CalcRelErr>);

  f.AddNumber("DKhi2", 2, 2, "N", kStatistics, Binary<ChiSquareDensity>);
  f.AddNumber("FKhi2", 2, 2, "N", kStatistics, Binary<ChiSquareCdf>);
  f.AddNumber("PKhi2", 2, 2, "N", kStatistics, Binary<ChiSquareTail>);
  f.AddNumber("InvKhi2", 2, 2, "N", kStatistics, Binary<ChiSquareQuantile>);

  f.AddNumber("AMGD", 4, 4, "N", kFinance, SumOfYearsDigits);
}

}  // namespace lv
