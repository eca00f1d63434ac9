#include "core/cache/LV_CachedVectorComplex.h"

namespace lv {

void TLVCachedVectorComplex::AssignReal(std::span<const double> values) {
  SetCount(0);
  SetCount(static_cast<TLVRowIndex>(values.size()));
  std::complex<double>* out = data();
  for (double v : values) *out++ = {v, 0.0};
}

}  // namespace lv
