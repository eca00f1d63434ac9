#include "transform/formula/LV_CalcChoice.h"

#include <cmath>

namespace lv {
namespace {

// Splits `sel` by a predicate on positions into two buffers.
template <class Pred>
void Split(const TLVSelection& sel, Pred pred, TLVSelectionBuffer& yes, int32_t& yesCount,
           TLVSelectionBuffer& no, int32_t& noCount) {
  int32_t* y = yes.Data();
  int32_t* n = no.Data();
  yesCount = noCount = 0;
  for (int32_t k = 0; k < sel.count; ++k) {
    const int32_t p = sel[k];
    if (pred(p)) {
      y[yesCount++] = p;
    } else {
      n[noCount++] = p;
    }
  }
}

// The result of a choice: each position's value copied from the operand that was
// chosen for it. Text views stay those of the operand (valid for this evaluation).
class TChoiceNode : public TParserNode {
 public:
  TChoiceNode(TLVCalcKind kind, std::vector<TParserNodePtr> args)
      : TParserNode(kind), args_(std::move(args)) {}

 protected:
  void Take(const TLVCalcVector& from, const TLVSelection& sel) {
    if (Kind() == TLVCalcKind::ckNumber) {
      double* out = Numbers();
      for (int32_t k = 0; k < sel.count; ++k) out[sel[k]] = from.Number(sel[k]);
    } else {
      std::string_view* out = Strings();
      for (int32_t k = 0; k < sel.count; ++k) out[sel[k]] = from.String(sel[k]);
    }
  }
  void Fill(const TLVSelection& sel, double number, std::string_view text) {
    TLVCalcVector constant{Kind(), &number, &text, 0};
    Take(constant, sel);
  }
  TLVCalcVector Result() { return Kind() == TLVCalcKind::ckNumber ? NumberResult() : TextResult(); }
  TLVCalcScalar Zero() const {
    return Kind() == TLVCalcKind::ckNumber ? TLVCalcScalar::Number(0)
                                           : TLVCalcScalar::Text(kLVCalcEmptyText);
  }

  std::vector<TParserNodePtr> args_;
};

// IF and IFF: Условие; Значение1; Значение2. A missing condition chooses Значение2.
class TIfNode : public TChoiceNode {
 public:
  using TChoiceNode::TChoiceNode;

  TLVCalcVector Eval(TLVCalcEval& ev, const TLVSelection& sel) override {
    TLVCalcVector cond = args_[0]->Eval(ev, sel);
    int32_t yes = 0, no = 0;
    Split(sel, [&](int32_t p) { return LVCalcIsTrue(cond.Number(p)); }, yes_, yes, no_, no);
    if (yes > 0) Take(args_[1]->Eval(ev, yes_.View(yes)), yes_.View(yes));
    if (no > 0) Take(args_[2]->Eval(ev, no_.View(no)), no_.View(no));
    return Result();
  }

  TLVCalcScalar EvalRow(TLVCalcEval& ev) override {
    bool condition = LVCalcIsTrue(args_[0]->EvalRow(ev).number);
    return args_[condition ? 1 : 2]->EvalRow(ev);
  }

 private:
  TLVSelectionBuffer yes_, no_;
};

// NVL: Выражение [; Значение_по_умолчанию]; without a default a missing value becomes
// 0 or an empty text.
class TNvlNode : public TChoiceNode {
 public:
  using TChoiceNode::TChoiceNode;

  TLVCalcVector Eval(TLVCalcEval& ev, const TLVSelection& sel) override {
    TLVCalcVector value = args_[0]->Eval(ev, sel);
    int32_t missing = 0, present = 0;
    Split(sel, [&](int32_t p) { return value.IsNull(p); }, missing_, missing, present_, present);
    Take(value, present_.View(present));
    if (missing > 0) {
      if (args_.size() > 1) {
        Take(args_[1]->Eval(ev, missing_.View(missing)), missing_.View(missing));
      } else {
        Fill(missing_.View(missing), 0, kLVCalcEmptyText);
      }
    }
    return Result();
  }

