#include "env/LV_EnvStartup.h"

#include "env/LV_EnvVariables.h"
#include "env/LV_Logger.h"
#include "env/LV_VarFile.h"

namespace lv {

void EnvStartup() {
  RegisterEnvVariablesTexts();
  RegisterVarFileTexts();
  RegisterLoggerTexts();

  // The start is taken once: every later preparation shows the same run.
  static const TLVAppRunInfo run = CurrentAppRunInfo();
  TLVEnvVariables& variables = LVEnvVariables();
  variables.SetOnPrepareAppVars(
      [](TLVEnvVariables& target) { FillApplicationVariables(target, run); });
  variables.PrepareVariables();
}

}  // namespace lv
