// A section of settings kept in memory, as the project file would keep it: the tests'
// stand-in for the configuration tree.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/registry/LV_Settings.h"

namespace lv::test {

class TMapSection : public ILVSettingsSection {
 public:
  void Put(std::string_view name, std::string_view text) override {
    texts[std::string(name)] = text;
  }
  std::optional<std::string> Get(std::string_view name) const override {
    auto it = texts.find(std::string(name));
    return it == texts.end() ? std::nullopt : std::optional(it->second);
  }
  ILVSettingsSection& AddSection(std::string_view name) override { return AddItem(name); }
  const ILVSettingsSection* FindSection(std::string_view name) const override {
    auto items = Items(name);
    return items.empty() ? nullptr : items.front();
  }
  ILVSettingsSection& AddItem(std::string_view name) override {
    return *children.emplace_back(std::string(name), std::make_unique<TMapSection>()).second;
  }
  std::vector<const ILVSettingsSection*> Items(std::string_view name) const override {
    std::vector<const ILVSettingsSection*> items;
    for (const auto& [childName, child] : children) {
      if (childName == name) items.push_back(child.get());
    }
    return items;
  }

  std::map<std::string, std::string> texts;
  std::vector<std::pair<std::string, std::unique_ptr<TMapSection>>> children;
};

}  // namespace lv::test
