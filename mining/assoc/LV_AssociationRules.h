// The trained association rules: the frequent item sets with their support counts and
// the rules made from them, with the limits they were built with.
//
// Item sets are listed by power, and within a power in ascending order of their item
// numbers; Positions()[k - 1] is the index of the first set of power k, and one more
// entry closes the list. Rules refer to item sets by index. A model is filled by the
// teacher between BeginBuild and EndBuild (state ksTraining, the only time the
// transaction count may be written) and read by the views and the executor; lookups
// of a set by its contents go through hash trees built on first use. Not shared
// between threads while it changes.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "core/columns/LV_Types.h"
#include "core/registry/LV_Settings.h"
#include "mining/assoc/LV_HashTrees.h"

namespace lv {

// An item set with its support count ("SupportCount").
struct TLVAssnItemSet {
  TIndexSet items;
  int32_t supportCount = 0;
  int32_t Power() const { return static_cast<int32_t>(items.size()); }
};
using TLVAssnItemSets = std::vector<TLVAssnItemSet>;

struct TLVAssociationRule {
  int32_t largeItemSet = -1;   // "LargeItemSet"
  int32_t antecedentSet = -1;  // "AntecedentSet"
  int32_t consequentSet = -1;  // "ConsequentSet"
  double support = 0;          // "Support": share of the transactions holding the whole set
  double confidence = 0;       // "Confidence": support of the set / support of the condition
  double lift = 0;             // confidence / support of the consequence (not persisted)
};

// The lookup of the views and the executor: frequent sets by their contents, one tree
// per power, each set's value its index in the list.
class TLVAssnRulesFindHashForest : public TLVHashForest {
 public:
  // Stores every set; "ErrAssnTooManySets" when one cannot be placed.
  void Build(const TLVAssnItemSets& sets);
};

class TLVAssociationRules {
 public:
  TLVAssociationRules() = default;
  TLVAssociationRules(const TLVAssociationRules& other);
  TLVAssociationRules& operator=(const TLVAssociationRules& other);
  TLVAssociationRules(TLVAssociationRules&&) = default;
  TLVAssociationRules& operator=(TLVAssociationRules&&) = default;

  TLVKernelState GetState() const { return state_; }
  int32_t GetTransactionsCount() const { return transactionsCount_; }
  // Only while rules are built ("ErrAssnTransactionsCount").
  void SetTransactionsCount(int32_t value);
  double GetMinSupport() const { return minSupport_; }
  double GetMaxSupport() const { return maxSupport_; }
  double GetMinConfidence() const { return minConfidence_; }
  double GetMaxConfidence() const { return maxConfidence_; }
  const std::vector<int32_t>& Positions() const { return positions_; }
  const TLVAssnItemSets& LargeItemSets() const { return sets_; }
  const std::vector<TLVAssociationRule>& Rules() const { return rules_; }
  const std::vector<std::string>& ItemNames() const { return itemNames_; }

  // Starts a new model: everything cleared, the limits kept, state ksTraining.
  void BeginBuild(double minSupport, double maxSupport, double minConfidence, double maxConfidence,
                  std::vector<std::string> itemNames);
  // Appends the frequent sets of the next power (ascending, each of that power).
  void AddLevel(TLVAssnItemSets sets);
  void AddRule(const TLVAssociationRule& rule) { rules_.push_back(rule); }
  void EndBuild() { state_ = TLVKernelState::ksTrained; }

  // The index of the frequent set, or -1.
  int32_t IndexOf(std::span<const int32_t> set) const;
  // The index of the frequent set; "ErrAssnSetNotFound" with the set's text when absent.
  int32_t RequireIndexOf(std::span<const int32_t> set) const;
  // The index of the one-item set of `item`; "ErrAssnItemNotFound" when absent.
  int32_t RequireItem(int32_t item) const;
  // The item number of a name, or -1.
  int32_t ItemOf(std::string_view name) const;

  // "{a, b}": the items' names, in item order.
  std::string ItemSetText(std::span<const int32_t> set) const;
  std::string ItemSetText(int32_t index) const {
    return ItemSetText(sets_[static_cast<size_t>(index)].items);
  }
  double SupportOf(int32_t index) const;

  // The keys in their order: "TransactionsCount", "MinSupport", "MaxSupport",
  // "MinConfidence", "MaxConfidence", "Positions", "LargeItemSets", then "Rules",
  // "State", and "Items" (the item names). Loading reads everything and checks the
  // indexes before it changes anything.
  void SaveTo(ILVSettingsSection& section) const;
  void LoadFrom(const ILVSettingsSection& section);

 private:
  const TLVAssnRulesFindHashForest& Forest() const;
  void ComputeLifts();

  TLVKernelState state_ = TLVKernelState::ksNone;
  int32_t transactionsCount_ = 0;
  double minSupport_ = 0;
  double maxSupport_ = 1;
  double minConfidence_ = 0;
  double maxConfidence_ = 1;
  std::vector<int32_t> positions_{0};
  TLVAssnItemSets sets_;
  std::vector<TLVAssociationRule> rules_;
  std::vector<std::string> itemNames_;
  mutable std::unique_ptr<TLVAssnRulesFindHashForest> forest_;
};

// Item numbers as saved: "1 5 7". Reading raises "ErrPropertyValue" naming `key` for a
// text that is not such a list.
std::string ItemsToText(std::span<const int32_t> numbers);
std::vector<int32_t> ItemsFromText(std::string_view key, const std::string& text);

void RegisterAssociationRulesTexts();

}  // namespace lv
