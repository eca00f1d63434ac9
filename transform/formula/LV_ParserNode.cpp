#include "transform/formula/LV_ParserNode.h"

#include <algorithm>
#include <cmath>

#include "transform/formula/LV_CalcChoice.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

constexpr size_t kBlock = static_cast<size_t>(kLVBlockSize);

bool TolerantEqual(double a, double b) {
  return a == b || std::fabs(a - b) <= std::min(std::fabs(a), std::fabs(b)) * 1e-12;
}

// What a comparison gives when one or both operands are missing: = and <> treat two
// missing values as equal, < and > are unknown, <= and >= hold for two missing values
// and are unknown for one. The asymmetry is intended.
template <char Op>
double MissingComparison(bool aNull, bool bNull) {
  if constexpr (Op == '=') return LVCalcBool(aNull && bNull);
  if constexpr (Op == '!') return LVCalcBool(!(aNull && bNull));
  if constexpr (Op == '<' || Op == '>') return LVCalcNull();
  return aNull && bNull ? 1.0 : LVCalcNull();
}

// `order` < 0, 0 or > 0 as a is below, equal to or above b.
template <char Op>
double OrderedComparison(int order) {
  if constexpr (Op == '=') return LVCalcBool(order == 0);
  if constexpr (Op == '!') return LVCalcBool(order != 0);
  if constexpr (Op == '<') return LVCalcBool(order < 0);
  if constexpr (Op == '>') return LVCalcBool(order > 0);
  if constexpr (Op == '$') return LVCalcBool(order <= 0);
  return LVCalcBool(order >= 0);
}

// The per-value kernels of the numeric operators. IEEE arithmetic already carries a
// missing operand (NaN) into the result; division by an exact zero gives missing.
template <char Op>
double NumberOperator(double a, double b) {
  if constexpr (Op == '+') {
    return a + b;
  } else if constexpr (Op == '-') {
    return a - b;
  } else if constexpr (Op == '*') {
    return a * b;
  } else if constexpr (Op == '/') {
    return b == 0 ? LVCalcNull() : a / b;
  } else if constexpr (Op == '?') {
    if (std::isnan(a) || std::isnan(b)) return LVCalcNull();
    return LVCalcBool((a != 0) != (b != 0));
  } else {
    bool aNull = std::isnan(a), bNull = std::isnan(b);
    if (aNull || bNull) return MissingComparison<Op>(aNull, bNull);
    // Values within the tolerance are equal, so neither is below the other.
    return OrderedComparison<Op>(TolerantEqual(a, b) ? 0 : (a < b ? -1 : 1));
  }
}

template <char Op>
double TextComparison(std::string_view a, std::string_view b) {
  bool aNull = LVCalcIsNull(a), bNull = LVCalcIsNull(b);
  if (aNull || bNull) return MissingComparison<Op>(aNull, bNull);
  return OrderedComparison<Op>(a.compare(b));
}

template <char Op>
struct TNumberOperator {
  double operator()(double a, double b) const { return NumberOperator<Op>(a, b); }
};

template <class F>
void ApplyBinary(const TLVSelection& sel, const TLVCalcVector& a, const TLVCalcVector& b,
                 double* out, F f) {
  const double* x = a.numbers;
  const double* y = b.numbers;
  if (sel.Dense()) {
    const int32_t n = sel.count;
    if (a.stride != 0 && b.stride != 0) {
      for (int32_t i = 0; i < n; ++i) out[i] = f(x[i], y[i]);
    } else if (a.stride != 0) {
      const double c = y[0];
      for (int32_t i = 0; i < n; ++i) out[i] = f(x[i], c);
    } else if (b.stride != 0) {
      const double c = x[0];
      for (int32_t i = 0; i < n; ++i) out[i] = f(c, y[i]);
    } else {
      std::fill(out, out + n, f(x[0], y[0]));
    }
    return;
  }
  for (int32_t k = 0; k < sel.count; ++k) {
    const int32_t p = sel.positions[k];
    out[p] = f(a.Number(p), b.Number(p));
  }
}

