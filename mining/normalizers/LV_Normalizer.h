// Normalizers: for one column that feeds a model, the object that turns a cell into
// one real or a vector of reals (normalizing) and a model's numbers back into a cell
// (denormalizing).
//
// A normalizer keeps a copy of the description it was built for, statistics included,
// and the descriptions of the normalized columns it produces (one per output
// component). Whatever depends on the statistics (the unique-value index, the widened
// range) is rebuilt when the column is set or loaded. The hot path is NormalizeBlock:
// one column's block of rows into a column-major matrix, one call per block. A
// normalizer is used by one thread at a time; const methods may run concurrently.
#pragma once

#include <cmath>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/columns/LV_Block.h"
#include "core/columns/LV_ColumnInfo.h"
#include "core/columns/LV_Value.h"
#include "core/registry/LV_Settings.h"

namespace lv {

class TLVNormalizer;

// Maps a calculating normalizer's values from its source range (low, high) to
// [Min, Max]. Components that are NaN or infinite pass unchanged.
class TLVLinearNormalizeHelper {
 public:
  explicit TLVLinearNormalizeHelper(const TLVNormalizer& owner) : owner_(owner) {}

  bool GetEnabled() const { return enabled_; }
  void SetEnabled(bool value) { enabled_ = value; }
  double GetMin() const { return min_; }
  // Refused ("ErrHelperMinMax") unless the new minimum lies strictly below Max.
  void SetMin(double value);
  double GetMax() const { return max_; }
  // Refused unless the new maximum lies strictly above Min.
  void SetMax(double value);
  // Both bounds at once, checked together.
  void SetRange(double min, double max);

  // 100 * Max for the range [0, Max <= 1], 100 otherwise; writing p sets [0, p / 100].
  double GetImportance() const;
  void SetImportance(double percent);

  double Map(double y, double low, double high) const {
    if (!std::isfinite(y)) return y;
    const double t = (y - low) / (high - low);
    return (max_ - min_) * t + min_;
  }
  double Unmap(double z, double low, double high) const {
    if (!std::isfinite(z)) return z;
    const double t = (z - min_) / (max_ - min_);
    return (high - low) * t + low;
  }
  // Maps `count` values in place with the owner's source range.
  void MapValues(double* values, int32_t count) const;

  // "Enabled", and the bounds "Min" and "Max" when it is on.
  void SaveTo(ILVSettingsSection& section) const;
  void LoadFrom(const ILVSettingsSection& section);

 private:
  const TLVNormalizer& owner_;
  bool enabled_ = false;
  double min_ = 0.0;
  double max_ = 1.0;
};

class TLVNormalizer {
 public:
  TLVNormalizer() = default;
  TLVNormalizer(const TLVNormalizer&) = delete;
  TLVNormalizer& operator=(const TLVNormalizer&) = delete;
  virtual ~TLVNormalizer() = default;

  // The class name, which is also the name of its vendor.
  virtual std::string_view ClassName() const = 0;

  // Takes a copy of the description (statistics included) and rebuilds what depends on
  // it. A normalizer that cannot serve the column raises and keeps its previous one.
  void SetColumn(const ILVColumnInfo& column);
  bool HasColumn() const { return hasColumn_; }
  const TLVColumnInfo& Column() const { return column_; }
  // The column's statistics (an empty block when it has none).
  const TLVStatInfo& Stats() const;

  // Components per value.
  virtual int32_t OutputWidth() const = 0;
  // The normalized descriptions; "ErrNormColumnsNotCreated" before a column is set.
  const TLVColumnsInfo& NormColumns() const;

  // Whether a null cell becomes a null result (NaN) instead of failing.
  bool GetAllowNulls() const { return allowNulls_; }
  void SetAllowNulls(bool value) { allowNulls_ = value; }

  // The conversions a normalizer cannot do raise their own messages.
  virtual double Normalize(const TLVValue& value) const;
  virtual void NormalizeVector(const TLVValue& value, std::span<double> out) const;
  virtual TLVValue Denormalize(double value) const;
  virtual TLVValue DenormalizeVector(std::span<const double> values) const;

  // The values of one block of the column into `out`: component j of row i goes to
  // out[j * componentStride + i]. Null cells give NaN when nulls are allowed.
  virtual void NormalizeBlock(const TLVBlock& block, double* out, ptrdiff_t componentStride) const;

