// Registration of the built-in functions of the formula language, one call per family.
// BuiltinFunctionsStartup() fills LVCalcFunctions() once; later calls do nothing.
#pragma once

#include "transform/formula/LV_CalcFunctions.h"

namespace lv {

void RegisterMathFunctions(TLVFunctionCollection& functions);  // incl. statistics, finance
void RegisterDateFunctions(TLVFunctionCollection& functions);
void RegisterStringFunctions(TLVFunctionCollection& functions);  // incl. hashes, GetVar
void RegisterRegExFunctions(TLVFunctionCollection& functions);
// The Russian texts of the regular-expression library's errors.
void RegisterRegExTexts();
void RegisterModelFunctions(TLVFunctionCollection& functions);
void RegisterLogicFunctions(TLVFunctionCollection& functions);  // IF, IFF, IN, NVL, Decode...

void BuiltinFunctionsStartup();

}  // namespace lv
