// Formulas come from users and project files: any text must either parse or raise an
// ELVError, and what parses must evaluate (or raise) row by row and by blocks without
// crashing, hanging or exhausting the stack. Where the formula has no function that
// changes between calls, both evaluations must agree.
#include <bit>
#include <cstdint>
#include <string_view>

#include "core/LV_CoreStartup.h"
#include "core/text/LV_Errors.h"
#include "env/LV_EnvStartup.h"
#include "transform/LV_TransformStartup.h"
#include "transform/formula/LV_FloatCLineParser.h"

namespace {

constexpr int32_t kRows = 4;
const double kX[kRows] = {0, 1.5, lv::LVCalcNull(), -3};
const std::string_view kS[kRows] = {"abc", "", std::string_view(), "Привет"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool started = (lv::CoreStartup(), lv::EnvStartup(), lv::TransformStartup(), true);
  (void)started;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  lv::TLineParser parser;
  parser.Variables().Add("X", lv::TLVCalcKind::ckNumber);
  parser.Variables().Add("S", lv::TLVCalcKind::ckString);
  try {
    parser.Parse(text);
  } catch (const lv::ELVError&) {
    return 0;
  }
  if (kRows > lv::kLVBlockSize) return 0;
  const lv::TLVCalcVector inputs[] = {{lv::TLVCalcKind::ckNumber, kX, nullptr, 1},
                                      {lv::TLVCalcKind::ckString, nullptr, kS, 1}};
  lv::TLVCalcVector block;
  try {
    block = parser.EvaluateBlock(inputs, {nullptr, kRows});
  } catch (const lv::ELVError&) {
    return 0;
  }
  bool compare = !parser.Volatile();
  for (int32_t p = 0; p < kRows; ++p) {
    parser.Variables()[0].SetNumber(kX[p]);
    parser.Variables()[1].SetText(kS[p]);
    lv::TLVCalcScalar row;
    try {
      row = parser.EvaluateValue();
    } catch (const lv::ELVError&) {
      // A row can fail alone where the block failed as a whole only for another row.
      continue;
    }
    if (!compare) continue;
    bool same = block.IsString()
                    ? row.textNull == lv::LVCalcIsNull(block.String(p)) &&
                          (row.textNull || row.text == block.String(p))
                    : std::bit_cast<uint64_t>(lv::LVCalcNormalize(row.number)) ==
                          std::bit_cast<uint64_t>(lv::LVCalcNormalize(block.Number(p)));
    if (!same) __builtin_trap();
  }
  return 0;
}
