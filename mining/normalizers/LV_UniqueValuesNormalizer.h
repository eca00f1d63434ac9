// Normalizers of discrete columns that code a value by its position k among the
// column's unique values (the statistics' list, count c). TLVDiscreteNormalizer holds
// the look-up from value to position; TLVUniqueValuesNormalizer turns the position
// into one code by its sort order; TLVOrderNumberNormalizer is the same coding offered
// for discrete columns with nulls too.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "core/columns/LV_Types.h"
#include "mining/normalizers/LV_Normalizer.h"

namespace lv {

class TLVDiscreteNormalizer : public TLVCalcNormalizer {
 public:
  int32_t UniqueCount() const { return static_cast<int32_t>(Stats().uniqueValues.size()); }
  // The position of a present value, or -1 when the list does not hold it.
  int32_t PositionOf(const TLVValue& value) const;
  const TLVValue& ValueAt(int32_t position) const {
    return Stats().uniqueValues[static_cast<size_t>(position)];
  }
  // The positions of a block's rows (-1 for a null cell); a present value that the
  // list does not hold raises its message.
  void PositionsOf(const TLVBlock& block, int32_t* positions) const;

 protected:
  // Builds the look-up; a column without unique values is refused.
  void ColumnChanged() override;
  // The position of a present value, raising when the list does not hold it.
  int32_t RequirePosition(const TLVValue& value) const;
  // One-hot codes of a block: component j is 1 where the row's position is j + first.
  void EncodeOneHot(const TLVBlock& block, int32_t first, double* out,
                    ptrdiff_t componentStride) const;
  // Whether codes cannot name a value (an empty list, a NaN component).
  bool NoValueFor(std::span<const double> values) const;

 private:
  struct TTextHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
  };
  // The position of a number by binary search, or, when every unique value is a whole
  // number within a short span (codes, years, counts), by a table indexed by the value.
  int32_t NumberPosition(double value) const;

  std::vector<double> numbers_;
  std::vector<int32_t> direct_;  // position of directMin_ + i, or -1
  double directMin_ = 0;
  std::unordered_map<std::string, int32_t, TTextHash, std::equal_to<>> texts_;
};

class TLVUniqueValuesNormalizer : public TLVDiscreteNormalizer {
 public:
  static constexpr std::string_view kClassName = "TLVUniqueValuesNormalizer";
  std::string_view ClassName() const override { return kClassName; }
  int32_t OutputWidth() const override { return 1; }

  // soNone and soAsc code k, soDesc c - 1 - k, soCustom ValuesOrder[k].
  TLVSortOrder GetSortOrder() const { return sortOrder_; }
  void SetSortOrder(TLVSortOrder order);
  // The custom codes: c entries whose smallest is 0 and largest c - 1, else refused
  // ("ErrBadValuesOrder").
  const std::vector<int32_t>& GetValuesOrder() const { return valuesOrder_; }
  void SetValuesOrder(std::vector<int32_t> order);

  std::pair<double, double> SourceRange() const override;

 protected:
  // Keeps ValuesOrder when it still fits the new list, else resets it to the identity.
  void ColumnChanged() override;
  void Encode(const TLVValue& value, std::span<double> out) const override;
  void EncodeBlock(const TLVBlock& block, double* out, ptrdiff_t componentStride) const override;
  TLVValue Decode(std::span<const double> values) const override;
  void SaveOwnSettings(ILVSettingsSection& section) const override;
  void LoadOwnSettings(const ILVSettingsSection& section) override;

 private:
  bool FitsList(const std::vector<int32_t>& order) const;
  void BuildCodes();

  TLVSortOrder sortOrder_ = TLVSortOrder::soNone;
  std::vector<int32_t> valuesOrder_;
  std::vector<double> codes_;  // code of each position
};

class TLVOrderNumberNormalizer : public TLVUniqueValuesNormalizer {
 public:
  static constexpr std::string_view kClassName = "TLVOrderNumberNormalizer";
  std::string_view ClassName() const override { return kClassName; }
};

// Whether a description is discrete with unique values in its statistics (and, when
// `withoutNulls`, no null cell).
bool IsDiscreteColumn(const ILVColumnInfo& column, bool withoutNulls);

void RegisterUniqueValuesNormalizerTexts();

}  // namespace lv
