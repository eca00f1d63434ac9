// The shell's test start-up: the offscreen platform unless another is asked for, one
// QApplication for every test, the engine's and the shell's registrations as the
// program performs them, and the test kinds.
#include <gtest/gtest.h>

#include <QApplication>

#include "core/LV_CoreStartup.h"
#include "gui/LV_Desktop.h"
#include "gui/LV_GuiTestKinds.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  lv::ShellStartup();
  lv::test::RegisterGuiTestKinds();
  int result = RUN_ALL_TESTS();
  lv::CoreShutdown();
  return result;
}
