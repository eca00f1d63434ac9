#include "mining/tree/LV_DsTreeTeacherC45.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "core/columns/LV_Convert.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_FormatSettings.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"
#include "mining/normalizers/LV_UniqueValuesNormalizer.h"

namespace lv {

namespace {

constexpr TLVDataSourceType kSets[] = {TLVDataSourceType::dstTeach, TLVDataSourceType::dstTest};
// Rows normalized at once when the training set is read or a set is classified.
constexpr TLVRowIndex kChunkRows = 65536;
// Weights below this count as no rows (fractions of rows spread over branches).
constexpr double kTiny = 1e-9;

// The discrete normalizer of a column coded in one component, or null.
const TLVDiscreteNormalizer* SingleCodeNormalizer(const TLVNormalizer& normalizer) {
  auto* discrete = dynamic_cast<const TLVDiscreteNormalizer*>(&normalizer);
  return discrete && normalizer.OutputWidth() == 1 ? discrete : nullptr;
}

std::string ValueText(const TLVValue& value) {
  return ValueToText(value, DefaultFormatSettings());
}

// The codes and texts of a discrete column's unique values, in position order.
void DescribeValues(const TLVDiscreteNormalizer& normalizer, std::vector<double>& codes,
                    std::vector<std::string>& names) {
  for (int32_t k = 0; k < normalizer.UniqueCount(); ++k) {
    codes.push_back(normalizer.Normalize(normalizer.ValueAt(k)));
    names.push_back(ValueText(normalizer.ValueAt(k)));
  }
}

// The position of a code among `codes`, -1 when missing or unknown.
int32_t PositionOfCode(const std::vector<double>& codes, double code) {
  if (std::isnan(code)) return -1;
  auto it = std::find(codes.begin(), codes.end(), code);
  return it == codes.end() ? -1 : static_cast<int32_t>(it - codes.begin());
}

// Rows of a node with their weights (1 unless spread over branches from a missing value).
struct TSubset {
  std::vector<int32_t> rows;
  std::vector<double> weights;
  bool weighted = false;  // whether any weight differs from 1
  // Per continuous attribute (by attribute index, empty for discrete ones): the rows
  // with a known value, ascending by value.
  std::vector<std::vector<int32_t>> sorted;
};

struct TSplit {
  int32_t attribute = -1;
  double ratio = -1;
  double gain = 0;
  double threshold = 0;
};

}  // namespace

double TLVTreeSetResult::PercentRecognized() const {
  if (rowCounts <= 0) return 0;
  return std::min(100.0,
                  static_cast<double>(numberRecognized) / static_cast<double>(rowCounts) * 100);
}

// --- Settings ---

void TLVDsTreeTeacherC45::SetMinCaseCount(int32_t value) {
  if (value < 1) throw ELVError("ErrTreeMinCaseCount");
  minCaseCount_ = value;
}

void TLVDsTreeTeacherC45::SetConfidenceLevel(double value) {
  TreePruneConfidence(value);  // refuses a level outside [0, 1]
  confidenceLevel_ = value;
}

// --- Growth and pruning ---

// The training rows as dense columns, and the tree grown and pruned over them.
class TLVDsTreeTeacherC45::TGrowth {
 public:
  TGrowth(TLVDsTreeTeacherC45& teacher, std::vector<TLVTreeAttribute> attributes, int32_t classes)
      : teacher_(teacher),
        attributes_(std::move(attributes)),
        classes_(classes),
        minCases_(teacher.minCaseCount_),
        confidence_(TreePruneConfidence(teacher.confidenceLevel_)),
        values_(attributes_.size()),
        codes_(attributes_.size()) {}

  // The rows' values of a continuous attribute, and the positions of a discrete
  // one's values (-1 for an empty cell).
  std::vector<double>& Values(size_t attribute) { return values_[attribute]; }
  std::vector<int32_t>& Codes(size_t attribute) { return codes_[attribute]; }
  std::vector<int32_t>& Classes() { return classes0_; }
  const std::vector<TLVTreeAttribute>& Attributes() const { return attributes_; }

  // The whole training set: every row with weight 1, and with `sorted` the rows of
  // every continuous attribute in the order of its values.
  TSubset RootSubset(bool sorted) const {
    TSubset subset;
    const auto n = static_cast<int32_t>(classes0_.size());
    subset.rows.resize(static_cast<size_t>(n));
    for (int32_t i = 0; i < n; ++i) subset.rows[static_cast<size_t>(i)] = i;
    subset.weights.assign(subset.rows.size(), 1.0);
    subset.sorted.resize(attributes_.size());
    if (!sorted) return subset;
    std::vector<std::pair<double, int32_t>> keyed;
    for (size_t a = 0; a < attributes_.size(); ++a) {
      if (attributes_[a].discrete) continue;
      keyed.clear();
      for (int32_t i = 0; i < n; ++i) {
        const double v = values_[a][static_cast<size_t>(i)];
        if (!std::isnan(v)) keyed.emplace_back(v, i);
      }
      std::sort(keyed.begin(), keyed.end());
      subset.sorted[a].reserve(keyed.size());
      for (const auto& item : keyed) subset.sorted[a].push_back(item.second);
    }
    return subset;
  }

