#include "mining/tree/LV_DecisionTrees.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/columns/LV_Convert.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_FormatSettings.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kConditionSign{"csLess"sv, "csGreaterOrEqual"sv};
const TLVEnumDescriptor kConditionSignDescriptor{"TLVConditionSign", kConditionSign, true, true};

void SaveCondition(ILVSettingsSection& section, const TLVTreeCondition& condition) {
  WriteSetting(section, "InputColumnIndex", condition.inputColumnIndex);
  section.Put("ConditionSign", ValueName(condition.conditionSign));
  WriteSetting(section, "Threshold", condition.threshold);
  WriteSetting(section, "UniqueValueIndex", condition.uniqueValueIndex);
  WriteSetting(section, "Enabled", condition.enabled);
}

TLVTreeCondition LoadCondition(const ILVSettingsSection* section, bool enabledByDefault) {
  TLVTreeCondition condition;
  condition.enabled = enabledByDefault;
  if (!section) return condition;
  condition.inputColumnIndex = ReadSetting<int32_t>(*section, "InputColumnIndex", -1);
  condition.conditionSign = ReadSetting(*section, "ConditionSign", TLVConditionSign::csLess);
  condition.threshold = ReadSetting<double>(*section, "Threshold", 0);
  condition.uniqueValueIndex = ReadSetting<int32_t>(*section, "UniqueValueIndex", -1);
  condition.enabled = ReadSetting(*section, "Enabled", enabledByDefault);
  return condition;
}

void SaveNode(ILVSettingsSection& section, const TLVTreeNode& node) {
  WriteSetting(section, "LeafIndex", node.leafIndex);
  WriteSetting(section, "CaseCount", node.caseCount);
  WriteSetting(section, "Decision", node.decision);
  WriteSetting(section, "Entropy", node.entropy);
  WriteSetting(section, "PredictedError", node.predictedError);
  section.Put("ClassCounts", JoinSetting(node.classCounts));
  SaveCondition(section.AddSection("Condition"), node.condition);
  SaveCondition(section.AddSection("UserCondition"), node.userCondition);
  WriteSetting(section, "UserDecision", node.userDecision);
  ILVSettingsSection& children = section.AddSection("Children");
  WriteSetting(children, "Count", static_cast<int32_t>(node.children.size()));
  for (const TLVTreeNode& child : node.children) SaveNode(children.AddItem("Node"), child);
}

TLVTreeNode LoadNode(const ILVSettingsSection& section) {
  TLVTreeNode node;
  node.leafIndex = ReadSetting<int32_t>(section, "LeafIndex", -1);
  node.caseCount = ReadSetting<double>(section, "CaseCount", 0);
  node.decision = ReadSetting<int32_t>(section, "Decision", 0);
  node.entropy = ReadSetting<double>(section, "Entropy", 0);
  node.predictedError = ReadSetting<double>(section, "PredictedError", 0);
  node.classCounts = SplitSetting<double>(section.Get("ClassCounts").value_or(""), "ClassCounts");
  node.condition = LoadCondition(section.FindSection("Condition"), true);
  node.userCondition = LoadCondition(section.FindSection("UserCondition"), false);
  node.userDecision = ReadSetting<int32_t>(section, "UserDecision", -1);
  if (const ILVSettingsSection* children = section.FindSection("Children")) {
    for (const ILVSettingsSection* item : CountedItems(*children, "Node")) {
      node.children.push_back(LoadNode(*item));
    }
  }
  return node;
}

void CountNodes(const TLVTreeNode& node, int32_t& nodes, int32_t& leaves) {
  ++nodes;
  if (node.IsLeaf()) ++leaves;
  for (const TLVTreeNode& child : node.children) CountNodes(child, nodes, leaves);
}

int32_t FirstMax(std::span<const double> values) {
  return static_cast<int32_t>(std::max_element(values.begin(), values.end()) - values.begin());
}

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVConditionSign) {
  return kConditionSignDescriptor;
}

// --- The model ---

void TLVDecisionTree::DoInit() {
  root_ = {};
  attributes_.clear();
  classNames_.clear();
  classCodes_.clear();
  errorEstimate_ = 0;
}

void TLVDecisionTree::SetModel(TLVTreeNode root, std::vector<TLVTreeAttribute> attributes,
                               std::vector<std::string> classNames,
                               std::vector<double> classCodes) {
  root_ = std::move(root);
  attributes_ = std::move(attributes);
  classNames_ = std::move(classNames);
  classCodes_ = std::move(classCodes);
  NumberLeaves();
  SetTrained(true);
}

