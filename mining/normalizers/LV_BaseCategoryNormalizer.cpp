#include "mining/normalizers/LV_BaseCategoryNormalizer.h"

#include <algorithm>
#include <cmath>

#include "mining/normalizers/LV_BitMaskNormalizer.h"

namespace lv {

void TLVBaseCategoryNormalizer::Encode(const TLVValue& value, std::span<double> out) const {
  const int32_t k = RequirePosition(value);
  for (size_t j = 0; j < out.size(); ++j) out[j] = static_cast<int32_t>(j) == k - 1 ? 1.0 : 0.0;
}

void TLVBaseCategoryNormalizer::EncodeBlock(const TLVBlock& block, double* out,
                                            ptrdiff_t componentStride) const {
  EncodeOneHot(block, 1, out, componentStride);
}

TLVValue TLVBaseCategoryNormalizer::Decode(std::span<const double> values) const {
  if (NoValueFor(values)) return NullResult();
  const int32_t c = UniqueCount();
  const int32_t largest = LargestComponent(values);
  if (largest < 0 || values[static_cast<size_t>(largest)] < 0.5) return ValueAt(0);
  return ValueAt(std::min(largest + 1, c - 1));
}

}  // namespace lv
