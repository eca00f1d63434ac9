// The choice functions (IF, IFF, NVL, IN, Decode, DecodeN, DecodeF), which the
// evaluator implements itself: each operand is evaluated only for the rows that need
// it, so a branch that is not taken costs nothing and cannot fail.
#pragma once

#include <vector>

#include "transform/formula/LV_ParserNode.h"

namespace lv {

TParserNodePtr MakeChoiceCall(const TPFunction& function, std::vector<TParserNodePtr> args);

}  // namespace lv