  void Grow(TLVTreeNode& node, TSubset subset) {
    weight_.resize(classes0_.size());
    branch_.resize(classes0_.size());
    for (size_t i = 0; i < subset.rows.size(); ++i) {
      weight_[static_cast<size_t>(subset.rows[i])] = subset.weights[i];
    }
    const double n = Describe(node, subset.rows, subset.weights);
    if (teacher_.OnNodeCreated) teacher_.OnNodeCreated(node);
    const double errors = n - node.classCounts[static_cast<size_t>(node.decision)];
    TSplit best;
    if (errors > kTiny && n >= 2.0 * minCases_) best = ChooseSplit(subset, n);
    if (best.attribute < 0) {
      MakeLeaf(node);
      return;
    }
    std::vector<TSubset> parts = Partition(node, subset, best);
    subset = {};  // the children hold the rows now
    const bool discrete = attributes_[static_cast<size_t>(best.attribute)].discrete;
    if (discrete) used_[static_cast<size_t>(best.attribute)] = true;
    for (size_t b = 0; b < parts.size(); ++b) {
      TLVTreeNode& child = node.children[b];
      if (parts[b].rows.empty()) {
        // No training row has this value: the branch decides as its parent.
        child.classCounts.assign(static_cast<size_t>(classes_), 0.0);
        child.decision = node.decision;
        if (teacher_.OnNodeCreated) teacher_.OnNodeCreated(child);
        MakeLeaf(child);
        continue;
      }
      Grow(child, std::move(parts[b]));
    }
    if (discrete) used_[static_cast<size_t>(best.attribute)] = false;
  }

  // Bottom-up pruning of `node` over the rows that reach it; returns its estimate.
  double Prune(TLVTreeNode& node, const std::vector<int32_t>& rows,
               const std::vector<double>& weights) {
    ReportPrune();
    const double n = Describe(node, rows, weights);
    const double errors = n - node.classCounts[static_cast<size_t>(node.decision)];
    const double leafEstimate = errors + TreeAddErrs(n, errors, confidence_);
    if (node.IsLeaf()) {
      node.predictedError = leafEstimate;
      return leafEstimate;
    }
    const double subtreeEstimate = SumOverBranches(
        node, rows, weights,
        [this](TLVTreeNode& child, const auto& r, const auto& w) { return Prune(child, r, w); });
    size_t largest = 0;
    for (size_t b = 1; b < node.children.size(); ++b) {
      if (node.children[b].caseCount > node.children[largest].caseCount) largest = b;
    }
    const double branchEstimate = Estimate(node.children[largest], rows, weights);
    const TLVPruneAction action = TreePruneAction(leafEstimate, subtreeEstimate, branchEstimate,
                                                  node.children[largest].IsLeaf());
    if (action == TLVPruneAction::paLeaf) {
      node.children.clear();
      node.predictedError = leafEstimate;
      return leafEstimate;
    }
    if (action == TLVPruneAction::paLargestBranch) {
      // The branch takes the node's place (and its rows); the node's own condition stays.
      TLVTreeNode branch = std::move(node.children[largest]);
      branch.condition = node.condition;
      branch.userCondition = node.userCondition;
      node = std::move(branch);
      return Prune(node, rows, weights);
    }
    node.predictedError = subtreeEstimate;
    return subtreeEstimate;
  }

  // Estimates without pruning: a leaf's own estimate, an inner node's the sum below.
  double EstimateAsGrown(TLVTreeNode& node) {
    if (node.IsLeaf()) {
      const double errors = node.caseCount - node.classCounts[static_cast<size_t>(node.decision)];
      node.predictedError = errors + TreeAddErrs(node.caseCount, errors, confidence_);
    } else {
      node.predictedError = 0;
      for (TLVTreeNode& child : node.children) node.predictedError += EstimateAsGrown(child);
    }
    return node.predictedError;
  }

  void SetPruneTotal(int32_t nodes) {
    pruneTotal_ = nodes;
    pruneDone_ = 0;
  }
  int64_t DistributedCount() const { return distributed_; }
  // Before growth: no attribute used yet, and the table of n log2 n.
  void Prepare() {
    used_.assign(attributes_.size(), false);
    nlogn_.resize(classes0_.size() + 1);
    for (size_t i = 0; i < nlogn_.size(); ++i) {
      nlogn_[i] = i > 0 ? static_cast<double>(i) * std::log2(static_cast<double>(i)) : 0;
    }
  }

 private:
  double NLogN(double x) const {
    if (!(x > 0)) return 0;  // also a difference of weights a hair below zero
    const auto whole = static_cast<size_t>(x);
    if (static_cast<double>(whole) == x && whole < nlogn_.size()) return nlogn_[whole];
    return x * std::log2(x);
  }

