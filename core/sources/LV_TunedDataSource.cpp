#include "core/sources/LV_TunedDataSource.h"

#include <algorithm>

#include "core/columns/LV_Convert.h"
#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

void TLVDefaultColumnsInfoVendor::BuildColumns(const ILVColumnsInfo& parent,
                                               const TLVColumnsInfo& previous,
                                               TLVColumnsInfo& columns) const {
  for (int32_t i = 0; i < parent.GetColumnCount(); ++i) {
    auto source = parent.GetColumnInfo(i);
    TLVColumnInfo& column = columns.AddColumn(source->GetName(), source->GetDataType());
    AssignColumnInfo(column, *source);
    const TLVColumnInfo* before = previous.Find(source->GetName());
    if (before && before->GetDataType() == source->GetDataType()) {
      column.SetDataKind(before->GetDataKind());
      column.SetDataStatus(before->GetDataStatus());
      column.SetDisplayName(before->StoredDisplayName());
    }
  }
}

TLVTunedDataSource::TLVTunedDataSource()
    : vendor_(std::make_shared<TLVDefaultColumnsInfoVendor>()) {}

void TLVTunedDataSource::SetColumnsInfoVendor(std::shared_ptr<const TLVColumnsInfoVendor> vendor) {
  if (!vendor) vendor = std::make_shared<TLVDefaultColumnsInfoVendor>();
  // Vendors are known by name: the same name is the same vendor.
  if (vendor_ && vendor->GetName() == vendor_->GetName()) return;
  vendor_ = std::move(vendor);
  RefreshColumns();
}

void TLVTunedDataSource::SetColumnsInfoVendorName(const std::string& name) {
  SetColumnsInfoVendor(LVColumnsInfoVendors().Get(name));
}

const TLVPropertyTable<TLVTunedDataSource>& TLVTunedDataSource::Properties() {
  static const auto table = [] {
    TLVPropertyTable<TLVTunedDataSource> t;
    t.Add("ColumnsInfoVendorName", &TLVTunedDataSource::GetColumnsInfoVendorName,
          &TLVTunedDataSource::SetColumnsInfoVendorName,
          std::string(TLVDefaultColumnsInfoVendor::kName))
        .Add("DesignMode", &TLVTunedDataSource::GetDesignMode, &TLVTunedDataSource::SetDesignMode,
             true)
        .Add("ExecuteMode", &TLVTunedDataSource::GetExecuteMode,
             &TLVTunedDataSource::SetExecuteMode, false);
    return t;
  }();
  return table;
}

void TLVTunedDataSource::SetDesignMode(bool value) {
  if (value == designMode_) return;
  TLVColumnsUpdate update(Columns());
  designMode_ = value;
  if (designMode_) RefreshColumns();
  update.Changed();
}

void TLVTunedDataSource::SetExecuteMode(bool value) {
  if (value == executeMode_) return;
  TLVColumnsUpdate update(Columns());
  Close();
  executeMode_ = value;
  update.Changed();
}

void TLVTunedDataSource::RefreshColumns() {
  Close();
  TLVColumnsUpdate update(Columns());
  BuildColumnsFromVendor();
  update.Changed();
}

void TLVTunedDataSource::BuildColumnsFromVendor() {
  TLVColumnsInfo previous;
  previous.AssignColumns(Columns());
  Columns().Clear();
  if (ILVDataSource* parent = ParentSource()) {
    vendor_->BuildColumns(parent->GetColumnsInfo(), previous, Columns());
  }
}

void TLVTunedDataSource::RebuildColumns() {
  // Only a source being designed follows its parent; a tuned one keeps its columns and
  // checks them against the parent when it opens.
  if (designMode_ && !executeMode_) BuildColumnsFromVendor();
}

