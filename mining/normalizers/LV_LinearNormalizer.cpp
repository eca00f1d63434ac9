#include "mining/normalizers/LV_LinearNormalizer.h"

#include "core/columns/LV_Convert.h"
#include "core/registry/LV_Properties.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

// The numbers of a numeric block as reals, whatever their stored type.
void CopyNumbers(const TLVBlock& block, double* out) {
  const int32_t count = block.Count();
  if (block.Type() == TLVDataType::dtInteger) {
    const int32_t* in = block.Integers();
    for (int32_t i = 0; i < count; ++i) out[i] = static_cast<double>(in[i]);
  } else if (block.Type() == TLVDataType::dtString) {
    for (int32_t i = 0; i < count; ++i) {
      if (block.Valid()[i]) {
        throw ELVError("ErrNormalizeValue", {block.Strings()[i]});
      }
    }
  } else {
    const double* in = block.Numbers();
    for (int32_t i = 0; i < count; ++i) out[i] = in[i];
  }
}

double NumberOf(const TLVValue& value) {
  if (value.Type() == TLVDataType::dtString || value.Type() == TLVDataType::dtNone) {
    throw ELVError("ErrNormalizeValue", {ValueToText(value, DefaultFormatSettings())});
  }
  return value.AsDouble();
}

bool HasStats(const ILVColumnInfo& column) {
  return column.GetDataKind() == TLVDataKind::dkContinuous && column.GetStatInfo() != nullptr;
}

}  // namespace

bool IsLinearColumn(const ILVColumnInfo& column) {
  if (!HasStats(column)) return false;
  const TLVStatInfo& stats = *column.GetStatInfo();
  return stats.nullCount < stats.totalCount && stats.max > stats.min;
}

bool IsSingularColumn(const ILVColumnInfo& column) {
  if (!HasStats(column)) return false;
  const TLVStatInfo& stats = *column.GetStatInfo();
  return stats.nullCount == stats.totalCount || stats.min == stats.max;
}

// --- TLVLinearNormalizer ---

void TLVLinearNormalizer::ColumnChanged() {
  if (!IsLinearColumn(Column())) throw ELVError("ErrLinearNotPossible");
  DropRange();
  // The absolute bounds follow the percentages over the new statistics.
  if (expandMin_ || relativeExpandMin_ != 0.0)
    expandMin_ = Stats().min - relativeExpandMin_ * Span() / 100;
  if (expandMax_ || relativeExpandMax_ != 0.0)
    expandMax_ = Stats().max + relativeExpandMax_ * Span() / 100;
}

void TLVLinearNormalizer::SetExpandRange(bool value) {
  if (value == expandRange_) return;
  expandRange_ = value;
  if (value) Helper()->SetEnabled(true);
  DropRange();
}

void TLVLinearNormalizer::SetRelativeExpand(bool value) {
  relativeExpand_ = value;
  DropRange();
}

void TLVLinearNormalizer::SetExpandMin(double value) {
  if (value > Stats().min) throw ELVError("ErrNewMinGreater", {value, Stats().min});
  expandMin_ = value;
  relativeExpandMin_ = (Stats().min - value) * 100 / Span();
  DropRange();
}

void TLVLinearNormalizer::SetExpandMax(double value) {
  if (value < Stats().max) throw ELVError("ErrNewMaxLess", {value, Stats().max});
  expandMax_ = value;
  relativeExpandMax_ = (value - Stats().max) * 100 / Span();
  DropRange();
}

double TLVLinearNormalizer::GetRelativeExpandMin() const {
  if (expandRange_ && !relativeExpand_ && expandMin_) {
    return (Stats().min - *expandMin_) * 100 / Span();
  }
  return relativeExpandMin_;
}

double TLVLinearNormalizer::GetRelativeExpandMax() const {
  if (expandRange_ && !relativeExpand_ && expandMax_) {
    return (*expandMax_ - Stats().max) * 100 / Span();
  }
  return relativeExpandMax_;
}

void TLVLinearNormalizer::SetRelativeExpandMin(double percent) {
  if (percent < 0) throw ELVError("ErrExpandMinPercentNegative");
  relativeExpandMin_ = percent;
  expandMin_ = Stats().min - percent * Span() / 100;
  DropRange();
}

void TLVLinearNormalizer::SetRelativeExpandMax(double percent) {
  if (percent < 0) throw ELVError("ErrExpandMaxPercentNegative");
  relativeExpandMax_ = percent;
  expandMax_ = Stats().max + percent * Span() / 100;
  DropRange();
}

