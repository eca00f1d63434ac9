#include "core/sources/LV_CachedDataSource.h"

#include "core/text/LV_Localization.h"

namespace lv {

namespace {

void WriteBlock(const TLVBlock& block, TLVRowIndex first, int32_t column, TLVDataCache& cache) {
  const int32_t n = block.Count();
  const uint8_t* valid = block.Valid();
  switch (block.Type()) {
    case TLVDataType::dtInteger:
      for (int32_t i = 0; i < n; ++i) {
        if (valid[i]) cache.SetInteger(first + i, column, block.Integers()[i]);
      }
      break;
    case TLVDataType::dtString:
      for (int32_t i = 0; i < n; ++i) {
        if (valid[i]) cache.SetString(first + i, column, block.Strings()[i]);
      }
      break;
    case TLVDataType::dtBoolean:
      for (int32_t i = 0; i < n; ++i) {
        if (valid[i]) cache.SetBoolean(first + i, column, block.Numbers()[i] != 0);
      }
      break;
    case TLVDataType::dtDateTime:
      for (int32_t i = 0; i < n; ++i) {
        if (valid[i]) cache.SetDateTime(first + i, column, block.Numbers()[i]);
      }
      break;
    default:
      for (int32_t i = 0; i < n; ++i) {
        if (valid[i]) cache.SetFloat(first + i, column, block.Numbers()[i]);
      }
      break;
  }
}

// Appends every row of `read`'s columns to `cache`: `read(column, first, count, block)`
// fills a block of the k-th cached column.
template <class Read>
void Materialise(TLVRowIndex rows, size_t columns, TLVDataCache& cache, ILVProgress* progress,
                 Read&& read) {
  TLVProgressScope scope(progress, LVText("SCachingRows"), rows);
  TLVBlock block;
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
    TLVRowIndex at = cache.AppendRows(count);
    for (size_t k = 0; k < columns; ++k) {
      read(k, first, count, block);
      WriteBlock(block, at, static_cast<int32_t>(k), cache);
    }
    scope.Step(first + count);
  }
}

}  // namespace

void AppendToCache(ILVDataSource& source, const std::vector<int32_t>& columns, TLVDataCache& cache,
                   ILVProgress* progress) {
  TLVLockGuard lock(source);
  Materialise(source.GetRowCount(), columns.size(), cache, progress,
              [&](size_t k, TLVRowIndex first, int32_t count, TLVBlock& block) {
                source.ReadBlock(columns[k], first, count, block);
              });
}

// --- TLVCachedDataSource ---

void TLVCachedDataSource::DoOpen() {
  std::vector<TLVDataType> types;
  for (int32_t i = 0; i < Columns().Count(); ++i) types.push_back(Columns()[i].GetDataType());
  cache_.Close();
  cache_.SetColumns(std::move(types));
  cache_.Open();
  try {
    FillCache(cache_);
  } catch (...) {
    cache_.Close();
    throw;
  }
}

void TLVCachedDataSource::DoClose() {
  cache_.Close();
}

double TLVCachedDataSource::DoGetNumber(TLVRowIndex row, int32_t column) {
  // A text has no numeric value; the row is still checked like any other read's.
  if (static_cast<size_t>(static_cast<uint32_t>(column)) < cache_.Columns().size() &&
      cache_.Columns()[static_cast<size_t>(column)] == TLVDataType::dtString) {
    (void)cache_.IsNull(row, column);
    return LVMissing();
  }
  double value;
  return cache_.GetFloat(row, column, value) ? value : LVMissing();
}

void TLVCachedDataSource::CopyFrom(ILVDataSource& source, ILVProgress* progress) {
  Close();
  {
    TLVColumnsUpdate update(Columns());
    CopyColumnsOf(&source.GetColumnsInfo());
    update.Changed();
  }
  Open();
  std::vector<int32_t> all(static_cast<size_t>(Columns().Count()));
  for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<int32_t>(i);
  try {
    AppendToCache(source, all, cache_, progress);
  } catch (...) {
    Close();
    throw;
  }
  NotifyListeners(TLVNotifyReason::nrDataChanged);
}

// --- TLVCachedThroughDataSource ---

void TLVCachedThroughDataSource::SetCacheAllColumns(bool value) {
  if (value == cacheAllColumns_) return;
  TLVColumnsUpdate update(Columns());
  Close();
  cache_.Close();
  plan_.clear();
  slot_.clear();
  cacheAllColumns_ = value;
  RebuildPlan();
  update.Changed();
}

void TLVCachedThroughDataSource::RebuildPlan() {
  plan_.clear();
  slot_.assign(static_cast<size_t>(Columns().Count()), -1);
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    if (cacheAllColumns_ || DerivedColumns().Derived(i).Computed()) {
      slot_[static_cast<size_t>(i)] = static_cast<int32_t>(plan_.size());
      plan_.push_back(i);
    }
  }
}

void TLVCachedThroughDataSource::DoOpen() {
  TLVDerivedDataSource::DoOpen();
  RebuildPlan();
  std::vector<TLVDataType> types;
  for (int32_t column : plan_) types.push_back(Columns()[column].GetDataType());
  cache_.Close();
  if (plan_.empty()) return;
  cache_.SetColumns(std::move(types));
  cache_.Open();
  try {
    TLVLockGuard lock(RequireParent());
    Materialise(TLVDerivedDataSource::DoGetRowCount(), plan_.size(), cache_, progress_,
                [&](size_t k, TLVRowIndex first, int32_t count, TLVBlock& block) {
                  TLVDerivedDataSource::DoReadBlock(plan_[k], first, count, block);
                });
  } catch (...) {
    cache_.Close();
    throw;
  }
}

void TLVCachedThroughDataSource::DoClose() {
  cache_.Close();
}

void TLVCachedThroughDataSource::DoReadBlock(int32_t column, TLVRowIndex first, int32_t count,
                                             TLVBlock& out) {
  int32_t slot = CacheSlot(column);
  if (slot >= 0 && cache_.Active()) {
    cache_.ReadBlock(slot, first, count, out);
  } else {
    TLVDerivedDataSource::DoReadBlock(column, first, count, out);
  }
}

void TLVCachedThroughDataSource::DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                                            TLVBlock& out) {
  int32_t slot = CacheSlot(column);
  if (slot >= 0 && cache_.Active()) {
    cache_.ReadRows(slot, rows, count, out);
  } else {
    TLVDerivedDataSource::DoReadRows(column, rows, count, out);
  }
}

void RegisterCachedDataSourceTexts() {
  TLVLocalization::Instance().RegisterKeys({"SCachingRows"});
}

}  // namespace lv
