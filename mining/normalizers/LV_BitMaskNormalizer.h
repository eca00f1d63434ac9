// The bit-mask normalizer codes a discrete value's position k among c unique values
// either as the bits of k (bit combination, ceil(log2 c) components, least significant
// first) or as a one-hot vector (bit position, c components).
//
// The bit-combination decode is deliberately not the inverse of the encode: it reads
// the first component as the most significant bit and doubles once more after the
// last one, then clamps the position to c - 1. Projects trained with it depend on the
// exact decode, so it stays as it is.
#pragma once

#include "mining/normalizers/LV_UniqueValuesNormalizer.h"

namespace lv {

class TLVBitMaskNormalizer : public TLVDiscreteNormalizer {
 public:
  static constexpr std::string_view kClassName = "TLVBitMaskNormalizer";
  std::string_view ClassName() const override { return kClassName; }

  // 0 = bit combination, 1 = bit position; anything else is refused.
  int32_t GetBitMaskCodeType() const { return codeType_; }
  void SetBitMaskCodeType(int32_t type);

  int32_t OutputWidth() const override;

 protected:
  void Encode(const TLVValue& value, std::span<double> out) const override;
  void EncodeBlock(const TLVBlock& block, double* out, ptrdiff_t componentStride) const override;
  TLVValue Decode(std::span<const double> values) const override;
  void SaveOwnSettings(ILVSettingsSection& section) const override;
  void LoadOwnSettings(const ILVSettingsSection& section) override;

 private:
  int32_t codeType_ = 0;
};

// The number of bits of a bit combination for c values: the exponent of c when it is
// a power of two, else one more (0 for one value or none).
int32_t BitCombinationWidth(int64_t count);

// The position of the largest of the values, the earliest on ties (-1 for none).
int32_t LargestComponent(std::span<const double> values);

void RegisterBitMaskNormalizerTexts();

}  // namespace lv