template <char Op>
void ApplyTextComparison(const TLVSelection& sel, const TLVCalcVector& a, const TLVCalcVector& b,
                         double* out) {
  for (int32_t k = 0; k < sel.count; ++k) {
    const int32_t p = sel[k];
    out[p] = TextComparison<Op>(a.String(p), b.String(p));
  }
}

// One step of a numeric or comparison chain over a block, and the same for one row.
void ApplyOperator(char op, const TLVSelection& sel, const TLVCalcVector& a,
                   const TLVCalcVector& b, double* out) {
  if (a.IsString()) {
    switch (op) {
      case '=': return ApplyTextComparison<'='>(sel, a, b, out);
      case '!': return ApplyTextComparison<'!'>(sel, a, b, out);
      case '<': return ApplyTextComparison<'<'>(sel, a, b, out);
      case '>': return ApplyTextComparison<'>'>(sel, a, b, out);
      case '$': return ApplyTextComparison<'$'>(sel, a, b, out);
      default: return ApplyTextComparison<'%'>(sel, a, b, out);
    }
  }
  switch (op) {
    case '+': return ApplyBinary(sel, a, b, out, TNumberOperator<'+'>{});
    case '-': return ApplyBinary(sel, a, b, out, TNumberOperator<'-'>{});
    case '*': return ApplyBinary(sel, a, b, out, TNumberOperator<'*'>{});
    case '/': return ApplyBinary(sel, a, b, out, TNumberOperator<'/'>{});
    case '?': return ApplyBinary(sel, a, b, out, TNumberOperator<'?'>{});
    case '=': return ApplyBinary(sel, a, b, out, TNumberOperator<'='>{});
    case '!': return ApplyBinary(sel, a, b, out, TNumberOperator<'!'>{});
    case '<': return ApplyBinary(sel, a, b, out, TNumberOperator<'<'>{});
    case '>': return ApplyBinary(sel, a, b, out, TNumberOperator<'>'>{});
    case '$': return ApplyBinary(sel, a, b, out, TNumberOperator<'$'>{});
    default: return ApplyBinary(sel, a, b, out, TNumberOperator<'%'>{});
  }
}

// Two steps of a chain of one repeated + or * in one pass over dense operands: a*b*c
// reads and writes the block once instead of twice.
template <class F>
void ApplyTwoSteps(int32_t n, const double* a, const double* b, const double* c, double* out, F f) {
  for (int32_t i = 0; i < n; ++i) out[i] = f(f(a[i], b[i]), c[i]);
}

bool FusesTwoSteps(const TLVSelection& sel, char op, char next, const TLVCalcVector& a,
                   const TLVCalcVector& b, const TLVCalcVector& c) {
  return sel.Dense() && op == next && (op == '+' || op == '*') && !a.IsString() &&
         a.stride == 1 && b.stride == 1 && c.stride == 1;
}

double RowOperator(char op, const TLVCalcScalar& a, const TLVCalcScalar& b) {
  if (a.kind == TLVCalcKind::ckString) {
    std::string_view x = a.TextView(), y = b.TextView();
    switch (op) {
      case '=': return TextComparison<'='>(x, y);
      case '!': return TextComparison<'!'>(x, y);
      case '<': return TextComparison<'<'>(x, y);
      case '>': return TextComparison<'>'>(x, y);
      case '$': return TextComparison<'$'>(x, y);
      default: return TextComparison<'%'>(x, y);
    }
  }
  const double x = a.number, y = b.number;
  switch (op) {
    case '+': return NumberOperator<'+'>(x, y);
    case '-': return NumberOperator<'-'>(x, y);
    case '*': return NumberOperator<'*'>(x, y);
    case '/': return NumberOperator<'/'>(x, y);
    case '?': return NumberOperator<'?'>(x, y);
    case '=': return NumberOperator<'='>(x, y);
    case '!': return NumberOperator<'!'>(x, y);
    case '<': return NumberOperator<'<'>(x, y);
    case '>': return NumberOperator<'>'>(x, y);
    case '$': return NumberOperator<'$'>(x, y);
    default: return NumberOperator<'%'>(x, y);
  }
}

