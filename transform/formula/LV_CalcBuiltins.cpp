#include "transform/formula/LV_CalcBuiltins.h"

#include "core/text/LV_Localization.h"

namespace lv {
namespace {

// Messages the built-in functions raise besides the parser's own.
void RegisterBuiltinMessagesTexts() {
  TLVLocalization::Instance().RegisterKeys({"CalcErrTooLong", "EFormatFunctionError", "ERegExError",
                                            "ERegExLimitError", "ERegExReplaceError"});
  RegisterRegExTexts();
}

}  // namespace

void BuiltinFunctionsStartup() {
  static bool done = false;
  if (done) return;
  done = true;
  RegisterBuiltinMessagesTexts();
  TLVFunctionCollection& functions = LVCalcFunctions();
  RegisterMathFunctions(functions);
  RegisterDateFunctions(functions);
  RegisterStringFunctions(functions);
  RegisterRegExFunctions(functions);
  RegisterModelFunctions(functions);
  RegisterLogicFunctions(functions);
}

}  // namespace lv
