// Runs LumiveraStudio's entry point as a user would, capturing what it prints.
#pragma once

#include <string>
#include <vector>

#include "app/LV_AppMain.h"

namespace lv::test {

struct TRun {
  int status = -1;
  std::string out;
  std::string err;
};

inline TRun RunStudio(std::vector<std::string> args) {
  TRun run;
  TLVAppConsole console;
  console.out = [&run](std::string_view text) { run.out += text; };
  console.err = [&run](std::string_view text) { run.err += text; };
  run.status = LumiveraStudioMain(args, console);
  return run;
}

}  // namespace lv::test