  TLVCalcScalar EvalRow(TLVCalcEval& ev) override {
    TLVCalcScalar value = args_[0]->EvalRow(ev);
    if (!value.IsNull()) return value;
    return args_.size() > 1 ? args_[1]->EvalRow(ev) : Zero();
  }

 private:
  TLVSelectionBuffer missing_, present_;
};

// Decode, DecodeN, DecodeF and IN: the key is compared with one candidate after the
// other, and each candidate is evaluated only for the rows not matched yet.
class TMatchNode : public TChoiceNode {
 public:
  enum class TMode : uint8_t { mDecode, mDecodeTolerance, mIn };

  TMatchNode(TLVCalcKind kind, std::vector<TParserNodePtr> args, TMode mode)
      : TChoiceNode(kind, std::move(args)), mode_(mode) {
    first_ = mode_ == TMode::mDecodeTolerance ? 2 : 1;
    step_ = mode_ == TMode::mIn ? 1 : 2;
    size_t candidates = args_.size() - first_;
    pairs_ = candidates / step_;
    hasDefault_ = step_ == 2 && candidates % 2 == 1;
  }

  TLVCalcVector Eval(TLVCalcEval& ev, const TLVSelection& sel) override {
    TLVCalcVector key = args_[0]->Eval(ev, sel);
    TLVCalcVector tolerance;
    if (mode_ == TMode::mDecodeTolerance) tolerance = args_[1]->Eval(ev, sel);
    int32_t* open = open_.Data();
    int32_t openCount = 0;
    for (int32_t k = 0; k < sel.count; ++k) open[openCount++] = sel[k];
    if (mode_ == TMode::mIn) Fill(sel, 0, {});
    for (size_t i = 0; i < pairs_ && openCount > 0; ++i) {
      const size_t at = first_ + i * step_;
      TLVCalcVector candidate = args_[at]->Eval(ev, open_.View(openCount));
      int32_t* matched = matched_.Data();
      int32_t matchedCount = 0, stillOpen = 0;
      for (int32_t k = 0; k < openCount; ++k) {
        const int32_t p = open[k];
        if (Matches(key, tolerance, candidate, p)) {
          matched[matchedCount++] = p;
        } else {
          open[stillOpen++] = p;
        }
      }
      openCount = stillOpen;
      if (matchedCount == 0) continue;
      if (mode_ == TMode::mIn) {
        Fill(matched_.View(matchedCount), 1, {});
      } else {
        Take(args_[at + 1]->Eval(ev, matched_.View(matchedCount)), matched_.View(matchedCount));
      }
    }
    if (mode_ != TMode::mIn && openCount > 0) {
      if (hasDefault_) {
        Take(args_.back()->Eval(ev, open_.View(openCount)), open_.View(openCount));
      } else {
        Fill(open_.View(openCount), 0, kLVCalcEmptyText);
      }
    }
    return Result();
  }

  TLVCalcScalar EvalRow(TLVCalcEval& ev) override {
    TLVCalcScalar key = args_[0]->EvalRow(ev);
    TLVCalcScalar tolerance;
    if (mode_ == TMode::mDecodeTolerance) tolerance = args_[1]->EvalRow(ev);
    for (size_t i = 0; i < pairs_; ++i) {
      const size_t at = first_ + i * step_;
      TLVCalcScalar candidate = args_[at]->EvalRow(ev);
      if (MatchesRow(key, tolerance, candidate)) {
        return mode_ == TMode::mIn ? TLVCalcScalar::Number(1) : args_[at + 1]->EvalRow(ev);
      }
    }
    if (mode_ == TMode::mIn) return TLVCalcScalar::Number(0);
    return hasDefault_ ? args_.back()->EvalRow(ev) : Zero();
  }

