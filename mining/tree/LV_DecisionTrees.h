// The decision tree: the kernel of the C4.5 model. Each node keeps the training rows
// that reached it per class, its decision (the most frequent class, the first of
// equals) and the condition of the branch that leads to it from its parent. A
// continuous attribute splits into "below the threshold" and "at or above it", a
// discrete one into a branch per unique value.
//
// The kernel works on normalized inputs: a continuous attribute's threshold is in the
// normalized units (the column's own units unless the normalizer maps them to a new
// range); a discrete attribute's branch is picked by the code of the value, looked up
// among the codes of the column's unique values. A row whose tested value is missing
// goes down every branch, weighted by the branches' training rows, as C4.5 does. The
// output is the code of the predicted class. Not shared between threads.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "mining/teachers/LV_AnalyticKernel.h"

namespace lv {

// "Знак сравнения" of a continuous condition.
enum class TLVConditionSign : uint8_t { csLess, csGreaterOrEqual };
const TLVEnumDescriptor& DescribeEnum(TLVConditionSign);

struct TLVTreeCondition {
  int32_t inputColumnIndex = -1;  // the attribute (input component); -1 at the root
  TLVConditionSign conditionSign = TLVConditionSign::csLess;
  double threshold = 0;           // continuous attributes
  int32_t uniqueValueIndex = -1;  // discrete attributes: the value's position
  bool enabled = true;

  bool operator==(const TLVTreeCondition&) const = default;
};

struct TLVTreeNode {
  int32_t leafIndex = -1;  // position among the leaves, -1 for an inner node
  double caseCount = 0;
  int32_t decision = 0;
  double entropy = 0;
  double predictedError = 0;
  std::vector<double> classCounts;
  TLVTreeCondition condition;
  TLVTreeCondition userCondition;  // kept for interactive construction; off by default
  int32_t userDecision = -1;       // the user's class for the node, -1 for none
  std::vector<TLVTreeNode> children;

  bool IsLeaf() const { return children.empty(); }
  // The class shown: the user's choice when there is one.
  int32_t EffectiveDecision() const { return userDecision >= 0 ? userDecision : decision; }
  bool operator==(const TLVTreeNode&) const = default;
};

// What the kernel knows of an input component to test it and to write it in a rule.
struct TLVTreeAttribute {
  std::string name;
  bool discrete = false;
  std::vector<double> codes;            // discrete: the code of each unique value
  std::vector<std::string> valueNames;  // discrete: the values as text
  bool integer = false;                 // continuous: thresholds are whole numbers
  double displayScale = 1;              // continuous: shown value = offset + scale * value
  double displayOffset = 0;

  bool operator==(const TLVTreeAttribute&) const = default;
};

// One rule per leaf: the conditions on the path, the decision, its support (training
// rows in the leaf) and confidence (the share of them of the decided class).
struct TLVTreeRule {
  std::vector<TLVTreeCondition> path;  // the enabled conditions, root first
  std::vector<std::string> conditions;
  std::string decision;
  double support = 0;
  double confidence = 0;
  int32_t leafIndex = -1;
};

class TLVDecisionTree : public TLVAnalyticKernel {
 public:
  static constexpr std::string_view kKernelName = "TLVDecisionTree";
  std::string_view KernelName() const override { return kKernelName; }
  std::unique_ptr<TLVAnalyticKernel> Clone() const override {
    return std::make_unique<TLVDecisionTree>(*this);
  }

  const TLVTreeNode& Tree() const { return root_; }
  TLVTreeNode& Tree() { return root_; }
  int32_t ClassCount() const { return static_cast<int32_t>(classNames_.size()); }
  const std::vector<std::string>& ClassNames() const { return classNames_; }
  const std::vector<double>& ClassCodes() const { return classCodes_; }
  const std::vector<TLVTreeAttribute>& Attributes() const { return attributes_; }
  double ErrorEstimate() const { return errorEstimate_; }
  void SetErrorEstimate(double value) { errorEstimate_ = value; }

  // Installs a grown tree with the descriptions of its attributes and classes, and
  // numbers its leaves.
  void SetModel(TLVTreeNode root, std::vector<TLVTreeAttribute> attributes,
                std::vector<std::string> classNames, std::vector<double> classCodes);
  void NumberLeaves();

  // The branch of `node` that a value of its tested attribute takes: the child's
  // position, or -1 when the value is missing (or a code the attribute does not know).
  int32_t BranchOf(const TLVTreeNode& node, double value) const;
  // The class distribution of one row of normalized inputs (component j at in[j * ld]),
  // summing to 1; a missing tested value mixes the branches by their training rows.
  void Distribution(const double* in, ptrdiff_t ld, std::span<double> out) const;
  // Predicted classes (positions) and their probabilities for a block of rows.
  void Classify(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, int32_t* classes,
                double* probabilities) const;
  // The class code of the prediction, as the output normalizer decodes it.
  void Compute(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
               ptrdiff_t ldOut) const override;

  // "<class column>_PROB": the probability of the predicted class, from the class
  // counts of the leaf (or the mixture of leaves) that decides the row.
  std::vector<TResultColumn> ResultColumns() const override {
    return {{"_PROB", TLVDataType::dtFloat, true}};
  }
  void ComputeResults(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
                      ptrdiff_t ldOut) const override;

  // The text of a branch's condition: "x < 5", "x >= 5", "k = a".
  std::string ConditionText(const TLVTreeCondition& condition) const;
  // The rules of the leaves, in leaf order, and each as a line of text.
  std::vector<TLVTreeRule> Rules() const;
  std::string RuleText(const TLVTreeRule& rule) const;

  int32_t NodeCount() const;
  int32_t LeafCount() const;

 protected:
  void DoInit() override;
  // "ClassCount", "ClassNames", "ErrorEstimate", "Attributes", and "Tree" (the root and,
  // nested under "Children", every node with its fields and "Condition").
  void SaveState(ILVSettingsSection& section) const override;
  void LoadState(const ILVSettingsSection& section) override;

 private:
  void AddDistribution(const TLVTreeNode& node, const double* in, ptrdiff_t ld, double weight,
                       std::span<double> out) const;

  TLVTreeNode root_;
  std::vector<TLVTreeAttribute> attributes_;
  std::vector<std::string> classNames_;
  std::vector<double> classCodes_;
  double errorEstimate_ = 0;
};

void RegisterDecisionTreeTexts();

}  // namespace lv
