#include "gui/LV_NodeSettings.h"

#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

TLVNodeSettings::TLVNodeSettings(TLVProject& project, TModelTreeNode& node)
    : project_(project), node_(node) {
  if (auto description = node.Vendor().DescribeSettings()) description_ = std::move(*description);
}

TLVNodeSettings::~TLVNodeSettings() = default;

std::unique_ptr<TLVConfig> TLVNodeSettings::Snapshot() const {
  auto config = std::make_unique<TLVConfig>("Handler");
  node_.Handler().SaveSettingsTo(config->Root());
  return config;
}

std::string TLVNodeSettings::Value(std::string_view property) const {
  auto config = Snapshot();
  return config->Root().Get(property).value_or(std::string());
}

std::vector<TLVNodeSettings::TItem> TLVNodeSettings::Items(std::string_view section) const {
  auto config = Snapshot();
  std::vector<TItem> items;
  const TLVConfigNode* list = config->Root().Nodes().FindSection(section);
  if (!list) return items;
  for (int32_t i = 0; i < list->Nodes().Count(); ++i) {
    const TLVConfigParamList& params = list->Nodes()[i].Params();
    TItem item;
    for (int32_t p = 0; p < params.Count(); ++p) item[params.Name(p)] = params.Value(p);
    items.push_back(std::move(item));
  }
  return items;
}

void TLVNodeSettings::Apply(std::unique_ptr<TLVConfig> before, const TLVConfig& edited) {
  try {
    node_.Handler().LoadSettingsFrom(edited.Root());
  } catch (...) {
    // The settings loaded before the refusal are taken back; they were accepted a
    // moment ago, so loading them again cannot be refused.
    node_.Handler().LoadSettingsFrom(before->Root());
    throw;
  }
  undo_.push_back(std::move(before));
  project_.SetModified(true);
}

void TLVNodeSettings::Set(std::string_view property, std::string_view text) {
  auto before = Snapshot();
  // A setting the node leaves out of its section (one that does not apply now) reads
  // as empty, and an empty text for it is no change.
  if (before->Root().Get(property).value_or(std::string()) == text) return;
  auto edited = Snapshot();
  edited->Root().Params().Set(property, text);
  Apply(std::move(before), *edited);
}

void TLVNodeSettings::SetItems(std::string_view section, const std::vector<TItem>& items) {
  std::string itemName;
  for (const auto& s : description_.sections) {
    if (s.name == section) itemName = s.itemName;
  }
  if (itemName.empty()) throw ELVError("ErrPropertyNotFound", {section});
  auto before = Snapshot();
  auto edited = Snapshot();
  TLVConfigNode* list = edited->Root().Nodes().FindSection(section);
  if (!list) list = &edited->Root().Nodes().Add(section);
  list->Nodes().Clear();
  for (const TItem& item : items) {
    TLVConfigNode& entry = list->Nodes().AddItem(itemName);
    for (const auto& [name, text] : item) entry.Params().Set(name, text);
  }
  Apply(std::move(before), *edited);
}

void TLVNodeSettings::Undo() {
  if (undo_.empty()) return;
  node_.Handler().LoadSettingsFrom(undo_.back()->Root());
  undo_.pop_back();
  project_.SetModified(true);
}

std::string PropertyCaption(const TModelTreeNode& node, std::string_view property) {
  const std::string key = node.Vendor().Identifier() + "." + std::string(property);
  return TLVLocalization::Instance().HasText(key) ? LVText(key) : std::string(property);
}

}  // namespace lv