 private:
  bool Matches(const TLVCalcVector& key, const TLVCalcVector& tolerance,
               const TLVCalcVector& candidate, int32_t p) const {
    if (mode_ == TMode::mDecodeTolerance) {
      return std::fabs(candidate.Number(p) - key.Number(p)) <= tolerance.Number(p);
    }
    return key.IsString() ? CalcTextsEqual(key.String(p), candidate.String(p))
                          : CalcNumbersEqual(key.Number(p), candidate.Number(p));
  }
  bool MatchesRow(const TLVCalcScalar& key, const TLVCalcScalar& tolerance,
                  const TLVCalcScalar& candidate) const {
    if (mode_ == TMode::mDecodeTolerance) {
      return std::fabs(candidate.number - key.number) <= tolerance.number;
    }
    return key.kind == TLVCalcKind::ckString ? CalcTextsEqual(key.TextView(), candidate.TextView())
                                             : CalcNumbersEqual(key.number, candidate.number);
  }

  TMode mode_;
  size_t first_ = 1;
  size_t step_ = 2;
  size_t pairs_ = 0;
  bool hasDefault_ = false;
  TLVSelectionBuffer open_, matched_;
};

std::vector<TParserNodePtr> ConvertAll(std::vector<TParserNodePtr> args, size_t from, size_t step,
                                       TLVCalcKind kind) {
  for (size_t i = from; i < args.size(); i += step) args[i] = ConvertTo(std::move(args[i]), kind);
  return args;
}

}  // namespace

TParserNodePtr MakeChoiceCall(const TPFunction& function, std::vector<TParserNodePtr> args) {
  using TMode = TMatchNode::TMode;
  const TLVCalcKind result = function.resultKind;
  const TLVCalcKind number = TLVCalcKind::ckNumber;
  bool constant = AllConstant(args);
  TParserNodePtr node;
  switch (function.special) {
    case TLVCalcSpecial::csIf:
    case TLVCalcSpecial::csIff:
      args[0] = ConvertTo(std::move(args[0]), number);
      args = ConvertAll(std::move(args), 1, 1, result);
      node = std::make_unique<TIfNode>(result, std::move(args));
      break;
    case TLVCalcSpecial::csNvl: {
      TLVCalcKind kind = args[0]->Kind();
      args = ConvertAll(std::move(args), 1, 1, kind);
      node = std::make_unique<TNvlNode>(kind, std::move(args));
      break;
    }
    case TLVCalcSpecial::csIn: {
      TLVCalcKind kind = args[0]->Kind();
      args = ConvertAll(std::move(args), 1, 1, kind);
      node = std::make_unique<TMatchNode>(number, std::move(args), TMode::mIn);
      break;
    }
    case TLVCalcSpecial::csDecode:
    case TLVCalcSpecial::csDecodeN: {
      // Values take the key's kind, results (and the default) the function's.
      TLVCalcKind kind = args[0]->Kind();
      bool hasDefault = (args.size() - 1) % 2 == 1;
      size_t pairsEnd = hasDefault ? args.size() - 1 : args.size();
      for (size_t i = 1; i < pairsEnd; i += 2) {
        args[i] = ConvertTo(std::move(args[i]), kind);
        args[i + 1] = ConvertTo(std::move(args[i + 1]), result);
      }
      if (hasDefault) args.back() = ConvertTo(std::move(args.back()), result);
      node = std::make_unique<TMatchNode>(result, std::move(args), TMode::mDecode);
      break;
    }
    case TLVCalcSpecial::csDecodeF:
      args = ConvertAll(std::move(args), 0, 1, number);
      node = std::make_unique<TMatchNode>(number, std::move(args), TMode::mDecodeTolerance);
      break;
    case TLVCalcSpecial::csNone:
      break;
  }
  return constant ? FoldConstant(std::move(node), true) : std::move(node);
}

}  // namespace lv