  // Class counts, size, decision and entropy of the node from its rows.
  double Describe(TLVTreeNode& node, const std::vector<int32_t>& rows,
                  const std::vector<double>& weights) const {
    node.classCounts.assign(static_cast<size_t>(classes_), 0.0);
    double n = 0;
    for (size_t i = 0; i < rows.size(); ++i) {
      node.classCounts[static_cast<size_t>(classes0_[static_cast<size_t>(rows[i])])] += weights[i];
      n += weights[i];
    }
    node.caseCount = n;
    node.decision =
        static_cast<int32_t>(std::max_element(node.classCounts.begin(), node.classCounts.end()) -
                             node.classCounts.begin());
    node.entropy = TreeEntropy(node.classCounts, n);
    return n;
  }

  void MakeLeaf(TLVTreeNode& node) {
    node.children.clear();
    if (teacher_.OnLeafCreated) teacher_.OnLeafCreated(node);
  }

  void ReportPrune() {
    ++pruneDone_;
    if (teacher_.OnPruneProgress) teacher_.OnPruneProgress(pruneDone_, pruneTotal_);
  }

  // Whether a candidate beats the best so far. In the strict reading the gain ratio
  // decides; under NeedClearRules a continuous attribute's threshold is the one of
  // the largest gain, as C4.5 chooses it.
  struct TCandidate {
    double gain = 0;
    double ratio = -1;
    double threshold = 0;
    bool valid = false;
  };

  TCandidate EvaluateDiscrete(size_t a, const TSubset& subset, double n) {
    const TLVTreeAttribute& attribute = attributes_[a];
    const size_t values = attribute.codes.size();
    counts_.assign(values * static_cast<size_t>(classes_), 0.0);
    branchWeights_.assign(values + 1, 0.0);  // the last: rows with a missing value
    known_.assign(static_cast<size_t>(classes_), 0.0);
    const std::vector<int32_t>& column = codes_[a];
    for (size_t i = 0; i < subset.rows.size(); ++i) {
      const auto row = static_cast<size_t>(subset.rows[i]);
      const int32_t v = column[row];
      const double w = subset.weights[i];
      if (v < 0) {
        branchWeights_[values] += w;
        continue;
      }
      const auto b = static_cast<size_t>(v);
      const auto c = static_cast<size_t>(classes0_[row]);
      counts_[b * static_cast<size_t>(classes_) + c] += w;
      known_[c] += w;
      branchWeights_[b] += w;
    }
    const double knownRows = n - branchWeights_[values];
    TCandidate result;
    int32_t full = 0;
    for (size_t b = 0; b < values; ++b) full += branchWeights_[b] >= minCases_ - kTiny ? 1 : 0;
    if (full < 2 || knownRows <= kTiny) return result;
    double weighted = 0;
    for (size_t b = 0; b < values; ++b) {
      const std::span<const double> row(counts_.data() + b * static_cast<size_t>(classes_),
                                        static_cast<size_t>(classes_));
      weighted += branchWeights_[b] * TreeEntropy(row, branchWeights_[b]);
    }
    const double info = TreeEntropy(known_, knownRows);
    result.gain = knownRows / n * (info - weighted / knownRows);
    result.ratio = TreeGainRatio(result.gain, TreeSplitInfo(branchWeights_, n));
    result.valid = result.ratio > -1;
    return result;
  }