void TLVLinearNormalizer::CheckExpandPercents() const {
  if (GetRelativeExpandMin() < 0 || GetRelativeExpandMax() < 0) {
    throw ELVError("ErrExpandPercentNegative");
  }
}

std::pair<double, double> TLVLinearNormalizer::SourceRange() const {
  const TLVStatInfo& stats = Stats();
  if (!expandRange_) return {stats.min, stats.max};
  if (relativeExpand_) {
    if (!relativeRange_) {
      relativeRange_ = {stats.min - relativeExpandMin_ * (stats.max - stats.min) / 100,
                        stats.max + relativeExpandMax_ * (stats.max - stats.min) / 100};
    }
    return *relativeRange_;
  }
  return {expandMin_.value_or(stats.min), expandMax_.value_or(stats.max)};
}

void TLVLinearNormalizer::Encode(const TLVValue& value, std::span<double> out) const {
  out[0] = NumberOf(value);
}

void TLVLinearNormalizer::EncodeBlock(const TLVBlock& block, double* out, ptrdiff_t) const {
  CopyNumbers(block, out);
}

TLVValue TLVLinearNormalizer::Decode(std::span<const double> values) const {
  if (std::isnan(values[0])) return NullResult();
  return CellFromNumber(values[0], Column().GetDataType());
}

void TLVLinearNormalizer::SaveOwnSettings(ILVSettingsSection& section) const {
  section.Put("ExpandRange", TLVPropertyCodec<bool>::ToText(expandRange_));
  if (!expandRange_) return;
  section.Put("RelativeExpand", TLVPropertyCodec<bool>::ToText(relativeExpand_));
  if (expandMin_) WriteSetting(section, "ExpandMin", *expandMin_);
  if (expandMax_) WriteSetting(section, "ExpandMax", *expandMax_);
  if (!relativeExpand_) return;
  WriteSetting(section, "RelativeExpandMin", relativeExpandMin_);
  WriteSetting(section, "RelativeExpandMax", relativeExpandMax_);
}

void TLVLinearNormalizer::LoadOwnSettings(const ILVSettingsSection& section) {
  SetExpandRange(ReadOptionalSetting<bool>(section, "ExpandRange").value_or(false));
  SetRelativeExpand(ReadOptionalSetting<bool>(section, "RelativeExpand").value_or(true));
  if (auto min = ReadOptionalSetting<double>(section, "ExpandMin")) SetExpandMin(*min);
  if (auto max = ReadOptionalSetting<double>(section, "ExpandMax")) SetExpandMax(*max);
  // With relative widening the percentages are the setting and the bounds follow them.
  if (relativeExpand_) {
    SetRelativeExpandMin(ReadOptionalSetting<double>(section, "RelativeExpandMin").value_or(0.0));
    SetRelativeExpandMax(ReadOptionalSetting<double>(section, "RelativeExpandMax").value_or(0.0));
  }
}

// --- TLVSingularContinuesNormalizer ---

void TLVSingularContinuesNormalizer::ColumnChanged() {
  if (!IsSingularColumn(Column())) throw ELVError("ErrNormalizeValues");
}

void TLVSingularContinuesNormalizer::Encode(const TLVValue& value, std::span<double> out) const {
  NumberOf(value);
  out[0] = 0.0;
}

void TLVSingularContinuesNormalizer::EncodeBlock(const TLVBlock& block, double* out,
                                                 ptrdiff_t) const {
  for (int32_t i = 0; i < block.Count(); ++i) out[i] = 0.0;
}

TLVValue TLVSingularContinuesNormalizer::Decode(std::span<const double> values) const {
  if (std::isnan(values[0]) || std::isnan(Stats().min)) return NullResult();
  return CellFromNumber(Stats().min, Column().GetDataType());
}

void RegisterLinearNormalizerTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrLinearNotPossible", "ErrNewMinGreater", "ErrNewMaxLess", "ErrExpandMinPercentNegative",
       "ErrExpandMaxPercentNegative", "ErrExpandPercentNegative", "LinearExpandRangeCaption",
       "LinearRelativeExpandCaption", "LinearExpandMinCaption", "LinearExpandMaxCaption",
       "LinearRelativeExpandMinCaption", "LinearRelativeExpandMaxCaption"});
}

}  // namespace lv
