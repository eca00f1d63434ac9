#include "mining/normalizers/LV_BitMaskNormalizer.h"

#include <algorithm>
#include <cmath>

#include "core/registry/LV_Properties.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

int32_t BitCombinationWidth(int64_t count) {
  int32_t width = 0;
  while (count > (int64_t{1} << width)) ++width;
  return width;
}

int32_t LargestComponent(std::span<const double> values) {
  int32_t best = values.empty() ? -1 : 0;
  for (size_t j = 1; j < values.size(); ++j) {
    if (values[j] > values[static_cast<size_t>(best)]) best = static_cast<int32_t>(j);
  }
  return best;
}

void TLVBitMaskNormalizer::SetBitMaskCodeType(int32_t type) {
  if (type != 0 && type != 1) RaisePropertyValue("BitMaskCodeType", std::to_string(type));
  if (type == codeType_) return;
  codeType_ = type;
  if (HasColumn()) BuildNormColumns();
}

int32_t TLVBitMaskNormalizer::OutputWidth() const {
  return codeType_ == 0 ? BitCombinationWidth(UniqueCount()) : UniqueCount();
}

void TLVBitMaskNormalizer::Encode(const TLVValue& value, std::span<double> out) const {
  const int32_t k = RequirePosition(value);
  for (size_t j = 0; j < out.size(); ++j) {
    out[j] = codeType_ == 0 ? static_cast<double>((k >> j) & 1) : (static_cast<int32_t>(j) == k);
  }
}

void TLVBitMaskNormalizer::EncodeBlock(const TLVBlock& block, double* out,
                                       ptrdiff_t componentStride) const {
  if (codeType_ == 1) return EncodeOneHot(block, 0, out, componentStride);
  int32_t positions[kLVBlockSize];
  PositionsOf(block, positions);
  const int32_t count = block.Count();
  for (int32_t j = 0; j < OutputWidth(); ++j) {
    double* column = out + j * componentStride;
    for (int32_t i = 0; i < count; ++i) column[i] = static_cast<double>((positions[i] >> j) & 1);
  }
}

TLVValue TLVBitMaskNormalizer::Decode(std::span<const double> values) const {
  if (NoValueFor(values)) return NullResult();
  const int32_t c = UniqueCount();
  if (codeType_ == 1) return ValueAt(LargestComponent(values));
  uint64_t acc = 0;
  for (double z : values) {
    const uint64_t bit = z < 0 ? 0 : z > 1 ? 1 : static_cast<uint64_t>(std::nearbyint(z));
    acc = (acc | bit) * 2;
  }
  return ValueAt(static_cast<int32_t>(std::min<uint64_t>(acc, static_cast<uint64_t>(c - 1))));
}

void TLVBitMaskNormalizer::SaveOwnSettings(ILVSettingsSection& section) const {
  section.Put("BitMaskCodeType", std::to_string(codeType_));
}

void TLVBitMaskNormalizer::LoadOwnSettings(const ILVSettingsSection& section) {
  std::optional<std::string> text = section.Get("BitMaskCodeType");
  if (!text) return SetBitMaskCodeType(0);
  std::optional<int32_t> type = TLVPropertyCodec<int32_t>::FromText(*text);
  if (!type) RaisePropertyValue("BitMaskCodeType", *text);
  SetBitMaskCodeType(*type);
}

void RegisterBitMaskNormalizerTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"BitMaskCodeTypeCaption", "BitMaskCodeType0", "BitMaskCodeType1"});
}

}  // namespace lv
