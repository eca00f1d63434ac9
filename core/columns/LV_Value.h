// A single value crossing interfaces: its type, whether it is missing, and the
// payload. Numbers, dates and Booleans are held as doubles (a date is days since
// 1899-12-30 with the time as fraction); integers keep their 32 bits; strings are
// shared reference-counted texts. Hot paths use block reads (LV_Block.h) instead.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

#include "core/columns/LV_Types.h"
#include "core/text/LV_Text.h"

namespace lv {

// The missing value of computations: the quiet NaN 0xFFF8000000000000.
inline double LVMissing() {
  return std::bit_cast<double>(uint64_t{0xFFF8000000000000ull});
}
inline bool LVIsMissing(double v) {
  return std::isnan(v);
}

class TLVValue {
 public:
  TLVValue() = default;  // a null value of type dtNone

  static TLVValue Null(TLVDataType type) {
    TLVValue v;
    v.type_ = type;
    return v;
  }
  static TLVValue Boolean(bool b) { return Numeric(TLVDataType::dtBoolean, b ? 1.0 : 0.0); }
  static TLVValue DateTime(double days) { return Numeric(TLVDataType::dtDateTime, days); }
  static TLVValue Float(double x) { return Numeric(TLVDataType::dtFloat, x); }
  static TLVValue Integer(int32_t i) {
    TLVValue v;
    v.type_ = TLVDataType::dtInteger;
    v.null_ = false;
    v.integer_ = i;
    return v;
  }
  static TLVValue String(TLVText text) {
    TLVValue v;
    v.type_ = TLVDataType::dtString;
    v.null_ = false;
    v.text_ = std::move(text);
    return v;
  }
  static TLVValue String(std::string_view text) { return String(TLVText::Make(text)); }

  TLVDataType Type() const { return type_; }
  bool IsNull() const { return null_; }

  // Numeric view of any non-string value; missing gives the quiet NaN.
  double AsDouble() const {
    if (null_ || type_ == TLVDataType::dtString || type_ == TLVDataType::dtNone) {
      return LVMissing();
    }
    return type_ == TLVDataType::dtInteger ? static_cast<double>(integer_) : number_;
  }
  int32_t AsInteger() const { return type_ == TLVDataType::dtInteger ? integer_ : 0; }
  bool AsBoolean() const { return !null_ && AsDouble() != 0.0; }
  std::string_view AsText() const { return text_.View(); }
  const TLVText& Text() const { return text_; }

  bool operator==(const TLVValue& other) const {
    if (type_ != other.type_ || null_ != other.null_) return false;
    if (null_) return true;
    if (type_ == TLVDataType::dtString) return text_ == other.text_;
    if (type_ == TLVDataType::dtInteger) return integer_ == other.integer_;
    return number_ == other.number_;
  }

 private:
  static TLVValue Numeric(TLVDataType type, double x) {
    TLVValue v;
    v.type_ = type;
    v.null_ = false;
    v.number_ = x;
    return v;
  }

  TLVDataType type_ = TLVDataType::dtNone;
  bool null_ = true;
  int32_t integer_ = 0;
  double number_ = 0;
  TLVText text_;
};

}  // namespace lv
