#include "transform/formula/LV_FloatCLineParser.h"

#include <array>
#include <charconv>
#include <vector>

#include "core/text/LV_FormatSettings.h"
#include "transform/formula/LV_CalcPreprocess.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

// The operator classes from the lowest precedence to the highest; the tree is split
// at the class that binds loosest.
constexpr std::array<std::string_view, 6> kOperatorClasses{"#", "?", "@", "=!<>$%", "+-", "*/"};
constexpr size_t kSignClass = 4;

int32_t OperatorClass(char c) {
  for (size_t i = 0; i < kOperatorClasses.size(); ++i) {
    if (kOperatorClasses[i].find(c) != std::string_view::npos) return static_cast<int32_t>(i);
  }
  return -1;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsNameChar(char c) { return (c >= 'A' && c <= 'Z') || c == '_' || IsDigit(c); }

// Builds the tree of one compact formula (see LV_CalcPreprocess).
class TTreeBuilder {
 public:
  TTreeBuilder(const std::string& text, const TLVVariables& variables,
               const TLVFunctionCollection& functions, char decimalSeparator)
      : s_(text),
        variables_(variables),
        functions_(functions),
        decimal_(decimalSeparator),
        used_(static_cast<size_t>(variables.Count()), false) {
    MatchPairs();
  }

  TParserNodePtr Build() { return Build(0, static_cast<int32_t>(s_.size()), 0); }
  const std::vector<bool>& Used() const { return used_; }
  bool Volatile() const { return volatile_; }

 private:
  // For every bracket the position of its partner, and the same for literal quotes, so
  // that scans jump over both in one step.
  void MatchPairs() {
    partner_.assign(s_.size(), -1);
    std::vector<int32_t> open;
    for (int32_t i = 0; i < static_cast<int32_t>(s_.size()); ++i) {
      char c = s_[static_cast<size_t>(i)];
      if (c == '"') {
        int32_t close = static_cast<int32_t>(s_.find('"', static_cast<size_t>(i) + 1));
        partner_[static_cast<size_t>(i)] = close;
        partner_[static_cast<size_t>(close)] = i;
        i = close;
      } else if (c == '(') {
        open.push_back(i);
      } else if (c == ')') {
        partner_[static_cast<size_t>(i)] = open.back();
        partner_[static_cast<size_t>(open.back())] = i;
        open.pop_back();
      }
    }
  }

  char At(int32_t i) const { return s_[static_cast<size_t>(i)]; }
  int32_t Partner(int32_t i) const { return partner_[static_cast<size_t>(i)]; }
  std::string Shown(int32_t begin, int32_t end) const {
    return DisplayFormula(std::string_view(s_).substr(static_cast<size_t>(begin),
                                                      static_cast<size_t>(end - begin)));
  }
  [[noreturn]] void Invalid(int32_t begin, int32_t end) const {
    throw EInvalidExpressionError({Shown(begin, end)});
  }

  // A sign right after the E of a number's exponent ("1E-5") is not an operator.
  bool IsExponentSign(int32_t begin, int32_t i) const {
    if (i - 1 <= begin || At(i - 1) != 'E') return false;
    int32_t j = i - 2;
    bool digit = false;
    while (j >= begin && (IsDigit(At(j)) || At(j) == '.' || At(j) == decimal_)) {
      digit = digit || IsDigit(At(j));
      --j;
    }
    if (!digit) return false;
    return j < begin || OperatorClass(At(j)) >= 0 || At(j) == '(' || At(j) == ';';
  }

  TParserNodePtr Build(int32_t begin, int32_t end, int32_t depth) {
    if (depth > TLineParser::kMaxNesting) throw ENestingTooDeepError({TLineParser::kMaxNesting});
    while (end - begin >= 2 && At(begin) == '(' && Partner(begin) == end - 1) {
      ++begin;
      --end;
    }
    if (begin >= end) Invalid(begin, end);

    std::array<std::vector<int32_t>, kOperatorClasses.size()> found;
    for (int32_t i = begin; i < end; ++i) {
      char c = At(i);
      if (c == '(' || c == '"') {
        i = Partner(i);
        continue;
      }
      int32_t cls = OperatorClass(c);
      if (cls < 0 || (cls == static_cast<int32_t>(kSignClass) && IsExponentSign(begin, i))) continue;
      found[static_cast<size_t>(cls)].push_back(i);
    }
    for (size_t cls = 0; cls < found.size(); ++cls) {
      if (!found[cls].empty()) return BuildChain(begin, end, found[cls], cls == kSignClass, depth);
    }
    return BuildLeaf(begin, end, depth);
  }

  TParserNodePtr BuildChain(int32_t begin, int32_t end, const std::vector<int32_t>& at,
                            bool signAllowed, int32_t depth) {
    if (at.back() == end - 1) Invalid(begin, end);
    std::vector<TParserNodePtr> operands;
    std::vector<char> operators;
    int32_t from = begin;
    for (int32_t position : at) {
      if (position == from) {
        // A leading + or - is a sign: "-x" is computed as "0-x".
        if (position != begin || !signAllowed) Invalid(begin, end);
        operands.push_back(MakeNumberConstant(0));
      } else {
        operands.push_back(Build(from, position, depth + 1));
      }
      operators.push_back(At(position));
      from = position + 1;
    }
    operands.push_back(Build(from, end, depth + 1));
    return MakeChain(std::move(operands), std::move(operators));
  }

  TParserNodePtr BuildLeaf(int32_t begin, int32_t end, int32_t depth) {
    char c = At(begin);
    if (c == '"') {
      if (Partner(begin) != end - 1) Invalid(begin, end);
      return MakeTextConstant(s_.substr(static_cast<size_t>(begin) + 1,
                                        static_cast<size_t>(end - begin - 2)));
    }
    if (IsDigit(c) || c == '.' || c == decimal_) return BuildNumber(begin, end);
    int32_t nameEnd = begin;
    while (nameEnd < end && IsNameChar(At(nameEnd))) ++nameEnd;
    if (nameEnd == begin) Invalid(begin, end);
    std::string name = s_.substr(static_cast<size_t>(begin), static_cast<size_t>(nameEnd - begin));
    if (nameEnd < end) {
      if (At(nameEnd) != '(' || Partner(nameEnd) != end - 1) Invalid(begin, end);
      return BuildCall(name, nameEnd + 1, end - 1, depth);
    }
    if (name == "TRUE") return MakeNumberConstant(1);
    if (name == "FALSE") return MakeNumberConstant(0);
    // A tiny positive number, not infinity: the language has always had it so.
    if (name == "INF") return MakeNumberConstant(1e-300);
    int32_t variable = variables_.IndexOf(name);
    if (variable >= 0) {
      used_[static_cast<size_t>(variable)] = true;
      return MakeVariable(variable, variables_[variable].Kind());
    }
    return BuildCall(name, end, end, depth);
  }

  TParserNodePtr BuildNumber(int32_t begin, int32_t end) {
    std::string text = s_.substr(static_cast<size_t>(begin), static_cast<size_t>(end - begin));
    for (char& c : text) {
      if (c == decimal_) c = '.';
    }
    double value = 0;
    auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) Invalid(begin, end);
    return MakeNumberConstant(value);
  }

  // Arguments are separated by ';' outside brackets and literals.
  TParserNodePtr BuildCall(const std::string& name, int32_t begin, int32_t end, int32_t depth) {
    const TPFunction* function = functions_.Find(name);
    if (!function) throw EUnknownFunctionError({name});
    volatile_ = volatile_ || function->Has(fnVolatile);
    std::vector<TParserNodePtr> args;
    if (begin < end) {
      int32_t from = begin;
      for (int32_t i = begin; i <= end; ++i) {
        if (i < end && (At(i) == '(' || At(i) == '"')) {
          i = Partner(i);
          continue;
        }
        if (i == end || At(i) == ';') {
          if (i == from) Invalid(begin, end);
          args.push_back(Build(from, i, depth + 1));
          from = i + 1;
        }
      }
    }
    auto count = static_cast<int32_t>(args.size());
    if (count < function->minArgs || (function->maxArgs >= 0 && count > function->maxArgs)) {
      throw ENumParameterError({function->Name()});
    }
    if (function->kindFromArg >= 0 && function->kindFromArg < count) {
      std::string_view column = args[static_cast<size_t>(function->kindFromArg)]->ConstantText();
      int32_t variable = column.data() ? variables_.IndexOf(column) : -1;
      TLVCalcKind kind = variable >= 0 ? variables_[variable].Kind() : function->resultKind;
      return MakeCall(*function, std::move(args), kind);
    }
    return MakeCall(*function, std::move(args));
  }

  const std::string& s_;
  const TLVVariables& variables_;
  const TLVFunctionCollection& functions_;
  char decimal_;
  std::vector<int32_t> partner_;
  std::vector<bool> used_;
  bool volatile_ = false;
};

}  // namespace

