// The desktop shell's entry: registers the shell's texts and, when a display is
// available, runs the main window. Nothing here is touched by an unattended run, so
// that one never creates a QApplication and needs no display.
#pragma once

#include <filesystem>
#include <optional>

namespace lv {

// Registers the texts of every unit of the shell; once, after the engine's start-up.
void GuiStartup();
// The engine libraries' start-up followed by the shell's, for the programs that have
// the shell but not the command line: its tests and benchmarks.
void ShellStartup();

// Whether a window can be shown: a display server is named in the environment, or Qt
// is told which platform to use (QT_QPA_PLATFORM, e.g. "offscreen").
bool DesktopAvailable();

// Runs the main window with `projectFile` open (none when empty) until it is closed;
// the process's exit status. Nothing (and no QApplication) when no display is there.
std::optional<int> RunDesktop(const std::filesystem::path& projectFile);

}  // namespace lv
