// Output columns defined by a formula: a column description (name, caption, type,
// kind, purpose) with the formula text and a free description. The calculator extends
// the item with its caching switch; other formula nodes will use the base.
#pragma once

#include <string>
#include <string_view>

#include "core/columns/LV_ColumnInfo.h"
#include "core/registry/LV_Properties.h"

namespace lv {

class TLVExprColumnItem : public TLVColumnInfo {
 public:
  const std::string& GetExpression() const { return expression_; }
  void SetExpression(const std::string& value) { expression_ = value; }
  const std::string& GetDescription() const { return description_; }
  void SetDescription(const std::string& value) { description_ = value; }

  void Assign(const TLVColumnInfo& source) override;

  // "Name", "DisplayName", "DataType", "DataKind", "DataStatus", "Expression",
  // "Description".
  static const TLVPropertyTable<TLVExprColumnItem>& Properties();

 private:
  std::string expression_;
  std::string description_;
};

class TLVCalcExprColumnItem : public TLVExprColumnItem {
 public:
  // "Кэшировать данные": values computed once and kept, instead of on every read.
  bool GetCached() const { return cached_; }
  void SetCached(bool value) { cached_ = value; }

  void Assign(const TLVColumnInfo& source) override;

  // The base's properties and "Cached".
  static const TLVPropertyTable<TLVCalcExprColumnItem>& Properties();

 private:
  bool cached_ = false;
};

class TLVCalcExprColumns : public TLVCollectionOf<TLVCalcExprColumnItem> {
 public:
  // Appends an item with the given formula, result type and name.
  TLVCalcExprColumnItem& AddExpression(std::string_view name, std::string_view expression,
                                       TLVDataType type);
};

}  // namespace lv
