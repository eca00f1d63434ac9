// The base-category normalizer codes a discrete value against a reference, the first
// unique value: the reference is all zeros, the value at position k >= 1 sets
// component k - 1 (c - 1 components). It is the coding a regression needs, where a
// full one-hot vector would repeat the constant term.
#pragma once

#include "mining/normalizers/LV_UniqueValuesNormalizer.h"

namespace lv {

class TLVBaseCategoryNormalizer : public TLVDiscreteNormalizer {
 public:
  static constexpr std::string_view kClassName = "TLVBaseCategoryNormalizer";
  std::string_view ClassName() const override { return kClassName; }
  int32_t OutputWidth() const override { return std::max(0, UniqueCount() - 1); }

 protected:
  void Encode(const TLVValue& value, std::span<double> out) const override;
  void EncodeBlock(const TLVBlock& block, double* out, ptrdiff_t componentStride) const override;
  // The largest component (earliest on ties) names the value; below 0.5 it is the
  // reference.
  TLVValue Decode(std::span<const double> values) const override;
};

}  // namespace lv