// Three-valued AND and OR. `acc` is the value so far, `b` the next operand, which is
// only evaluated where the result is still open.
bool AndNeedsRight(double acc) { return acc != 0; }  // true or missing (NaN != 0)
bool OrNeedsRight(double acc) { return !LVCalcIsTrue(acc); }
double AndStep(double acc, double b) {
  if (!std::isnan(acc)) return b;  // TRUE AND x is x
  return b == 0 ? 0.0 : LVCalcNull();
}
double OrStep(double acc, double b) {
  if (!std::isnan(acc)) return b;  // FALSE OR x is x
  return LVCalcIsTrue(b) ? 1.0 : LVCalcNull();
}
// A true left operand of OR gives TRUE itself, whatever number it was.
double OrStart(double a) { return LVCalcIsTrue(a) ? 1.0 : a; }

class TConstantNode : public TParserNode {
 public:
  explicit TConstantNode(double value) : TParserNode(TLVCalcKind::ckNumber), number_(value) {}
  explicit TConstantNode(std::string value)
      : TParserNode(TLVCalcKind::ckString), text_(std::move(value)), view_(text_) {}
  // A missing text (a folded call that gave none).
  TConstantNode() : TParserNode(TLVCalcKind::ckString) {}

  bool IsConstant() const override { return true; }
  std::string_view ConstantText() const override {
    return Kind() == TLVCalcKind::ckString ? view_ : std::string_view();
  }
  TLVCalcVector Eval(TLVCalcEval&, const TLVSelection&) override {
    return {Kind(), &number_, &view_, 0};
  }
  TLVCalcScalar EvalRow(TLVCalcEval&) override {
    return Kind() == TLVCalcKind::ckNumber ? TLVCalcScalar::Number(number_)
                                           : TLVCalcScalar::Text(view_);
  }

 private:
  double number_ = LVCalcNull();
  std::string text_;
  std::string_view view_;
};

class TVariableNode : public TParserNode {
 public:
  TVariableNode(int32_t index, TLVCalcKind kind) : TParserNode(kind), index_(index) {}

  TLVCalcVector Eval(TLVCalcEval& ev, const TLVSelection&) override { return ev.inputs[index_]; }
  TLVCalcScalar EvalRow(TLVCalcEval& ev) override {
    const TVariable& v = (*ev.variables)[index_];
    return Kind() == TLVCalcKind::ckNumber ? TLVCalcScalar::Number(v.Number())
                                           : TLVCalcScalar::Text(v.Text());
  }

 private:
  int32_t index_;
};

class TConvertNode : public TParserNode {
 public:
  TConvertNode(TParserNodePtr child, TLVCalcKind kind)
      : TParserNode(kind), child_(std::move(child)) {}

  TLVCalcVector Eval(TLVCalcEval& ev, const TLVSelection& sel) override {
    TLVCalcVector in = child_->Eval(ev, sel);
    if (Kind() == TLVCalcKind::ckNumber) {
      double* out = Numbers();
      for (int32_t k = 0; k < sel.count; ++k) {
        const int32_t p = sel[k];
        out[p] = TextToCalcNumber(in.String(p));
      }
      return NumberResult();
    }
    Arena().Clear();
    std::string_view* out = Strings();
    for (int32_t k = 0; k < sel.count; ++k) {
      const int32_t p = sel[k];
      double value = in.Number(p);
      if (LVCalcIsNull(value)) {
        out[p] = {};
        continue;
      }
      NumberToCalcText(value, scratch_);
      out[p] = StoreText(scratch_);
    }
    return TextResult();
  }