  // The range the values have before the range helper (low, high).
  virtual std::pair<double, double> SourceRange() const { return {0.0, 1.0}; }
  // The range of the normalized component `index` as the model sees it.
  virtual std::pair<double, double> OutputRange(int32_t index) const;

  virtual TLVLinearNormalizeHelper* Helper() { return nullptr; }
  const TLVLinearNormalizeHelper* Helper() const {
    return const_cast<TLVNormalizer*>(this)->Helper();
  }

  // The description, "StatInfo", "NormColumns" (with "Count"), then the class's own keys.
  virtual void SaveTo(ILVSettingsSection& section) const;
  // Restores a normalizer saved by SaveTo; on failure the normalizer is unchanged only
  // in its column, so callers load into a fresh object.
  virtual void LoadFrom(const ILVSettingsSection& section);

 protected:
  // Rebuilds the derived state for the column just set; raising refuses the column.
  virtual void ColumnChanged() {}
  // The name of the normalized component `index` (the source name for one component).
  virtual std::string NormColumnName(int32_t index) const;
  // Checks the block's nulls: raises when nulls are not allowed and one is there.
  void CheckNulls(const TLVBlock& block) const;
  [[noreturn]] void RaiseNotFound(const TLVValue& value) const;
  // Remakes the normalized descriptions after a setting changed the output width.
  void BuildNormColumns();

 private:
  TLVColumnInfo column_;
  bool hasColumn_ = false;
  TLVColumnsInfo normColumns_;
  bool allowNulls_ = true;
};

// A normalizer that computes: it may map its results through its range helper.
// Subclasses supply the raw codes (Encode, EncodeBlock) and the decode (Decode).
class TLVCalcNormalizer : public TLVNormalizer {
 public:
  TLVCalcNormalizer() : helper_(*this) {}

  TLVLinearNormalizeHelper* Helper() override { return &helper_; }

  double Normalize(const TLVValue& value) const override;
  void NormalizeVector(const TLVValue& value, std::span<double> out) const override;
  TLVValue Denormalize(double value) const override;
  TLVValue DenormalizeVector(std::span<const double> values) const override;
  void NormalizeBlock(const TLVBlock& block, double* out, ptrdiff_t componentStride) const override;
  std::pair<double, double> OutputRange(int32_t index) const override;

  void SaveTo(ILVSettingsSection& section) const override;
  void LoadFrom(const ILVSettingsSection& section) override;

 protected:
  // The codes of a present value, before the helper; out has OutputWidth() entries.
  virtual void Encode(const TLVValue& value, std::span<double> out) const = 0;
  // The codes of the block's rows; rows whose cell is null may be left as they are.
  virtual void EncodeBlock(const TLVBlock& block, double* out, ptrdiff_t componentStride) const = 0;
  // The cell for codes already mapped back from the helper's range.
  virtual TLVValue Decode(std::span<const double> values) const = 0;
  // The class's own keys, after the column and before the helper: a setting of the
  // class may switch the helper on, and the helper's saved state has the last word.
  virtual void SaveOwnSettings(ILVSettingsSection&) const {}
  virtual void LoadOwnSettings(const ILVSettingsSection&) {}
  // The cell Decode gives for a null or NaN code; refused unless nulls are allowed.
  TLVValue NullResult() const;

 private:
  TLVLinearNormalizeHelper helper_;
};

// The column cannot feed a model: every conversion is refused.
class TLVUnUsableColumnNormalizer : public TLVNormalizer {
 public:
  static constexpr std::string_view kClassName = "TLVUnUsableColumnNormalizer";
  std::string_view ClassName() const override { return kClassName; }
  int32_t OutputWidth() const override { return 0; }
};

// A cell of a numeric column type made from a real (integers rounded half to even).
TLVValue CellFromNumber(double value, TLVDataType type);

// The position of `value` among `count` sorted numbers, or -1.
int32_t FindSortedNumber(const double* sorted, int32_t count, double value);

// Appends the widths of the normalizer's output components (high minus low of each
// component's range), by which a row's error scales its differences.
void AppendOutputWidths(const TLVNormalizer& normalizer, std::vector<double>& widths);

// The error of one row: the mean over the components of ((output - target) / width)^2,
// a width of zero counting as one. Component j of the row stands at [j * stride] of
// `outputs` and `targets`. NaN when any output or target is missing.
double LVRowError(const double* outputs, const double* targets, ptrdiff_t stride,
                  std::span<const double> widths);

void RegisterNormalizerTexts();

}  // namespace lv
