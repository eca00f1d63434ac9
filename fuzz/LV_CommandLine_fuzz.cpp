// Command lines and application parameter files come from scripts and schedulers: any
// bytes, split into arguments at line breaks, must parse or raise ELVError; the same
// bytes as a parameters file likewise. The bytes are also written to a file that the
// program's start-up then reads as each kind of file a command line names (variables,
// connections, a project to describe): it must end with status 0 or 2, never otherwise.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "app/LV_AppMain.h"
#include "app/LV_AppParams.h"
#include "app/LV_CommandLine.h"
#include "core/text/LV_Errors.h"

namespace {

// One file per fuzzing process, removed when it ends.
class TInputFile {
 public:
  TInputFile()
      : path_(std::filesystem::temp_directory_path() /
              ("lv_fuzz_commandline_" + std::to_string(::getpid()))) {}
  ~TInputFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  const std::string& Write(std::string_view bytes) {
    std::ofstream(path_, std::ios::binary | std::ios::trunc) << bytes;
    name_ = path_.string();
    return name_;
  }

 private:
  std::filesystem::path path_;
  std::string name_;
};

void StartUpWithFile(std::string_view bytes) {
  static TInputFile input;
  const std::string& file = input.Write(bytes);
  const lv::TLVAppConsole quiet{[](std::string_view) {}, [](std::string_view) {}, nullptr, nullptr};
  for (const std::string& arg : {"/VARFILE=" + file, "/SYSFILE=" + file, file}) {
    const std::vector<std::string> args{arg};
    const int status = lv::LumiveraStudioMain(args, quiet);
    if (status != 0 && status != 2) __builtin_trap();
  }
  try {
    (void)lv::LoadAppParams(file);
  } catch (const lv::ELVError&) {
  }
}

}  // namespace

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
  StartUpWithFile(text);
  return 0;
}
