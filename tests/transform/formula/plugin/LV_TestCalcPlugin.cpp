// An add-in function library as a third party would write one, built by the tests and
// loaded by LV_CalcPlugin_test.
#include <cmath>
#include <cstring>

#include "transform/formula/LV_CalcPluginApi.h"

namespace {

double Hypot(const LVCalcValue* args, int32_t) { return std::hypot(args[0].number, args[1].number); }

int32_t Reverse(const LVCalcValue* args, int32_t, char* buffer, int32_t capacity) {
  if (args[0].text == nullptr) return -1;
  const int32_t length = args[0].length;
  if (length > capacity) return length;
  for (int32_t i = 0; i < length; ++i) buffer[i] = args[0].text[length - 1 - i];
  return length;
}

const LVCalcFunctionInfo kFunctions[] = {
    {0, "PlugHypot", 2, 2, LV_CALC_NUMBER, "NN", "Гипотенуза", "Катет1; Катет2", Hypot, nullptr},
    {0, "PlugReverse", 1, 1, LV_CALC_STRING, "S", "Строка наоборот", "Строка", nullptr, Reverse},
    {0, "PlugHypot", 2, 2, LV_CALC_NUMBER, "NN", nullptr, nullptr, Hypot, nullptr},
    {0, "2bad", 0, 0, LV_CALC_NUMBER, nullptr, nullptr, nullptr, Hypot, nullptr},
    {0, "NoEntry", 0, 0, LV_CALC_NUMBER, nullptr, nullptr, nullptr, nullptr, nullptr},
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t DllGetCalcFunctionInfo(
    int32_t index, LVCalcFunctionInfo* info) {
  if (index < 0 || index >= static_cast<int32_t>(sizeof kFunctions / sizeof kFunctions[0])) return 0;
  uint32_t size = info->structSize;
  std::memcpy(info, &kFunctions[index], sizeof *info);
  info->structSize = size;
  return 1;
}
