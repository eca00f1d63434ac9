// Vectors of 8-byte floating-point values.
//
// TLVCachedVectorReal is the common ground of every vector of doubles whose missing
// value is the quiet NaN (floats here, dates in LV_CachedVectorDateTime): new
// elements are missing, and statistics skip missing values. Ownership and threading
// as for TLVCachedVector.
#pragma once

#include "core/cache/LV_CachedVector.h"
#include "core/columns/LV_Value.h"

namespace lv {

// One pass over a vector's values: what the column statistics are built from.
struct TLVVectorStatistics {
  TLVRowIndex presentCount = 0;
  TLVRowIndex missingCount = 0;
  double min = LVMissing();  // missing while no value is present
  double max = LVMissing();
  double sum = 0;
  double sumSq = 0;

  double Mean() const {
    return presentCount > 0 ? sum / static_cast<double>(presentCount) : LVMissing();
  }
};

class TLVCachedVectorReal : public TLVCachedVector<double> {
 public:
  TLVCachedVectorReal() : TLVCachedVector<double>(LVMissing()) {}

  bool IsMissing(TLVRowIndex index) const { return LVIsMissing(Get(index)); }
  void SetMissing(TLVRowIndex index) { Set(index, LVMissing()); }
  TLVRowIndex MissingCount() const { return CountIf(LVIsMissing); }
  TLVVectorStatistics Statistics() const;
};

class TLVCachedVectorFloat : public TLVCachedVectorReal {
 public:
  // Sum of the present values (0 when there are none).
  double Sum() const;
};

}  // namespace lv
