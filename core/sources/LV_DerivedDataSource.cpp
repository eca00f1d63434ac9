#include "core/sources/LV_DerivedDataSource.h"

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

void TLVDerivedColumn::Assign(const TLVColumnInfo& source) {
  TLVColumn::Assign(source);
  if (auto* derived = dynamic_cast<const TLVDerivedColumn*>(&source)) {
    sourceName_ = derived->sourceName_;
    sourceIndex_ = derived->sourceIndex_;
  }
}

std::shared_ptr<TLVColumnInfo> TLVDerivedColumns::NewItem() const {
  return Adopt(std::make_shared<TLVDerivedColumn>());
}

TLVDerivedDataSource::TLVDerivedDataSource()
    : TLVDataSource(std::make_unique<TLVDerivedColumns>(this)) {}

void TLVDerivedDataSource::RebuildColumns() {
  Columns().Clear();
  DefineColumns();
}

void TLVDerivedDataSource::DefineColumns() {
  ILVDataSource* parent = ParentSource();
  if (!parent) return;
  const ILVColumnsInfo& columns = parent->GetColumnsInfo();
  for (int32_t i = 0; i < columns.GetColumnCount(); ++i) AddPassThrough(*columns.GetColumnInfo(i));
}

TLVDerivedColumn& TLVDerivedDataSource::AddPassThrough(const ILVColumnInfo& parentColumn) {
  auto& column = static_cast<TLVDerivedColumn&>(
      Columns().AddColumn(parentColumn.GetName(), parentColumn.GetDataType()));
  AssignColumnInfo(column, parentColumn);
  column.sourceName_ = parentColumn.GetName();
  return column;
}

TLVDerivedColumn& TLVDerivedDataSource::AddComputed(std::string_view name, TLVDataType type) {
  return static_cast<TLVDerivedColumn&>(Columns().AddColumn(name, type));
}

void TLVDerivedDataSource::ComputeBlock(int32_t column, TLVRowIndex, int32_t, TLVBlock&) {
  throw ELVDataError("ErrColumnNotComputed", {Columns()[column].GetName()});
}

void TLVDerivedDataSource::ComputeRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                                       TLVBlock& out) {
  ReadRowsByRuns(
      Columns()[column].GetDataType(), rows, count, out,
      [&](TLVRowIndex first, int32_t n, TLVBlock& run) { ComputeBlock(column, first, n, run); });
}

void TLVDerivedDataSource::DoOpen() {
  ILVDataSource& parent = RequireParent();
  const ILVColumnsInfo& parentColumns = parent.GetColumnsInfo();
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    TLVDerivedColumn& column = DerivedColumns().Derived(i);
    if (column.Computed()) {
      column.sourceIndex_ = -1;
      continue;
    }
    int32_t at = parentColumns.IndexOfColumn(column.sourceName_);
    if (at < 0) throw ELVDataError("ErrParentColumnNotFound", {column.sourceName_});
    if (parentColumns.GetColumnInfo(at)->GetDataType() != column.GetDataType()) {
      throw ELVDataError("ErrParentColumnTypeChanged",
                         {column.GetName(), DisplayText(column.GetDataType()),
                          DisplayText(parentColumns.GetColumnInfo(at)->GetDataType())});
    }
    column.sourceIndex_ = at;
  }
}

TLVRowIndex TLVDerivedDataSource::DoGetRowCount() {
  return RequireParent().GetRowCount();
}

void TLVDerivedDataSource::DoReadBlock(int32_t column, TLVRowIndex first, int32_t count,
                                       TLVBlock& out) {
  const TLVDerivedColumn& derived = DerivedColumns().Derived(column);
  if (derived.SourceIndex() >= 0) {
    RequireParent().ReadBlock(derived.SourceIndex(), first, count, out);
  } else {
    ComputeBlock(column, first, count, out);
  }
}

void TLVDerivedDataSource::DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                                      TLVBlock& out) {
  const TLVDerivedColumn& derived = DerivedColumns().Derived(column);
  if (derived.SourceIndex() >= 0) {
    RequireParent().ReadRows(derived.SourceIndex(), rows, count, out);
  } else {
    ComputeRows(column, rows, count, out);
  }
}

void RegisterDerivedDataSourceTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrColumnNotComputed"});
}

}  // namespace lv
