// What the views of a model show: the rules sorted and filtered by the user's settings
// (TLVAssnRulesSortFilter, saved with the view), the frequent item sets likewise, and
// the what-if search for the rules that apply to a chosen set of items.
//
// Item sets and conditions compare by their item numbers, which follow the order of
// the item names, so "by name" is alphabetical without comparing texts. Ties keep the
// model's order. All functions read the model only.
#pragma once

#include <vector>

#include "core/columns/LV_EnumSet.h"
#include "mining/assoc/LV_AssnRulesCommon.h"
#include "mining/assoc/LV_AssociationRules.h"

namespace lv {

class TLVAssnRulesSortFilter {
 public:
  TLVAssnRulesSortOrder SortOrder = TLVAssnRulesSortOrder::arsoOrder;
  TLVSortDirection SortDirection = TLVSortDirection::sdAsc;
  TLVEnumSet<TLVAssnRulesFilterType> FilterSet;
  // A rule passes arftAntecedent (arftConsequent) when its condition (consequence)
  // holds every item of the set.
  TIndexSet FilterAntecedentSet;
  TIndexSet FilterConsequentSet;
  double FilterSupportMin = 0;
  double FilterSupportMax = 1;
  double FilterConfidenceMin = 0;
  double FilterConfidenceMax = 1;
  double FilterLiftMin = 0;
  double FilterLiftMax = 10;

  // The indexes of the rules that pass every filter of FilterSet, in the sort order.
  std::vector<int32_t> Apply(const TLVAssociationRules& model) const;

  // "SortOrder", "SortDirection", "FilterSet", "FilterAntecedentSet",
  // "FilterConsequentSet", "FilterSupportMin", "FilterSupportMax", "FilterConfidenceMin",
  // "FilterConfidenceMax", "FilterLiftMin", "FilterLiftMax". Loading reads every key
  // before it changes anything.
  void SaveTo(ILVSettingsSection& section) const;
  void LoadFrom(const ILVSettingsSection& section);

 private:
  bool Passes(const TLVAssociationRules& model, const TLVAssociationRule& rule) const;
};

// The frequent item sets' view: sorted by `order` in `direction`, filtered by the
// filters in `filters` (a name filter keeps the sets holding every item of `items`).
struct TLVAssnItemSetFilter {
  TLVEnumSet<TLVAssnRulesItemSetFilterType> filters;
  TIndexSet items;
  double supportMin = 0;
  double supportMax = 1;
  int32_t powerMin = 1;
  int32_t powerMax = 1;
};
std::vector<int32_t> SortFilterItemSets(const TLVAssociationRules& model,
                                        TLVAssnRulesItemSetSortOrder order,
                                        TLVSortDirection direction,
                                        const TLVAssnItemSetFilter& filter);

// The what-if search: the rules whose condition lies within `items` and whose
// consequence adds at least one item not in them. fcomNone gives all of them in the
// model's order; another measure gives the one best rule by it (none when no rule
// applies).
std::vector<int32_t> FindRules(
    const TLVAssociationRules& model, std::span<const int32_t> items,
    TLVAssnRulesFindRulesCufOffMeasure measure = TLVAssnRulesFindRulesCufOffMeasure::fcomLift);

}  // namespace lv
