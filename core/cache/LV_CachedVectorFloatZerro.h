// A float vector for columns that are mostly zero (indicator and dummy columns,
// sparse model inputs). Only the non-zero elements are stored, as (index, value)
// entries sorted by index; every other index reads 0.0. Count is the logical length.
//
// Get is a binary search, O(log k) in the k stored entries. Writing at or after the
// last entry (the way columns are filled) is amortised O(1); writing into the middle,
// Insert and Delete move the later entries. Entries() and CopyTo are the fast way to
// walk the vector in order. Storing 0.0 (or -0.0) removes an entry; a NaN is a
// missing value and is stored like any non-zero. Ownership and threading as for
// TLVCachedVector; the entries grow by the same rule.
#pragma once

#include <span>

#include "core/cache/LV_CachedVector.h"
#include "core/columns/LV_Value.h"

namespace lv {

struct TLVSparseEntry {
  TLVRowIndex index;
  double value;
};

class TLVCachedVectorFloatZerro {
 public:
  using value_type = double;

  TLVRowIndex Count() const { return count_; }
  // Shrinking drops the entries beyond the new count; growing adds zeros.
  void SetCount(TLVRowIndex count);
  void Clear();

  double Get(TLVRowIndex index) const;
  double operator[](TLVRowIndex index) const { return Get(index); }
  void Set(TLVRowIndex index, double value);
  TLVRowIndex Add(double value);
  // Inserts before `index` (0..Count); later elements move up by one.
  void Insert(TLVRowIndex index, double value);
  void Delete(TLVRowIndex index);

  bool IsMissing(TLVRowIndex index) const { return LVIsMissing(Get(index)); }
  double Blank() const { return 0.0; }

  // Sum of the present values.
  double Sum() const;

  // Writes the elements [from, from + n) densely into `out`; from + n <= Count.
  void CopyTo(TLVRowIndex from, TLVRowIndex n, double* out) const;

  TLVRowIndex NonZeroCount() const { return entries_.Count(); }
  TLVRowIndex EntryCapacity() const { return entries_.Capacity(); }
  void SetEntryCapacity(TLVRowIndex capacity) { entries_.SetCapacity(capacity); }
  std::span<const TLVSparseEntry> Entries() const { return entries_.Items(); }

 private:
  // Position of the first entry whose index is not below `index`.
  TLVRowIndex LowerBound(TLVRowIndex index) const;

  TLVCachedVector<TLVSparseEntry> entries_;
  TLVRowIndex count_ = 0;
};

}  // namespace lv
