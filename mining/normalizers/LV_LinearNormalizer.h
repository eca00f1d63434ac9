// Normalizers of continuous columns: the linear one, which reads the value as a real
// and maps it from its source range (the column's statistics or a widened range)
// through the range helper, and the singular one for a column that holds one value
// or none, which codes every present value as 0.
#pragma once

#include <optional>

#include "mining/normalizers/LV_Normalizer.h"

namespace lv {

class TLVLinearNormalizer : public TLVCalcNormalizer {
 public:
  static constexpr std::string_view kClassName = "TLVLinearNormalizer";
  std::string_view ClassName() const override { return kClassName; }
  int32_t OutputWidth() const override { return 1; }

  // Whether the source range is widened; switching it on also enables the helper.
  bool GetExpandRange() const { return expandRange_; }
  void SetExpandRange(bool value);
  // Widening by percentages of the statistics' span rather than by absolute bounds.
  bool GetRelativeExpand() const { return relativeExpand_; }
  void SetRelativeExpand(bool value);

  // Absolute bounds (unset until given or derived from a percentage). A maximum below
  // the column's maximum or a minimum above its minimum is refused; each keeps its
  // percentage in step.
  std::optional<double> GetExpandMin() const { return expandMin_; }
  void SetExpandMin(double value);
  std::optional<double> GetExpandMax() const { return expandMax_; }
  void SetExpandMax(double value);

  // Percentages by which the low and the high bound are widened; negative ones are
  // refused. Each keeps its absolute bound in step.
  double GetRelativeExpandMin() const;
  void SetRelativeExpandMin(double percent);
  double GetRelativeExpandMax() const;
  void SetRelativeExpandMax(double percent);
  // The general check of both percentages.
  void CheckExpandPercents() const;

  std::pair<double, double> SourceRange() const override;

 protected:
  void ColumnChanged() override;
  void Encode(const TLVValue& value, std::span<double> out) const override;
  void EncodeBlock(const TLVBlock& block, double* out, ptrdiff_t componentStride) const override;
  TLVValue Decode(std::span<const double> values) const override;
  void SaveOwnSettings(ILVSettingsSection& section) const override;
  void LoadOwnSettings(const ILVSettingsSection& section) override;

 private:
  double Span() const { return Stats().max - Stats().min; }
  void DropRange() { relativeRange_.reset(); }

  bool expandRange_ = false;
  bool relativeExpand_ = true;
  std::optional<double> expandMin_;
  std::optional<double> expandMax_;
  double relativeExpandMin_ = 0.0;
  double relativeExpandMax_ = 0.0;
  mutable std::optional<std::pair<double, double>> relativeRange_;
};

class TLVSingularContinuesNormalizer : public TLVCalcNormalizer {
 public:
  static constexpr std::string_view kClassName = "TLVSingularContinuesNormalizer";
  std::string_view ClassName() const override { return kClassName; }
  int32_t OutputWidth() const override { return 1; }

 protected:
  void ColumnChanged() override;
  void Encode(const TLVValue& value, std::span<double> out) const override;
  void EncodeBlock(const TLVBlock& block, double* out, ptrdiff_t componentStride) const override;
  // Every code gives back the column's one value (null for a column of nulls only).
  TLVValue Decode(std::span<const double> values) const override;
};

// Whether a description is continuous with statistics whose maximum lies strictly
// above the minimum and fewer nulls than rows (the linear normalizer's column).
bool IsLinearColumn(const ILVColumnInfo& column);
// Whether a description is continuous and constant or null throughout.
bool IsSingularColumn(const ILVColumnInfo& column);

void RegisterLinearNormalizerTexts();

}  // namespace lv
