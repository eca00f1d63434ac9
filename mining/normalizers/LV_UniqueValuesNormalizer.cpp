#include "mining/normalizers/LV_UniqueValuesNormalizer.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "core/registry/LV_Properties.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

bool IsDiscreteColumn(const ILVColumnInfo& column, bool withoutNulls) {
  if (column.GetDataKind() != TLVDataKind::dkDiscrete) return false;
  const TLVStatInfo* stats = column.GetStatInfo();
  if (!stats || !stats->uniqueValuesFound) return false;
  return !withoutNulls || stats->nullCount == 0;
}

// --- TLVDiscreteNormalizer ---

void TLVDiscreteNormalizer::ColumnChanged() {
  if (!IsDiscreteColumn(Column(), false)) throw ELVError("ErrNormalizeValues");
  numbers_.clear();
  direct_.clear();
  texts_.clear();
  const std::vector<TLVValue>& values = Stats().uniqueValues;
  if (Column().GetDataType() == TLVDataType::dtString) {
    for (size_t i = 0; i < values.size(); ++i) {
      texts_.emplace(std::string(values[i].AsText()), static_cast<int32_t>(i));
    }
    return;
  }
  numbers_.reserve(values.size());
  for (const TLVValue& value : values) numbers_.push_back(value.AsDouble());
  // The statistics list numbers ascending; a hand-edited project may not.
  if (!std::is_sorted(numbers_.begin(), numbers_.end())) throw ELVError("ErrNormalizeValues");
  constexpr double kDirectSpan = 65536;
  const bool whole =
      std::all_of(numbers_.begin(), numbers_.end(), [](double x) { return std::trunc(x) == x; });
  if (numbers_.empty() || !whole || numbers_.back() - numbers_.front() >= kDirectSpan) return;
  directMin_ = numbers_.front();
  direct_.assign(static_cast<size_t>(numbers_.back() - directMin_) + 1, -1);
  for (size_t i = 0; i < numbers_.size(); ++i) {
    direct_[static_cast<size_t>(numbers_[i] - directMin_)] = static_cast<int32_t>(i);
  }
}

int32_t TLVDiscreteNormalizer::NumberPosition(double value) const {
  if (direct_.empty()) {
    return FindSortedNumber(numbers_.data(), static_cast<int32_t>(numbers_.size()), value);
  }
  const double offset = value - directMin_;
  // Also false for NaN and for fractions, which no whole unique value can match.
  if (!(offset >= 0 && offset < static_cast<double>(direct_.size())) ||
      std::trunc(offset) != offset) {
    return -1;
  }
  return direct_[static_cast<size_t>(offset)];
}

int32_t TLVDiscreteNormalizer::PositionOf(const TLVValue& value) const {
  if (value.IsNull()) return -1;
  if (value.Type() == TLVDataType::dtString) {
    auto it = texts_.find(value.AsText());
    return it == texts_.end() ? -1 : it->second;
  }
  return NumberPosition(value.AsDouble());
}

int32_t TLVDiscreteNormalizer::RequirePosition(const TLVValue& value) const {
  const int32_t position = PositionOf(value);
  if (position < 0) RaiseNotFound(value);
  return position;
}

void TLVDiscreteNormalizer::PositionsOf(const TLVBlock& block, int32_t* positions) const {
  const int32_t count = block.Count();
  const uint8_t* valid = block.Valid();
  // One loop per stored type, so the common ones (codes as integers) run tight.
  switch (block.Type()) {
    case TLVDataType::dtString:
      for (int32_t i = 0; i < count; ++i) {
        if (!valid[i]) {
          positions[i] = -1;
          continue;
        }
        auto it = texts_.find(block.Strings()[i]);
        positions[i] = it == texts_.end() ? -2 : it->second;
      }
      break;
    case TLVDataType::dtInteger:
      for (int32_t i = 0; i < count; ++i) {
        positions[i] = valid[i] ? NumberPosition(block.Integers()[i]) : -1;
        positions[i] -= valid[i] && positions[i] < 0;
      }
      break;
    default:
      for (int32_t i = 0; i < count; ++i) {
        positions[i] = valid[i] ? NumberPosition(block.Numbers()[i]) : -1;
        positions[i] -= valid[i] && positions[i] < 0;
      }
      break;
  }
  // A present value the list does not hold was marked -2: the first one is reported.
  for (int32_t i = 0; i < count; ++i) {
    if (positions[i] != -2) continue;
    RaiseNotFound(block.Type() == TLVDataType::dtString
                      ? TLVValue::String(block.Strings()[i])
                      : CellFromNumber(block.NumberAt(i), block.Type()));
  }
}

void TLVDiscreteNormalizer::EncodeOneHot(const TLVBlock& block, int32_t first, double* out,
                                         ptrdiff_t componentStride) const {
  int32_t positions[kLVBlockSize];
  PositionsOf(block, positions);
  const int32_t count = block.Count();
  for (int32_t j = 0; j < OutputWidth(); ++j) {
    double* column = out + j * componentStride;
    for (int32_t i = 0; i < count; ++i) column[i] = positions[i] == j + first ? 1.0 : 0.0;
  }
}

