// Command lines and application parameter files come from scripts and schedulers: any
// bytes, split into arguments at line breaks, must parse or raise ELVError; the same
// bytes as a parameters file likewise.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "app/LV_AppMain.h"
#include "app/LV_AppParams.h"
#include "app/LV_CommandLine.h"
#include "core/LV_Errors.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool started = (lv::LumiveraStartup(), true);
  (void)started;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> args;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    args.emplace_back(text.substr(start, end - start));
    start = end + 1;
  }
  try {
    lv::TLVCommandLine line = lv::ParseCommandLine(args);
    // Only an option that takes a value can leave one behind, and never an empty one.
    for (const std::string* value : {&line.sysFile, &line.logFile, &line.paramFile}) {
      if (value->empty()) continue;
      bool named = false;
      for (const std::string& arg : args) named = named || arg.find(*value) != std::string::npos;
      if (!named) __builtin_trap();
    }
  } catch (const lv::ELVError&) {
  }
  try {
    (void)lv::ParseAppParams(text, "fuzz.ini");
  } catch (const lv::ELVError&) {
  }
  return 0;
}