void TLVDecisionTree::NumberLeaves() {
  int32_t next = 0;
  auto number = [&next](auto& self, TLVTreeNode& node) -> void {
    node.leafIndex = node.IsLeaf() ? next++ : -1;
    for (TLVTreeNode& child : node.children) self(self, child);
  };
  number(number, root_);
}

int32_t TLVDecisionTree::NodeCount() const {
  int32_t nodes = 0, leaves = 0;
  CountNodes(root_, nodes, leaves);
  return nodes;
}

int32_t TLVDecisionTree::LeafCount() const {
  int32_t nodes = 0, leaves = 0;
  CountNodes(root_, nodes, leaves);
  return leaves;
}

int32_t TLVDecisionTree::BranchOf(const TLVTreeNode& node, double value) const {
  if (std::isnan(value)) return -1;
  const TLVTreeCondition& test = node.children.front().condition;
  const TLVTreeAttribute& attribute = attributes_[static_cast<size_t>(test.inputColumnIndex)];
  if (!attribute.discrete) return value < test.threshold ? 0 : 1;
  const std::vector<double>& codes = attribute.codes;
  // Codes are usually the positions themselves: try that before searching.
  const auto guess = static_cast<size_t>(value);
  if (value >= 0 && guess < codes.size() && codes[guess] == value) {
    return static_cast<int32_t>(guess);
  }
  auto it = std::find(codes.begin(), codes.end(), value);
  return it == codes.end() ? -1 : static_cast<int32_t>(it - codes.begin());
}

void TLVDecisionTree::AddDistribution(const TLVTreeNode& node, const double* in, ptrdiff_t ld,
                                      double weight, std::span<double> out) const {
  if (node.IsLeaf()) {
    if (node.userDecision >= 0 || node.caseCount <= 0) {
      out[static_cast<size_t>(node.EffectiveDecision())] += weight;
      return;
    }
    for (size_t c = 0; c < out.size(); ++c) {
      out[c] += weight * node.classCounts[c] / node.caseCount;
    }
    return;
  }
  const int32_t attribute = node.children.front().condition.inputColumnIndex;
  const int32_t branch = BranchOf(node, in[attribute * ld]);
  if (branch >= 0) {
    AddDistribution(node.children[static_cast<size_t>(branch)], in, ld, weight, out);
    return;
  }
  // A missing value: every branch in proportion to the training rows it received.
  double total = 0;
  for (const TLVTreeNode& child : node.children) total += child.caseCount;
  if (total <= 0) {
    out[static_cast<size_t>(node.EffectiveDecision())] += weight;
    return;
  }
  for (const TLVTreeNode& child : node.children) {
    if (child.caseCount > 0) AddDistribution(child, in, ld, weight * child.caseCount / total, out);
  }
}

void TLVDecisionTree::Distribution(const double* in, ptrdiff_t ld, std::span<double> out) const {
  std::fill(out.begin(), out.end(), 0.0);
  AddDistribution(root_, in, ld, 1.0, out);
}

void TLVDecisionTree::Classify(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, int32_t* classes,
                               double* probabilities) const {
  std::vector<double> mixed(classNames_.size());
  for (TLVRowIndex i = 0; i < rows; ++i) {
    const double* row = in + i;
    // Most rows walk one path to a leaf; a missing value falls back to the mixture.
    const TLVTreeNode* node = &root_;
    while (!node->IsLeaf()) {
      const int32_t attribute = node->children.front().condition.inputColumnIndex;
      const int32_t branch = BranchOf(*node, row[attribute * ldIn]);
      if (branch < 0) break;
      node = &node->children[static_cast<size_t>(branch)];
    }
    int32_t decided;
    double probability;
    if (node->IsLeaf()) {
      decided = node->EffectiveDecision();
      const bool counted = node->userDecision < 0 && node->caseCount > 0;
      probability = counted ? node->classCounts[static_cast<size_t>(decided)] / node->caseCount : 1;
    } else {
      Distribution(row, ldIn, mixed);
      decided = FirstMax(mixed);
      probability = mixed[static_cast<size_t>(decided)];
    }
    classes[i] = decided;
    if (probabilities) probabilities[i] = probability;
  }
}

void TLVDecisionTree::Compute(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
                              ptrdiff_t) const {
  std::vector<int32_t> classes(static_cast<size_t>(rows));
  Classify(in, ldIn, rows, classes.data(), nullptr);
  for (TLVRowIndex i = 0; i < rows; ++i) out[i] = classCodes_[static_cast<size_t>(classes[i])];
}

