#include "mining/assoc/LV_AssociationRules.h"

#include <algorithm>
#include <charconv>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

std::string ItemsToText(std::span<const int32_t> numbers) {
  std::string text;
  for (const int32_t n : numbers) {
    if (!text.empty()) text += ' ';
    text += std::to_string(n);
  }
  return text;
}

std::vector<int32_t> ItemsFromText(std::string_view key, const std::string& text) {
  std::vector<int32_t> numbers;
  const char* p = text.data();
  const char* end = p + text.size();
  while (p < end) {
    if (*p == ' ') {
      ++p;
      continue;
    }
    int32_t n = 0;
    auto [next, ec] = std::from_chars(p, end, n);
    if (ec != std::errc() || (next < end && *next != ' ')) RaisePropertyValue(key, text);
    numbers.push_back(n);
    p = next;
  }
  return numbers;
}

namespace {

// The items of the list `name` of `section`; none when the list is absent (a model
// never trained is saved without them).
std::vector<const ILVSettingsSection*> ListItems(const ILVSettingsSection& section,
                                                 std::string_view name, std::string_view item) {
  const ILVSettingsSection* list = section.FindSection(name);
  return list ? CountedItems(*list, item) : std::vector<const ILVSettingsSection*>{};
}

}  // namespace

void TLVAssnRulesFindHashForest::Build(const TLVAssnItemSets& sets) {
  Clear();
  for (size_t i = 0; i < sets.size(); ++i) {
    if (!Insert(sets[i].items, static_cast<int32_t>(i))) throw ELVError("ErrAssnTooManySets");
  }
}

TLVAssociationRules::TLVAssociationRules(const TLVAssociationRules& other)
    : state_(other.state_),
      transactionsCount_(other.transactionsCount_),
      minSupport_(other.minSupport_),
      maxSupport_(other.maxSupport_),
      minConfidence_(other.minConfidence_),
      maxConfidence_(other.maxConfidence_),
      positions_(other.positions_),
      sets_(other.sets_),
      rules_(other.rules_),
      itemNames_(other.itemNames_) {}

TLVAssociationRules& TLVAssociationRules::operator=(const TLVAssociationRules& other) {
  if (this != &other) *this = TLVAssociationRules(other);
  return *this;
}

void TLVAssociationRules::SetTransactionsCount(int32_t value) {
  if (state_ != TLVKernelState::ksTraining) throw ELVError("ErrAssnTransactionsCount");
  transactionsCount_ = value;
}

void TLVAssociationRules::BeginBuild(double minSupport, double maxSupport, double minConfidence,
                                     double maxConfidence, std::vector<std::string> itemNames) {
  *this = TLVAssociationRules();
  minSupport_ = minSupport;
  maxSupport_ = maxSupport;
  minConfidence_ = minConfidence;
  maxConfidence_ = maxConfidence;
  itemNames_ = std::move(itemNames);
  state_ = TLVKernelState::ksTraining;
}

void TLVAssociationRules::AddLevel(TLVAssnItemSets sets) {
  forest_.reset();
  std::move(sets.begin(), sets.end(), std::back_inserter(sets_));
  positions_.push_back(static_cast<int32_t>(sets_.size()));
}

const TLVAssnRulesFindHashForest& TLVAssociationRules::Forest() const {
  if (!forest_) {
    auto forest = std::make_unique<TLVAssnRulesFindHashForest>();
    forest->Build(sets_);
    forest_ = std::move(forest);
  }
  return *forest_;
}

int32_t TLVAssociationRules::IndexOf(std::span<const int32_t> set) const {
  const TLVHashTree::TValue* found = Forest().Find(set);
  return found ? *found : -1;
}

int32_t TLVAssociationRules::RequireIndexOf(std::span<const int32_t> set) const {
  const int32_t index = IndexOf(set);
  if (index < 0) throw ELVError("ErrAssnSetNotFound", {ItemSetText(set)});
  return index;
}

int32_t TLVAssociationRules::RequireItem(int32_t item) const {
  const TLVHashTree* ones = Forest().FindTree(1);
  const TLVHashTree::TValue* found = ones ? ones->FindItem(item) : nullptr;
  if (!found) throw ELVError("ErrAssnItemNotFound", {item});
  return *found;
}

int32_t TLVAssociationRules::ItemOf(std::string_view name) const {
  auto it = std::find(itemNames_.begin(), itemNames_.end(), name);
  return it == itemNames_.end() ? -1 : static_cast<int32_t>(it - itemNames_.begin());
}

std::string TLVAssociationRules::ItemSetText(std::span<const int32_t> set) const {
  std::string text = "{";
  for (size_t i = 0; i < set.size(); ++i) {
    if (i > 0) text += ", ";
    const auto item = static_cast<size_t>(set[i]);
    text += item < itemNames_.size() ? itemNames_[item] : std::to_string(set[i]);
  }
  return text + "}";
}

double TLVAssociationRules::SupportOf(int32_t index) const {
  if (transactionsCount_ <= 0) return 0;
  return static_cast<double>(sets_[static_cast<size_t>(index)].supportCount) / transactionsCount_;
}

void TLVAssociationRules::ComputeLifts() {
  for (TLVAssociationRule& rule : rules_) {
    const double consequent = SupportOf(rule.consequentSet);
    rule.lift = consequent > 0 ? rule.confidence / consequent : 0;
  }
}