  TLVCalcScalar EvalRow(TLVCalcEval& ev) override {
    TLVCalcScalar in = child_->EvalRow(ev);
    if (Kind() == TLVCalcKind::ckNumber) return TLVCalcScalar::Number(TextToCalcNumber(in.TextView()));
    if (in.IsNull()) return TLVCalcScalar::Text({});
    NumberToCalcText(in.number, scratch_);
    return TLVCalcScalar::Text(scratch_);
  }

 private:
  TParserNodePtr child_;
  std::string scratch_;
};

class TChainNode : public TParserNode {
 public:
  TChainNode(TLVCalcKind kind, std::vector<TParserNodePtr> operands, std::vector<char> operators)
      : TParserNode(kind), operands_(std::move(operands)), operators_(std::move(operators)) {}

 protected:
  std::vector<TParserNodePtr> operands_;
  std::vector<char> operators_;
};

// + - * / XOR and the comparisons, folded from the left.
class TOperatorChain : public TChainNode {
 public:
  using TChainNode::TChainNode;

  TLVCalcVector Eval(TLVCalcEval& ev, const TLVSelection& sel) override {
    TLVCalcVector acc = operands_[0]->Eval(ev, sel);
    double* out = Numbers();
    for (size_t i = 0; i < operators_.size(); ++i) {
      TLVCalcVector b = operands_[i + 1]->Eval(ev, sel);
      if (i + 1 < operators_.size()) {
        TLVCalcVector c = operands_[i + 2]->Eval(ev, sel);
        if (FusesTwoSteps(sel, operators_[i], operators_[i + 1], acc, b, c)) {
          if (operators_[i] == '+') {
            ApplyTwoSteps(sel.count, acc.numbers, b.numbers, c.numbers, out, TNumberOperator<'+'>{});
          } else {
            ApplyTwoSteps(sel.count, acc.numbers, b.numbers, c.numbers, out, TNumberOperator<'*'>{});
          }
          acc = NumberResult();
          ++i;
          continue;
        }
        ApplyOperator(operators_[i], sel, acc, b, out);
        acc = NumberResult();
        ApplyOperator(operators_[i + 1], sel, acc, c, out);
        ++i;
        continue;
      }
      ApplyOperator(operators_[i], sel, acc, b, out);
      acc = NumberResult();
    }
    return acc;
  }

  TLVCalcScalar EvalRow(TLVCalcEval& ev) override {
    TLVCalcScalar acc = operands_[0]->EvalRow(ev);
    for (size_t i = 0; i < operators_.size(); ++i) {
      TLVCalcScalar b = operands_[i + 1]->EvalRow(ev);
      acc = TLVCalcScalar::Number(RowOperator(operators_[i], acc, b));
    }
    return acc;
  }
};

// AND and OR: each operand sees only the rows whose result is still open.
class TLogicChain : public TChainNode {
 public:
  TLogicChain(std::vector<TParserNodePtr> operands, std::vector<char> operators)
      : TChainNode(TLVCalcKind::ckNumber, std::move(operands), std::move(operators)),
        isAnd_(operators_.front() == '@') {}

  TLVCalcVector Eval(TLVCalcEval& ev, const TLVSelection& sel) override {
    TLVCalcVector first = operands_[0]->Eval(ev, sel);
    double* out = Numbers();
    for (int32_t k = 0; k < sel.count; ++k) {
      const int32_t p = sel[k];
      out[p] = isAnd_ ? first.Number(p) : OrStart(first.Number(p));
    }
    for (size_t i = 1; i < operands_.size(); ++i) {
      int32_t* open = open_.Data();
      int32_t count = 0;
      for (int32_t k = 0; k < sel.count; ++k) {
        const int32_t p = sel[k];
        if (isAnd_ ? AndNeedsRight(out[p]) : OrNeedsRight(out[p])) open[count++] = p;
      }
      if (count == 0) break;
      TLVCalcVector b = operands_[i]->Eval(ev, open_.View(count));
      for (int32_t k = 0; k < count; ++k) {
        const int32_t p = open[k];
        out[p] = isAnd_ ? AndStep(out[p], b.Number(p)) : OrStep(out[p], b.Number(p));
      }
    }
    return NumberResult();
  }

