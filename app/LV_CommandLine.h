// The command line of LumiveraStudio:
//   LumiveraStudio [<project file>] [/OPTION[=value] ...]
// Options are written with "/" (or "-"), their names match without regard to case,
// and a value follows "=". The option names are kept in one table, in the order the
// help text refers to them by position ("%0:s" ... "%11:s"), so each name is written
// once. docs/command-line.md describes the options for users.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace lv {

enum class TLVCommandOption : uint8_t {
  coHelp,
  coQuestion,
  coSysFile,
  coRun,
  coTeach,
  coLog,
  coLogFile,
  coLogMode,
  coOverwrite,
  coPFile,
  coVarFile,
  coSilent
};

// "HELP", "?", "SYSFILE", "RUN", "TEACH", "LOG", "LOGFILE", "LOGMODE", "OVERWRITE",
// "PFILE", "VARFILE", "SILENT".
std::span<const std::string_view> CommandOptionNames();
std::string_view CommandOptionName(TLVCommandOption option);

struct TLVCommandLine {
  std::string projectFile;
  bool help = false;
  bool run = false;
  bool teach = false;
  bool detailedLog = false;  // /LOG
  bool silent = false;
  bool overwriteLog = false;  // /LOGMODE=OVERWRITE (or /OVERWRITE)
  std::string sysFile;
  std::string logFile;
  std::string paramFile;
  std::string varFile;

  bool Batch() const { return run || teach; }
};

// Parses the arguments after the program name. Raises ELVError for an unknown option
// ("ErrCmdUnknownOption"), a value missing or given where none is taken
// ("ErrCmdValueMissing", "ErrCmdValueUnexpected"), a log mode other than OVERWRITE
// ("ErrCmdLogMode") and a second project file ("ErrCmdTwoProjects").
//
// An argument starting with "/" is a path, not an option, when what follows the slash
// is not an option name and looks like a path (holds another "/" or a "."), so that
// "/home/me/demo.lvp" names a project on systems whose paths start with a slash.
TLVCommandLine ParseCommandLine(std::span<const std::string> args);

// The help text: one format string filled with the option names in table order.
std::string CommandLineHelpText();

void RegisterCommandLineTexts();

}  // namespace lv
