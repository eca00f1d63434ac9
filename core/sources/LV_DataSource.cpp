#include "core/sources/LV_DataSource.h"

#include <algorithm>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

// --- TLVColumn, TLVColumns ---

TLVValue TLVColumn::GetValue(TLVRowIndex row) const {
  return owner_->GetValue(row, GetIndex());
}

void TLVColumn::ReadBlock(TLVRowIndex first, int32_t count, TLVBlock& out) const {
  owner_->ReadBlock(GetIndex(), first, count, out);
}

std::shared_ptr<TLVColumnInfo> TLVColumns::NewItem() const {
  return Adopt(std::make_shared<TLVColumn>());
}

// --- TLVDataSourceInfo ---

TLVDataSourceInfo::TLVDataSourceInfo(std::unique_ptr<TLVColumnsInfo> columns)
    : columns_(std::move(columns)) {
  columns_->SetModifyCheck([this] {
    if (active_) throw ELVError("ErrDataSourceActive");
  });
  columns_->SetObserver([this](TLVCollectionItem*, std::string_view) {
    NotifyListeners(TLVNotifyReason::nrColumnsChanged);
    OnColumnsChanged();
  });
}

TLVDataSourceInfo::~TLVDataSourceInfo() {
  columns_->SetObserver(nullptr);
  columns_->SetModifyCheck(nullptr);
}

void TLVDataSourceInfo::AddListener(ILVDataSourceListener* listener) {
  if (std::find(listeners_.begin(), listeners_.end(), listener) == listeners_.end()) {
    listeners_.push_back(listener);
  }
}

void TLVDataSourceInfo::RemoveListener(ILVDataSourceListener* listener) {
  std::erase(listeners_, listener);
}

void TLVDataSourceInfo::NotifyListeners(TLVNotifyReason reason) {
  // A listener may remove itself (or others) while being told.
  auto listeners = listeners_;
  for (auto* listener : listeners) {
    if (std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end()) {
      listener->OnNotifyDataSource(*this, reason);
    }
  }
}

// --- TLVDataSource ---

TLVDataSource::TLVDataSource() : TLVDataSourceInfo(std::make_unique<TLVColumns>(this)) {}

TLVDataSource::TLVDataSource(std::unique_ptr<TLVColumns> columns)
    : TLVDataSourceInfo(std::move(columns)) {}

TLVDataSource::~TLVDataSource() {
  if (parent_) parent_->RemoveListener(this);
}

void TLVDataSource::Open() {
  if (GetActive()) return;
  if (parent_) parent_->Open();
  DoOpen();
  SetActiveFlag(true);
  NotifyListeners(TLVNotifyReason::nrActiveChanged);
}

void TLVDataSource::Close() {
  if (!GetActive()) return;
  DoClose();
  SetActiveFlag(false);
  NotifyListeners(TLVNotifyReason::nrActiveChanged);
}

TLVRowIndex TLVDataSource::GetRowCount() {
  EnsureOpen();
  return DoGetRowCount();
}

void TLVDataSource::ThrowBadColumn(int32_t column) const {
  throw ELVDataError("ErrDataSourceInvalidIndex", {column, Columns().Count() - 1});
}

void TLVDataSource::CheckRowRange(TLVRowIndex first, int32_t count) {
  TLVRowIndex rows = DoGetRowCount();
  if (first < 0 || count < 0 || count > kLVBlockSize || first + count > rows) {
    throw ELVDataError("ErrDataSourceInvalidRow", {first, rows});
  }
}

TLVValue TLVDataSource::GetValue(TLVRowIndex row, int32_t column) {
  EnsureOpen();
  CheckColumnIndex(column);
  return DoGetValue(row, column);
}

bool TLVDataSource::IsNull(TLVRowIndex row, int32_t column) {
  EnsureOpen();
  CheckColumnIndex(column);
  return DoIsNull(row, column);
}

double TLVDataSource::GetNumber(TLVRowIndex row, int32_t column) {
  EnsureOpen();
  CheckColumnIndex(column);
  return DoGetNumber(row, column);
}

void TLVDataSource::ReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) {
  EnsureOpen();
  CheckColumnIndex(column);
  CheckRowRange(first, count);
  DoReadBlock(column, first, count, out);
}

void TLVDataSource::ReadRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                             TLVBlock& out) {
  EnsureOpen();
  CheckColumnIndex(column);
  if (count < 0 || count > kLVBlockSize) {
    throw ELVDataError("ErrDataSourceInvalidRow", {static_cast<int64_t>(count), kLVBlockSize});
  }
  const TLVRowIndex total = DoGetRowCount();
  if (const int32_t bad = FindRowOutside(rows, count, total); bad >= 0) {
    throw ELVDataError("ErrDataSourceInvalidRow", {rows[bad], total});
  }
  DoReadRows(column, rows, count, out);
}

void TLVDataSource::DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                               TLVBlock& out) {
  ReadRowsByRuns(
      Columns()[column].GetDataType(), rows, count, out,
      [&](TLVRowIndex first, int32_t n, TLVBlock& run) { DoReadBlock(column, first, n, run); });
}

