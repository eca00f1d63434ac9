// The editing of one node's settings, as the settings dialog does it, without drawing:
// what the settings are (the kind's property table, through its vendor), their current
// texts, and changes that either take effect whole or not at all, with undo.
//
// A change goes through the node's own loading (LoadSettingsFrom), so the setters'
// checks apply exactly as when a project is opened. When a setter refuses, the node's
// settings are put back as they were and the setter's message is raised. Every change
// that took effect can be undone in reverse order. The node must outlive this object;
// UI thread only.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/registry/LV_Properties.h"
#include "project/LV_Config.h"
#include "project/LV_Project.h"

namespace lv {

class TLVNodeSettings {
 public:
  // One element of a collection: its properties' texts by name.
  using TItem = std::map<std::string, std::string>;

  TLVNodeSettings(TLVProject& project, TModelTreeNode& node);
  ~TLVNodeSettings();

  TModelTreeNode& Node() const { return node_; }
  // The kind's settings: flat properties, then collections and nested objects. Empty
  // for a kind that declares no table.
  const TLVSettingsDescription& Description() const { return description_; }

  // The current text of a flat property.
  std::string Value(std::string_view property) const;
  // The elements of collection `section` (of the description) as they are now.
  std::vector<TItem> Items(std::string_view section) const;

  // Gives `property` the text `text`; raises the setter's message and changes nothing
  // when it is refused.
  void Set(std::string_view property, std::string_view text);
  // Replaces the elements of collection `section`; all or nothing, as Set.
  void SetItems(std::string_view section, const std::vector<TItem>& items);

  bool CanUndo() const { return !undo_.empty(); }
  // Puts back the settings as they were before the last change that took effect.
  void Undo();
  // How many changes took effect and were not undone.
  size_t Changes() const { return undo_.size(); }

 private:
  std::unique_ptr<TLVConfig> Snapshot() const;
  // Loads `edited` into the node; on refusal restores `before` and raises.
  void Apply(std::unique_ptr<TLVConfig> before, const TLVConfig& edited);

  TLVProject& project_;
  TModelTreeNode& node_;
  TLVSettingsDescription description_;
  std::vector<std::unique_ptr<TLVConfig>> undo_;
};

// The caption of a node kind's property: the text of "<kind's identifier>.<property>"
// when the kind registered one, else the property's name.
std::string PropertyCaption(const TModelTreeNode& node, std::string_view property);

}  // namespace lv
