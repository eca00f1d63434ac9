#include "core/text/LV_Format.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "core/text/LV_Errors.h"

namespace lv {

namespace {

TLVFormatSettings& ProcessFormatSettings() {
  static TLVFormatSettings settings;
  return settings;
}

}  // namespace

const TLVFormatSettings& DefaultFormatSettings() {
  return ProcessFormatSettings();
}

void SetDefaultFormatSettings(const TLVFormatSettings& settings) {
  ProcessFormatSettings() = settings;
}

size_t Utf8Length(std::string_view text) {
  size_t count = 0;
  for (unsigned char c : text) count += (c & 0xC0) != 0x80;
  return count;
}

namespace {

// Byte offset of the first `chars` code points of `text`.
size_t Utf8Prefix(std::string_view text, size_t chars) {
  size_t i = 0;
  while (i < text.size() && chars > 0) {
    ++i;
    while (i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) ++i;
    --chars;
  }
  return i;
}

struct TPlaceholder {
  bool leftAlign = false;
  int width = -1;
  int precision = -1;
  char type = 0;
};

class Formatter {
 public:
  Formatter(const TLVFormatSettings& fs, std::string_view pattern,
            std::span<const TLVFormatArg> args)
      : fs_(fs), pattern_(pattern), args_(args) {}

  std::string Run() {
    std::string out;
    size_t i = 0;
    while (i < pattern_.size()) {
      size_t pct = pattern_.find('%', i);
      if (pct == std::string_view::npos) {
        out.append(pattern_.substr(i));
        break;
      }
      out.append(pattern_.substr(i, pct - i));
      pos_ = pct + 1;
      if (pos_ < pattern_.size() && pattern_[pos_] == '%') {
        out += '%';
        i = pos_ + 1;
        continue;
      }
      TPlaceholder placeholder = ParsePlaceholder();
      std::string body = Convert(placeholder);
      Pad(out, body, placeholder);
      i = pos_;
    }
    return out;
  }

 private:
  [[noreturn]] void Invalid() const { throw ELVConvertError::InvalidFormat(pattern_); }

  bool AtDigit() const {
    return pos_ < pattern_.size() && pattern_[pos_] >= '0' && pattern_[pos_] <= '9';
  }

  // A run of digits or '*'; -1 when neither is there.
  int ReadNumber() {
    if (pos_ < pattern_.size() && pattern_[pos_] == '*') {
      ++pos_;
      const TLVFormatArg& arg = NextArg();
      if (arg.GetKind() != TLVFormatArg::Kind::Integer) Invalid();
      return static_cast<int>(arg.Integer());
    }
    if (!AtDigit()) return -1;
    int64_t value = 0;
    while (AtDigit()) {
      value = value * 10 + (pattern_[pos_++] - '0');
      if (value > 100000) Invalid();  // no sane width; refuse rather than allocate
    }
    return static_cast<int>(value);
  }

  TPlaceholder ParsePlaceholder() {
    TPlaceholder placeholder;
    // A run of digits followed by ':' is an argument index; otherwise it is a width.
    size_t start = pos_;
    if (AtDigit()) {
      int index = ReadNumber();
      if (pos_ < pattern_.size() && pattern_[pos_] == ':') {
        nextArg_ = static_cast<size_t>(index);
        ++pos_;
      } else {
        pos_ = start;
      }
    }
    if (pos_ < pattern_.size() && pattern_[pos_] == '-') {
      placeholder.leftAlign = true;
      ++pos_;
    }
    placeholder.width = ReadNumber();
    if (pos_ < pattern_.size() && pattern_[pos_] == '.') {
      ++pos_;
      placeholder.precision = ReadNumber();
      if (placeholder.precision < 0) placeholder.precision = 0;
    }
    if (pos_ >= pattern_.size()) Invalid();
    char t = pattern_[pos_++];
    if (t >= 'A' && t <= 'Z') t = static_cast<char>(t - 'A' + 'a');
    placeholder.type = t;
    return placeholder;
  }

  const TLVFormatArg& NextArg() {
    if (nextArg_ >= args_.size()) Invalid();
    return args_[nextArg_++];
  }

  std::string Convert(const TPlaceholder& placeholder) {
    const TLVFormatArg& arg = NextArg();
    switch (placeholder.type) {
      case 'd':
      case 'u':
      case 'x':
        if (arg.GetKind() != TLVFormatArg::Kind::Integer) Invalid();
        return IntegerText(arg.Integer(), placeholder);
      case 'e':
      case 'f':
      case 'g':
      case 'n':
        // An integer is accepted where a real is expected: nothing is lost by that.
        if (arg.GetKind() == TLVFormatArg::Kind::Text) Invalid();
        return RealText(arg.GetKind() == TLVFormatArg::Kind::Real
                            ? arg.Real()
                            : static_cast<double>(arg.Integer()),
                        placeholder);
      case 's': {
        if (arg.GetKind() != TLVFormatArg::Kind::Text) Invalid();
        std::string_view text = arg.Text();
        if (placeholder.precision >= 0)
          text = text.substr(0, Utf8Prefix(text, placeholder.precision));
        return std::string(text);
      }
      default:
        Invalid();
    }
  }

