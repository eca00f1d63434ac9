#include "mining/LV_MemorySection.h"

#include "core/text/LV_Errors.h"

namespace lv {

void TLVMemorySection::Put(std::string_view name, std::string_view text) {
  texts_[std::string(name)] = std::string(text);
}

std::optional<std::string> TLVMemorySection::Get(std::string_view name) const {
  auto it = texts_.find(name);
  if (it == texts_.end()) return std::nullopt;
  return it->second;
}

ILVSettingsSection& TLVMemorySection::AddSection(std::string_view name) {
  if (FindSection(name)) throw ELVError("ErrPropertyValue", {std::string_view(), name});
  return AddItem(name);
}

const ILVSettingsSection* TLVMemorySection::FindSection(std::string_view name) const {
  for (const auto& [childName, child] : children_) {
    if (childName == name) return child.get();
  }
  return nullptr;
}

ILVSettingsSection& TLVMemorySection::AddItem(std::string_view name) {
  return *children_.emplace_back(std::string(name), std::make_unique<TLVMemorySection>()).second;
}

std::vector<const ILVSettingsSection*> TLVMemorySection::Items(std::string_view name) const {
  std::vector<const ILVSettingsSection*> items;
  for (const auto& [childName, child] : children_) {
    if (childName == name) items.push_back(child.get());
  }
  return items;
}

}  // namespace lv
