#include "transform/calc/LV_ExprColumns.h"

namespace lv {

void TLVExprColumnItem::Assign(const TLVColumnInfo& source) {
  TLVColumnInfo::Assign(source);
  if (auto* item = dynamic_cast<const TLVExprColumnItem*>(&source)) {
    expression_ = item->expression_;
    description_ = item->description_;
  }
}

const TLVPropertyTable<TLVExprColumnItem>& TLVExprColumnItem::Properties() {
  static const auto table = [] {
    using C = TLVExprColumnItem;
    TLVPropertyTable<C> t;
    // The type is applied before the kind, so that a loaded kind stands; without one
    // the kind follows the type.
    t.Add("Name", &C::GetName, &C::SetName, std::string())
        .Add("DisplayName", &C::StoredDisplayName, &C::SetDisplayName, std::string())
        .Add("DataType", &C::GetDataType, &C::SetDataType, TLVDataType::dtFloat)
        .Add("DataKind", &C::GetDataKind, &C::SetSettingsDataKind, TLVDataKind::dkUndefined)
        .Add("DataStatus", &C::GetDataStatus, &C::SetDataStatus, TLVDataStatus::dsInfo)
        .Add("Expression", &C::GetExpression, &C::SetExpression, std::string())
        .Add("Description", &C::GetDescription, &C::SetDescription, std::string());
    return t;
  }();
  return table;
}

void TLVCalcExprColumnItem::Assign(const TLVColumnInfo& source) {
  TLVExprColumnItem::Assign(source);
  if (auto* item = dynamic_cast<const TLVCalcExprColumnItem*>(&source)) cached_ = item->cached_;
}

const TLVPropertyTable<TLVCalcExprColumnItem>& TLVCalcExprColumnItem::Properties() {
  static const auto table = [] {
    using C = TLVCalcExprColumnItem;
    TLVPropertyTable<C> t;
    t.Inherit(TLVExprColumnItem::Properties()).Add("Cached", &C::GetCached, &C::SetCached, false);
    return t;
  }();
  return table;
}

TLVCalcExprColumnItem& TLVCalcExprColumns::AddExpression(std::string_view name,
                                                         std::string_view expression,
                                                         TLVDataType type) {
  TLVCalcExprColumnItem& item = AddNew();
  item.SetName(name);
  item.SetDataType(type);
  item.SetDataStatus(TLVDataStatus::dsInfo);
  item.SetExpression(std::string(expression));
  return item;
}

}  // namespace lv