  TCandidate EvaluateContinuous(size_t a, const TSubset& subset, double n) {
    const std::vector<int32_t>& sorted = subset.sorted[a];
    const std::vector<double>& column = values_[a];
    const auto k = static_cast<size_t>(classes_);
    known_.assign(k, 0.0);
    const bool weighted = subset.weighted;
    auto weightOf = [this, weighted](size_t row) { return weighted ? weight_[row] : 1.0; };
    double knownRows = 0;
    int64_t tries = 0;  // distinct neighbouring values: the thresholds one could choose
    double previous = 0;
    for (size_t i = 0; i < sorted.size(); ++i) {
      const auto row = static_cast<size_t>(sorted[i]);
      const double w = weightOf(row);
      known_[static_cast<size_t>(classes0_[row])] += w;
      knownRows += w;
      const double v = column[row];
      if (i > 0 && previous < v) ++tries;
      previous = v;
    }
    TCandidate result;
    if (knownRows < 2.0 * minCases_ - kTiny) return result;
    // Sums of fractional weights may leave a hair of difference: never below zero.
    const double unknown = std::max(0.0, n - knownRows);
    const double info = TreeEntropy(known_, knownRows);
    const double fraction = knownRows / n;
    left_.assign(k, 0.0);
    double leftRows = 0;
    size_t bestAt = 0;
    double bestScore = 0;
    const bool byGain = teacher_.needClearRules_;
    double next = sorted.empty() ? 0 : column[static_cast<size_t>(sorted[0])];
    for (size_t i = 0; i + 1 < sorted.size(); ++i) {
      const auto row = static_cast<size_t>(sorted[i]);
      const double w = weightOf(row);
      left_[static_cast<size_t>(classes0_[row])] += w;
      leftRows += w;
      const double v = next;
      next = column[static_cast<size_t>(sorted[i + 1])];
      if (!(v < next)) continue;
      const double rightRows = knownRows - leftRows;
      if (leftRows < minCases_ - kTiny) continue;
      if (rightRows < minCases_ - kTiny) break;  // only shrinks from here on
      // n H(n) = n log2 n - sum n_c log2 n_c for both branches: the weighted entropy
      // without a division or a logarithm per class (whole counts come from a table).
      double spread = NLogN(leftRows) + NLogN(rightRows);
      for (size_t c = 0; c < k; ++c) spread -= NLogN(left_[c]) + NLogN(known_[c] - left_[c]);
      const double gain = fraction * (info - spread / knownRows);
      // The ratio is needed per threshold only when it chooses the threshold.
      const double ratio =
          byGain ? 0
                 : TreeGainRatio(
                       gain, (NLogN(n) - NLogN(leftRows) - NLogN(rightRows) - NLogN(unknown)) / n);
      const double score = byGain ? gain : ratio;
      if (!result.valid || score > bestScore) {
        result = {gain, ratio, 0, true};
        bestScore = score;
        bestAt = i;
      }
    }
    if (!result.valid) return result;
    if (byGain) {
      result.gain -= std::log2(static_cast<double>(std::max<int64_t>(tries, 1))) / n;
      const double leftRowsAt = [&] {
        double sum = 0;
        for (size_t i = 0; i <= bestAt; ++i) sum += weightOf(static_cast<size_t>(sorted[i]));
        return sum;
      }();
      const double parts[] = {leftRowsAt, std::max(0.0, knownRows - leftRowsAt), unknown};
      result.ratio = TreeGainRatio(result.gain, TreeSplitInfo(parts, n));
    }
    result.threshold =
        TreeThreshold(column[static_cast<size_t>(sorted[bestAt])],
                      column[static_cast<size_t>(sorted[bestAt + 1])], attributes_[a].integer);
    return result;
  }

  TSplit ChooseSplit(const TSubset& subset, double n) {
    std::vector<TCandidate> candidates(attributes_.size());
    double gainSum = 0;
    int32_t counted = 0;
    for (size_t a = 0; a < attributes_.size(); ++a) {
      if (attributes_[a].discrete) {
        // One branch per value only with more than twice the minimum, once per path.
        if (used_[a] || !(n > 2.0 * minCases_)) continue;
        candidates[a] = EvaluateDiscrete(a, subset, n);
      } else {
        candidates[a] = EvaluateContinuous(a, subset, n);
      }
      if (candidates[a].valid) {
        gainSum += candidates[a].gain;
        ++counted;
      }
    }
    const double average = counted > 0 ? gainSum / counted : 0;
    TSplit best;
    for (size_t a = 0; a < attributes_.size(); ++a) {
      const TCandidate& c = candidates[a];
      if (!c.valid || c.ratio <= 0 || c.gain <= 0) continue;
      if (teacher_.needClearRules_ && c.gain < average - 1e-3) continue;
      // Strictly better only: on equal ratios the earlier column keeps the place.
      if (c.ratio > best.ratio) best = {static_cast<int32_t>(a), c.ratio, c.gain, c.threshold};
    }
    return best;
  }

  // The branch of a row at a node that tests attribute `a`, -1 for a missing value.
  int32_t BranchOfRow(size_t a, double threshold, int32_t row) const {
    if (attributes_[a].discrete) return codes_[a][static_cast<size_t>(row)];
    const double v = values_[a][static_cast<size_t>(row)];
    if (std::isnan(v)) return -1;
    return v < threshold ? 0 : 1;
  }