TLineParser::TLineParser() { functions_.SetBase(&LVCalcFunctions()); }

void TLineParser::Parse(std::string_view expression) {
  char decimal = DefaultFormatSettings().decimalSeparator;
  std::string compact = PreprocessFormula(expression, decimal);
  TTreeBuilder builder(compact, variables_, functions_, decimal);
  TParserNodePtr root = builder.Build();
  // Only a formula that parsed replaces the previous one.
  root_ = std::move(root);
  expression_ = expression;
  volatile_ = builder.Volatile();
  usedVariables_.clear();
  for (size_t i = 0; i < builder.Used().size(); ++i) {
    if (builder.Used()[i]) usedVariables_.push_back(static_cast<int32_t>(i));
  }
}

TLVCalcKind TLineParser::ResultKind() const {
  if (!root_) throw ELineParserError();
  return root_->Kind();
}

void TLineParser::RequireNumberResult() const {
  if (ResultKind() == TLVCalcKind::ckString) throw EStringResultError();
}

TLVCalcScalar TLineParser::EvaluateValue(TLVCalcContext* context) {
  if (!root_) throw ELineParserError();
  TLVCalcEval ev;
  ev.variables = &variables_;
  ev.context = context;
  return root_->EvalRow(ev);
}

double TLineParser::EvaluateNumber(TLVCalcContext* context) {
  TLVCalcScalar value = EvaluateValue(context);
  if (value.kind == TLVCalcKind::ckString) return TextToCalcNumber(value.TextView());
  return LVCalcNormalize(value.number);
}

std::string TLineParser::EvaluateString(TLVCalcContext* context) {
  TLVCalcScalar value = EvaluateValue(context);
  if (value.kind == TLVCalcKind::ckString) return value.text;
  std::string text;
  NumberToCalcText(value.number, text);
  return text;
}

TLVCalcVector TLineParser::EvaluateBlock(const TLVCalcVector* inputs, const TLVSelection& sel,
                                         TLVCalcContext* context) {
  if (!root_) throw ELineParserError();
  TLVCalcEval ev;
  ev.inputs = inputs;
  ev.context = context;
  return root_->Eval(ev, sel);
}

}  // namespace lv
