#include "transform/LV_TransformStartup.h"

#include <iostream>

#include "transform/LV_CalcBuiltins.h"
#include "transform/LV_CalcDataVendor.h"
#include "transform/LV_CalcFunctions.h"
#include "transform/LV_CalcPlugin.h"
#include "transform/LV_FilterVendor.h"
#include "transform/LV_LineParserErrors.h"

namespace lv {

void TransformStartup() {
  // Each transformation unit adds its registration call here.
  RegisterLineParserErrorsTexts();
  RegisterCalcFunctionsTexts();
  BuiltinFunctionsStartup();
  RegisterCalcPluginTexts();
  // Add-in libraries come after the built-in functions, so that a library cannot take
  // a built-in name. Nothing is open to log to yet: refusals go to the error stream.
  for (const std::string& message : LoadCalcPlugins(DefaultPluginFolder(), LVCalcFunctions())) {
    std::cerr << message << '\n';
  }
  RegisterCalcDataUnits();
  RegisterFilterVendors();
}

}  // namespace lv
