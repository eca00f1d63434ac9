// LumiveraStudio: the program. Given only a project (or nothing) it opens the desktop
// window when it was built with the shell and a display is there; otherwise it is the
// command-line program. Everything but the process's own streams
// lives in LV_AppMain, where the tests reach it.
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "app/LV_AppMain.h"
#include "app/LV_StopSignals.h"
#ifdef LV_HAVE_GUI
#include "gui/LV_Desktop.h"
#endif

int main(int argc, char** argv) {
  lv::LumiveraStartup();
  lv::InstallStopSignalHandlers();
  std::vector<std::string> args(argv + 1, argv + argc);
  lv::TLVAppConsole console;
  console.out = [](std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
  };
  console.err = [](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); };
  console.progress = ::isatty(STDERR_FILENO) ? stderr : nullptr;
#ifdef LV_HAVE_GUI
  lv::GuiStartup();
  console.openDesktop = lv::RunDesktop;
#endif
  int status = lv::LumiveraStudioMain(args, console);
  lv::LumiveraShutdown();
  return status;
}
