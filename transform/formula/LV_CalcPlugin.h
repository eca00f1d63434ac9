// Add-in function libraries (see LV_CalcPluginApi.h for the interface a library
// exports). Libraries are loaded from the application's plug-in folder at start-up
// and stay loaded; their functions join the built-in ones.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "transform/formula/LV_CalcFunctions.h"

namespace lv {

// One loaded library. It is never unloaded: its functions may be in any parsed formula.
class TLVPlugin {
 public:
  explicit TLVPlugin(std::filesystem::path path) : path_(std::move(path)) {}
  const std::filesystem::path& Path() const { return path_; }
  const std::vector<std::string>& FunctionNames() const { return names_; }

 private:
  friend std::vector<std::string> LoadCalcPlugins(const std::filesystem::path&,
                                                  TLVFunctionCollection&);
  std::filesystem::path path_;
  std::vector<std::string> names_;
};

// "plugins" next to the program.
std::filesystem::path DefaultPluginFolder();

// Loads every library of `folder` (*.so; a missing folder has none) and registers its
// functions in `functions`. A library that cannot be loaded, or a function that is
// refused (a bad or taken name, no entry point), is skipped; the returned messages say
// why, for the run log. The libraries loaded stay loaded until the program ends.
std::vector<std::string> LoadCalcPlugins(const std::filesystem::path& folder,
                                         TLVFunctionCollection& functions);

// The libraries loaded so far.
const std::vector<TLVPlugin>& LoadedCalcPlugins();

void RegisterCalcPluginTexts();

}  // namespace lv
