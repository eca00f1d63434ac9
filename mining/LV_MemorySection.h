// A settings section kept in memory: a snapshot of an object's settings, taken with
// its usual SaveTo so that a failed operation (a cancelled training) can put the
// object back with its usual LoadFrom. Owned by its creator; single-threaded.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/registry/LV_Settings.h"

namespace lv {

class TLVMemorySection : public ILVSettingsSection {
 public:
  void Put(std::string_view name, std::string_view text) override;
  std::optional<std::string> Get(std::string_view name) const override;
  ILVSettingsSection& AddSection(std::string_view name) override;
  const ILVSettingsSection* FindSection(std::string_view name) const override;
  ILVSettingsSection& AddItem(std::string_view name) override;
  std::vector<const ILVSettingsSection*> Items(std::string_view name) const override;

 private:
  std::map<std::string, std::string, std::less<>> texts_;
  std::vector<std::pair<std::string, std::unique_ptr<TLVMemorySection>>> children_;
};

}  // namespace lv
