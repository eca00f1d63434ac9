// The function registry of the formula language.
//
// A function is data: its names (the first is shown to the user, the others are
// accepted aliases), the range of its argument count, the kinds of its arguments and
// of its result, its catalogue group, flags and a per-row kernel. Texts live in the
// text table under "CalcFunc.<first name>" (the description) and
// "CalcFunc.<first name>.Args" (the argument names, e.g. "Делимое; Делитель").
//
// The built-in functions are registered once at start-up into LVCalcFunctions() and
// never change afterwards; a parser may add a collection of its own on top (the
// calculator's data functions). Lookups ignore case. Not thread-safe while registering.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "transform/formula/LV_CalcValues.h"

namespace lv {

// The catalogue groups the desktop shell lists the functions under.
enum class TLVCalcFunctionGroup : uint8_t {
  fgFinance,
  fgDateTime,
  fgMath,
  fgStatistics,
  fgLogic,
  fgString,
  fgOther,
  fgModels,
  fgHidden  // registered and usable, but not listed in the catalogue
};

// Functions the evaluator implements itself because they must not evaluate every
// argument for every row (the choice functions).
enum class TLVCalcSpecial : uint8_t {
  csNone,
  csIf,
  csIff,
  csNvl,
  csIn,
  csDecode,
  csDecodeN,
  csDecodeF
};

enum TLVCalcFunctionFlag : uint32_t {
  // A missing numeric argument makes the result missing without calling the kernel.
  fnNullPropagates = 1u << 0,
  // A new value on every evaluation (Random, Now): never computed once for a constant.
  fnVolatile = 1u << 1,
  // Reads the data node's input through the context (RowNum, Data, Stat ...).
  fnNeedsData = 1u << 2,
};

struct TPFunction {
  std::vector<std::string> names;  // as registered; the first is the display name
  int32_t minArgs = 0;
  int32_t maxArgs = 0;  // -1: no upper limit
  // One letter per argument: 'N' number, 'S' text, 'A' either; the last letter
  // repeats for further arguments. Empty means all 'N'.
  std::string argKinds;
  TLVCalcKind resultKind = TLVCalcKind::ckNumber;
  TLVCalcFunctionGroup group = TLVCalcFunctionGroup::fgOther;
  uint32_t flags = fnNullPropagates;
  TLVCalcSpecial special = TLVCalcSpecial::csNone;
  TLVCalcNumKernel numKernel = nullptr;
  TLVCalcStrKernel strKernel = nullptr;
  // When >= 0: the result takes the kind of the variable that this argument (a text
  // constant) names, and the function has both kernels (Data("Имя"; n) gives texts for
  // a text column).
  int32_t kindFromArg = -1;
  // Free for the kernel (a plug-in's entry point).
  const void* userData = nullptr;
  // Texts a plug-in brings along instead of text-table keys.
  std::string descriptionText;
  std::string argumentsText;

  const std::string& Name() const { return names.front(); }
  char ArgKind(int32_t index) const;
  bool Has(TLVCalcFunctionFlag flag) const { return (flags & flag) != 0; }
  std::string DescriptionKey() const { return "CalcFunc." + Name(); }
  std::string ArgumentsKey() const { return DescriptionKey() + ".Args"; }
  std::string Description() const;
  std::string Arguments() const;
};

class TLVFunctionCollection {
 public:
  TLVFunctionCollection() = default;
  TLVFunctionCollection(const TLVFunctionCollection&) = delete;
  TLVFunctionCollection& operator=(const TLVFunctionCollection&) = delete;

  // `names` lists the display name and the aliases separated by commas ("Find,findEx").
  // Raises EInvalidFunctionNameError for a name that is not an identifier and
  // EDuplicateFunctionError for one already taken (here or in the base collection).
  // Registers the function's text keys with the localisation table.
  TPFunction& AddNumber(std::string_view names, int32_t minArgs, int32_t maxArgs,
                        std::string_view argKinds, TLVCalcFunctionGroup group,
                        TLVCalcNumKernel kernel, uint32_t flags = fnNullPropagates);
  TPFunction& AddString(std::string_view names, int32_t minArgs, int32_t maxArgs,
                        std::string_view argKinds, TLVCalcFunctionGroup group,
                        TLVCalcStrKernel kernel, uint32_t flags = fnNullPropagates);
  TPFunction& Add(TPFunction function);

  // Case-insensitive; looks in the base collection when not found here.
  const TPFunction* Find(std::string_view name) const;
  // Functions of this collection in registration order (not the base's).
  const std::vector<std::unique_ptr<TPFunction>>& Items() const { return items_; }

  // A collection layered on top of another (the base must outlive it).
  void SetBase(const TLVFunctionCollection* base) { base_ = base; }

 private:
  std::vector<std::unique_ptr<TPFunction>> items_;
  std::map<std::string, const TPFunction*, std::less<>> byName_;  // upper-case names
  const TLVFunctionCollection* base_ = nullptr;
};

// The built-in functions (and those of the plug-ins loaded at start-up).
TLVFunctionCollection& LVCalcFunctions();

// Names of the language (functions, variables, keywords of the data functions) compare
// ignoring the case of Latin letters.
bool CalcNamesEqual(std::string_view a, std::string_view b);

// A function name: a Latin letter or '_' followed by Latin letters, digits and '_'.
bool IsValidFunctionName(std::string_view name);

void RegisterCalcFunctionsTexts();

}  // namespace lv