void TLVDecisionTree::ComputeResults(const double* in, ptrdiff_t ldIn, TLVRowIndex rows,
                                     double* out, ptrdiff_t) const {
  std::vector<int32_t> classes(static_cast<size_t>(rows));
  Classify(in, ldIn, rows, classes.data(), out);
}

// --- Rules ---

std::string TLVDecisionTree::ConditionText(const TLVTreeCondition& condition) const {
  const TLVTreeAttribute& attribute =
      attributes_.at(static_cast<size_t>(condition.inputColumnIndex));
  std::string text;
  if (attribute.discrete) {
    text = attribute.name + " = " +
           attribute.valueNames.at(static_cast<size_t>(condition.uniqueValueIndex));
  } else {
    const double shown = attribute.displayOffset + attribute.displayScale * condition.threshold;
    const char* sign = condition.conditionSign == TLVConditionSign::csLess ? " < " : " >= ";
    text = attribute.name + sign + FloatToText(shown, DefaultFormatSettings());
  }
  return text;
}

std::vector<TLVTreeRule> TLVDecisionTree::Rules() const {
  std::vector<TLVTreeRule> rules;
  std::vector<TLVTreeCondition> path;
  auto walk = [&](auto& self, const TLVTreeNode& node) -> void {
    if (node.IsLeaf()) {
      TLVTreeRule rule;
      for (const TLVTreeCondition& condition : path) {
        if (!condition.enabled) continue;  // switched off by the user: no restriction
        rule.path.push_back(condition);
        rule.conditions.push_back(ConditionText(condition));
      }
      const int32_t decided = node.EffectiveDecision();
      rule.decision = classNames_.at(static_cast<size_t>(decided));
      rule.support = node.caseCount;
      rule.confidence =
          node.caseCount > 0 ? node.classCounts[static_cast<size_t>(decided)] / node.caseCount : 0;
      rule.leafIndex = node.leafIndex;
      rules.push_back(std::move(rule));
      return;
    }
    for (const TLVTreeNode& child : node.children) {
      path.push_back(child.condition);
      self(self, child);
      path.pop_back();
    }
  };
  if (Trained()) walk(walk, root_);
  return rules;
}

std::string TLVDecisionTree::RuleText(const TLVTreeRule& rule) const {
  std::string conditions;
  for (const std::string& condition : rule.conditions) {
    if (!conditions.empty()) conditions += " AND ";
    conditions += condition;
  }
  if (conditions.empty()) conditions = LVText("STreeRuleAlways");
  const std::string output = OutputNames().empty() ? std::string() : OutputNames().front();
  return Format(LVText("STreeRuleText"),
                {conditions, output, rule.decision, rule.support, rule.confidence * 100});
}

// --- Persistence ---

void TLVDecisionTree::SaveState(ILVSettingsSection& section) const {
  WriteSetting(section, "ClassCount", ClassCount());
  ILVSettingsSection& names = section.AddSection("ClassNames");
  WriteSetting(names, "Count", ClassCount());
  for (size_t c = 0; c < classNames_.size(); ++c) {
    ILVSettingsSection& item = names.AddItem("Class");
    item.Put("Name", classNames_[c]);
    WriteSetting(item, "Code", classCodes_[c]);
  }
  WriteSetting(section, "ErrorEstimate", errorEstimate_);
  ILVSettingsSection& attributes = section.AddSection("Attributes");
  WriteSetting(attributes, "Count", static_cast<int32_t>(attributes_.size()));
  for (const TLVTreeAttribute& attribute : attributes_) {
    ILVSettingsSection& item = attributes.AddItem("Attribute");
    item.Put("Name", attribute.name);
    WriteSetting(item, "Discrete", attribute.discrete);
    if (attribute.discrete) {
      item.Put("Codes", JoinSetting(attribute.codes));
      ILVSettingsSection& values = item.AddSection("Values");
      WriteSetting(values, "Count", static_cast<int32_t>(attribute.valueNames.size()));
      for (const std::string& value : attribute.valueNames) {
        values.AddItem("Value").Put("Text", value);
      }
    } else {
      WriteSetting(item, "Integer", attribute.integer);
      WriteSetting(item, "DisplayScale", attribute.displayScale);
      WriteSetting(item, "DisplayOffset", attribute.displayOffset);
    }
  }
  SaveNode(section.AddSection("Tree"), root_);
}

