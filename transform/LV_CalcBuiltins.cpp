#include "transform/LV_CalcBuiltins.h"

namespace lv {

void BuiltinFunctionsStartup() {
  static bool registered = false;
  if (registered) return;
  registered = true;
  TLVFunctionCollection& functions = LVCalcFunctions();
  RegisterLogicFunctions(functions);
}

}  // namespace lv
