// Vectors of logical values, one byte each, with a missing state of their own so
// that an empty cell of a logical column survives being held here. New elements are
// missing. In computation a logical value is the double 1, 0 or the quiet NaN
// (AsDouble).
#pragma once

#include <cstdint>

#include "core/cache/LV_CachedVector.h"
#include "core/columns/LV_Value.h"

namespace lv {

enum class TLVBooleanValue : uint8_t { bvFalse, bvTrue, bvMissing };

class TLVCachedVectorBoolean : public TLVCachedVector<TLVBooleanValue> {
 public:
  using TLVCachedVector<TLVBooleanValue>::Add;
  using TLVCachedVector<TLVBooleanValue>::Insert;
  using TLVCachedVector<TLVBooleanValue>::Set;

  TLVCachedVectorBoolean() : TLVCachedVector<TLVBooleanValue>(TLVBooleanValue::bvMissing) {}

  static TLVBooleanValue FromBool(bool b) {
    return b ? TLVBooleanValue::bvTrue : TLVBooleanValue::bvFalse;
  }

  TLVRowIndex Add(bool b) { return Add(FromBool(b)); }
  void Insert(TLVRowIndex index, bool b) { Insert(index, FromBool(b)); }
  void Set(TLVRowIndex index, bool b) { Set(index, FromBool(b)); }
  void SetMissing(TLVRowIndex index) { Set(index, TLVBooleanValue::bvMissing); }

  bool IsMissing(TLVRowIndex index) const { return Get(index) == TLVBooleanValue::bvMissing; }
  // Missing reads as false.
  bool IsTrue(TLVRowIndex index) const { return Get(index) == TLVBooleanValue::bvTrue; }
  double AsDouble(TLVRowIndex index) const {
    TLVBooleanValue v = Get(index);
    return v == TLVBooleanValue::bvMissing ? LVMissing() : v == TLVBooleanValue::bvTrue ? 1.0 : 0.0;
  }

  TLVRowIndex TrueCount() const {
    return CountIf([](TLVBooleanValue v) { return v == TLVBooleanValue::bvTrue; });
  }
  TLVRowIndex MissingCount() const {
    return CountIf([](TLVBooleanValue v) { return v == TLVBooleanValue::bvMissing; });
  }
};

}  // namespace lv
