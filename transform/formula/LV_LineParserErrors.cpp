#include "transform/formula/LV_LineParserErrors.h"

#include "core/text/LV_Localization.h"

namespace lv {

void RegisterLineParserErrorsTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ELineParserError", "ENumParameterError", "EInvalidFunctionNameError",
       "EDuplicateFunctionError", "EUnknownFunctionError", "EIllegalCharacterError",
       "EBracketError", "EQuoteError", "EInvalidExpressionError", "ENoFuncError",
       "ETypeMismatchError", "EStringResultError", "ENestingTooDeepError",
       "EFunctionArgumentError"});
}

}  // namespace lv