bool TLVDiscreteNormalizer::NoValueFor(std::span<const double> values) const {
  return UniqueCount() == 0 ||
         std::any_of(values.begin(), values.end(), [](double z) { return std::isnan(z); });
}

// --- TLVUniqueValuesNormalizer ---

bool TLVUniqueValuesNormalizer::FitsList(const std::vector<int32_t>& order) const {
  const int32_t c = UniqueCount();
  if (static_cast<int32_t>(order.size()) != c || c == 0) return false;
  const auto [low, high] = std::minmax_element(order.begin(), order.end());
  return *low == 0 && *high == c - 1;
}

void TLVUniqueValuesNormalizer::ColumnChanged() {
  TLVDiscreteNormalizer::ColumnChanged();
  if (!FitsList(valuesOrder_)) {
    valuesOrder_.resize(static_cast<size_t>(UniqueCount()));
    std::iota(valuesOrder_.begin(), valuesOrder_.end(), 0);
  }
  BuildCodes();
}

void TLVUniqueValuesNormalizer::BuildCodes() {
  const int32_t c = UniqueCount();
  codes_.resize(static_cast<size_t>(c));
  for (int32_t k = 0; k < c; ++k) {
    switch (sortOrder_) {
      case TLVSortOrder::soDesc:
        codes_[static_cast<size_t>(k)] = c - 1 - k;
        break;
      case TLVSortOrder::soCustom:
        codes_[static_cast<size_t>(k)] = valuesOrder_[static_cast<size_t>(k)];
        break;
      default:
        codes_[static_cast<size_t>(k)] = k;
        break;
    }
  }
}

void TLVUniqueValuesNormalizer::SetSortOrder(TLVSortOrder order) {
  sortOrder_ = order;
  BuildCodes();
}

void TLVUniqueValuesNormalizer::SetValuesOrder(std::vector<int32_t> order) {
  if (!FitsList(order)) throw ELVError("ErrBadValuesOrder");
  valuesOrder_ = std::move(order);
  BuildCodes();
}

std::pair<double, double> TLVUniqueValuesNormalizer::SourceRange() const {
  // A list of one value has no span; its one code still maps to the helper's minimum.
  return {0.0, std::max(1.0, static_cast<double>(UniqueCount() - 1))};
}

void TLVUniqueValuesNormalizer::Encode(const TLVValue& value, std::span<double> out) const {
  out[0] = codes_[static_cast<size_t>(RequirePosition(value))];
}

void TLVUniqueValuesNormalizer::EncodeBlock(const TLVBlock& block, double* out, ptrdiff_t) const {
  int32_t positions[kLVBlockSize];
  PositionsOf(block, positions);
  for (int32_t i = 0; i < block.Count(); ++i) {
    out[i] = positions[i] < 0 ? 0.0 : codes_[static_cast<size_t>(positions[i])];
  }
}

TLVValue TLVUniqueValuesNormalizer::Decode(std::span<const double> values) const {
  const double z = values[0];
  const int32_t c = UniqueCount();
  if (std::isnan(z) || c == 0) return NullResult();
  const int32_t code = z < 0 ? 0 : z > c - 1 ? c - 1 : static_cast<int32_t>(std::nearbyint(z));
  int32_t position = code;
  if (sortOrder_ == TLVSortOrder::soDesc) {
    position = c - 1 - code;
  } else if (sortOrder_ == TLVSortOrder::soCustom) {
    auto it = std::find(valuesOrder_.begin(), valuesOrder_.end(), code);
    if (it == valuesOrder_.end()) throw ELVError("ErrBadValuesOrder");
    position = static_cast<int32_t>(it - valuesOrder_.begin());
  }
  return ValueAt(position);
}

void TLVUniqueValuesNormalizer::SaveOwnSettings(ILVSettingsSection& section) const {
  section.Put("SortOrder", ValueName(sortOrder_));
  if (sortOrder_ != TLVSortOrder::soCustom) return;
  ILVSettingsSection& order = section.AddSection("ValuesOrder");
  order.Put("Count", std::to_string(valuesOrder_.size()));
  for (int32_t code : valuesOrder_) order.AddItem("Item").Put("Value", std::to_string(code));
}

void TLVUniqueValuesNormalizer::LoadOwnSettings(const ILVSettingsSection& section) {
  if (std::optional<std::string> text = section.Get("SortOrder")) {
    std::optional<TLVSortOrder> order = EnumFromName<TLVSortOrder>(*text);
    if (!order) RaisePropertyValue("SortOrder", *text);
    sortOrder_ = *order;
  }
  if (const ILVSettingsSection* order = section.FindSection("ValuesOrder")) {
    std::vector<int32_t> codes;
    for (const ILVSettingsSection* item : CountedItems(*order, "Item")) {
      const std::string text = item->Get("Value").value_or("");
      std::optional<int32_t> code = TLVPropertyCodec<int32_t>::FromText(text);
      if (!code) RaisePropertyValue("ValuesOrder", text);
      codes.push_back(*code);
    }
    SetValuesOrder(std::move(codes));
  }
  BuildCodes();
}

void RegisterUniqueValuesNormalizerTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrBadValuesOrder", "UniqueSortOrderCaption", "UniqueValuesOrderCaption"});
}

}  // namespace lv
