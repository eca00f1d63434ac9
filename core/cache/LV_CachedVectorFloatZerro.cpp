#include "core/cache/LV_CachedVectorFloatZerro.h"

#include <algorithm>

namespace lv {

TLVRowIndex TLVCachedVectorFloatZerro::LowerBound(TLVRowIndex index) const {
  const TLVSparseEntry* first = entries_.begin();
  const TLVSparseEntry* last = entries_.end();
  // Columns are filled and read in order: settle the common "after the last entry"
  // case without a search.
  if (first == last || (last - 1)->index < index) return entries_.Count();
  return std::lower_bound(first, last, index,
                          [](const TLVSparseEntry& e, TLVRowIndex i) { return e.index < i; }) -
         first;
}

void TLVCachedVectorFloatZerro::SetCount(TLVRowIndex count) {
  if (count < 0 || count > TLVCachedVector<TLVSparseEntry>::kMaxCount) {
    LVRaiseVectorCountError(count);
  }
  if (count < count_) entries_.SetCount(LowerBound(count));
  count_ = count;
}

void TLVCachedVectorFloatZerro::Clear() {
  entries_.Clear();
  count_ = 0;
}

double TLVCachedVectorFloatZerro::Get(TLVRowIndex index) const {
  LVCheckVectorIndex(index, count_);
  TLVRowIndex at = LowerBound(index);
  if (at < entries_.Count() && entries_.data()[at].index == index) return entries_.data()[at].value;
  return 0.0;
}

void TLVCachedVectorFloatZerro::Set(TLVRowIndex index, double value) {
  LVCheckVectorIndex(index, count_);
  TLVRowIndex at = LowerBound(index);
  bool present = at < entries_.Count() && entries_.data()[at].index == index;
  if (value == 0.0) {
    if (present) entries_.Delete(at);
  } else if (present) {
    entries_.data()[at].value = value;
  } else {
    entries_.Insert(at, {index, value});
  }
}

TLVRowIndex TLVCachedVectorFloatZerro::Add(double value) {
  if (count_ >= TLVCachedVector<TLVSparseEntry>::kMaxCount) LVRaiseVectorCountError(count_ + 1);
  if (value != 0.0) entries_.Add({count_, value});
  return count_++;
}

void TLVCachedVectorFloatZerro::Insert(TLVRowIndex index, double value) {
  if (index < 0 || index > count_) LVRaiseVectorIndexError(index, count_);
  if (count_ >= TLVCachedVector<TLVSparseEntry>::kMaxCount) LVRaiseVectorCountError(count_ + 1);
  TLVRowIndex at = LowerBound(index);
  // Store first: if the entries have to grow and cannot, nothing has moved yet.
  if (value != 0.0) {
    entries_.Insert(at, {index, value});
    ++at;
  }
  for (TLVSparseEntry* e = entries_.data() + at; e != entries_.end(); ++e) ++e->index;
  ++count_;
}

void TLVCachedVectorFloatZerro::Delete(TLVRowIndex index) {
  LVCheckVectorIndex(index, count_);
  TLVRowIndex at = LowerBound(index);
  if (at < entries_.Count() && entries_.data()[at].index == index) entries_.Delete(at);
  for (TLVSparseEntry* e = entries_.data() + at; e != entries_.end(); ++e) --e->index;
  --count_;
}

double TLVCachedVectorFloatZerro::Sum() const {
  double sum = 0;
  for (const TLVSparseEntry& e : entries_) {
    if (!LVIsMissing(e.value)) sum += e.value;
  }
  return sum;
}

void TLVCachedVectorFloatZerro::CopyTo(TLVRowIndex from, TLVRowIndex n, double* out) const {
  if (n <= 0) return;
  LVCheckVectorIndex(from, count_);
  if (n > count_ - from) LVRaiseVectorIndexError(count_, count_ - 1);
  std::fill(out, out + n, 0.0);
  const TLVSparseEntry* e = entries_.begin() + LowerBound(from);
  for (; e != entries_.end() && e->index < from + n; ++e) out[e->index - from] = e->value;
}

}  // namespace lv
