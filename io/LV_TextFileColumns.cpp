#include "io/LV_TextFileColumns.h"

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

void TLVTextFileColumn::SetFixedPos(int32_t value) {
  if (value == fixedPos_) return;
  if (value < 1) throw ELVError("ErrTextFixedPos", {GetName(), value});
  fixedPos_ = value;
  Changed("FixedPos");
}

void TLVTextFileColumn::SetFixedLen(int32_t value) {
  if (value == fixedLen_) return;
  if (value < 0) throw ELVError("ErrTextFixedLen", {GetName(), value});
  fixedLen_ = value;
  Changed("FixedLen");
}

void TLVTextFileColumn::Assign(const TLVColumnInfo& source) {
  TLVColumnInfo::Assign(source);
  if (auto* column = dynamic_cast<const TLVTextFileColumn*>(&source)) {
    fixedPos_ = column->fixedPos_;
    fixedLen_ = column->fixedLen_;
  }
}

const TLVPropertyTable<TLVTextFileColumn>& TLVTextFileColumn::Properties() {
  static const auto table = [] {
    using C = TLVTextFileColumn;
    TLVPropertyTable<C> t;
    t.Add("Name", &C::GetName, &C::SetName, std::string())
        .Add("DisplayName", &C::StoredDisplayName, &C::SetDisplayName, std::string())
        .Add("DataType", &C::GetDataType, &C::SetDataType, TLVDataType::dtString)
        .Add("DataKind", &C::GetDataKind, &C::SetSettingsDataKind, TLVDataKind::dkUndefined)
        .Add("DataStatus", &C::GetDataStatus, &C::SetDataStatus, TLVDataStatus::dsInfo)
        .Add("FixedPos", &C::GetFixedPos, &C::SetFixedPos, 1)
        .Add("FixedLen", &C::GetFixedLen, &C::SetFixedLen, 0);
    return t;
  }();
  return table;
}

TLVTextFileColumn& TLVTextFileColumns::AddDefinition() {
  auto item = NewItem();
  auto& column = static_cast<TLVTextFileColumn&>(*item);
  Add(std::move(item));
  return column;
}

std::shared_ptr<TLVColumnInfo> TLVTextFileColumns::NewItem() const {
  return std::make_shared<TLVTextFileColumn>();
}

void RegisterTextFileColumnsTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrTextFixedPos", "ErrTextFixedLen"});
}

}  // namespace lv
