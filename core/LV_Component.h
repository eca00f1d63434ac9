// The base of every engine and data source of a scenario: a named component that may
// or may not offer a table to read.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lv {

class ILVDataSource;

class TLVComponent {
 public:
  virtual ~TLVComponent() = default;

  const std::string& GetComponentName() const { return componentName_; }
  void SetComponentName(std::string_view name) { componentName_ = name; }

  // The table this component offers to a child, or null when it offers none.
  virtual std::shared_ptr<ILVDataSource> GetDataSourceIntf() { return nullptr; }

  // Persistence of the component's settings through a name/text store (the project
  // file's node section). A node kind implements both with its property table
  // (LV_Properties.h); loading applies defaults for what the store lacks.
  using TSettingsWriter = std::function<void(const std::string& name, const std::string& text)>;
  using TSettingsReader = std::function<std::optional<std::string>(const std::string& name)>;
  virtual void SaveSettings(const TSettingsWriter& put) const { (void)put; }
  virtual void LoadSettings(const TSettingsReader& get) { (void)get; }

 private:
  std::string componentName_;
};

// The table of `component`; raises "Компонент не поддерживает ILVDataSource." when it
// offers none (a view or an export cannot feed a child).
std::shared_ptr<ILVDataSource> RequireDataSource(TLVComponent& component);

}  // namespace lv
