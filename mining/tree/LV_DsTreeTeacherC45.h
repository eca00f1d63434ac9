// The C4.5 teacher of the decision tree: grows the tree over the training set by gain
// ratio, prunes it by the pessimistic error estimate, and keeps the statistics of the
// result (nodes, leaves, rows spread over branches, rows recognised and the confusion
// matrix of each set).
//
// Training reads the inputs a chunk of rows at a time into one dense column per
// attribute; every continuous attribute is sorted once, and the sorted lists are split
// with the rows, so no node sorts again. A row whose tested value is missing goes to
// every branch with a weight in proportion to the branch's rows (C4.5's rule), so
// counts are weights. Used by one thread; the events run on it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "mining/teachers/LV_Teacher.h"
#include "mining/tree/LV_DecisionTrees.h"
#include "mining/tree/LV_TreeMeasures.h"

namespace lv {

// The results of the tree over one set: rows with a known class, rows classified
// right, and counts[actual * classes + predicted].
struct TLVTreeSetResult {
  int64_t rowCounts = 0;
  int64_t numberRecognized = 0;
  std::vector<int64_t> confusion;

  // recognised / rows * 100, at most 100, and 0 for an empty set.
  double PercentRecognized() const;
};

class TLVDsTreeTeacherC45 : public TLVErrorCalcTeacher {
 public:
  // "MinCaseCount": rows a branch needs; below 1 refused ("ErrTreeMinCaseCount").
  int32_t GetMinCaseCount() const { return minCaseCount_; }
  void SetMinCaseCount(int32_t value);
  // "NeadClearRules": grow only splits that C4.5 trusts: the information gain of the
  // chosen attribute must reach the average gain of the candidates, and a continuous
  // attribute pays log2(thresholds tried) / rows for the thresholds it could choose.
  bool GetNeedClearRules() const { return needClearRules_; }
  void SetNeedClearRules(bool value) { needClearRules_ = value; }
  bool GetPruneNodes() const { return pruneNodes_; }
  void SetPruneNodes(bool value) { pruneNodes_ = value; }
  // The pruning confidence, 0..1 (else "ErrTreeConfidenceLevel"); see TreePruneConfidence.
  double GetConfidenceLevel() const { return confidenceLevel_; }
  void SetConfidenceLevel(double value);
  // Kept for the interactive construction of the shell; an unattended training grows
  // and prunes the whole tree either way.
  bool GetInteractiveTeach() const { return interactiveTeach_; }
  void SetInteractiveTeach(bool value) { interactiveTeach_ = value; }

  // Statistics of the last training.
  int64_t DistributedCount() const { return distributedCount_; }
  int32_t NodesCount() const { return nodesCount_; }
  int32_t LeafsCount() const { return leafsCount_; }
  const TLVTreeSetResult& Result(TLVDataSourceType set) const {
    return results_[static_cast<size_t>(set)];
  }

  std::function<void(const TLVTreeNode&)> OnNodeCreated;
  std::function<void(const TLVTreeNode&)> OnLeafCreated;
  // (nodes pruned so far, nodes of the grown tree)
  std::function<void(int32_t, int32_t)> OnPruneProgress;

  // The tree's size, the rows spread and each set's confusion matrix, for the run log.
  std::vector<std::string> TeachDetails() const override;

  // The settings under their keys, then the statistics and "Results" per set.
  void SaveTo(ILVSettingsSection& section) const override;
  void LoadFrom(const ILVSettingsSection& section) override;

 protected:
  void DoTeach(ILVProgress* progress) override;

 private:
  class TGrowth;
  TLVTreeSetResult ClassifySet(TLVDataSourceType set, ILVProgress* progress);

  int32_t minCaseCount_ = 2;
  bool needClearRules_ = true;
  bool pruneNodes_ = true;
  double confidenceLevel_ = 0.25;
  bool interactiveTeach_ = false;

  int64_t distributedCount_ = 0;
  int32_t nodesCount_ = 0;
  int32_t leafsCount_ = 0;
  std::array<TLVTreeSetResult, 2> results_;
};

void RegisterDsTreeTeacherC45Texts();

}  // namespace lv
