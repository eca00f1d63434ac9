// Values of text files: reading a field's text as a number, a date or a Boolean with a
// node's own formats, and writing values back as text with the same formats.
//
// Both work from a TLVFormatSettings given at construction and never touch the process
// defaults. They allocate nothing per value (the writer appends to a caller's string),
// because the import and the export call them once per cell. Immutable once made.
//
// Accepted forms, where the platform's usual conversions left room:
// - numbers: blanks around, a leading '+' or '-', digits with the decimal separator and
//   an exponent; "inf" and "infinity"; no thousands separators and no "nan" (a missing
//   value is written as an empty field or the null text);
// - whole numbers: blanks around, a sign and decimal digits within 32 bits;
// - Booleans: the true and false texts, ignoring case, or a number (0 is false);
// - dates: day, month and year in the order of the date format, separated by the date
//   separator (or by the format's own separator), the year with 1 to 4 digits (two
//   digits below 50 mean 20xx, the others 19xx); optionally followed by blanks and a
//   time h:n[:s[.zzz]] with the time separator; or a time alone (a day fraction).
//   A format without separators ("yyyymmdd") is read by the widths it names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/columns/LV_Convert.h"
#include "core/text/LV_FormatSettings.h"

namespace lv {

// A compiled date or time pattern (d, dd, m, mm, yy, yyyy, h, hh, n, nn, s, ss, z, zzz
// and literals; "/" and ":" stand for the date and time separators).
class TLVDatePattern {
 public:
  TLVDatePattern(std::string_view pattern, char dateSeparator, char timeSeparator);

  // Writes the parts at `out` (room for MaxLength() characters) and returns the end.
  char* Put(const TLVDateParts& parts, char* out) const;
  size_t MaxLength() const { return maxLength_; }
  bool HasTime() const { return hasTime_; }
  bool HasMilliseconds() const { return hasMilliseconds_; }

  // The order of day, month and year ('d', 'm', 'y'), the separator the pattern puts
  // between them ('\0' when it puts none) and the digits each takes when packed.
  char order[3] = {'d', 'm', 'y'};
  char separator = '\0';
  uint8_t widths[3] = {2, 2, 4};

 private:
  struct TToken {
    char kind;  // 'd', 'm', 'y', 'h', 'n', 's', 'z', or 0 for a literal
    uint8_t width;
    char literal;
  };
  static int PartOf(const TToken& token, const TLVDateParts& parts);

  std::vector<TToken> tokens_;
  size_t maxLength_ = 0;
  bool hasTime_ = false;
  bool hasMilliseconds_ = false;
  // A pattern whose every part has a fixed width is written by copying its text and
  // filling in the digits of its parts (fixedParts_, at fixedOffsets_); empty otherwise.
  std::string fixedText_;
  std::vector<TToken> fixedParts_;
  std::vector<size_t> fixedOffsets_;
};

class TLVTextValueReader {
 public:
  explicit TLVTextValueReader(const TLVFormatSettings& fs);

  bool ReadFloat(std::string_view text, double& value) const;
  bool ReadInteger(std::string_view text, int32_t& value) const;
  bool ReadBoolean(std::string_view text, bool& value) const;
  // With the node's date and time formats first, then as the system would read it:
  // the process's date format, or the ISO form yyyy-mm-dd[Thh:nn:ss].
  bool ReadDateTime(std::string_view text, double& days) const;

 private:
  struct TDateRule {
    char order[3];
    char separator;
    char altSeparator;
    uint8_t widths[3];
    bool packed;
    char timeSeparator;
  };
  static TDateRule RuleOf(const TLVFormatSettings& fs);
  static bool ReadWithRule(std::string_view text, const TDateRule& rule, double& days);

  char decimalSeparator_;
  std::string trueText_;
  std::string falseText_;
  TDateRule own_;
  TDateRule system_;
  TDateRule iso_;
};

// Booleans are not here: their texts are written like any other text, in the file's
// code page. Each Put writes at `out`, which must have room for the maximum length
// given, and returns the end.
class TLVTextValueWriter {
 public:
  static constexpr size_t kMaxNumberLength = 40;

  explicit TLVTextValueWriter(const TLVFormatSettings& fs);

  // The shortest text that reads back as exactly the same number.
  char* PutFloat(double value, char* out) const;
  char* PutInteger(int32_t value, char* out) const;
  // The date by the date format; a time of day by the time format after a blank, with
  // milliseconds when it has any, so that the value reads back unchanged. `days` must
  // lie within the years 1 to 9999.
  char* PutDateTime(double days, char* out) const;
  size_t MaxDateTimeLength() const { return date_.MaxLength() + time_.MaxLength() + 5; }

 private:
  char decimalSeparator_;
  TLVDatePattern date_;
  TLVDatePattern time_;
};

}  // namespace lv
