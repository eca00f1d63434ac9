// Vectors of 32-bit signed integers. An integer has no missing value of its own:
// new elements are 0, and whoever needs nulls keeps them beside the vector.
#pragma once

#include <cstdint>
#include <numeric>

#include "core/cache/LV_CachedVector.h"

namespace lv {

class TLVCachedVectorInteger : public TLVCachedVector<int32_t> {
 public:
  // Summed in 64 bits: 2^32 values of any size cannot overflow it.
  int64_t Sum() const { return std::accumulate(begin(), end(), int64_t{0}); }
};

}  // namespace lv
