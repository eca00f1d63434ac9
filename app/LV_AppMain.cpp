#include "app/LV_AppMain.h"

#include <csignal>
#include <filesystem>
#include <optional>
#include <system_error>

#include "app/LV_AppParams.h"
#include "app/LV_BatchRun.h"
#include "app/LV_CommandLine.h"
#include "app/LV_Connections.h"
#include "app/LV_StopSignals.h"
#include "core/LV_CoreStartup.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
#include "env/LV_EnvStartup.h"
#include "env/LV_Logger.h"
#include "env/LV_VarFile.h"
#include "io/LV_IoStartup.h"
#include "mining/LV_MiningStartup.h"
#include "project/LV_Project.h"
#include "project/LV_ProjectStartup.h"
#include "transform/LV_TransformStartup.h"

namespace lv {

namespace {

// Texts may carry Windows line ends; a console wants bare ones.
std::string ConsoleText(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 1);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    out += text[i];
  }
  if (out.empty() || out.back() != '\n') out += '\n';
  return out;
}

// Restores the run log as it was, so that one process may run the program again (the
// tests do).
class TLogScope {
 public:
  explicit TLogScope(TLVLogger& log) : log_(log) {}
  ~TLogScope() {
    log_.SetOnEcho({});
    log_.Close();
    log_.SetLogFileName("");
    log_.SetSilent(false);
    log_.SetOverwriteExistingFile(false);
  }

 private:
  TLVLogger& log_;
};

void PrintSummary(const std::string& fileName, const TLVAppConsole& console) {
  TProjectSummary summary = PeekProject(fileName);
  std::string text =
      Format(LVText("SProjectSummary"), {fileName, summary.version.empty() ? "-" : summary.version,
                                         LVText(summary.isProtected ? "SYes" : "SNo")});
  for (const auto& p : TProjectProperties::Properties().Items()) {
    std::string value = p.Get(summary.properties);
    if (value.empty()) continue;
    // Appended piece by piece: GCC 12 misreads the chained temporaries as overlapping.
    text += '\n';
    text += TProjectProperties::PropertyCaption(p.Name());
    text += ": ";
    text += value;
  }
  console.out(ConsoleText(text));
}

}  // namespace

void LumiveraStartup() {
  EngineStartup();
  AppStartup();
}

void AppStartup() {
  RegisterCommandLineTexts();
  RegisterAppParamsTexts();
  RegisterConnectionsTexts();
  RegisterBatchRunTexts();
  RegisterAppMainTexts();
}

void LumiveraShutdown() {
  CoreShutdown();
}

int LumiveraStudioMain(std::span<const std::string> args, const TLVAppConsole& console) {
  TLVCommandLine line;
  try {
    line = ParseCommandLine(args);
  } catch (const ELVError& e) {
    console.err(ConsoleText(e.what()));
    return 2;
  }
  if (line.help) {
    console.out(ConsoleText(CommandLineHelpText()));
    return 0;
  }
  auto complain = [&](std::string_view message) {
    if (!line.silent) console.err(ConsoleText(message));
  };

  TLVLogger& log = LVRunLog();
  TLogScope logScope(log);
  // Once the log has its place, every failure that stops the program goes into it as
  // well, so that a quiet run leaves a trace; the console gets it once, from here.
  auto failStartup = [&](std::string_view message) {
    try {
      log.SetSilent(true);
      log.Log(nullptr, message, 0, 0, 0, false, true, kLogCategoryMarked);
    } catch (const ELVError& logError) {
      complain(logError.what());
    }
    complain(message);
    return 2;
  };
  // The full name, so that the log and the formulas asking for the project's file and
  // folder see where it lies whatever the current folder was.
  std::filesystem::path projectFile;
  if (!line.projectFile.empty()) {
    std::error_code ignored;
    projectFile = std::filesystem::absolute(line.projectFile, ignored).lexically_normal();
    if (projectFile.empty()) projectFile = line.projectFile;
  }
  log.SetSilent(line.silent);
  log.SetOnEcho([&console](const std::string& text) { console.out(ConsoleText(text)); });
  log.SetLogType(TLVLogType::lgtFile);
  log.SetLogFileName(line.logFile);
  log.SetOverwriteExistingFile(line.overwriteLog);
  log.SetAppVersionInfo(LumiveraVersion());

  std::optional<std::string> batchPassword;
  try {
    if (!line.paramFile.empty()) {
      TLVAppParams params = LoadAppParams(line.paramFile);
      params.Apply();
      if (!params.GetBatchPassword().empty()) batchPassword = params.GetBatchPassword();
    }
    if (!line.varFile.empty()) {
      LoadVarFile(LVEnvVariables(), line.varFile);
      log.SetEnvironmentsFile(line.varFile);
    }
    if (!line.sysFile.empty()) {
      LVConnections().Load(line.sysFile);
      log.SetConnectionsFile(line.sysFile);
    }
    if (!line.Batch()) {
      // A program with the shell but no display says so rather than that it has none.
      std::string_view why = "SNoDesktopShell";
      if (console.openDesktop) {
        if (std::optional<int> status = console.openDesktop(projectFile)) return *status;
        why = "SNoDisplay";
      }
      console.out(ConsoleText(LVText(why)));
      if (!projectFile.empty()) PrintSummary(projectFile.string(), console);
      return 0;
    }
    if (line.projectFile.empty()) throw ELVError("ErrBatchNoProject");
  } catch (const ELVError& e) {
    return failStartup(e.what());
  }

  try {
    TLVProject project;
    TLVBatchProjectUI ui(log, batchPassword);
    try {
      project.Open(projectFile, ui, TProjectOpenMode::pomBatch);
    } catch (const ELVError& e) {
      return failStartup(e.what());
    }
    log.SetProjectFileName(projectFile.string());
    log.SetProjectVersion(project.Properties().GetProjectVersion());
    TLVBatchOptions options{line.run, line.teach, line.detailedLog};
    std::optional<TLVConsoleProgress> display;
    if (console.progress && !line.silent) display.emplace(console.progress);
    TLVStopProgress progress(display ? &*display : nullptr, log, StopSignalReceived);
    TLVBatchResult result = RunProjectBatch(project, log, options, &progress);
    // A stopped run ends as the shell reports a process ended by that signal.
    if (result.interrupted) {
      const int signal = StopSignalReceived();
      return 128 + (signal != 0 ? signal : SIGINT);
    }
    return result.failed > 0 || result.saveFailed ? 1 : 0;
  } catch (const ELVError& e) {
    // The run log itself failed (its file cannot be opened or written).
    complain(e.what());
    return 2;
  }
}

void RegisterAppMainTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"SNoDesktopShell", "SNoDisplay", "SProjectSummary", "SYes", "SNo", "ErrBatchNoProject"});
}

}  // namespace lv