  // Splits the node's rows (and sorted lists) over its new branches and gives every
  // branch its condition.
  // The parent's sorted lists are released as they are divided, so the rows are held
  // about once, not twice, while a node splits.
  std::vector<TSubset> Partition(TLVTreeNode& node, TSubset& subset, const TSplit& split) {
    const auto a = static_cast<size_t>(split.attribute);
    const TLVTreeAttribute& attribute = attributes_[a];
    const size_t branches = attribute.discrete ? attribute.codes.size() : 2;
    node.children.assign(branches, TLVTreeNode{});
    for (size_t b = 0; b < branches; ++b) {
      TLVTreeCondition& condition = node.children[b].condition;
      condition.inputColumnIndex = split.attribute;
      if (attribute.discrete) {
        condition.uniqueValueIndex = static_cast<int32_t>(b);
      } else {
        condition.conditionSign = static_cast<TLVConditionSign>(b);
        condition.threshold = split.threshold;
      }
    }
    std::vector<double> known(branches, 0.0);
    double knownTotal = 0;
    for (size_t i = 0; i < subset.rows.size(); ++i) {
      const int32_t b = BranchOfRow(a, split.threshold, subset.rows[i]);
      branch_[static_cast<size_t>(subset.rows[i])] = b;
      if (b >= 0) {
        known[static_cast<size_t>(b)] += subset.weights[i];
        knownTotal += subset.weights[i];
      }
    }
    std::vector<TSubset> parts(branches);
    for (TSubset& part : parts) {
      part.sorted.resize(attributes_.size());
      part.weighted = subset.weighted;
    }
    for (size_t i = 0; i < subset.rows.size(); ++i) {
      const int32_t row = subset.rows[i];
      const int32_t b = branch_[static_cast<size_t>(row)];
      if (b >= 0) {
        parts[static_cast<size_t>(b)].rows.push_back(row);
        parts[static_cast<size_t>(b)].weights.push_back(subset.weights[i]);
        continue;
      }
      ++distributed_;
      for (size_t c = 0; c < branches; ++c) {
        if (known[c] <= 0) continue;
        parts[c].weighted = true;
        parts[c].rows.push_back(row);
        parts[c].weights.push_back(subset.weights[i] * known[c] / knownTotal);
      }
    }
    for (size_t s = 0; s < attributes_.size(); ++s) {
      for (TSubset& part : parts) part.sorted[s].reserve(subset.sorted[s].size() / branches);
      for (int32_t row : subset.sorted[s]) {
        const int32_t b = branch_[static_cast<size_t>(row)];
        if (b >= 0) {
          parts[static_cast<size_t>(b)].sorted[s].push_back(row);
          continue;
        }
        for (size_t c = 0; c < branches; ++c) {
          if (known[c] > 0) parts[c].sorted[s].push_back(row);
        }
      }
      std::vector<int32_t>().swap(subset.sorted[s]);
    }
    return parts;
  }

  // The rows of a node over its branches, a missing value spread by the branches' rows.
  void Route(const TLVTreeNode& node, const std::vector<int32_t>& rows,
             const std::vector<double>& weights, std::vector<std::vector<int32_t>>& childRows,
             std::vector<std::vector<double>>& childWeights) const {
    const size_t branches = node.children.size();
    childRows.assign(branches, {});
    childWeights.assign(branches, {});
    const TLVTreeCondition& test = node.children.front().condition;
    double total = 0;
    for (const TLVTreeNode& child : node.children) total += child.caseCount;
    for (size_t i = 0; i < rows.size(); ++i) {
      const int32_t b =
          BranchOfRow(static_cast<size_t>(test.inputColumnIndex), test.threshold, rows[i]);
      if (b >= 0) {
        childRows[static_cast<size_t>(b)].push_back(rows[i]);
        childWeights[static_cast<size_t>(b)].push_back(weights[i]);
        continue;
      }
      for (size_t c = 0; c < branches && total > 0; ++c) {
        if (node.children[c].caseCount <= 0) continue;
        childRows[c].push_back(rows[i]);
        childWeights[c].push_back(weights[i] * node.children[c].caseCount / total);
      }
    }
  }

  // f(branch, its rows, their weights) summed over the branches of `node`.
  template <class TNode, class F>
  double SumOverBranches(TNode& node, const std::vector<int32_t>& rows,
                         const std::vector<double>& weights, F f) const {
    std::vector<std::vector<int32_t>> childRows;
    std::vector<std::vector<double>> childWeights;
    Route(node, rows, weights, childRows, childWeights);
    double sum = 0;
    for (size_t b = 0; b < node.children.size(); ++b) {
      sum += f(node.children[b], childRows[b], childWeights[b]);
    }
    return sum;
  }

  // The estimated errors of a subtree over rows, its leaves keeping their decisions.
  double Estimate(const TLVTreeNode& node, const std::vector<int32_t>& rows,
                  const std::vector<double>& weights) const {
    if (node.IsLeaf()) {
      double n = 0, right = 0;
      for (size_t i = 0; i < rows.size(); ++i) {
        n += weights[i];
        if (classes0_[static_cast<size_t>(rows[i])] == node.decision) right += weights[i];
      }
      return n - right + TreeAddErrs(n, n - right, confidence_);
    }
    return SumOverBranches(node, rows, weights,
                           [this](const TLVTreeNode& child, const auto& r, const auto& w) {
                             return Estimate(child, r, w);
                           });
  }

