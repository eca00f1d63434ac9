#include "transform/LV_TransformStartup.h"

#include "transform/LV_CalcBuiltins.h"
#include "transform/LV_CalcDataVendor.h"
#include "transform/LV_CalcFunctions.h"
#include "transform/LV_LineParserErrors.h"

namespace lv {

void TransformStartup() {
  // Each transformation unit adds its registration call here.
  RegisterLineParserErrorsTexts();
  RegisterCalcFunctionsTexts();
  BuiltinFunctionsStartup();
  RegisterCalcDataUnits();
}

}  // namespace lv
