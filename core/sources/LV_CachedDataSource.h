// Sources whose rows live in the row cache.
//
// TLVCachedDataSource keeps every row in its cache: an import fills it when it opens
// (FillCache), or a snapshot of another source is taken with CopyFrom. Reads go
// straight to the cache's records.
//
// TLVCachedThroughDataSource is a derived source that materialises, when it opens,
// either only the columns its handler computes or, with CacheAllColumns, every column;
// the rest is read from the parent as it is asked for. Computed values are thus worked
// out once per open, however often they are read.
#pragma once

#include <memory>
#include <vector>

#include "core/cache/LV_DataCache.h"
#include "core/sources/LV_DerivedDataSource.h"
#include "core/sources/LV_Progress.h"

namespace lv {

// Appends rows [first, first + count) of the given source columns to `cache`, whose
// columns are their types in that order; reads and writes by blocks.
void AppendToCache(ILVDataSource& source, const std::vector<int32_t>& columns, TLVDataCache& cache,
                   ILVProgress* progress);

class TLVCachedDataSource : public TLVDataSource {
 public:
  TLVDataCache& Cache() { return cache_; }
  const TLVDataCache& Cache() const { return cache_; }

  // Makes this source a snapshot of `source`: its descriptions and all its rows.
  void CopyFrom(ILVDataSource& source, ILVProgress* progress = nullptr);

  // The cell path of grids and scalar code goes straight to the cache, which checks
  // the row and the column itself: one virtual call per cell instead of two.
  double GetNumber(TLVRowIndex row, int32_t column) final {
    EnsureOpen();
    return DoGetNumber(row, column);
  }
  // Reads only look at the row cache.
  bool ConcurrentReads() const override { return true; }

 protected:
  // Fills the freshly opened cache (whose columns follow the descriptions).
  virtual void FillCache(TLVDataCache& cache) { (void)cache; }

  void DoOpen() override;
  void DoClose() override;
  TLVRowIndex DoGetRowCount() override { return cache_.RowCount(); }
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    cache_.ReadBlock(column, first, count, out);
  }
  // The rows were checked against the cache's row count by ReadRows.
  void DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) override {
    cache_.ReadCheckedRows(column, rows, count, out);
  }
  TLVValue DoGetValue(TLVRowIndex row, int32_t column) override {
    return cache_.GetValue(row, column);
  }
  double DoGetNumber(TLVRowIndex row, int32_t column) final;
  bool DoIsNull(TLVRowIndex row, int32_t column) override { return cache_.IsNull(row, column); }

 private:
  TLVDataCache cache_;
};

class TLVCachedThroughDataSource : public TLVDerivedDataSource {
 public:
  bool GetCacheAllColumns() const { return cacheAllColumns_; }
  void SetCacheAllColumns(bool value);

  // The output columns the cache holds (or will hold once open), in cache order.
  const std::vector<int32_t>& CachedColumns() const { return plan_; }
  TLVRowIndex CachedRowCount() const { return cache_.RowCount(); }
  void SetProgress(ILVProgress* progress) { progress_ = progress; }

 protected:
  void DoOpen() override;
  void DoClose() override;
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;
  void DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) override;
  void OnColumnsChanged() override { RebuildPlan(); }

 private:
  void RebuildPlan();
  // The cache column of output column `column`, or -1.
  int32_t CacheSlot(int32_t column) const {
    return static_cast<size_t>(column) < slot_.size() ? slot_[static_cast<size_t>(column)] : -1;
  }

  TLVDataCache cache_;
  std::vector<int32_t> plan_;
  std::vector<int32_t> slot_;
  bool cacheAllColumns_ = false;
  ILVProgress* progress_ = nullptr;
};

void RegisterCachedDataSourceTexts();

}  // namespace lv
