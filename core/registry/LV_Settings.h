// Where an object's settings live while they are saved or loaded: named texts and
// named sub-sections, the shape of one node of the project's configuration tree.
// The core knows only this interface; the project library implements it (its
// configuration node), and a test may implement it over a map.
//
// Names: a text name occurs once per section, and so does a sub-section name, except
// that a list of like items (the columns of a node, the nodes of a scenario) is written
// as repeated items that all bear the list's name. Writing a name twice raises.
// Sections returned by reference belong to the section that made them and live as
// long as it does.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lv {

class ILVSettingsSection {
 public:
  virtual ~ILVSettingsSection() = default;

  virtual void Put(std::string_view name, std::string_view text) = 0;
  // The text called `name`, or nothing when the section has none.
  virtual std::optional<std::string> Get(std::string_view name) const = 0;

  // A new sub-section called `name`; raises when the section already holds one.
  virtual ILVSettingsSection& AddSection(std::string_view name) = 0;
  // The sub-section called `name`, or null; raises when there are several.
  virtual const ILVSettingsSection* FindSection(std::string_view name) const = 0;

  // A new item of the list `name`: items of one list share the name.
  virtual ILVSettingsSection& AddItem(std::string_view name) = 0;
  // The items of the list `name` in the order they were written.
  virtual std::vector<const ILVSettingsSection*> Items(std::string_view name) const = 0;
};

}  // namespace lv
