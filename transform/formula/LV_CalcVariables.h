// The named values a formula may refer to (a data node's input columns). Names are
// case-insensitive. For evaluation row by row each variable holds its current value;
// for block evaluation the caller hands the block's values in variable order.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "transform/formula/LV_CalcValues.h"

namespace lv {

class TVariable {
 public:
  TVariable(std::string name, TLVCalcKind kind) : name_(std::move(name)), kind_(kind) {}
  const std::string& Name() const { return name_; }
  TLVCalcKind Kind() const { return kind_; }

  // The current value for evaluation row by row.
  void SetNumber(double value) { number_ = value; }
  void SetText(std::string_view value) {
    text_.assign(value.data() ? value : std::string_view());
    textNull_ = value.data() == nullptr;
  }
  void SetNull() {
    number_ = LVCalcNull();
    text_.clear();
    textNull_ = true;
  }
  double Number() const { return number_; }
  std::string_view Text() const { return textNull_ ? std::string_view() : std::string_view(text_); }

 private:
  std::string name_;
  TLVCalcKind kind_;
  double number_ = LVCalcNull();
  std::string text_;
  bool textNull_ = true;
};

class TLVVariables {
 public:
  // Raises EDuplicateFunctionError when the name is taken.
  TVariable& Add(std::string_view name, TLVCalcKind kind);
  int32_t IndexOf(std::string_view name) const;  // -1 when absent
  TVariable& operator[](int32_t index) { return *items_[static_cast<size_t>(index)]; }
  const TVariable& operator[](int32_t index) const { return *items_[static_cast<size_t>(index)]; }
  int32_t Count() const { return static_cast<int32_t>(items_.size()); }
  void Clear() { items_.clear(); }

 private:
  std::vector<std::unique_ptr<TVariable>> items_;
};

}  // namespace lv
