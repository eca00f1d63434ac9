// TLineParser: a formula of the calculator language, parsed once and evaluated for
// many rows, either row by row (the variables' current values) or a block of rows at a
// time (the variables' block vectors). The same language serves every node that
// accepts a user formula.
//
// Parsing raises the ELineParserError family with the user's message. A parser is not
// thread-safe; evaluate one formula from one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "transform/formula/LV_CalcContext.h"
#include "transform/formula/LV_CalcFunctions.h"
#include "transform/formula/LV_CalcVariables.h"
#include "transform/formula/LV_ParserNode.h"

namespace lv {

class TLineParser {
 public:
  // Brackets and calls nested deeper than this are refused: a formula of any length
  // parses and evaluates within a bounded stack.
  static constexpr int32_t kMaxNesting = 256;

  TLineParser();

  // The names a formula may use. Change them before Parse.
  TLVVariables& Variables() { return variables_; }
  const TLVVariables& Variables() const { return variables_; }
  // Functions of this parser only, on top of the built-in ones.
  TLVFunctionCollection& Functions() { return functions_; }

  void Parse(std::string_view expression);
  bool Parsed() const { return root_ != nullptr; }
  const std::string& Expression() const { return expression_; }
  // The variables the formula refers to, ascending: a caller binds only these.
  const std::vector<int32_t>& UsedVariables() const { return usedVariables_; }
  // True when the formula calls a function that gives a new value on every call
  // (Random, Now...): two evaluations of one row may differ.
  bool Volatile() const { return volatile_; }
  TLVCalcKind ResultKind() const;
  // Raises EStringResultError when the formula yields a text.
  void RequireNumberResult() const;

  // Row by row, with the variables' current values. A text result asked for as a
  // number is converted when it reads as one, else missing.
  double EvaluateNumber(TLVCalcContext* context = nullptr);
  std::string EvaluateString(TLVCalcContext* context = nullptr);  // "" for a missing text
  // The value in its own domain, a missing text told apart from an empty one.
  TLVCalcScalar EvaluateValue(TLVCalcContext* context = nullptr);

  // A block: `inputs` holds one vector per variable, in variable order; the result is
  // defined at the selected positions and stays valid until the next evaluation.
  TLVCalcVector EvaluateBlock(const TLVCalcVector* inputs, const TLVSelection& sel,
                              TLVCalcContext* context = nullptr);

 private:
  TLVVariables variables_;
  TLVFunctionCollection functions_;
  std::string expression_;
  std::vector<int32_t> usedVariables_;
  bool volatile_ = false;
  TParserNodePtr root_;
};

}  // namespace lv
