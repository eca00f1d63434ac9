// Project files come from users and from other machines: any bytes must open as a
// project or fail with ELVError, never crash or hang. What opens must save and open
// again to the same scenario, strictly: everything the program writes it reads.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "app/LV_AppMain.h"
#include "core/text/LV_Errors.h"
#include "project/LV_Project.h"

namespace {

class TQuietUI : public lv::ILVProjectUI {
 public:
  void Warning(const std::string&) override { ++warnings; }
  bool Confirm(const std::string&) override { return true; }
  std::optional<std::string> AskPassword(const std::string&) override { return "fuzz"; }
  int warnings = 0;
};

std::filesystem::path TempPath(const char* name) {
  return std::filesystem::temp_directory_path() /
         ("lv_fuzz_" + std::to_string(::getpid()) + "_" + name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool started = (lv::LumiveraStartup(), true);
  (void)started;
  static const std::filesystem::path input = TempPath("in.lvp");
  static const std::filesystem::path again = TempPath("again.lvp");
  std::ofstream(input, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  lv::TLVEnvVariables variables;
  TQuietUI ui;
  lv::TLVProject project(variables);
  try {
    project.Open(input, ui);
  } catch (const lv::ELVError&) {
    if (project.RootCount() != 0) __builtin_trap();  // a failure leaves nothing open
    return 0;
  }
  int32_t nodes = project.NodeCount();
  project.Save(again);
  lv::TLVProject copy(variables);
  copy.SetStrictLoading(true);
  TQuietUI copyUI;
  copy.Open(again, copyUI);
  if (copy.NodeCount() != nodes || copyUI.warnings != 0) __builtin_trap();
  return 0;
}