void TLVDataSource::ReadRowsByRuns(
    TLVDataType type, const TLVRowIndex* rows, int32_t count, TLVBlock& out,
    const std::function<void(TLVRowIndex, int32_t, TLVBlock&)>& readRun) {
  out.Reset(type, count);
  TLVBlock run;
  int32_t i = 0;
  while (i < count) {
    int32_t j = i + 1;
    while (j < count && rows[j] == rows[j - 1] + 1) ++j;
    readRun(rows[i], j - i, run);
    for (int32_t k = 0; k < j - i; ++k) {
      auto at = static_cast<size_t>(i + k);
      auto from = static_cast<size_t>(k);
      out.Valid()[at] = run.Valid()[from];
      if (type == TLVDataType::dtInteger) {
        out.Integers()[at] = run.Integers()[from];
      } else if (type == TLVDataType::dtString) {
        out.Strings()[at] = out.Arena().Store(run.Strings()[from]);
      } else {
        out.Numbers()[at] = run.Numbers()[from];
      }
    }
    i = j;
  }
}

TLVValue TLVDataSource::DoGetValue(TLVRowIndex row, int32_t column) {
  CheckRowRange(row, 1);
  TLVBlock block;
  DoReadBlock(column, row, 1, block);
  TLVDataType type = block.Type();
  if (block.IsNull(0)) return TLVValue::Null(type);
  switch (type) {
    case TLVDataType::dtBoolean:
      return TLVValue::Boolean(block.Numbers()[0] != 0);
    case TLVDataType::dtDateTime:
      return TLVValue::DateTime(block.Numbers()[0]);
    case TLVDataType::dtInteger:
      return TLVValue::Integer(block.Integers()[0]);
    case TLVDataType::dtString:
      return TLVValue::String(block.Strings()[0]);
    case TLVDataType::dtFloat:
      return TLVValue::Float(block.Numbers()[0]);
    case TLVDataType::dtNone:
      break;
  }
  return TLVValue::Null(type);
}

double TLVDataSource::DoGetNumber(TLVRowIndex row, int32_t column) {
  return DoGetValue(row, column).AsDouble();
}

bool TLVDataSource::DoIsNull(TLVRowIndex row, int32_t column) {
  return DoGetValue(row, column).IsNull();
}

void TLVDataSource::Lock() {
  ++lockCount_;
  DoLock();
  if (parent_) {
    try {
      parent_->Lock();
    } catch (...) {
      DoUnlock();
      --lockCount_;
      throw;
    }
  }
}

void TLVDataSource::Unlock() {
  if (lockCount_ == 0) return;
  if (parent_) parent_->Unlock();
  DoUnlock();
  --lockCount_;
}

void TLVDataSource::OnNotifyDataSource(ILVDataSourceInfo& sender, TLVNotifyReason reason) {
  if (parent_ && &sender == static_cast<ILVDataSourceInfo*>(parent_.get())) {
    if (reason == TLVNotifyReason::nrDestroying) {
      parent_.reset();
    }
    OnParentChanged(reason);
  }
}

void TLVDataSource::OnParentChanged(TLVNotifyReason reason) {
  if (reason == TLVNotifyReason::nrActiveChanged) return;
  if (reason == TLVNotifyReason::nrColumnsChanged) {
    Restructure();
    return;
  }
  Close();
  NotifyListeners(TLVNotifyReason::nrDataChanged);
}

void TLVDataSource::Restructure() {
  Close();
  TLVColumnsUpdate update(Columns());
  RebuildColumns();
  update.Changed();
}

void TLVDataSource::CopyColumnsOf(const ILVColumnsInfo* columns) {
  TLVColumnsUpdate update(Columns());
  Columns().Clear();
  for (int32_t i = 0; columns && i < columns->GetColumnCount(); ++i) {
    auto source = columns->GetColumnInfo(i);
    AssignColumnInfo(Columns().AddColumn(source->GetName(), source->GetDataType()), *source);
  }
}

void TLVDataSource::ReplaceParent(std::shared_ptr<ILVDataSource> parent) {
  if (parent.get() == parent_.get()) return;
  if (parent.get() == static_cast<ILVDataSource*>(this)) throw ELVError("ErrDataSourceSelfParent");
  if (Locked()) throw ELVError("ErrDataSourceActive");
  Close();
  if (parent_) parent_->RemoveListener(this);
  parent_ = std::move(parent);
  if (parent_) parent_->AddListener(this);
  Restructure();
}

ILVDataSource& TLVDataSource::RequireParent() const {
  if (!parent_) throw ELVDataError("ErrDataSourceNoParent", {GetComponentName()});
  return *parent_;
}

void TLVDataSource::GatherRows(ILVDataSource& source, int32_t sourceColumn,
                               const TLVRowIndex* indexes, const TLVRowIndex* rows, int32_t count,
                               TLVBlock& out) {
  TLVRowIndex mapped[kLVBlockSize];
  for (int32_t i = 0; i < count; ++i) mapped[i] = indexes[rows[i]];
  source.ReadRows(sourceColumn, mapped, count, out);
}

// --- TLVColumnsUpdate ---

TLVColumnsUpdate::TLVColumnsUpdate(TLVColumnsInfo& columns) : columns_(columns) {
  columns_.BeginUpdate();
}

TLVColumnsUpdate::~TLVColumnsUpdate() {
  columns_.EndUpdate();
}

void TLVColumnsUpdate::Changed() {
  columns_.MarkChanged();
}

// --- TLVComponent ---

std::shared_ptr<ILVDataSource> RequireDataSource(TLVComponent& component) {
  auto source = component.GetDataSourceIntf();
  if (!source) throw ELVError("ErrNoDataSourceIntf");
  return source;
}

void RegisterDataSourceTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrDataSourceInvalidIndex", "ErrDataSourceInvalidRow",
                                            "ErrDataSourceSelfParent", "ErrDataSourceNoParent",
                                            "ErrNoDataSourceIntf"});
}

}  // namespace lv
