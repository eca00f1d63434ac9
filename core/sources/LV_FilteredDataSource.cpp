#include "core/sources/LV_FilteredDataSource.h"

#include "core/columns/LV_Convert.h"
#include "core/platform/LV_RowParts.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

// --- TLVFilteredDataSource ---

void TLVFilteredDataSource::RebuildColumns() {
  CopyColumnsOf(ParentSource() ? &ParentSource()->GetColumnsInfo() : nullptr);
}

void TLVFilteredDataSource::SetIndexes(std::shared_ptr<const ILVDataSourceIndexes> indexes) {
  Close();
  indexes_ = std::move(indexes);
  NotifyListeners(TLVNotifyReason::nrDataChanged);
}

void TLVFilteredDataSource::DoOpen() {
  ILVDataSource& parent = RequireParent();
  if (!indexes_) return;
  TLVRowIndex rows = parent.GetRowCount();
  const TLVRowIndex* at = indexes_->GetIndexes();
  for (TLVRowIndex i = 0; i < indexes_->GetIndexCount(); ++i) {
    if (at[i] < 0 || at[i] >= rows) throw ELVDataError("ErrDataSourceInvalidRow", {at[i], rows});
  }
}

TLVRowIndex TLVFilteredDataSource::DoGetRowCount() {
  return indexes_ ? indexes_->GetIndexCount() : 0;
}

void TLVFilteredDataSource::DoReadBlock(int32_t column, TLVRowIndex first, int32_t count,
                                        TLVBlock& out) {
  RequireParent().ReadRows(column, indexes_->GetIndexes() + first, count, out);
}

void TLVFilteredDataSource::DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                                       TLVBlock& out) {
  GatherRows(RequireParent(), column, indexes_->GetIndexes(), rows, count, out);
}

// --- TLVCachedFilteredDataSource ---

void TLVCachedFilteredDataSource::RebuildColumns() {
  CopyColumnsOf(ParentSource() ? &ParentSource()->GetColumnsInfo() : nullptr);
}

bool TLVCachedFilteredDataSource::TypeChangeable(int32_t index) const {
  return Columns()[index].GetDataType() != TLVDataType::dtNone;
}

void TLVCachedFilteredDataSource::SetColumnDataType(int32_t index, TLVDataType type) {
  CheckColumnIndex(index);
  TLVColumnInfo& column = Columns()[index];
  TLVDataType current = column.GetDataType();
  if (type == current) return;
  if (!TypeChangeable(index) || !TypeChangeAllowed(current, type)) {
    throw ELVDataError("ErrColumnTypeFixed", {column.GetName()});
  }
  // Every value of the parent must survive the conversion, or nothing changes.
  ILVDataSource& parent = RequireParent();
  TLVDataType parentType = parent.GetColumnsInfo().GetColumnInfo(index)->GetDataType();
  if (parentType != type) {
    TLVLockGuard lock(parent);
    TLVBlock values, converted;
    TLVRowIndex rows = parent.GetRowCount();
    for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
      auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
      parent.ReadBlock(index, first, count, values);
      if (!ConvertBlock(values, type, converted, DefaultFormatSettings())) {
        throw ELVDataError("ErrCantConvertColumn",
                           {column.GetName(), DisplayText(current), DisplayText(type)});
      }
    }
  }
  column.SetDataType(type);
}

namespace {

class TKeepEveryRow : public ILVRowSelector {
 public:
  void SelectRows(ILVDataSource&, TLVRowIndex first, int32_t count,
                  std::vector<TLVRowIndex>& selected) override {
    for (int32_t i = 0; i < count; ++i) selected.push_back(first + i);
  }
};

}  // namespace

std::unique_ptr<ILVRowSelector> TLVCachedFilteredDataSource::NewRowSelector() {
  return std::make_unique<TKeepEveryRow>();
}

std::string TLVCachedFilteredDataSource::ProgressCaption() const {
  return LVText("SSelectingRows");
}

void TLVCachedFilteredDataSource::DoOpen() {
  ILVDataSource& parent = RequireParent();
  TLVLockGuard lock(parent);
  const TLVRowIndex rows = parent.GetRowCount();
  const int parts = parent.ConcurrentReads() ? LVRowPartCount(rows) : 1;
  std::vector<std::unique_ptr<ILVRowSelector>> selectors;
  for (int part = 0; part < parts; ++part) selectors.push_back(NewRowSelector());
  std::vector<std::vector<TLVRowIndex>> chosen(static_cast<size_t>(parts));
  TLVProgressScope progress(progress_, ProgressCaption(), rows);
  LVForBlocksInParts(parts, rows, progress, [&](int part, TLVRowIndex first, int32_t count) {
    const auto p = static_cast<size_t>(part);
    selectors[p]->SelectRows(parent, first, count, chosen[p]);
  });
  // The parts hold consecutive ranges of rows: joined in order they are ascending.
  std::vector<TLVRowIndex> selected = std::move(chosen.front());
  for (size_t p = 1; p < chosen.size(); ++p) {
    selected.insert(selected.end(), chosen[p].begin(), chosen[p].end());
  }
  selected.shrink_to_fit();
  ArrangeRows(parent, selected);
  selected_ = std::move(selected);
}

void TLVCachedFilteredDataSource::ArrangeRows(ILVDataSource&, std::vector<TLVRowIndex>&) {}

void TLVCachedFilteredDataSource::DoClose() {
  selected_.clear();
  selected_.shrink_to_fit();
}

TLVRowIndex TLVCachedFilteredDataSource::DoGetRowCount() {
  return static_cast<TLVRowIndex>(selected_.size());
}

void TLVCachedFilteredDataSource::ReadParentRows(int32_t column, const TLVRowIndex* parentRows,
                                                 int32_t count, TLVBlock& out) {
  RequireParent().ReadRows(column, parentRows, count, out);
  ConvertBlockInPlace(out, Columns()[column].GetDataType(), DefaultFormatSettings());
}

void TLVCachedFilteredDataSource::DoReadBlock(int32_t column, TLVRowIndex first, int32_t count,
                                              TLVBlock& out) {
  ReadParentRows(column, selected_.data() + first, count, out);
}

void TLVCachedFilteredDataSource::DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                                             TLVBlock& out) {
  TLVRowIndex mapped[kLVBlockSize];
  for (int32_t i = 0; i < count; ++i) mapped[i] = selected_[static_cast<size_t>(rows[i])];
  ReadParentRows(column, mapped, count, out);
}

void RegisterFilteredDataSourceTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrCantConvertColumn", "ErrColumnTypeFixed", "SSelectingRows",
       "TLVCachedFilteredDataSource.RowIndex", "TLVCachedFilteredDataSource.SelectedRows"});
}

}  // namespace lv
