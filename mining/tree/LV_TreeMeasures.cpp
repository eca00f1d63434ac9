#include "mining/tree/LV_TreeMeasures.h"

#include <cmath>
#include <limits>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

double TreeEntropy(std::span<const double> counts, double total) {
  if (total <= 0) return 0;
  // sum p log p = (sum n log n) / N - log N: one division and one log per class.
  double sum = 0;
  for (double n : counts) {
    if (n < 0) throw ELVError("ErrTreeNegativeCount");
    if (n > 0) sum += n * std::log2(n);
  }
  const double h = std::log2(total) - sum / total;
  return h > 0 ? h : 0;  // a pure node may come out at -1e-16
}

double TreeEntropy(std::span<const double> counts) {
  double total = 0;
  for (double n : counts) total += n;
  return TreeEntropy(counts, total);
}

double TreeSplitInfo(std::span<const double> weights, double total) {
  return TreeEntropy(weights, total);
}

double TreeGainRatio(double gain, double splitInfo) {
  return splitInfo > 0 ? gain / splitInfo : -1.0;
}

double TreeThreshold(double a, double b, bool integer) {
  double t = (a + b) / 2;
  if (integer && std::isfinite(t)) {
    t = std::nearbyint(t);  // the default rounding mode: half to even
    if (t == a) t = b;
  }
  if (!(t > a && t <= b)) throw ELVError("ErrTreeThresholdPrecision");
  return t;
}

double NormalQuantile(double p) {
  if (!(p > 0)) return -std::numeric_limits<double>::infinity();
  if (!(p < 1)) return std::numeric_limits<double>::infinity();
  // A rational approximation (relative error 1e-9) as the first guess...
  static constexpr double a[] = {-3.969683028665376e+01, 2.209460984245205e+02,
                                 -2.759285104469687e+02, 1.383577518672690e+02,
                                 -3.066479806614716e+01, 2.506628277459239e+00};
  static constexpr double b[] = {-5.447609879822406e+01, 1.615858368580409e+02,
                                 -1.556989798598866e+02, 6.680131188771972e+01,
                                 -1.328068155288572e+01};
  static constexpr double c[] = {-7.784894002430293e-03, -3.223964580411365e-01,
                                 -2.400758277161838e+00, -2.549732539343734e+00,
                                 4.374664141464968e+00,  2.938163982698783e+00};
  static constexpr double d[] = {7.784695709041462e-03, 3.224671290700398e-01,
                                 2.445134137142996e+00, 3.754408661907416e+00};
  constexpr double kLow = 0.02425;
  double x;
  if (p < kLow || p > 1 - kLow) {
    const double q = std::sqrt(-2 * std::log(p < kLow ? p : 1 - p));
    x = (((((c[0] * q + c[1]) * q + c[2]) * q + c[3]) * q + c[4]) * q + c[5]) /
        ((((d[0] * q + d[1]) * q + d[2]) * q + d[3]) * q + 1);
    if (p > kLow) x = -x;
  } else {
    const double q = p - 0.5;
    const double r = q * q;
    x = (((((a[0] * r + a[1]) * r + a[2]) * r + a[3]) * r + a[4]) * r + a[5]) * q /
        (((((b[0] * r + b[1]) * r + b[2]) * r + b[3]) * r + b[4]) * r + 1);
  }
  // ...then Halley steps on the exact distribution function bring it to full precision.
  for (int step = 0; step < 2; ++step) {
    const double e = 0.5 * std::erfc(-x / std::sqrt(2.0)) - p;
    const double u = e * std::sqrt(2 * M_PI) * std::exp(x * x / 2);
    x -= u / (1 + x * u / 2);
  }
  return x;
}

TLVPruneConfidence TreePruneConfidence(double confidenceLevel) {
  if (!(confidenceLevel >= 0 && confidenceLevel <= 1)) {
    throw ELVError("ErrTreeConfidenceLevel", {confidenceLevel});
  }
  TLVPruneConfidence result;
  result.cf = confidenceLevel;
  if (confidenceLevel == 0) {
    result.coeff = std::numeric_limits<double>::infinity();
  } else if (confidenceLevel < 0.5) {
    const double z = NormalQuantile(1 - confidenceLevel);
    result.coeff = z * z;
  }
  return result;
}

double TreeAddErrs(double n, double e, const TLVPruneConfidence& confidence) {
  if (n <= 0) return 0;
  const double cf = confidence.cf;
  if (e < 0.9999 && cf <= 0) return n;
  if (e < 1e-6) return n * (1 - std::exp(std::log(cf) / n));
  if (e < 0.9999) {
    const double v = n * (1 - std::exp(std::log(cf) / n));
    return v + e * (TreeAddErrs(n, 1, confidence) - v);
  }
  if (e + 0.5 >= n) return 0.67 * (n - e);
  const double coeff = confidence.coeff;
  if (std::isinf(coeff)) return n - e;  // the limit of the bound: every row an error
  const double k = e + 0.5;
  const double p = (k + coeff / 2 + std::sqrt(coeff * (k * (1 - k / n) + coeff / 4))) / (n + coeff);
  return n * p - e;
}

TLVPruneAction TreePruneAction(double leaf, double subtree, double branch, bool branchIsLeaf) {
  if (leaf <= subtree + 0.1 && leaf <= branch + 0.1) return TLVPruneAction::paLeaf;
  if (branch <= subtree + 0.1 && !branchIsLeaf) return TLVPruneAction::paLargestBranch;
  return TLVPruneAction::paKeep;
}

void RegisterTreeMeasuresTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrTreeNegativeCount", "ErrTreeThresholdPrecision", "ErrTreeConfidenceLevel"});
}

}  // namespace lv