namespace {

// A loaded tree must only test attributes it has, with children that BranchOf can
// reach, and count every class: anything else (a file edited by hand) is refused.
bool ValidTree(const TLVTreeNode& node, const std::vector<TLVTreeAttribute>& attributes,
               size_t classes) {
  if (node.classCounts.size() != classes) return false;
  if (node.decision < 0 || static_cast<size_t>(node.decision) >= classes) return false;
  if (node.userDecision >= static_cast<int32_t>(classes)) return false;
  if (node.IsLeaf()) return true;
  const int32_t index = node.children.front().condition.inputColumnIndex;
  if (index < 0 || static_cast<size_t>(index) >= attributes.size()) return false;
  const TLVTreeAttribute& attribute = attributes[static_cast<size_t>(index)];
  const size_t branches = attribute.discrete ? attribute.codes.size() : 2;
  if (node.children.size() != branches) return false;
  for (size_t b = 0; b < branches; ++b) {
    const TLVTreeCondition& condition = node.children[b].condition;
    if (condition.inputColumnIndex != index) return false;
    if (attribute.discrete && condition.uniqueValueIndex != static_cast<int32_t>(b)) return false;
    if (!attribute.discrete && condition.conditionSign != static_cast<TLVConditionSign>(b)) {
      return false;
    }
    if (!ValidTree(node.children[b], attributes, classes)) return false;
  }
  return attribute.discrete ||
         node.children[0].condition.threshold == node.children[1].condition.threshold;
}

}  // namespace

void TLVDecisionTree::LoadState(const ILVSettingsSection& section) {
  std::vector<std::string> classNames;
  std::vector<double> classCodes;
  if (const ILVSettingsSection* names = section.FindSection("ClassNames")) {
    for (const ILVSettingsSection* item : CountedItems(*names, "Class")) {
      classNames.push_back(item->Get("Name").value_or(""));
      classCodes.push_back(ReadSetting<double>(*item, "Code", 0));
    }
  }
  const int32_t classCount = ReadSetting<int32_t>(section, "ClassCount", 0);
  if (classCount != static_cast<int32_t>(classNames.size())) {
    RaisePropertyValue("ClassCount", std::to_string(classCount));
  }
  std::vector<TLVTreeAttribute> attributes;
  if (const ILVSettingsSection* list = section.FindSection("Attributes")) {
    for (const ILVSettingsSection* item : CountedItems(*list, "Attribute")) {
      TLVTreeAttribute attribute;
      attribute.name = item->Get("Name").value_or("");
      attribute.discrete = ReadSetting(*item, "Discrete", false);
      if (attribute.discrete) {
        attribute.codes = SplitSetting<double>(item->Get("Codes").value_or(""), "Codes");
        if (const ILVSettingsSection* values = item->FindSection("Values")) {
          for (const ILVSettingsSection* value : CountedItems(*values, "Value")) {
            attribute.valueNames.push_back(value->Get("Text").value_or(""));
          }
        }
        if (attribute.valueNames.size() != attribute.codes.size()) {
          RaisePropertyValue("Codes", item->Get("Codes").value_or(""));
        }
      } else {
        attribute.integer = ReadSetting(*item, "Integer", false);
        attribute.displayScale = ReadSetting<double>(*item, "DisplayScale", 1);
        attribute.displayOffset = ReadSetting<double>(*item, "DisplayOffset", 0);
      }
      attributes.push_back(std::move(attribute));
    }
  }
  const double errorEstimate = ReadSetting<double>(section, "ErrorEstimate", 0);
  TLVTreeNode root;
  if (const ILVSettingsSection* tree = section.FindSection("Tree")) root = LoadNode(*tree);
  if (classNames.empty()) return;  // an untrained tree stays empty
  // The kernel reads one input component per attribute: the counts must agree.
  if (attributes.size() != static_cast<size_t>(InputWidth())) {
    RaisePropertyValue("Attributes", std::to_string(attributes.size()));
  }
  if (!ValidTree(root, attributes, classNames.size())) RaisePropertyValue("Tree", "");
  root_ = std::move(root);
  attributes_ = std::move(attributes);
  classNames_ = std::move(classNames);
  classCodes_ = std::move(classCodes);
  errorEstimate_ = errorEstimate;
}

void RegisterDecisionTreeTexts() {
  TLVLocalization::Instance().RegisterKeys({"TLVConditionSign", "TLVConditionSign.csLess",
                                            "TLVConditionSign.csGreaterOrEqual", "STreeRuleText",
                                            "STreeRuleAlways"});
}

}  // namespace lv
