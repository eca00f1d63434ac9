// Number, date and time formats used when values are converted to and from text.
// A node that uses formats of its own passes its own TLVFormatSettings to the
// conversions; the process defaults are never swapped, so they stay untouched when a
// conversion fails half-way.
#pragma once

#include <string>

namespace lv {

struct TLVFormatSettings {
  char decimalSeparator = ',';
  char thousandSeparator = ' ';
  char dateSeparator = '.';
  char timeSeparator = ':';
  std::string shortDateFormat = "dd.mm.yyyy";
  std::string longTimeFormat = "hh:nn:ss";
  std::string trueText = "True";
  std::string falseText = "False";
};

// The process defaults: the Russian locale. Read-only after start-up.
const TLVFormatSettings& DefaultFormatSettings();
// Replaces the process defaults; only at start-up (the application parameters file),
// before anything converts.
void SetDefaultFormatSettings(const TLVFormatSettings& settings);

}  // namespace lv
