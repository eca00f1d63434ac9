#include "transform/formula/LV_CalcFunctions.h"

#include "core/text/LV_Localization.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

char AsciiUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string UpperName(std::string_view name) {
  std::string result(name);
  for (char& c : result) c = AsciiUpper(c);
  return result;
}

bool IsNameStart(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }

std::vector<std::string> SplitNames(std::string_view names) {
  std::vector<std::string> result;
  size_t start = 0;
  while (start <= names.size()) {
    size_t comma = names.find(',', start);
    if (comma == std::string_view::npos) comma = names.size();
    result.emplace_back(names.substr(start, comma - start));
    start = comma + 1;
  }
  return result;
}

TPFunction Describe(std::string_view names, int32_t minArgs, int32_t maxArgs,
                    std::string_view argKinds, TLVCalcFunctionGroup group, uint32_t flags) {
  TPFunction f;
  f.names = SplitNames(names);
  f.minArgs = minArgs;
  f.maxArgs = maxArgs;
  f.argKinds = argKinds;
  f.group = group;
  f.flags = flags;
  return f;
}

}  // namespace

bool CalcNamesEqual(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (AsciiUpper(a[i]) != AsciiUpper(b[i])) return false;
  }
  return true;
}

bool IsValidFunctionName(std::string_view name) {
  if (name.empty() || !IsNameStart(name.front())) return false;
  for (char c : name) {
    if (!IsNameStart(c) && !(c >= '0' && c <= '9')) return false;
  }
  return true;
}

char TPFunction::ArgKind(int32_t index) const {
  if (argKinds.empty()) return 'N';
  return index < static_cast<int32_t>(argKinds.size()) ? argKinds[static_cast<size_t>(index)]
                                                       : argKinds.back();
}

std::string TPFunction::Description() const {
  return descriptionText.empty() ? LVText(DescriptionKey()) : descriptionText;
}
std::string TPFunction::Arguments() const {
  return descriptionText.empty() ? LVText(ArgumentsKey()) : argumentsText;
}

TPFunction& TLVFunctionCollection::AddNumber(std::string_view names, int32_t minArgs,
                                             int32_t maxArgs, std::string_view argKinds,
                                             TLVCalcFunctionGroup group, TLVCalcNumKernel kernel,
                                             uint32_t flags) {
  TPFunction f = Describe(names, minArgs, maxArgs, argKinds, group, flags);
  f.numKernel = kernel;
  return Add(std::move(f));
}

TPFunction& TLVFunctionCollection::AddString(std::string_view names, int32_t minArgs,
                                             int32_t maxArgs, std::string_view argKinds,
                                             TLVCalcFunctionGroup group, TLVCalcStrKernel kernel,
                                             uint32_t flags) {
  TPFunction f = Describe(names, minArgs, maxArgs, argKinds, group, flags);
  f.resultKind = TLVCalcKind::ckString;
  f.strKernel = kernel;
  return Add(std::move(f));
}

TPFunction& TLVFunctionCollection::Add(TPFunction function) {
  if (function.names.empty()) throw EInvalidFunctionNameError({""});
  // Every name is checked before anything is stored, so a refused function leaves the
  // collection as it was.
  for (size_t i = 0; i < function.names.size(); ++i) {
    const std::string& name = function.names[i];
    if (!IsValidFunctionName(name)) throw EInvalidFunctionNameError({name});
    if (Find(name)) throw EDuplicateFunctionError({name});
    for (size_t j = 0; j < i; ++j) {
      if (CalcNamesEqual(function.names[j], name)) throw EDuplicateFunctionError({name});
    }
  }
  bool kernelMissing = function.resultKind == TLVCalcKind::ckNumber ? !function.numKernel
                                                                     : !function.strKernel;
  if (function.kindFromArg >= 0) kernelMissing = !function.numKernel || !function.strKernel;
  if (function.special == TLVCalcSpecial::csNone && kernelMissing) {
    throw ENoFuncError();
  }
  items_.push_back(std::make_unique<TPFunction>(std::move(function)));
  TPFunction& stored = *items_.back();
  for (const std::string& name : stored.names) byName_.emplace(UpperName(name), &stored);
  if (stored.group != TLVCalcFunctionGroup::fgHidden && stored.descriptionText.empty()) {
    TLVLocalization::Instance().RegisterKey(stored.DescriptionKey());
    TLVLocalization::Instance().RegisterKey(stored.ArgumentsKey());
  }
  return stored;
}

const TPFunction* TLVFunctionCollection::Find(std::string_view name) const {
  auto it = byName_.find(UpperName(name));
  if (it != byName_.end()) return it->second;
  return base_ ? base_->Find(name) : nullptr;
}

TLVFunctionCollection& LVCalcFunctions() {
  static TLVFunctionCollection functions;
  return functions;
}

void RegisterCalcFunctionsTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"TLVCalcFunctionGroup.fgFinance", "TLVCalcFunctionGroup.fgDateTime",
       "TLVCalcFunctionGroup.fgMath", "TLVCalcFunctionGroup.fgStatistics",
       "TLVCalcFunctionGroup.fgLogic", "TLVCalcFunctionGroup.fgString",
       "TLVCalcFunctionGroup.fgOther", "TLVCalcFunctionGroup.fgModels",
       "CalcOperatorGroup.Arithmetic", "CalcOperatorGroup.Comparison",
       "CalcOperatorGroup.Logic", "CalcOperatorGroup.Constants"});
}

}  // namespace lv
