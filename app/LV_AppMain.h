// LumiveraStudio's start-up and its one entry point, separate from main() so that the
// tests drive the program as a user would, capturing what it prints.
//
// Order of start-up steps: the command line is parsed; help is printed when asked for
// (and nothing else happens); the run log gets its file and mode; the application
// parameters (/PFILE), the environment variables (/VARFILE) and the connections
// (/SYSFILE) are loaded in that order, so that the variables file can rely on the
// parameters and a project on both; then, with /RUN or /TEACH, the project is opened
// and run unattended.
//
// Exit status: 0 when everything succeeded (or help was shown), 1 when a node failed,
// 2 when the command line is wrong, a file named on it cannot be loaded or the project
// cannot be opened; 128 + the signal's number when a stop signal interrupted the run
// (LV_StopSignals.h). Every failure after the log got its place is written to the log.
#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace lv {

struct TLVAppConsole {
  // Standard output: help, log lines (unless /SILENT).
  std::function<void(std::string_view)> out;
  // Error stream: messages of failures (unless /SILENT).
  std::function<void(std::string_view)> err;
  // A terminal for progress, or null when the error stream is not one.
  std::FILE* progress = nullptr;
  // Opens the desktop window with the project (none when the path is empty) and
  // returns the exit status, or nothing when no window can be shown. Set only by a
  // program built with the shell; called only without /RUN and /TEACH.
  std::function<std::optional<int>(const std::filesystem::path&)> openDesktop;
};

// Registers every library's texts and node kinds; once, before anything else.
void LumiveraStartup();
// The application's own part of it (its texts), after the libraries' start-up.
void AppStartup();
void LumiveraShutdown();

// Runs the program for the arguments after its name and returns the exit status.
int LumiveraStudioMain(std::span<const std::string> args, const TLVAppConsole& console);

void RegisterAppMainTexts();

}  // namespace lv
