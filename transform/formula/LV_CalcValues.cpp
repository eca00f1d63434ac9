#include "transform/formula/LV_CalcValues.h"

#include <charconv>

#include "core/columns/LV_Convert.h"
#include "core/text/LV_FormatSettings.h"

namespace lv {

void NumberToCalcText(double value, std::string& out) {
  out.clear();
  if (LVCalcIsNull(value)) return;
  char buffer[64];
  std::to_chars_result result;
  // Whole numbers are by far the most common and print exactly without the general
  // formatter.
  if (value == std::trunc(value) && std::fabs(value) < 1e15) {
    result = std::to_chars(buffer, buffer + sizeof buffer, static_cast<int64_t>(value));
  } else {
    result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 15);
  }
  out.assign(buffer, result.ptr);
  char separator = DefaultFormatSettings().decimalSeparator;
  if (separator != '.') {
    size_t point = out.find('.');
    if (point != std::string::npos) out[point] = separator;
  }
}

double TextToCalcNumber(std::string_view text) {
  if (LVCalcIsNull(text)) return LVCalcNull();
  const TLVFormatSettings& settings = DefaultFormatSettings();
  if (auto value = ParseFloat(text, settings)) return *value;
  if (settings.decimalSeparator != '.') {
    static const TLVFormatSettings kPoint = [] {
      TLVFormatSettings point;
      point.decimalSeparator = '.';
      return point;
    }();
    if (auto value = ParseFloat(text, kPoint)) return *value;
  }
  return LVCalcNull();
}

}  // namespace lv
