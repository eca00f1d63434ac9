// The base of every engine and data source of a scenario: a named component that may
// or may not offer a table to read.
//
// Persistence. A component saves its settings into one section of the project file
// and loads them back from it; the scenario tree calls SaveSettingsTo/LoadSettingsFrom
// and nothing else. A kind implements persistence in one line, with its property table
// (LV_Properties.h):
//   - flat settings only: override SaveSettings/LoadSettings with the table's
//     function form (the defaults of the section pair write them as texts);
//   - settings with collections or nested objects: override SaveSettingsTo/
//     LoadSettingsFrom with the table's section form.
// A new setting is then one line in the table. SettingsVersion is written with the
// settings; raising it asks for a converter from the older version (project library).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/registry/LV_Settings.h"

namespace lv {

class ILVDataSource;
class ILVProgress;

class TLVComponent {
 public:
  virtual ~TLVComponent() = default;

  const std::string& GetComponentName() const { return componentName_; }
  void SetComponentName(std::string_view name) { componentName_ = name; }

  // The table this component offers to a child, or null when it offers none.
  virtual std::shared_ptr<ILVDataSource> GetDataSourceIntf() { return nullptr; }

  // Where the scenario tree plugs a node into its parent's table. Nodes that read a
  // parent (handlers, exports) override it; imports and views keep the default, which
  // ignores the parent.
  virtual void SetParentSource(std::shared_ptr<ILVDataSource> parent) { (void)parent; }

  // Persistence of the flat settings through a name/text store.
  using TSettingsWriter = std::function<void(const std::string& name, const std::string& text)>;
  using TSettingsReader = std::function<std::optional<std::string>(const std::string& name)>;
  virtual void SaveSettings(const TSettingsWriter& put) const { (void)put; }
  virtual void LoadSettings(const TSettingsReader& get) { (void)get; }

  // Persistence of everything, sub-sections included. The defaults go through the
  // flat pair above.
  virtual void SaveSettingsTo(ILVSettingsSection& section) const {
    SaveSettings(
        [&section](const std::string& name, const std::string& text) { section.Put(name, text); });
  }
  virtual void LoadSettingsFrom(const ILVSettingsSection& section) {
    LoadSettings([&section](const std::string& name) { return section.Get(name); });
  }
  // The version of this class's settings (1 until a setting changes its meaning).
  virtual int32_t SettingsVersion() const { return 1; }

  // The scenario nodes this one refers to besides its parent (a join's second table),
  // by their persisted identifiers. Loading a branch uses it to find references that
  // leave the branch.
  virtual std::vector<std::string> NodeReferences() const { return {}; }

 private:
  std::string componentName_;
};

// A node that does work of its own when a scenario runs unattended (an export writes
// its file). The run calls Execute once per run, after the node's ancestors were
// refreshed; it reports to `progress` between blocks and raises on failure.
class ILVExecutable {
 public:
  virtual ~ILVExecutable() = default;
  virtual void Execute(ILVProgress* progress) = 0;
};

// A node with a model that an unattended run may retrain (/TEACH).
class ILVTeachable {
 public:
  virtual ~ILVTeachable() = default;
  virtual void Teach(ILVProgress* progress) = 0;
};

// The table of `component`; raises "Компонент не поддерживает ILVDataSource." when it
// offers none (a view or an export cannot feed a child).
std::shared_ptr<ILVDataSource> RequireDataSource(TLVComponent& component);

}  // namespace lv
