#include "transform/formula/LV_FormulaStartup.h"

#include <iostream>

#include "transform/formula/LV_CalcBuiltins.h"
#include "transform/formula/LV_CalcFunctions.h"
#include "transform/formula/LV_CalcPlugin.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {

void FormulaStartup() {
  RegisterLineParserErrorsTexts();
  RegisterCalcFunctionsTexts();
  BuiltinFunctionsStartup();
  RegisterCalcPluginTexts();
  // Add-in libraries come after the built-in functions, so that a library cannot take
  // a built-in name. Nothing is open to log to yet: refusals go to the error stream.
  for (const std::string& message : LoadCalcPlugins(DefaultPluginFolder(), LVCalcFunctions())) {
    std::cerr << message << '\n';
  }
}

}  // namespace lv
