// The measures of C4.5 for growing and pruning a decision tree: entropies in bits,
// split information, gain ratio, the threshold between two neighbouring values, and
// the pessimistic error estimate (AddErrs) with its confidence mapping.
//
// Counts are weights: whole numbers of rows, or fractions when rows with a missing
// value are spread over the branches. Pure functions, safe from any thread.
#pragma once

#include <cstdint>
#include <span>

namespace lv {

// Entropy in bits of a class distribution: -sum p log2 p over the classes that hold
// rows. An empty distribution has entropy 0; a negative count is an internal error
// ("ErrTreeNegativeCount").
double TreeEntropy(std::span<const double> counts);
// Entropy of counts that add up to `total` (a caller that keeps the total saves a pass).
double TreeEntropy(std::span<const double> counts, double total);

// Split information of branches holding `weights` rows out of `total`.
double TreeSplitInfo(std::span<const double> weights, double total);

// (info - weighted entropy) / split information, or -1 for an invalid split (split
// information not above zero).
double TreeGainRatio(double gain, double splitInfo);

// The threshold between neighbouring distinct values a < b: their midpoint, for an
// integer column rounded half to even, and b when that rounding gives a. The values
// below it and at or above it are then exactly those up to a and from b; when the
// arithmetic cannot keep them apart the teacher fails ("ErrTreeThresholdPrecision").
double TreeThreshold(double a, double b, bool integer);

// The pruning confidence: CF is the level itself, Coeff the square of the normal
// deviate z with P(Z > z) = CF. At CF >= 0.5 the deviate is not positive, and an upper
// bound below the observed error rate would reward splitting, so Coeff is 0 there; at
// CF = 0 the bound is certain error (Coeff infinite).
struct TLVPruneConfidence {
  double cf = 0.25;
  double coeff = 0;
};
TLVPruneConfidence TreePruneConfidence(double confidenceLevel);

// The standard normal quantile: z with P(Z <= z) = p, to full double precision
// (a rational first guess refined by Halley steps on erfc). p = 0 and 1 give -inf, +inf.
double NormalQuantile(double p);

// Errors to add to `e` observed errors among `n` rows for a pessimistic estimate.
double TreeAddErrs(double n, double e, const TLVPruneConfidence& confidence);

// What pruning does with a node from the estimated errors of the node as a leaf, of
// its subtree and of its largest branch over all its rows: a leaf when that is no
// worse than either by more than 0.1; else the largest branch in its place when that
// is no worse than the subtree by more than 0.1 and is not a leaf itself; else keep.
enum class TLVPruneAction : uint8_t { paKeep, paLeaf, paLargestBranch };
TLVPruneAction TreePruneAction(double leaf, double subtree, double branch, bool branchIsLeaf);

void RegisterTreeMeasuresTexts();

}  // namespace lv
