// Conversions between values and text, and between value types, with explicit format
// settings. Nothing here reads or changes process-wide state, so a node that converts
// with its own formats leaves the defaults as they were, also when it fails.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/columns/LV_Block.h"
#include "core/columns/LV_Value.h"
#include "core/text/LV_FormatSettings.h"

namespace lv {

// Days since 1899-12-30 (the time of day as fraction) for a calendar date and time;
// nullopt for a date that does not exist.
std::optional<double> EncodeDateTime(int year, int month, int day, int hour = 0, int minute = 0,
                                     int second = 0, int millisecond = 0);
struct TLVDateParts {
  int year, month, day, hour, minute, second, millisecond;
};
TLVDateParts DecodeDateTime(double days);

// Text of a date by a pattern of d, dd, m, mm, yy, yyyy, h, hh, n, nn, s, ss, zzz and
// literal characters ("/" and ":" stand for the settings' separators).
std::string FormatDateTime(std::string_view pattern, double days, const TLVFormatSettings& fs);
// Reads a date (and optionally a time after a space) in the order of the settings'
// short date format; nullopt when the text is not such a date.
std::optional<double> ParseDateTime(std::string_view text, const TLVFormatSettings& fs);

// Plain number text: up to 15 significant digits, the settings' decimal separator.
std::string FloatToText(double value, const TLVFormatSettings& fs);
// Reads a number written with the settings' decimal separator (surrounding blanks
// allowed); nullopt when the text is not a whole number.
std::optional<double> ParseFloat(std::string_view text, const TLVFormatSettings& fs);

// The text of a value as the user sees it ("" for a missing value).
std::string ValueToText(const TLVValue& value, const TLVFormatSettings& fs);
// A value of `type` read from text; nullopt when the text cannot be read as one.
std::optional<TLVValue> TextToValue(std::string_view text, TLVDataType type,
                                    const TLVFormatSettings& fs);

// Whether a column of type `from` may ever become `to` (values permitting).
bool TypeChangeAllowed(TLVDataType from, TLVDataType to);
// Converts every value of `in` to `to` into `out`. Values that cannot be converted
// become missing and make the result false.
bool ConvertBlock(const TLVBlock& in, TLVDataType to, TLVBlock& out, const TLVFormatSettings& fs);
// Brings a block just read to `type` (nothing to do when it already is); for sources
// whose column was retyped over their parent's.
void ConvertBlockInPlace(TLVBlock& block, TLVDataType type, const TLVFormatSettings& fs);

}  // namespace lv