  TLVCalcScalar EvalRow(TLVCalcEval& ev) override {
    double acc = operands_[0]->EvalRow(ev).number;
    if (!isAnd_) acc = OrStart(acc);
    for (size_t i = 1; i < operands_.size(); ++i) {
      if (!(isAnd_ ? AndNeedsRight(acc) : OrNeedsRight(acc))) break;
      double b = operands_[i]->EvalRow(ev).number;
      acc = isAnd_ ? AndStep(acc, b) : OrStep(acc, b);
    }
    return TLVCalcScalar::Number(acc);
  }

 private:
  bool isAnd_;
  TLVSelectionBuffer open_;
};

// Texts joined by +; a missing operand makes the result missing.
class TConcatChain : public TChainNode {
 public:
  TConcatChain(std::vector<TParserNodePtr> operands, std::vector<char> operators)
      : TChainNode(TLVCalcKind::ckString, std::move(operands), std::move(operators)),
        parts_(operands_.size()) {}

  TLVCalcVector Eval(TLVCalcEval& ev, const TLVSelection& sel) override {
    for (size_t i = 0; i < operands_.size(); ++i) parts_[i] = operands_[i]->Eval(ev, sel);
    Arena().Clear();
    std::string_view* out = Strings();
    for (int32_t k = 0; k < sel.count; ++k) {
      const int32_t p = sel[k];
      scratch_.clear();
      bool missing = false;
      for (const TLVCalcVector& part : parts_) {
        std::string_view text = part.String(p);
        if (LVCalcIsNull(text)) {
          missing = true;
          break;
        }
        scratch_ += text;
      }
      out[p] = missing ? std::string_view() : StoreText(scratch_);
    }
    return TextResult();
  }

  TLVCalcScalar EvalRow(TLVCalcEval& ev) override {
    std::string text;
    for (const TParserNodePtr& operand : operands_) {
      TLVCalcScalar part = operand->EvalRow(ev);
      if (part.IsNull()) return TLVCalcScalar::Text({});
      text += part.text;
    }
    return TLVCalcScalar::Text(text);
  }

 private:
  std::vector<TLVCalcVector> parts_;
  std::string scratch_;
};

// A call of a function with a per-row kernel.
class TCallNode : public TParserNode {
 public:
  TCallNode(const TPFunction& function, std::vector<TParserNodePtr> args, TLVCalcKind kind)
      : TParserNode(kind),
        function_(function),
        args_(std::move(args)),
        vectors_(args_.size()),
        rowValues_(args_.size()),
        rowTexts_(args_.size()) {
    if (function.Has(fnNullPropagates)) {
      for (size_t i = 0; i < args_.size(); ++i) {
        if (args_[i]->Kind() == TLVCalcKind::ckNumber) nullChecked_.push_back(i);
      }
    }
  }