void TLVAssociationRules::SaveTo(ILVSettingsSection& section) const {
  WriteSetting(section, "TransactionsCount", transactionsCount_);
  WriteSetting(section, "MinSupport", minSupport_);
  WriteSetting(section, "MaxSupport", maxSupport_);
  WriteSetting(section, "MinConfidence", minConfidence_);
  WriteSetting(section, "MaxConfidence", maxConfidence_);
  section.Put("Positions", ItemsToText(positions_));
  ILVSettingsSection& sets = section.AddSection("LargeItemSets");
  WriteSetting(sets, "Count", static_cast<int32_t>(sets_.size()));
  for (const TLVAssnItemSet& set : sets_) {
    ILVSettingsSection& item = sets.AddItem("ItemSet");
    item.Put("Items", ItemsToText(set.items));
    WriteSetting(item, "SupportCount", set.supportCount);
  }
  ILVSettingsSection& rules = section.AddSection("Rules");
  WriteSetting(rules, "Count", static_cast<int32_t>(rules_.size()));
  for (const TLVAssociationRule& rule : rules_) {
    ILVSettingsSection& item = rules.AddItem("Rule");
    WriteSetting(item, "LargeItemSet", rule.largeItemSet);
    WriteSetting(item, "AntecedentSet", rule.antecedentSet);
    WriteSetting(item, "ConsequentSet", rule.consequentSet);
    WriteSetting(item, "Support", rule.support);
    WriteSetting(item, "Confidence", rule.confidence);
  }
  section.Put("State", ValueName(state_));
  ILVSettingsSection& names = section.AddSection("Items");
  WriteSetting(names, "Count", static_cast<int32_t>(itemNames_.size()));
  for (const std::string& name : itemNames_) names.AddItem("Item").Put("Name", name);
}

void TLVAssociationRules::LoadFrom(const ILVSettingsSection& section) {
  TLVAssociationRules loaded;
  loaded.transactionsCount_ = ReadSetting(section, "TransactionsCount", 0);
  loaded.minSupport_ = ReadSetting(section, "MinSupport", 0.0);
  loaded.maxSupport_ = ReadSetting(section, "MaxSupport", 1.0);
  loaded.minConfidence_ = ReadSetting(section, "MinConfidence", 0.0);
  loaded.maxConfidence_ = ReadSetting(section, "MaxConfidence", 1.0);
  const std::string positionsText = section.Get("Positions").value_or("0");
  loaded.positions_ = ItemsFromText("Positions", positionsText);
  for (const ILVSettingsSection* name : ListItems(section, "Items", "Item")) {
    loaded.itemNames_.push_back(name->Get("Name").value_or(""));
  }
  const auto itemCount = static_cast<int32_t>(loaded.itemNames_.size());
  for (const ILVSettingsSection* item : ListItems(section, "LargeItemSets", "ItemSet")) {
    const std::string text = item->Get("Items").value_or("");
    TLVAssnItemSet set{ItemsFromText("Items", text), ReadSetting(*item, "SupportCount", 0)};
    const bool ascending = std::adjacent_find(set.items.begin(), set.items.end(),
                                              std::greater_equal<>()) == set.items.end();
    const bool known = std::all_of(set.items.begin(), set.items.end(),
                                   [&](int32_t i) { return i >= 0 && i < itemCount; });
    if (set.items.empty() || !ascending || !known) RaisePropertyValue("Items", text);
    loaded.sets_.push_back(std::move(set));
  }
  // Positions open each power's run of sets and close the list.
  const auto& pos = loaded.positions_;
  bool positionsGood =
      !pos.empty() && pos.front() == 0 && pos.back() == static_cast<int32_t>(loaded.sets_.size());
  for (size_t k = 1; positionsGood && k < pos.size(); ++k) {
    positionsGood = pos[k] >= pos[k - 1];
    for (int32_t i = pos[k - 1]; positionsGood && i < pos[k]; ++i) {
      positionsGood = loaded.sets_[static_cast<size_t>(i)].Power() == static_cast<int32_t>(k);
    }
  }
  if (!positionsGood) RaisePropertyValue("Positions", positionsText);
  const auto setCount = static_cast<int32_t>(loaded.sets_.size());
  for (const ILVSettingsSection* item : ListItems(section, "Rules", "Rule")) {
    TLVAssociationRule rule;
    rule.largeItemSet = ReadSetting(*item, "LargeItemSet", -1);
    rule.antecedentSet = ReadSetting(*item, "AntecedentSet", -1);
    rule.consequentSet = ReadSetting(*item, "ConsequentSet", -1);
    rule.support = ReadSetting(*item, "Support", 0.0);
    rule.confidence = ReadSetting(*item, "Confidence", 0.0);
    for (const auto& [key, index] :
         {std::pair<std::string_view, int32_t>{"LargeItemSet", rule.largeItemSet},
          {"AntecedentSet", rule.antecedentSet},
          {"ConsequentSet", rule.consequentSet}}) {
      if (index < 0 || index >= setCount) RaisePropertyValue(key, std::to_string(index));
    }
    loaded.rules_.push_back(rule);
  }
  const std::string stateText = section.Get("State").value_or("ksNone");
  std::optional<TLVKernelState> state = EnumFromName<TLVKernelState>(stateText);
  if (!state) RaisePropertyValue("State", stateText);
  loaded.state_ = *state;
  loaded.ComputeLifts();
  *this = std::move(loaded);
}

void RegisterAssociationRulesTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrAssnTransactionsCount", "ErrAssnSetNotFound",
                                            "ErrAssnItemNotFound", "ErrAssnTooManySets"});
}

}  // namespace lv
