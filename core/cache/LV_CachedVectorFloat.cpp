#include "core/cache/LV_CachedVectorFloat.h"

#include <algorithm>

namespace lv {

TLVVectorStatistics TLVCachedVectorReal::Statistics() const {
  TLVVectorStatistics stats;
  double lo = 0;
  double hi = 0;
  for (double v : *this) {
    if (LVIsMissing(v)) {
      ++stats.missingCount;
      continue;
    }
    if (stats.presentCount++ == 0) {
      lo = hi = v;
    } else {
      lo = std::min(lo, v);
      hi = std::max(hi, v);
    }
    stats.sum += v;
    stats.sumSq += v * v;
  }
  if (stats.presentCount > 0) {
    stats.min = lo;
    stats.max = hi;
  }
  return stats;
}

double TLVCachedVectorFloat::Sum() const {
  double sum = 0;
  for (double v : *this) {
    if (!LVIsMissing(v)) sum += v;
  }
  return sum;
}

}  // namespace lv
