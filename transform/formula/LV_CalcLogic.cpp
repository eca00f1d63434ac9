// Logic and choice functions. The choice functions have no kernel: the evaluator
// builds their nodes itself (LV_CalcChoice).
#include "transform/formula/LV_CalcBuiltins.h"

namespace lv {
namespace {

void AddChoice(TLVFunctionCollection& functions, std::string_view name, int32_t minArgs,
               int32_t maxArgs, TLVCalcKind result, TLVCalcSpecial special) {
  TPFunction f;
  f.names = {std::string(name)};
  f.minArgs = minArgs;
  f.maxArgs = maxArgs;
  f.argKinds.assign(1, 'A');
  f.resultKind = result;
  f.group = TLVCalcFunctionGroup::fgLogic;
  f.flags = 0;
  f.special = special;
  functions.Add(std::move(f));
}

}  // namespace

void RegisterLogicFunctions(TLVFunctionCollection& functions) {
  using enum TLVCalcSpecial;
  const TLVCalcKind number = TLVCalcKind::ckNumber;
  const TLVCalcKind text = TLVCalcKind::ckString;
  AddChoice(functions, "IF", 3, 3, text, csIf);
  AddChoice(functions, "IFF", 3, 3, number, csIff);
  AddChoice(functions, "IN", 2, -1, number, csIn);
  functions.AddNumber(
      "IsNull", 1, 1, "A", TLVCalcFunctionGroup::fgLogic,
      [](const TLVCalcArgs& a) { return LVCalcBool(a.IsNull(0)); }, 0);
  functions.AddNumber(
      "Null", 0, 0, "", TLVCalcFunctionGroup::fgLogic,
      [](const TLVCalcArgs&) { return LVCalcNull(); }, 0);
  AddChoice(functions, "NVL", 1, 2, number, csNvl);
  AddChoice(functions, "Decode", 3, -1, text, csDecode);
  AddChoice(functions, "DecodeN", 3, -1, number, csDecodeN);
  AddChoice(functions, "DecodeF", 4, -1, number, csDecodeF);
}

}  // namespace lv
