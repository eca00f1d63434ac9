#include "app/LV_CommandLine.h"

#include <array>
#include <optional>
#include <vector>

#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

constexpr std::array<std::string_view, 12> kOptionNames{"HELP",      "?",     "SYSFILE", "RUN",
                                                        "TEACH",     "LOG",   "LOGFILE", "LOGMODE",
                                                        "OVERWRITE", "PFILE", "VARFILE", "SILENT"};

std::optional<TLVCommandOption> FindOption(std::string_view name) {
  for (size_t i = 0; i < kOptionNames.size(); ++i) {
    if (SameVendorName(kOptionNames[i], name)) return static_cast<TLVCommandOption>(i);
  }
  return std::nullopt;
}

bool TakesValue(TLVCommandOption option) {
  switch (option) {
    case TLVCommandOption::coSysFile:
    case TLVCommandOption::coLogFile:
    case TLVCommandOption::coPFile:
    case TLVCommandOption::coVarFile:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::span<const std::string_view> CommandOptionNames() {
  return kOptionNames;
}

std::string_view CommandOptionName(TLVCommandOption option) {
  return kOptionNames[static_cast<size_t>(option)];
}

TLVCommandLine ParseCommandLine(std::span<const std::string> args) {
  TLVCommandLine line;
  for (const std::string& arg : args) {
    bool marked = !arg.empty() && (arg[0] == '/' || arg[0] == '-');
    std::string_view body = marked ? std::string_view(arg).substr(1) : std::string_view(arg);
    size_t equals = body.find('=');
    std::string_view name = body.substr(0, equals);
    std::optional<TLVCommandOption> option = marked ? FindOption(name) : std::nullopt;
    if (!option) {
      bool pathLike = !marked || (arg[0] == '/' && body.find_first_of("/.") != body.npos);
      if (!pathLike) throw ELVError("ErrCmdUnknownOption", {arg});
      if (!line.projectFile.empty()) throw ELVError("ErrCmdTwoProjects", {line.projectFile, arg});
      line.projectFile = arg;
      continue;
    }
    std::optional<std::string> value;
    if (equals != body.npos) value = std::string(body.substr(equals + 1));
    std::string_view shown = CommandOptionName(*option);
    if (TakesValue(*option)) {
      if (!value || value->empty()) throw ELVError("ErrCmdValueMissing", {shown});
    } else if (value && *option != TLVCommandOption::coLogMode) {
      throw ELVError("ErrCmdValueUnexpected", {shown});
    }
    switch (*option) {
      case TLVCommandOption::coHelp:
      case TLVCommandOption::coQuestion:
        line.help = true;
        break;
      case TLVCommandOption::coSysFile:
        line.sysFile = *value;
        break;
      case TLVCommandOption::coRun:
        line.run = true;
        break;
      case TLVCommandOption::coTeach:
        line.teach = true;
        break;
      case TLVCommandOption::coLog:
        line.detailedLog = true;
        break;
      case TLVCommandOption::coLogFile:
        line.logFile = *value;
        break;
      case TLVCommandOption::coLogMode:
        // Without a value the log is appended to; the one value it takes overwrites.
        if (value && !value->empty() &&
            !SameVendorName(*value, CommandOptionName(TLVCommandOption::coOverwrite))) {
          throw ELVError("ErrCmdLogMode",
                         {*value, CommandOptionName(TLVCommandOption::coOverwrite)});
        }
        line.overwriteLog = value && !value->empty();
        break;
      case TLVCommandOption::coOverwrite:
        line.overwriteLog = true;
        break;
      case TLVCommandOption::coPFile:
        line.paramFile = *value;
        break;
      case TLVCommandOption::coVarFile:
        line.varFile = *value;
        break;
      case TLVCommandOption::coSilent:
        line.silent = true;
        break;
    }
  }
  return line;
}

std::string CommandLineHelpText() {
  std::vector<TLVFormatArg> names(kOptionNames.begin(), kOptionNames.end());
  return Format(LVText("SCommandLineHelp"), std::span<const TLVFormatArg>(names));
}

void RegisterCommandLineTexts() {
  TLVLocalization::Instance().RegisterKeys({"SCommandLineHelp", "ErrCmdUnknownOption",
                                            "ErrCmdValueMissing", "ErrCmdValueUnexpected",
                                            "ErrCmdLogMode", "ErrCmdTwoProjects"});
}

}  // namespace lv