void TLVTunedDataSource::ResolveParentIndexes() {
  ILVDataSource& parent = RequireParent();
  const ILVColumnsInfo& parentColumns = parent.GetColumnsInfo();
  std::vector<int32_t> indexes(static_cast<size_t>(Columns().Count()));
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    const TLVColumnInfo& column = Columns()[i];
    int32_t at = parentColumns.IndexOfColumn(column.GetName());
    if (at < 0) throw ELVDataError("ErrParentColumnNotFound", {column.GetName()});
    TLVDataType parentType = parentColumns.GetColumnInfo(at)->GetDataType();
    if (parentType != column.GetDataType() &&
        !TypeChangeAllowed(parentType, column.GetDataType())) {
      throw ELVDataError(
          "ErrParentColumnTypeChanged",
          {column.GetName(), DisplayText(column.GetDataType()), DisplayText(parentType)});
    }
    indexes[static_cast<size_t>(i)] = at;
  }
  parentIndex_ = std::move(indexes);
}

int32_t TLVTunedDataSource::ParentIndexOf(int32_t index) const {
  return static_cast<size_t>(index) < parentIndex_.size() ? parentIndex_[static_cast<size_t>(index)]
                                                          : -1;
}

void TLVTunedDataSource::DoOpen() {
  ResolveParentIndexes();
}

void TLVTunedDataSource::DoClose() {
  parentIndex_.clear();
}

TLVRowIndex TLVTunedDataSource::DoGetRowCount() {
  return RequireParent().GetRowCount();
}

void TLVTunedDataSource::DoReadBlock(int32_t column, TLVRowIndex first, int32_t count,
                                     TLVBlock& out) {
  RequireParent().ReadBlock(ParentIndexOf(column), first, count, out);
  ConvertBlockInPlace(out, Columns()[column].GetDataType(), DefaultFormatSettings());
}

void TLVTunedDataSource::DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                                    TLVBlock& out) {
  RequireParent().ReadRows(ParentIndexOf(column), rows, count, out);
  ConvertBlockInPlace(out, Columns()[column].GetDataType(), DefaultFormatSettings());
}

TLVTunedDataSource::TLVPurposeNeed TLVTunedDataSource::PurposeNeed(const TLVColumnInfo&) const {
  return TLVPurposeNeed::pnNothing;
}

void TLVTunedDataSource::ValidatePurposes() const {
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    const TLVColumnInfo& column = Columns()[i];
    if (!column.GetUsable()) continue;
    const TLVStatInfo* stats = column.GetStatInfo();
    switch (PurposeNeed(column)) {
      case TLVPurposeNeed::pnUniqueValues:
        if (!stats || !stats->uniqueValuesFound) {
          throw ELVDataError("ErrColumnNoUniqueValues",
                             {column.GetName(), DisplayText(column.GetDataStatus())});
        }
        break;
      case TLVPurposeNeed::pnStatistics:
        if (!stats) {
          throw ELVDataError("ErrColumnNoStatistics",
                             {column.GetName(), DisplayText(column.GetDataStatus())});
        }
        break;
      case TLVPurposeNeed::pnNothing:
        break;
    }
  }
}

void TLVTunedDataSource::CheckEnoughRows(TLVRowIndex minimum) {
  if (GetRowCount() < minimum) throw ELVDataError("ErrTooFewData");
}

void TLVTunedDataSource::CheckUniqueValueKnown(const TLVColumnInfo& column, const TLVValue& value) {
  const TLVStatInfo* stats = column.GetStatInfo();
  if (value.IsNull() || !stats || !stats->uniqueValuesFound) return;
  auto less = [](const TLVValue& a, const TLVValue& b) {
    if (a.Type() == TLVDataType::dtString) return a.AsText() < b.AsText();
    return a.AsDouble() < b.AsDouble();
  };
  const auto& values = stats->uniqueValues;
  auto it = std::lower_bound(values.begin(), values.end(), value, less);
  if (it == values.end() || less(value, *it)) {
    throw ELVDataError("ErrUnknownUniqueValue",
                       {ValueToText(value, DefaultFormatSettings()), column.GetName()});
  }
}

void RegisterTunedDataSourceTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrParentColumnNotFound", "ErrParentColumnTypeChanged",
                                            "ErrColumnNoUniqueValues", "ErrColumnNoStatistics",
                                            "ErrUnknownUniqueValue", "ErrTooFewData"});
}

}  // namespace lv