  TLVDsTreeTeacherC45& teacher_;
  std::vector<TLVTreeAttribute> attributes_;
  int32_t classes_;
  int32_t minCases_;
  TLVPruneConfidence confidence_;
  std::vector<std::vector<double>> values_;  // per continuous attribute
  std::vector<std::vector<int32_t>> codes_;  // per discrete attribute
  std::vector<int32_t> classes0_;            // per row: the class position
  std::vector<double> weight_;               // per row: its weight in the node at hand
  std::vector<int32_t> branch_;              // per row: its branch in the split at hand
  std::vector<bool> used_;                   // discrete attributes on the current path
  std::vector<double> counts_, branchWeights_, known_, left_;
  std::vector<double> nlogn_;  // n log2 n of whole counts up to the training rows
  int64_t distributed_ = 0;
  int32_t pruneDone_ = 0;
  int32_t pruneTotal_ = 0;
};

void TLVDsTreeTeacherC45::DoTeach(ILVProgress* progress) {
  TLVTeachDataSource& data = *GetTeachDataSource();
  TLVTunedNormDataSource& tuned = *data.GetTunedNormDataSource();
  auto& kernel = static_cast<TLVDecisionTree&>(*GetKernel());
  const std::vector<int32_t> inputs = tuned.InputColumns();
  const std::vector<int32_t> outputs = tuned.OutputColumns();
  if (outputs.size() != 1 || tuned.RequireNormalizer(outputs[0]).OutputWidth() != 1) {
    throw ELVError("ErrTreeOneOutput");
  }
  const TLVDiscreteNormalizer* classCoder =
      SingleCodeNormalizer(tuned.RequireNormalizer(outputs[0]));
  if (!classCoder)
    throw ELVError("ErrTreeOutputNotDiscrete", {tuned.Columns()[outputs[0]].GetName()});
  std::vector<double> classCodes;
  std::vector<std::string> classNames;
  DescribeValues(*classCoder, classCodes, classNames);

  // What the kernel needs to know of each input component.
  std::vector<TLVTreeAttribute> attributes;
  std::vector<std::string> columnOf;  // the source column of each attribute
  for (int32_t index : inputs) {
    const TLVNormalizer& normalizer = tuned.RequireNormalizer(index);
    const TLVColumnInfo& column = tuned.Columns()[index];
    if (const TLVDiscreteNormalizer* discrete = SingleCodeNormalizer(normalizer)) {
      TLVTreeAttribute attribute;
      attribute.name = column.GetName();
      attribute.discrete = true;
      DescribeValues(*discrete, attribute.codes, attribute.valueNames);
      attributes.push_back(std::move(attribute));
      columnOf.push_back(column.GetName());
      continue;
    }
    const TLVLinearNormalizeHelper* helper = normalizer.Helper();
    const bool mapped = helper && helper->GetEnabled();
    for (int32_t j = 0; j < normalizer.OutputWidth(); ++j) {
      TLVTreeAttribute attribute;
      attribute.name = normalizer.NormColumns()[j].GetName();
      attribute.integer = column.GetDataType() == TLVDataType::dtInteger &&
                          normalizer.OutputWidth() == 1 && !mapped;
      if (mapped) {
        const auto [low, high] = normalizer.SourceRange();
        attribute.displayScale = (high - low) / (helper->GetMax() - helper->GetMin());
        attribute.displayOffset = low - helper->GetMin() * attribute.displayScale;
      }
      attributes.push_back(std::move(attribute));
      columnOf.push_back(column.GetName());
    }
  }

  // The training rows with a known class, a chunk at a time into dense columns.
  TGrowth growth(*this, attributes, static_cast<int32_t>(classCodes.size()));
  const std::vector<TLVRowIndex>& rows = data.Rows(TLVDataSourceType::dstTeach);
  const auto total = static_cast<TLVRowIndex>(rows.size());
  const auto width = static_cast<TLVRowIndex>(attributes.size());
  TLVProgressScope scope(progress, LVText("STreeTeachCaption"), total);
  {
    const TLVRowIndex chunk = std::max<TLVRowIndex>(1, std::min(total, kChunkRows));
    std::vector<double> in(static_cast<size_t>(chunk * width));
    std::vector<double> target(static_cast<size_t>(chunk));
    for (TLVRowIndex at = 0; at < total; at += chunk) {
      const TLVRowIndex n = std::min(chunk, total - at);
      tuned.NormalizeRows(inputs, rows.data() + at, 0, n, in.data(), n);
      tuned.NormalizeRows(outputs, rows.data() + at, 0, n, target.data(), n);
      for (TLVRowIndex i = 0; i < n; ++i) {
        const int32_t c = PositionOfCode(classCodes, target[static_cast<size_t>(i)]);
        if (c < 0) continue;
        growth.Classes().push_back(c);
        for (TLVRowIndex a = 0; a < width; ++a) {
          const TLVTreeAttribute& attribute = attributes[static_cast<size_t>(a)];
          const double v = in[static_cast<size_t>(a * n + i)];
          if (attribute.discrete) {
            growth.Codes(static_cast<size_t>(a)).push_back(PositionOfCode(attribute.codes, v));
          } else {
            growth.Values(static_cast<size_t>(a)).push_back(v);
          }
        }
      }
      scope.Step(at + n);
    }
  }
  const auto known = static_cast<int32_t>(growth.Classes().size());
  if (known < 2 * minCaseCount_) throw ELVError("ErrTreeTooFewRows", {2 * minCaseCount_});
  for (size_t a = 0; a < attributes.size(); ++a) {
    const std::vector<double>& values = growth.Values(a);
    const std::vector<int32_t>& codes = growth.Codes(a);
    const bool empty =
        attributes[a].discrete
            ? std::all_of(codes.begin(), codes.end(), [](int32_t v) { return v < 0; })
            : std::all_of(values.begin(), values.end(), [](double v) { return std::isnan(v); });
    if (empty) throw ELVError("ErrTreeInputEmpty", {columnOf[a]});
  }

  TLVTreeNode root;
  growth.Prepare();
  growth.Grow(root, growth.RootSubset(true));
  const int64_t distributed = growth.DistributedCount();
  double estimate;
  if (pruneNodes_) {
    int32_t nodes = 0;
    auto count = [&nodes](auto& self, const TLVTreeNode& node) -> void {
      ++nodes;
      for (const TLVTreeNode& child : node.children) self(self, child);
    };
    count(count, root);
    growth.SetPruneTotal(nodes);
    const TSubset all = growth.RootSubset(false);
    estimate = growth.Prune(root, all.rows, all.weights);
  } else {
    estimate = growth.EstimateAsGrown(root);
  }
  kernel.SetModel(std::move(root), growth.Attributes(), std::move(classNames),
                  std::move(classCodes));
  kernel.SetErrorEstimate(estimate);
  distributedCount_ = distributed;
  nodesCount_ = kernel.NodeCount();
  leafsCount_ = kernel.LeafCount();
  for (TLVDataSourceType set : kSets) {
    CalcErrors(set, progress);
    results_[static_cast<size_t>(set)] = ClassifySet(set, progress);
  }
}

TLVTreeSetResult TLVDsTreeTeacherC45::ClassifySet(TLVDataSourceType set, ILVProgress* progress) {
  TLVTeachDataSource& data = *GetTeachDataSource();
  TLVTunedNormDataSource& tuned = *data.GetTunedNormDataSource();
  const auto& kernel = static_cast<const TLVDecisionTree&>(*GetKernel());
  const std::vector<TLVRowIndex>& rows = data.Rows(set);
  const std::vector<int32_t> inputs = tuned.InputColumns();
  const std::vector<int32_t> outputs = tuned.OutputColumns();
  const auto classes = static_cast<size_t>(kernel.ClassCount());
  TLVTreeSetResult result;
  result.confusion.assign(classes * classes, 0);
  const auto total = static_cast<TLVRowIndex>(rows.size());
  const TLVRowIndex chunk = std::max<TLVRowIndex>(1, std::min(total, kChunkRows));
  std::vector<double> in(static_cast<size_t>(chunk * kernel.InputWidth()));
  std::vector<double> target(static_cast<size_t>(chunk));
  std::vector<int32_t> predicted(static_cast<size_t>(chunk));
  for (TLVRowIndex at = 0; at < total; at += chunk) {
    const TLVRowIndex n = std::min(chunk, total - at);
    tuned.NormalizeRows(inputs, rows.data() + at, 0, n, in.data(), n);
    tuned.NormalizeRows(outputs, rows.data() + at, 0, n, target.data(), n);
    kernel.Classify(in.data(), n, n, predicted.data(), nullptr);
    for (TLVRowIndex i = 0; i < n; ++i) {
      const int32_t actual = PositionOfCode(kernel.ClassCodes(), target[static_cast<size_t>(i)]);
      if (actual < 0) continue;
      const auto p = static_cast<size_t>(predicted[static_cast<size_t>(i)]);
      ++result.confusion[static_cast<size_t>(actual) * classes + p];
      ++result.rowCounts;
      if (static_cast<size_t>(actual) == p) ++result.numberRecognized;
    }
    ReportProgress(progress, at + n);
  }
  return result;
}

// --- Reporting and persistence ---

std::vector<std::string> TLVDsTreeTeacherC45::TeachDetails() const {
  std::vector<std::string> lines;
  lines.push_back(
      Format(LVText("STreeTeachStatistics"), {nodesCount_, leafsCount_, distributedCount_}));
  const auto* kernel = dynamic_cast<const TLVDecisionTree*>(GetKernel().get());
  if (!kernel || !kernel->Trained()) return lines;
  const auto classes = static_cast<size_t>(kernel->ClassCount());
  for (TLVDataSourceType set : kSets) {
    const TLVTreeSetResult& result = Result(set);
    if (result.rowCounts == 0 || result.confusion.size() != classes * classes) continue;
    lines.push_back(Format(
        LVText("STreeConfusionCaption"),
        {DisplayText(set), result.numberRecognized, result.rowCounts, result.PercentRecognized()}));
    for (size_t actual = 0; actual < classes; ++actual) {
      std::string line = kernel->ClassNames()[actual] + ":";
      for (size_t p = 0; p < classes; ++p) {
        line += ' ';
        line += std::to_string(result.confusion[actual * classes + p]);
      }
      lines.push_back(std::move(line));
    }
  }
  return lines;
}

namespace {

std::string JoinCounts(const std::vector<int64_t>& counts) {
  std::string text;
  for (int64_t count : counts) {
    if (!text.empty()) text += ';';
    text += std::to_string(count);
  }
  return text;
}

// A count of rows: a whole number, not negative.
std::optional<int64_t> CountFromText(std::string_view text) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
  return value;
}

int64_t ReadCount(const ILVSettingsSection& section, std::string_view key) {
  const std::optional<std::string> text = section.Get(key);
  if (!text) return 0;
  const std::optional<int64_t> value = CountFromText(*text);
  if (!value) RaisePropertyValue(key, *text);
  return *value;
}

std::vector<int64_t> SplitCounts(std::string_view text) {
  std::vector<int64_t> counts;
  const std::string_view whole = text;
  while (!text.empty()) {
    const size_t end = text.find(';');
    const std::optional<int64_t> value = CountFromText(text.substr(0, end));
    if (!value) RaisePropertyValue("Confusion", whole);
    counts.push_back(*value);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
  }
  return counts;
}

}  // namespace