  TLVCalcVector Eval(TLVCalcEval& ev, const TLVSelection& sel) override {
    for (size_t i = 0; i < args_.size(); ++i) vectors_[i] = args_[i]->Eval(ev, sel);
    TLVCalcArgs args(function_, vectors_.data(), static_cast<int32_t>(vectors_.size()), ev.context);
    if (Kind() == TLVCalcKind::ckNumber) {
      double* out = Numbers();
      for (int32_t k = 0; k < sel.count; ++k) {
        const int32_t p = sel[k];
        if (AnyMissing(p)) {
          out[p] = LVCalcNull();
          continue;
        }
        args.SetPosition(p);
        out[p] = LVCalcNormalize(function_.numKernel(args));
      }
      return NumberResult();
    }
    Arena().Clear();
    std::string_view* out = Strings();
    for (int32_t k = 0; k < sel.count; ++k) {
      const int32_t p = sel[k];
      if (AnyMissing(p)) {
        out[p] = {};
        continue;
      }
      args.SetPosition(p);
      result_.Reset();
      function_.strKernel(args, result_);
      out[p] = result_.Built() ? StoreText(result_.Value()) : result_.Value();
    }
    return TextResult();
  }

  // The arguments become vectors of one value (stride 0), so the kernel runs exactly
  // as in a block.
  TLVCalcScalar EvalRow(TLVCalcEval& ev) override {
    for (size_t i = 0; i < args_.size(); ++i) {
      rowValues_[i] = args_[i]->EvalRow(ev);
      rowTexts_[i] = rowValues_[i].TextView();
      vectors_[i] = {rowValues_[i].kind, &rowValues_[i].number, &rowTexts_[i], 0};
    }
    TLVCalcArgs args(function_, vectors_.data(), static_cast<int32_t>(vectors_.size()), ev.context);
    if (Kind() == TLVCalcKind::ckNumber) {
      return TLVCalcScalar::Number(AnyMissing(0) ? LVCalcNull()
                                                 : LVCalcNormalize(function_.numKernel(args)));
    }
    if (AnyMissing(0)) return TLVCalcScalar::Text({});
    result_.Reset();
    function_.strKernel(args, result_);
    return TLVCalcScalar::Text(result_.Value());
  }

 private:
  bool AnyMissing(int32_t pos) const {
    for (size_t i : nullChecked_) {
      if (LVCalcIsNull(vectors_[i].Number(pos))) return true;
    }
    return false;
  }

  const TPFunction& function_;
  std::vector<TParserNodePtr> args_;
  std::vector<TLVCalcVector> vectors_;
  std::vector<size_t> nullChecked_;
  std::vector<TLVCalcScalar> rowValues_;
  std::vector<std::string_view> rowTexts_;
  TLVCalcStrResult result_;
};

bool IsComparison(char op) {
  return op == '=' || op == '!' || op == '<' || op == '>' || op == '$' || op == '%';
}

}  // namespace

TLVCalcScalar TLVCalcScalar::Number(double value) {
  TLVCalcScalar s;
  s.number = value;
  return s;
}

TLVCalcScalar TLVCalcScalar::Text(std::string_view value) {
  TLVCalcScalar s;
  s.kind = TLVCalcKind::ckString;
  s.textNull = LVCalcIsNull(value);
  if (!s.textNull) s.text.assign(value);
  return s;
}

double* TParserNode::Numbers() {
  if (!numbers_) numbers_ = std::make_unique_for_overwrite<double[]>(kBlock);
  return numbers_.get();
}

std::string_view* TParserNode::Strings() {
  if (!strings_) strings_ = std::make_unique<std::string_view[]>(kBlock);
  return strings_.get();
}

std::string_view TParserNode::StoreText(std::string_view text) {
  return text.empty() ? kLVCalcEmptyText : arena_.Store(text);
}

int32_t* TLVSelectionBuffer::Data() {
  if (!positions_) positions_ = std::make_unique_for_overwrite<int32_t[]>(kBlock);
  return positions_.get();
}

bool CalcNumbersEqual(double a, double b) { return NumberOperator<'='>(a, b) != 0; }
bool CalcTextsEqual(std::string_view a, std::string_view b) { return TextComparison<'='>(a, b) != 0; }

TParserNodePtr MakeNumberConstant(double value) { return std::make_unique<TConstantNode>(value); }
TParserNodePtr MakeTextConstant(std::string value) {
  return std::make_unique<TConstantNode>(std::move(value));
}
TParserNodePtr MakeVariable(int32_t index, TLVCalcKind kind) {
  return std::make_unique<TVariableNode>(index, kind);
}

