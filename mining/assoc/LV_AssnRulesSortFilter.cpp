#include "mining/assoc/LV_AssnRulesSortFilter.h"

#include <algorithm>
#include <numeric>

#include "mining/LV_MiningSettings.h"
#include "mining/LV_MiningTypes.h"

namespace lv {

namespace {

bool Holds(std::span<const int32_t> set, std::span<const int32_t> wanted) {
  return std::includes(set.begin(), set.end(), wanted.begin(), wanted.end());
}

// Sorts `indexes` by `less` in `direction`; ties keep ascending index order.
template <class Less>
void SortIndexes(std::vector<int32_t>& indexes, TLVSortDirection direction, Less less) {
  const bool descending = direction == TLVSortDirection::sdDesc;
  std::stable_sort(indexes.begin(), indexes.end(),
                   [&](int32_t a, int32_t b) { return descending ? less(b, a) : less(a, b); });
}

TIndexSet ReadItems(const ILVSettingsSection& section, std::string_view key) {
  TIndexSet items = ItemsFromText(key, section.Get(key).value_or(""));
  std::sort(items.begin(), items.end());
  return items;
}

}  // namespace

bool TLVAssnRulesSortFilter::Passes(const TLVAssociationRules& model,
                                    const TLVAssociationRule& rule) const {
  using F = TLVAssnRulesFilterType;
  const auto& sets = model.LargeItemSets();
  auto on = [&](F type) { return FilterSet.Contains(type); };
  if (on(F::arftAntecedent) &&
      !Holds(sets[static_cast<size_t>(rule.antecedentSet)].items, FilterAntecedentSet)) {
    return false;
  }
  if (on(F::arftConsequent) &&
      !Holds(sets[static_cast<size_t>(rule.consequentSet)].items, FilterConsequentSet)) {
    return false;
  }
  return !(on(F::arftSupportMin) && rule.support < FilterSupportMin) &&
         !(on(F::arftSupportMax) && rule.support > FilterSupportMax) &&
         !(on(F::arftConfidenceMin) && rule.confidence < FilterConfidenceMin) &&
         !(on(F::arftConfidenceMax) && rule.confidence > FilterConfidenceMax) &&
         !(on(F::arftLiftMin) && rule.lift < FilterLiftMin) &&
         !(on(F::arftLiftMax) && rule.lift > FilterLiftMax);
}

std::vector<int32_t> TLVAssnRulesSortFilter::Apply(const TLVAssociationRules& model) const {
  const auto& rules = model.Rules();
  const auto& sets = model.LargeItemSets();
  std::vector<int32_t> kept;
  for (size_t i = 0; i < rules.size(); ++i) {
    if (Passes(model, rules[i])) kept.push_back(static_cast<int32_t>(i));
  }
  auto rule = [&](int32_t i) -> const TLVAssociationRule& { return rules[static_cast<size_t>(i)]; };
  auto items = [&](int32_t set) -> const TIndexSet& {
    return sets[static_cast<size_t>(set)].items;
  };
  switch (SortOrder) {
    case TLVAssnRulesSortOrder::arsoOrder:
      SortIndexes(kept, SortDirection, std::less<>());
      break;
    case TLVAssnRulesSortOrder::arsoAntecedent:
      SortIndexes(kept, SortDirection, [&](int32_t a, int32_t b) {
        return items(rule(a).antecedentSet) < items(rule(b).antecedentSet);
      });
      break;
    case TLVAssnRulesSortOrder::arsoConsequent:
      SortIndexes(kept, SortDirection, [&](int32_t a, int32_t b) {
        return items(rule(a).consequentSet) < items(rule(b).consequentSet);
      });
      break;
    case TLVAssnRulesSortOrder::arsoSupport:
      SortIndexes(kept, SortDirection,
                  [&](int32_t a, int32_t b) { return rule(a).support < rule(b).support; });
      break;
    case TLVAssnRulesSortOrder::arsoConfidence:
      SortIndexes(kept, SortDirection,
                  [&](int32_t a, int32_t b) { return rule(a).confidence < rule(b).confidence; });
      break;
    case TLVAssnRulesSortOrder::arsoLift:
      SortIndexes(kept, SortDirection,
                  [&](int32_t a, int32_t b) { return rule(a).lift < rule(b).lift; });
      break;
  }
  return kept;
}

void TLVAssnRulesSortFilter::SaveTo(ILVSettingsSection& section) const {
  section.Put("SortOrder", ValueName(SortOrder));
  section.Put("SortDirection", ValueName(SortDirection));
  section.Put("FilterSet", EnumSetToText(FilterSet));
  section.Put("FilterAntecedentSet", ItemsToText(FilterAntecedentSet));
  section.Put("FilterConsequentSet", ItemsToText(FilterConsequentSet));
  WriteSetting(section, "FilterSupportMin", FilterSupportMin);
  WriteSetting(section, "FilterSupportMax", FilterSupportMax);
  WriteSetting(section, "FilterConfidenceMin", FilterConfidenceMin);
  WriteSetting(section, "FilterConfidenceMax", FilterConfidenceMax);
  WriteSetting(section, "FilterLiftMin", FilterLiftMin);
  WriteSetting(section, "FilterLiftMax", FilterLiftMax);
}

void TLVAssnRulesSortFilter::LoadFrom(const ILVSettingsSection& section) {
  TLVAssnRulesSortFilter loaded;
  auto readEnum = [&](std::string_view key, auto fallback) {
    using E = decltype(fallback);
    const std::string text = section.Get(key).value_or(std::string(ValueName(fallback)));
    std::optional<E> value = EnumFromName<E>(text);
    if (!value) RaisePropertyValue(key, text);
    return *value;
  };
  loaded.SortOrder = readEnum("SortOrder", SortOrder);
  loaded.SortDirection = readEnum("SortDirection", SortDirection);
  const std::string filterText = section.Get("FilterSet").value_or("");
  std::optional<TLVEnumSet<TLVAssnRulesFilterType>> filters =
      EnumSetFromText<TLVAssnRulesFilterType>(filterText);
  if (!filters) RaisePropertyValue("FilterSet", filterText);
  loaded.FilterSet = *filters;
  loaded.FilterAntecedentSet = ReadItems(section, "FilterAntecedentSet");
  loaded.FilterConsequentSet = ReadItems(section, "FilterConsequentSet");
  loaded.FilterSupportMin = ReadSetting(section, "FilterSupportMin", FilterSupportMin);
  loaded.FilterSupportMax = ReadSetting(section, "FilterSupportMax", FilterSupportMax);
  loaded.FilterConfidenceMin = ReadSetting(section, "FilterConfidenceMin", FilterConfidenceMin);
  loaded.FilterConfidenceMax = ReadSetting(section, "FilterConfidenceMax", FilterConfidenceMax);
  loaded.FilterLiftMin = ReadSetting(section, "FilterLiftMin", FilterLiftMin);
  loaded.FilterLiftMax = ReadSetting(section, "FilterLiftMax", FilterLiftMax);
  *this = std::move(loaded);
}

std::vector<int32_t> SortFilterItemSets(const TLVAssociationRules& model,
                                        TLVAssnRulesItemSetSortOrder order,
                                        TLVSortDirection direction,
                                        const TLVAssnItemSetFilter& filter) {
  using F = TLVAssnRulesItemSetFilterType;
  const auto& sets = model.LargeItemSets();
  std::vector<int32_t> kept;
  for (size_t i = 0; i < sets.size(); ++i) {
    const auto index = static_cast<int32_t>(i);
    const double support = model.SupportOf(index);
    const int32_t power = sets[i].Power();
    auto on = [&](F type) { return filter.filters.Contains(type); };
    if ((on(F::isftName) && !Holds(sets[i].items, filter.items)) ||
        (on(F::isftSupportMin) && support < filter.supportMin) ||
        (on(F::isftSupportMax) && support > filter.supportMax) ||
        (on(F::isftPowerMin) && power < filter.powerMin) ||
        (on(F::isftPowerMax) && power > filter.powerMax)) {
      continue;
    }
    kept.push_back(index);
  }
  auto set = [&](int32_t i) -> const TLVAssnItemSet& { return sets[static_cast<size_t>(i)]; };
  switch (order) {
    case TLVAssnRulesItemSetSortOrder::issoOrder:
      SortIndexes(kept, direction, std::less<>());
      break;
    case TLVAssnRulesItemSetSortOrder::issoName:
      SortIndexes(kept, direction,
                  [&](int32_t a, int32_t b) { return set(a).items < set(b).items; });
      break;
    case TLVAssnRulesItemSetSortOrder::issoSupport:
      SortIndexes(kept, direction,
                  [&](int32_t a, int32_t b) { return set(a).supportCount < set(b).supportCount; });
      break;
    case TLVAssnRulesItemSetSortOrder::issoPower:
      SortIndexes(kept, direction,
                  [&](int32_t a, int32_t b) { return set(a).Power() < set(b).Power(); });
      break;
  }
  return kept;
}

std::vector<int32_t> FindRules(const TLVAssociationRules& model, std::span<const int32_t> items,
                               TLVAssnRulesFindRulesCufOffMeasure measure) {
  using M = TLVAssnRulesFindRulesCufOffMeasure;
  const auto& sets = model.LargeItemSets();
  const auto& rules = model.Rules();
  std::vector<int32_t> found;
  for (size_t i = 0; i < rules.size(); ++i) {
    const TLVAssociationRule& rule = rules[i];
    if (!Holds(items, sets[static_cast<size_t>(rule.antecedentSet)].items)) continue;
    if (Holds(items, sets[static_cast<size_t>(rule.consequentSet)].items)) continue;
    found.push_back(static_cast<int32_t>(i));
  }
  if (measure == M::fcomNone || found.empty()) return found;
  auto value = [&](int32_t i) {
    const TLVAssociationRule& rule = rules[static_cast<size_t>(i)];
    return measure == M::fcomSupport      ? rule.support
           : measure == M::fcomConfidence ? rule.confidence
                                          : rule.lift;
  };
  // The first of the best, so that equal rules give the model's earlier one.
  int32_t best = found.front();
  for (const int32_t i : found) {
    if (value(i) > value(best)) best = i;
  }
  return {best};
}

}  // namespace lv
