// The parse tree of a formula and its two evaluators.
//
// Block evaluation (Eval) computes a node for the positions of a selection of the
// current block and returns a view of its values; positions outside the selection are
// left undefined. Short-circuit operators and choice functions hand each operand only
// the positions that need it (AND its right side the rows still true or missing, OR
// the rows still false or missing, IF each branch its own rows).
//
// Row evaluation (EvalRow) walks the tree for one row. It is the reference the block
// evaluator is tested against; both share the per-value operator and function kernels.
//
// A node owns the buffers of its results; a view it returns stays valid until the node
// is evaluated again. A tree is evaluated by one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "transform/formula/LV_CalcContext.h"
#include "transform/formula/LV_CalcFunctions.h"
#include "transform/formula/LV_CalcValues.h"
#include "transform/formula/LV_CalcVariables.h"

namespace lv {

struct TLVSelection {
  const int32_t* positions = nullptr;  // null: every position from 0 to count - 1
  int32_t count = 0;

  bool Dense() const { return positions == nullptr; }
  int32_t operator[](int32_t k) const { return positions ? positions[k] : k; }
};

// One value of either domain, for evaluation row by row.
struct TLVCalcScalar {
  TLVCalcKind kind = TLVCalcKind::ckNumber;
  double number = LVCalcNull();
  std::string text;
  bool textNull = true;

  static TLVCalcScalar Number(double value);
  static TLVCalcScalar Text(std::string_view value);  // a null view gives a missing text
  std::string_view TextView() const { return textNull ? std::string_view() : std::string_view(text); }
  bool IsNull() const { return kind == TLVCalcKind::ckString ? textNull : LVCalcIsNull(number); }
};

// What an evaluation reads: the variables' values and the context of the rows.
struct TLVCalcEval {
  const TLVCalcVector* inputs = nullptr;    // block evaluation: one vector per variable
  const TLVVariables* variables = nullptr;  // row evaluation: the variables' current values
  TLVCalcContext* context = nullptr;
};

class TParserNode {
 public:
  explicit TParserNode(TLVCalcKind kind) : kind_(kind) {}
  virtual ~TParserNode() = default;
  TParserNode(const TParserNode&) = delete;
  TParserNode& operator=(const TParserNode&) = delete;

  TLVCalcKind Kind() const { return kind_; }
  virtual bool IsConstant() const { return false; }
  // The value of a text constant (null view for anything else).
  virtual std::string_view ConstantText() const { return {}; }

  virtual TLVCalcVector Eval(TLVCalcEval& ev, const TLVSelection& sel) = 0;
  virtual TLVCalcScalar EvalRow(TLVCalcEval& ev) = 0;

 protected:
  double* Numbers();
  std::string_view* Strings();
  TLVBlockArena& Arena() { return arena_; }
  // Stores a built text for the current block; an empty text stays a present one.
  std::string_view StoreText(std::string_view text);
  TLVCalcVector NumberResult() { return {TLVCalcKind::ckNumber, Numbers(), nullptr, 1}; }
  TLVCalcVector TextResult() { return {TLVCalcKind::ckString, nullptr, Strings(), 1}; }

 private:
  TLVCalcKind kind_;
  std::unique_ptr<double[]> numbers_;
  std::unique_ptr<std::string_view[]> strings_;
  TLVBlockArena arena_;
};

using TParserNodePtr = std::unique_ptr<TParserNode>;

TParserNodePtr MakeNumberConstant(double value);
TParserNodePtr MakeTextConstant(std::string value);
TParserNodePtr MakeVariable(int32_t index, TLVCalcKind kind);
// Converts a node to the other domain (NumberToCalcText / TextToCalcNumber); returns
// the node itself when it is of that kind already.
TParserNodePtr ConvertTo(TParserNodePtr node, TLVCalcKind kind);
// A left-associative chain of operators of one precedence class: operands[0] op[0]
// operands[1] op[1] ... The operator codes are those of the compact text: + - * /,
// = ! < > $ %, @ (AND), # (OR), ? (XOR). Raises ETypeMismatchError.
TParserNodePtr MakeChain(std::vector<TParserNodePtr> operands, std::vector<char> operators);
// A call; arguments of the wrong kind are converted to the kinds the function declares.
// The argument count must have been checked.
TParserNodePtr MakeCall(const TPFunction& function, std::vector<TParserNodePtr> args);
// The same with the result kind chosen by the parser (functions with kindFromArg).
TParserNodePtr MakeCall(const TPFunction& function, std::vector<TParserNodePtr> args,
                        TLVCalcKind resultKind);

// A chain or call whose operands are all constants is computed once, here, unless it
// gives a new value on every evaluation or reads the data context (`foldable` false),
// or fails (the failure then shows when the formula is evaluated, as written).
TParserNodePtr FoldConstant(TParserNodePtr node, bool foldable);
bool AllConstant(const std::vector<TParserNodePtr>& nodes);

// The comparison rules shared by the operators and the choice functions. Numbers are
// equal within a relative tolerance of 1e-12; two missing values are equal.
bool CalcNumbersEqual(double a, double b);
bool CalcTextsEqual(std::string_view a, std::string_view b);

// The text of a present empty value (a view whose data is not null).
inline constexpr std::string_view kLVCalcEmptyText{"", 0};

// Positions of a block; used by nodes that split a selection.
class TLVSelectionBuffer {
 public:
  int32_t* Data();
  TLVSelection View(int32_t count) { return {Data(), count}; }

 private:
  std::unique_ptr<int32_t[]> positions_;
};

}  // namespace lv