TParserNodePtr ConvertTo(TParserNodePtr node, TLVCalcKind kind) {
  if (node->Kind() == kind) return node;
  bool constant = node->IsConstant();
  TParserNodePtr converted = std::make_unique<TConvertNode>(std::move(node), kind);
  return constant ? FoldConstant(std::move(converted), true) : std::move(converted);
}

bool AllConstant(const std::vector<TParserNodePtr>& nodes) {
  return std::all_of(nodes.begin(), nodes.end(), [](const auto& n) { return n->IsConstant(); });
}

TParserNodePtr FoldConstant(TParserNodePtr node, bool foldable) {
  if (!foldable) return node;
  TLVCalcEval ev;
  try {
    TLVCalcScalar value = node->EvalRow(ev);
    if (value.kind == TLVCalcKind::ckNumber) return MakeNumberConstant(value.number);
    if (value.textNull) return std::make_unique<TConstantNode>();
    return MakeTextConstant(value.text);
  } catch (const ELVError&) {
    return node;
  }
}

TParserNodePtr MakeChain(std::vector<TParserNodePtr> operands, std::vector<char> operators) {
  const char first = operators.front();
  bool anyText = std::any_of(operands.begin(), operands.end(),
                             [](const auto& n) { return n->Kind() == TLVCalcKind::ckString; });
  bool constant = AllConstant(operands);
  TParserNodePtr chain;
  if (first == '@' || first == '#') {
    if (anyText) throw ETypeMismatchError();
    chain = std::make_unique<TLogicChain>(std::move(operands), std::move(operators));
  } else if (anyText && (first == '+' || first == '-')) {
    bool allConcat = std::all_of(operators.begin(), operators.end(), [](char c) { return c == '+'; }) &&
                     std::all_of(operands.begin(), operands.end(),
                                 [](const auto& n) { return n->Kind() == TLVCalcKind::ckString; });
    if (!allConcat) throw ETypeMismatchError();
    chain = std::make_unique<TConcatChain>(std::move(operands), std::move(operators));
  } else {
    // Only the first comparison may compare texts; every later step compares its
    // Boolean result with the next operand.
    if (anyText) {
      if (!IsComparison(first) || operands[0]->Kind() != operands[1]->Kind()) {
        throw ETypeMismatchError();
      }
      for (size_t i = 2; i < operands.size(); ++i) {
        if (operands[i]->Kind() == TLVCalcKind::ckString) throw ETypeMismatchError();
      }
    }
    chain = std::make_unique<TOperatorChain>(TLVCalcKind::ckNumber, std::move(operands),
                                             std::move(operators));
  }
  return constant ? FoldConstant(std::move(chain), true) : std::move(chain);
}

TParserNodePtr MakeCall(const TPFunction& function, std::vector<TParserNodePtr> args) {
  if (function.special != TLVCalcSpecial::csNone) return MakeChoiceCall(function, std::move(args));
  return MakeCall(function, std::move(args), function.resultKind);
}

TParserNodePtr MakeCall(const TPFunction& function, std::vector<TParserNodePtr> args,
                        TLVCalcKind resultKind) {
  for (size_t i = 0; i < args.size(); ++i) {
    char kind = function.ArgKind(static_cast<int32_t>(i));
    if (kind == 'N') args[i] = ConvertTo(std::move(args[i]), TLVCalcKind::ckNumber);
    if (kind == 'S') args[i] = ConvertTo(std::move(args[i]), TLVCalcKind::ckString);
  }
  bool foldable = AllConstant(args) && !function.Has(fnVolatile) && !function.Has(fnNeedsData);
  return FoldConstant(std::make_unique<TCallNode>(function, std::move(args), resultKind), foldable);
}

}  // namespace lv
