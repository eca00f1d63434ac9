#include "transform/LV_CalcVariables.h"

#include "transform/LV_LineParserErrors.h"

namespace lv {
namespace {

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    auto up = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; };
    if (up(a[i]) != up(b[i])) return false;
  }
  return true;
}

}  // namespace

TVariable& TLVVariables::Add(std::string_view name, TLVCalcKind kind) {
  if (IndexOf(name) >= 0) throw EDuplicateFunctionError({std::string(name)});
  items_.push_back(std::make_unique<TVariable>(std::string(name), kind));
  return *items_.back();
}

int32_t TLVVariables::IndexOf(std::string_view name) const {
  for (size_t i = 0; i < items_.size(); ++i) {
    if (SameName(items_[i]->Name(), name)) return static_cast<int32_t>(i);
  }
  return -1;
}

}  // namespace lv