  static std::string IntegerText(int64_t value, const TPlaceholder& placeholder) {
    std::string digits;
    bool negative = false;
    char buf[32];
    if (placeholder.type == 'x') {
      std::snprintf(buf, sizeof buf, "%llX", static_cast<unsigned long long>(value));
    } else if (placeholder.type == 'u') {
      std::snprintf(buf, sizeof buf, "%llu",
                    static_cast<unsigned long long>(static_cast<uint32_t>(value)));
    } else {
      negative = value < 0;
      std::snprintf(buf, sizeof buf, "%llu",
                    negative ? 0ULL - static_cast<unsigned long long>(value)
                             : static_cast<unsigned long long>(value));
    }
    digits = buf;
    // The precision of an integer is its minimum number of digits.
    if (placeholder.precision > 0 && static_cast<int>(digits.size()) < placeholder.precision) {
      digits.insert(0, static_cast<size_t>(placeholder.precision) - digits.size(), '0');
    }
    return negative ? "-" + digits : digits;
  }

  std::string RealText(double v, const TPlaceholder& placeholder) const {
    if (std::isnan(v)) return "NAN";
    if (std::isinf(v)) return v > 0 ? "INF" : "-INF";
    switch (placeholder.type) {
      case 'f':
        return Fixed(v, placeholder.precision < 0 ? 2 : placeholder.precision, false);
      case 'n':
        return Fixed(v, placeholder.precision < 0 ? 2 : placeholder.precision, true);
      case 'e':
        return Scientific(v, placeholder.precision < 0 ? 15 : placeholder.precision);
      default:
        return General(v, placeholder.precision < 0 || placeholder.precision > 18
                              ? 15
                              : placeholder.precision);
    }
  }

  std::string Fixed(double v, int decimals, bool thousands) const {
    if (decimals > 18) decimals = 18;
    char buf[400];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    std::string s = buf;
    size_t dot = s.find('.');
    if (dot != std::string::npos) s[dot] = fs_.decimalSeparator;
    if (thousands) {
      size_t intEnd = dot == std::string::npos ? s.size() : dot;
      size_t intStart = s[0] == '-' ? 1 : 0;
      for (size_t p = intEnd; p > intStart + 3; p -= 3) s.insert(p - 3, 1, fs_.thousandSeparator);
    }
    return s;
  }

  // Mantissa with precision-1 decimals and an exponent of at least three digits.
  std::string Scientific(double v, int precision) const {
    if (precision < 1) precision = 1;
    if (precision > 18) precision = 18;
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*E", precision - 1, v);
    std::string s = buf;
    size_t e = s.find('E');
    std::string mantissa = s.substr(0, e);
    int exponent = std::atoi(s.c_str() + e + 1);
    size_t dot = mantissa.find('.');
    if (dot != std::string::npos) mantissa[dot] = fs_.decimalSeparator;
    std::snprintf(buf, sizeof buf, "E%c%03d", exponent < 0 ? '-' : '+', std::abs(exponent));
    return mantissa + buf;
  }

  // The shorter of fixed and scientific notation, without trailing zeros: fixed while
  // the integer part has no more digits than the precision and |v| >= 0.00001.
  std::string General(double v, int precision) const {
    if (precision < 1) precision = 1;
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*E", precision - 1, v);
    std::string s = buf;
    size_t e = s.find('E');
    int exponent = std::atoi(s.c_str() + e + 1);
    bool negative = s[0] == '-';
    std::string digits;
    for (size_t i = negative ? 1 : 0; i < e; ++i) {
      if (s[i] != '.') digits += s[i];
    }
    while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
    std::string out = negative ? "-" : "";
    if (v == 0) return "0";
    int intDigits = exponent + 1;
    if (intDigits <= precision && std::fabs(v) >= 0.00001) {
      if (intDigits <= 0) {
        out += '0';
        out += fs_.decimalSeparator;
        out.append(static_cast<size_t>(-intDigits), '0');
        out += digits;
      } else if (static_cast<int>(digits.size()) <= intDigits) {
        out += digits;
        out.append(static_cast<size_t>(intDigits) - digits.size(), '0');
      } else {
        out += digits.substr(0, static_cast<size_t>(intDigits));
        out += fs_.decimalSeparator;
        out += digits.substr(static_cast<size_t>(intDigits));
      }
      return out;
    }
    out += digits[0];
    if (digits.size() > 1) {
      out += fs_.decimalSeparator;
      out += digits.substr(1);
    }
    out += 'E';
    if (exponent < 0) out += '-';
    out += std::to_string(std::abs(exponent));
    return out;
  }

  static void Pad(std::string& out, const std::string& body, const TPlaceholder& placeholder) {
    size_t length = Utf8Length(body);
    size_t padding = placeholder.width > 0 && static_cast<size_t>(placeholder.width) > length
                         ? static_cast<size_t>(placeholder.width) - length
                         : 0;
    if (!placeholder.leftAlign) out.append(padding, ' ');
    out += body;
    if (placeholder.leftAlign) out.append(padding, ' ');
  }

  const TLVFormatSettings& fs_;
  std::string_view pattern_;
  std::span<const TLVFormatArg> args_;
  size_t pos_ = 0;
  size_t nextArg_ = 0;
};

}  // namespace

std::string FormatWith(const TLVFormatSettings& settings, std::string_view pattern,
                       std::span<const TLVFormatArg> args) {
  return Formatter(settings, pattern, args).Run();
}

}  // namespace lv
