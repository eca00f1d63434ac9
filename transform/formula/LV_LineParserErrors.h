// The error family of the formula language. Every class carries its own message key,
// so a caller can tell the failures apart by type as well as by key.
#pragma once

#include "core/text/LV_Errors.h"

namespace lv {

// "Ошибка разбора выражения", and the base of every formula error.
class ELineParserError : public ELVError {
 public:
  ELineParserError() : ELVError("ELineParserError") {}

 protected:
  using ELVError::ELVError;
};

#define LV_LINE_PARSER_ERROR(Class)                                                 \
  class Class : public ELineParserError {                                          \
   public:                                                                         \
    explicit Class(std::initializer_list<TLVFormatArg> args = {})                  \
        : ELineParserError(#Class, args) {}                                        \
  };

LV_LINE_PARSER_ERROR(ENumParameterError)         // wrong argument count: function name
LV_LINE_PARSER_ERROR(EInvalidFunctionNameError)  // registration: the name
LV_LINE_PARSER_ERROR(EDuplicateFunctionError)    // registration: the name
LV_LINE_PARSER_ERROR(EUnknownFunctionError)      // the name
LV_LINE_PARSER_ERROR(EIllegalCharacterError)     // the character
LV_LINE_PARSER_ERROR(EBracketError)
LV_LINE_PARSER_ERROR(EQuoteError)                // line number
LV_LINE_PARSER_ERROR(EInvalidExpressionError)    // the sub-expression
LV_LINE_PARSER_ERROR(ENoFuncError)
LV_LINE_PARSER_ERROR(ETypeMismatchError)         // a text where a number must be, or back
LV_LINE_PARSER_ERROR(EStringResultError)         // a text asked for as a number
LV_LINE_PARSER_ERROR(ENestingTooDeepError)       // brackets or calls nested too deep: limit
LV_LINE_PARSER_ERROR(EFunctionArgumentError)     // a function refuses its arguments: message
LV_LINE_PARSER_ERROR(EFormatFunctionError)       // Format's pattern or arguments: the pattern
LV_LINE_PARSER_ERROR(ERegExError)                // a bad regular expression: it, the reason
LV_LINE_PARSER_ERROR(ERegExLimitError)           // a match that backtracks too long: the pattern
LV_LINE_PARSER_ERROR(ERegExReplaceError)         // a bad replacement: it, the reason

#undef LV_LINE_PARSER_ERROR

void RegisterLineParserErrorsTexts();

}  // namespace lv
