// Values of the formula language as the evaluator hands them around.
//
// Numbers, Booleans and dates are doubles; the missing value is the quiet NaN
// 0xFFF8000000000000. Texts are views; a missing text is a view whose data() is null,
// so an empty text ("") and a missing one stay apart without a flag array.
//
// A node evaluates a whole block of rows at once into a TLVCalcVector: a view of its
// values by position in the block. A constant has stride 0 (one value for every row).
// The views stay valid until the node is evaluated again.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/columns/LV_Block.h"

namespace lv {

inline constexpr uint64_t kLVCalcNullBits = 0xFFF8000000000000ull;

inline double LVCalcNull() { return std::bit_cast<double>(kLVCalcNullBits); }
inline bool LVCalcIsNull(double value) { return std::isnan(value); }
// Every other NaN (a kernel's 0/0, an invalid argument) becomes the one missing value.
inline double LVCalcNormalize(double value) { return std::isnan(value) ? LVCalcNull() : value; }
inline bool LVCalcIsNull(std::string_view text) { return text.data() == nullptr; }
inline bool LVCalcIsTrue(double value) { return value != 0 && !std::isnan(value); }
inline double LVCalcBool(bool value) { return value ? 1.0 : 0.0; }

enum class TLVCalcKind : uint8_t { ckNumber, ckString };

struct TLVCalcVector {
  TLVCalcKind kind = TLVCalcKind::ckNumber;
  const double* numbers = nullptr;
  const std::string_view* strings = nullptr;
  int32_t stride = 1;

  double Number(int32_t pos) const { return numbers[pos * stride]; }
  std::string_view String(int32_t pos) const { return strings[pos * stride]; }
  bool IsString() const { return kind == TLVCalcKind::ckString; }
  bool IsNull(int32_t pos) const {
    return IsString() ? LVCalcIsNull(String(pos)) : LVCalcIsNull(Number(pos));
  }
};

class TLVCalcContext;
struct TPFunction;

// The arguments of one function call at one row, as a kernel sees them. An argument
// declared 'N' is always a number and one declared 'S' always a text (the parser puts
// conversions in front of arguments of the other kind); 'A' arguments may be either.
class TLVCalcArgs {
 public:
  TLVCalcArgs(const TPFunction& function, const TLVCalcVector* args, int32_t count,
              TLVCalcContext* context)
      : function_(&function), args_(args), count_(count), context_(context) {}

  int32_t Count() const { return count_; }
  bool IsString(int32_t i) const { return args_[i].IsString(); }
  bool IsNull(int32_t i) const { return args_[i].IsNull(pos_); }
  double Number(int32_t i) const { return args_[i].Number(pos_); }
  std::string_view String(int32_t i) const { return args_[i].String(pos_); }

  const TPFunction& Function() const { return *function_; }
  // Null when the formula is evaluated outside a data node.
  TLVCalcContext* Context() const { return context_; }
  // Position of the current row in the block.
  int32_t Position() const { return pos_; }
  void SetPosition(int32_t pos) { pos_ = pos; }

 private:
  const TPFunction* function_;
  const TLVCalcVector* args_;
  int32_t count_;
  TLVCalcContext* context_;
  int32_t pos_ = 0;
};

// Where a text-valued kernel puts its result: either a view that outlives the call (a
// literal, or a part of an argument: Left, Trim and SubStr copy nothing), or a text
// the kernel builds in Build(), which the evaluator then stores.
class TLVCalcStrResult {
 public:
  void Set(std::string_view value) {
    value_ = value;
    built_ = false;
  }
  void SetNull() { Set(std::string_view{}); }
  std::string& Build() {
    built_ = true;
    buffer_.clear();
    return buffer_;
  }

  bool Built() const { return built_; }
  std::string_view Value() const { return built_ ? std::string_view(buffer_) : value_; }
  void Reset() {
    built_ = false;
    value_ = {};
  }

 private:
  std::string_view value_;
  std::string buffer_;
  bool built_ = false;
};

// The conversions between the two value domains, with the process formats: a number
// as text (up to 15 significant digits, the decimal separator of the settings; missing
// gives a missing text), and a text as a number (either the settings' separator or a
// point; missing when the text is not a number).
void NumberToCalcText(double value, std::string& out);
double TextToCalcNumber(std::string_view text);

// Kernels compute one row; the evaluator owns the loop, the missing values (see
// fnNullPropagates) and constant arguments.
using TLVCalcNumKernel = double (*)(const TLVCalcArgs& args);
using TLVCalcStrKernel = void (*)(const TLVCalcArgs& args, TLVCalcStrResult& result);

}  // namespace lv
