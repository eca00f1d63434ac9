#include "gui/LV_Desktop.h"

#include <QApplication>
#include <QSettings>
#include <cstdlib>

#include "gui/LV_CatalogueDialog.h"
#include "gui/LV_GuiText.h"
#include "gui/LV_MainWindow.h"
#include "gui/LV_NodeRunner.h"
#include "gui/LV_ProjectDialogs.h"
#include "gui/LV_ScenarioModel.h"
#include "gui/LV_ScreenshotTour.h"
#include "gui/LV_SettingsDialog.h"
#include "gui/LV_StatsModel.h"
#include "gui/LV_TableModel.h"
#include "project/LV_ProjectStartup.h"

namespace lv {

namespace {

bool EnvironmentHas(const char* name) {
  const char* value = std::getenv(name);
  return value && *value;
}

}  // namespace

void GuiStartup() {
  RegisterScenarioModelTexts();
  RegisterTableModelTexts();
  RegisterStatsModelTexts();
  RegisterNodeRunnerTexts();
  RegisterSettingsDialogTexts();
  RegisterCatalogueDialogTexts();
  RegisterProjectDialogsTexts();
  RegisterMainWindowTexts();
}

void ShellStartup() {
  EngineStartup();
  GuiStartup();
}

bool DesktopAvailable() {
  return EnvironmentHas("DISPLAY") || EnvironmentHas("WAYLAND_DISPLAY") ||
         EnvironmentHas("QT_QPA_PLATFORM");
}

std::optional<int> RunDesktop(const std::filesystem::path& projectFile) {
  if (!DesktopAvailable()) return std::nullopt;
  // Qt keeps references to these for the application's lifetime.
  static int argc = 1;
  static char name[] = "LumiveraStudio";
  static char* argv[] = {name, nullptr};
  QApplication application(argc, argv);
  QApplication::setApplicationName(QStringLiteral("LumiveraStudio"));
  QApplication::setOrganizationName(QStringLiteral("Lumivera"));
  QSettings settings;
  TLVMainWindow window(settings);
  window.show();
  if (!projectFile.empty()) window.OpenProject(ToQ(projectFile.string()));
  if (const QString folder = qEnvironmentVariable("LV_SCREENSHOT_DIR"); !folder.isEmpty()) {
    (new TLVScreenshotTour(window, folder))->Start();
  }
  return QApplication::exec();
}

}  // namespace lv
