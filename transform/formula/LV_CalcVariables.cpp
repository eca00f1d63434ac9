#include "transform/formula/LV_CalcVariables.h"

#include "transform/formula/LV_CalcFunctions.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {

TVariable& TLVVariables::Add(std::string_view name, TLVCalcKind kind) {
  if (IndexOf(name) >= 0) throw EDuplicateFunctionError({std::string(name)});
  items_.push_back(std::make_unique<TVariable>(std::string(name), kind));
  return *items_.back();
}

int32_t TLVVariables::IndexOf(std::string_view name) const {
  for (size_t i = 0; i < items_.size(); ++i) {
    if (CalcNamesEqual(items_[i]->Name(), name)) return static_cast<int32_t>(i);
  }
  return -1;
}

}  // namespace lv