void TLVDsTreeTeacherC45::SaveTo(ILVSettingsSection& section) const {
  TLVErrorCalcTeacher::SaveTo(section);
  WriteSetting(section, "MinCaseCount", minCaseCount_);
  WriteSetting(section, "NeadClearRules", needClearRules_);
  WriteSetting(section, "PruneNodes", pruneNodes_);
  WriteSetting(section, "ConfidenceLevel", confidenceLevel_);
  WriteSetting(section, "InteractiveTeach", interactiveTeach_);
  section.Put("DistributedCount", std::to_string(distributedCount_));
  WriteSetting(section, "NodesCount", nodesCount_);
  WriteSetting(section, "LeafsCount", leafsCount_);
  ILVSettingsSection& all = section.AddSection("Results");
  for (TLVDataSourceType set : kSets) {
    const TLVTreeSetResult& result = Result(set);
    ILVSettingsSection& item = all.AddSection(ValueName(set));
    item.Put("NumberRecognized", std::to_string(result.numberRecognized));
    item.Put("RowCounts", std::to_string(result.rowCounts));
    item.Put("Confusion", JoinCounts(result.confusion));
  }
}

void TLVDsTreeTeacherC45::LoadFrom(const ILVSettingsSection& section) {
  const int32_t minCases = ReadSetting<int32_t>(section, "MinCaseCount", 2);
  if (minCases < 1) throw ELVError("ErrTreeMinCaseCount");
  const double confidence = ReadSetting<double>(section, "ConfidenceLevel", 0.25);
  TreePruneConfidence(confidence);
  const bool clear = ReadSetting(section, "NeadClearRules", true);
  const bool prune = ReadSetting(section, "PruneNodes", true);
  const bool interactive = ReadSetting(section, "InteractiveTeach", false);
  const int64_t distributed = ReadCount(section, "DistributedCount");
  const int32_t nodes = ReadSetting<int32_t>(section, "NodesCount", 0);
  const int32_t leaves = ReadSetting<int32_t>(section, "LeafsCount", 0);
  std::array<TLVTreeSetResult, 2> results;
  if (const ILVSettingsSection* all = section.FindSection("Results")) {
    for (TLVDataSourceType set : kSets) {
      const ILVSettingsSection* item = all->FindSection(ValueName(set));
      if (!item) continue;
      TLVTreeSetResult& result = results[static_cast<size_t>(set)];
      result.numberRecognized = ReadCount(*item, "NumberRecognized");
      result.rowCounts = ReadCount(*item, "RowCounts");
      result.confusion = SplitCounts(item->Get("Confusion").value_or(""));
    }
  }
  TLVErrorCalcTeacher::LoadFrom(section);
  minCaseCount_ = minCases;
  confidenceLevel_ = confidence;
  needClearRules_ = clear;
  pruneNodes_ = prune;
  interactiveTeach_ = interactive;
  distributedCount_ = distributed;
  nodesCount_ = nodes;
  leafsCount_ = leaves;
  results_ = results;
}

void RegisterDsTreeTeacherC45Texts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrTreeMinCaseCount", "ErrTreeTooFewRows", "ErrTreeOneOutput", "ErrTreeOutputNotDiscrete",
       "ErrTreeInputEmpty", "STreeTeachCaption", "STreeTeachStatistics", "STreeConfusionCaption",
       "TreeMinCaseCountCaption", "TreeNeedClearRulesCaption", "TreePruneNodesCaption",
       "TreeConfidenceLevelCaption", "TreeInteractiveTeachCaption", "TreeDistributedCountCaption",
       "TreeNodesCountCaption", "TreeLeafsCountCaption", "TreeNumberRecognizedCaption",
       "TreeRowCountsCaption"});
}

}  // namespace lv
