// The base of every engine and data source of a scenario: a named component that may
// or may not offer a table to read.
#pragma once

#include <memory>
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

 private:
  std::string componentName_;
};

// The table of `component`; raises "Компонент не поддерживает ILVDataSource." when it
// offers none (a view or an export cannot feed a child).
std::shared_ptr<ILVDataSource> RequireDataSource(TLVComponent& component);

}  // namespace lv
