// Message formatting with the classic Format rules:
//   "%" [index ":"] ["-"] [width] ["." precision] type
// with types d, u, x (integers), e, f, g, n (reals), s (text) and "%%". Width and
// precision may be "*" (taken from the arguments). A positional "%1:s" sets the
// argument from which later unnumbered specifiers continue. The decimal and thousand
// separators come from the format settings (the Russian defaults unless given).
// A pattern that does not match its arguments raises ELVConvertError.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "core/text/LV_FormatSettings.h"

namespace lv {

// One argument of Format. It only refers to the text it was made from, so it must
// not outlive the call.
class TLVFormatArg {
 public:
  enum class Kind : uint8_t { Integer, Real, Text };

  template <class T>
  requires std::is_integral_v<T> TLVFormatArg(T value)
      : kind_(Kind::Integer), integer_(static_cast<int64_t>(value)) {}
  TLVFormatArg(double value) : kind_(Kind::Real), real_(value) {}
  TLVFormatArg(float value) : kind_(Kind::Real), real_(value) {}
  TLVFormatArg(std::string_view value) : kind_(Kind::Text), text_(value) {}
  TLVFormatArg(const std::string& value) : kind_(Kind::Text), text_(value) {}
  TLVFormatArg(const char* value) : kind_(Kind::Text), text_(value) {}

  Kind GetKind() const { return kind_; }
  int64_t Integer() const { return integer_; }
  double Real() const { return real_; }
  std::string_view Text() const { return text_; }

 private:
  Kind kind_;
  int64_t integer_ = 0;
  double real_ = 0;
  std::string_view text_;
};

std::string FormatWith(const TLVFormatSettings& settings, std::string_view pattern,
                       std::span<const TLVFormatArg> args);

inline std::string Format(std::string_view pattern, std::span<const TLVFormatArg> args) {
  return FormatWith(DefaultFormatSettings(), pattern, args);
}

inline std::string Format(std::string_view pattern, std::initializer_list<TLVFormatArg> args) {
  return FormatWith(DefaultFormatSettings(), pattern, std::span(args.begin(), args.size()));
}

// Number of Unicode code points in UTF-8 text (widths and precisions count these).
size_t Utf8Length(std::string_view text);

}  // namespace lv
