#include "mining/normalizers/LV_Normalizer.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/columns/LV_Convert.h"
#include "core/registry/LV_Properties.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

// A unique value as persisted: texts as they are, integers in decimal, the rest as reals.
std::string StatValueText(const TLVValue& value) {
  switch (value.Type()) {
    case TLVDataType::dtString:
      return std::string(value.AsText());
    case TLVDataType::dtInteger:
      return std::to_string(value.AsInteger());
    default:
      return RealText(value.AsDouble());
  }
}

TLVValue StatValueFromText(TLVDataType type, const std::string& text) {
  switch (type) {
    case TLVDataType::dtString:
      return TLVValue::String(text);
    case TLVDataType::dtInteger: {
      std::optional<int32_t> i = TLVPropertyCodec<int32_t>::FromText(text);
      if (!i) RaisePropertyValue("Value", text);
      return TLVValue::Integer(*i);
    }
    default: {
      std::optional<double> x = TLVPropertyCodec<double>::FromText(text);
      if (!x) RaisePropertyValue("Value", text);
      if (type == TLVDataType::dtBoolean) return TLVValue::Boolean(*x != 0.0);
      if (type == TLVDataType::dtDateTime) return TLVValue::DateTime(*x);
      return TLVValue::Float(*x);
    }
  }
}

void SaveStats(const TLVStatInfo& stats, ILVSettingsSection& section) {
  section.Put("Min", RealText(stats.min));
  section.Put("Max", RealText(stats.max));
  section.Put("Avg", RealText(stats.avg));
  section.Put("StdDev", RealText(stats.stdDev));
  section.Put("NullCount", std::to_string(stats.nullCount));
  section.Put("TotalCount", std::to_string(stats.totalCount));
  section.Put("UniqueValuesFound", TLVPropertyCodec<bool>::ToText(stats.uniqueValuesFound));
  ILVSettingsSection& values = section.AddSection("UniqueValues");
  values.Put("Count", std::to_string(stats.uniqueValues.size()));
  for (const TLVValue& value : stats.uniqueValues) {
    values.AddItem("Item").Put("Value", StatValueText(value));
  }
}

std::shared_ptr<TLVStatInfo> LoadStats(const ILVSettingsSection& section, TLVDataType type) {
  auto stats = std::make_shared<TLVStatInfo>();
  stats->min = ReadSetting<double>(section, "Min", LVMissing());
  stats->max = ReadSetting<double>(section, "Max", LVMissing());
  stats->avg = ReadSetting<double>(section, "Avg", LVMissing());
  stats->stdDev = ReadSetting<double>(section, "StdDev", LVMissing());
  stats->nullCount = static_cast<int64_t>(ReadSetting<double>(section, "NullCount", 0));
  stats->totalCount = static_cast<int64_t>(ReadSetting<double>(section, "TotalCount", 0));
  stats->uniqueValuesFound = ReadSetting<bool>(section, "UniqueValuesFound", false);
  if (const ILVSettingsSection* values = section.FindSection("UniqueValues")) {
    for (const ILVSettingsSection* item : CountedItems(*values, "Item")) {
      stats->uniqueValues.push_back(StatValueFromText(type, item->Get("Value").value_or("")));
    }
  }
  stats->uniqueValuesCount = static_cast<int64_t>(stats->uniqueValues.size());
  return stats;
}

const TLVStatInfo& EmptyStats() {
  static const TLVStatInfo empty;
  return empty;
}

}  // namespace

TLVValue CellFromNumber(double value, TLVDataType type) {
  switch (type) {
    case TLVDataType::dtInteger:
      if (!(std::fabs(value) < 2147483647.5)) return TLVValue::Null(type);
      return TLVValue::Integer(static_cast<int32_t>(std::nearbyint(value)));
    case TLVDataType::dtDateTime:
      return TLVValue::DateTime(value);
    case TLVDataType::dtBoolean:
      return TLVValue::Boolean(value != 0.0);
    default:
      return TLVValue::Float(value);
  }
}

int32_t FindSortedNumber(const double* sorted, int32_t count, double value) {
  const double* end = sorted + count;
  const double* it = std::lower_bound(sorted, end, value);
  return it != end && *it == value ? static_cast<int32_t>(it - sorted) : -1;
}

// --- TLVLinearNormalizeHelper ---

void TLVLinearNormalizeHelper::SetRange(double min, double max) {
  if (!(min < max)) throw ELVError("ErrHelperMinMax", {min, max});
  min_ = min;
  max_ = max;
}

void TLVLinearNormalizeHelper::SetMin(double value) {
  SetRange(value, max_);
}

void TLVLinearNormalizeHelper::SetMax(double value) {
  SetRange(min_, value);
}

double TLVLinearNormalizeHelper::GetImportance() const {
  return min_ == 0.0 && max_ <= 1.0 ? 100.0 * max_ : 100.0;
}

void TLVLinearNormalizeHelper::SetImportance(double percent) {
  SetRange(0.0, percent / 100.0);
}

void TLVLinearNormalizeHelper::MapValues(double* values, int32_t count) const {
  const auto [low, high] = owner_.SourceRange();
  for (int32_t i = 0; i < count; ++i) values[i] = Map(values[i], low, high);
}

void TLVLinearNormalizeHelper::SaveTo(ILVSettingsSection& section) const {
  section.Put("Enabled", TLVPropertyCodec<bool>::ToText(enabled_));
  if (!enabled_) return;
  section.Put("Min", RealText(min_));
  section.Put("Max", RealText(max_));
}

void TLVLinearNormalizeHelper::LoadFrom(const ILVSettingsSection& section) {
  const bool enabled = ReadSetting<bool>(section, "Enabled", false);
  const double min = ReadSetting<double>(section, "Min", 0.0);
  const double max = ReadSetting<double>(section, "Max", 1.0);
  SetRange(min, max);
  enabled_ = enabled;
}

// --- TLVNormalizer ---

void TLVNormalizer::SetColumn(const ILVColumnInfo& column) {
  TLVColumnInfo previous;
  previous.Assign(column_);
  const bool hadColumn = hasColumn_;
  AssignColumnInfo(column_, column);
  hasColumn_ = true;
  try {
    ColumnChanged();
    BuildNormColumns();
  } catch (...) {
    column_.Assign(previous);
    hasColumn_ = hadColumn;
    if (hadColumn) ColumnChanged();
    throw;
  }
}

const TLVStatInfo& TLVNormalizer::Stats() const {
  const TLVStatInfo* stats = column_.GetStatInfo();
  return stats ? *stats : EmptyStats();
}

const TLVColumnsInfo& TLVNormalizer::NormColumns() const {
  if (!hasColumn_) throw ELVError("ErrNormColumnsNotCreated");
  return normColumns_;
}

std::string TLVNormalizer::NormColumnName(int32_t index) const {
  if (OutputWidth() == 1) return column_.GetName();
  return column_.GetName() + "_" + std::to_string(index + 1);
}

void TLVNormalizer::BuildNormColumns() {
  normColumns_.BeginUpdate();
  normColumns_.Clear();
  for (int32_t i = 0; i < OutputWidth(); ++i) {
    normColumns_.AddColumn(NormColumnName(i), TLVDataType::dtFloat, column_.GetDataStatus());
  }
  normColumns_.EndUpdate();
}

double TLVNormalizer::Normalize(const TLVValue&) const {
  throw ELVError("ErrNormalizeToFloat");
}

void TLVNormalizer::NormalizeVector(const TLVValue&, std::span<double>) const {
  throw ELVError("ErrNormalizeToVector");
}

TLVValue TLVNormalizer::Denormalize(double) const {
  throw ELVError("ErrDenormalizeFloat");
}

TLVValue TLVNormalizer::DenormalizeVector(std::span<const double>) const {
  throw ELVError("ErrDenormalizeVector");
}

void TLVNormalizer::NormalizeBlock(const TLVBlock&, double*, ptrdiff_t) const {
  throw ELVError("ErrNormalizeToVector");
}

std::pair<double, double> TLVNormalizer::OutputRange(int32_t) const {
  return SourceRange();
}

void TLVNormalizer::CheckNulls(const TLVBlock& block) const {
  if (allowNulls_) return;
  const uint8_t* valid = block.Valid();
  uint8_t all = 1;
  for (int32_t i = 0; i < block.Count(); ++i) all &= valid[i] != 0;
  if (!all) throw ELVError("ErrNormalizeValues");
}

void TLVNormalizer::RaiseNotFound(const TLVValue& value) const {
  throw ELVError("ErrValueNotInUniqueList", {ValueToText(value, DefaultFormatSettings())});
}

void TLVNormalizer::SaveTo(ILVSettingsSection& section) const {
  section.Put("ColumnName", column_.GetName());
  section.Put("DataType", ValueName(column_.GetDataType()));
  section.Put("DataKind", ValueName(column_.GetDataKind()));
  section.Put("DataStatus", ValueName(column_.GetDataStatus()));
  section.Put("AllowNulls", TLVPropertyCodec<bool>::ToText(allowNulls_));
  SaveStats(Stats(), section.AddSection("StatInfo"));
  ILVSettingsSection& norm = section.AddSection("NormColumns");
  const int32_t count = hasColumn_ ? normColumns_.Count() : 0;
  norm.Put("Count", std::to_string(count));
  for (int32_t i = 0; i < count; ++i) {
    ILVSettingsSection& item = norm.AddItem("Item");
    item.Put("Name", normColumns_[i].GetName());
    item.Put("DisplayName", normColumns_[i].StoredDisplayName());
  }
}

void TLVNormalizer::LoadFrom(const ILVSettingsSection& section) {
  TLVColumnInfo column;
  column.SetName(section.Get("ColumnName").value_or(""));
  column.SetDataType(ReadSetting(section, "DataType", TLVDataType::dtFloat));
  column.SetDataKind(ReadSetting(section, "DataKind", TLVDataKind::dkContinuous));
  column.SetDataStatus(ReadSetting(section, "DataStatus", TLVDataStatus::dsInput));
  if (const ILVSettingsSection* stats = section.FindSection("StatInfo")) {
    column.SetStatInfo(LoadStats(*stats, column.GetDataType()));
  }
  allowNulls_ = ReadSetting<bool>(section, "AllowNulls", true);
  SetColumn(column);
  // The user's captions of the normalized columns survive when the shape is the same.
  if (const ILVSettingsSection* norm = section.FindSection("NormColumns")) {
    std::vector<const ILVSettingsSection*> items = CountedItems(*norm, "Item");
    if (static_cast<int32_t>(items.size()) == normColumns_.Count()) {
      for (int32_t i = 0; i < normColumns_.Count(); ++i) {
        const ILVSettingsSection& item = *items[static_cast<size_t>(i)];
        // The names follow from the source column and are made anew; a stored name
        // only tells which component a caption belongs to.
        if (item.Get("Name").value_or(normColumns_[i].GetName()) != normColumns_[i].GetName()) {
          continue;
        }
        normColumns_[i].SetDisplayName(item.Get("DisplayName").value_or(""));
      }
    }
  }
}

// --- TLVCalcNormalizer ---

double TLVCalcNormalizer::Normalize(const TLVValue& value) const {
  if (OutputWidth() != 1) throw ELVError("ErrNormalizeToFloat");
  double result = 0;
  NormalizeVector(value, std::span(&result, 1));
  return result;
}

void TLVCalcNormalizer::NormalizeVector(const TLVValue& value, std::span<double> out) const {
  if (static_cast<int32_t>(out.size()) != OutputWidth()) throw ELVError("ErrNormalizeToVector");
  if (value.IsNull()) {
    if (!GetAllowNulls()) throw ELVError("ErrNormalizeValues");
    std::fill(out.begin(), out.end(), LVMissing());
    return;
  }
  Encode(value, out);
  const TLVLinearNormalizeHelper& helper = helper_;
  if (helper.GetEnabled()) helper.MapValues(out.data(), static_cast<int32_t>(out.size()));
}

TLVValue TLVCalcNormalizer::Denormalize(double value) const {
  if (OutputWidth() != 1) throw ELVError("ErrDenormalizeFloat");
  return DenormalizeVector(std::span(&value, 1));
}

TLVValue TLVCalcNormalizer::DenormalizeVector(std::span<const double> values) const {
  if (static_cast<int32_t>(values.size()) != OutputWidth()) throw ELVError("ErrDenormalizeVector");
  std::vector<double> raw(values.begin(), values.end());
  const TLVLinearNormalizeHelper& helper = helper_;
  if (helper.GetEnabled()) {
    const auto [low, high] = SourceRange();
    for (double& z : raw) z = helper.Unmap(z, low, high);
  }
  return Decode(raw);
}

void TLVCalcNormalizer::NormalizeBlock(const TLVBlock& block, double* out,
                                       ptrdiff_t componentStride) const {
  CheckNulls(block);
  EncodeBlock(block, out, componentStride);
  const int32_t count = block.Count();
  const uint8_t* valid = block.Valid();
  const TLVLinearNormalizeHelper& helper = helper_;
  for (int32_t j = 0; j < OutputWidth(); ++j) {
    double* column = out + j * componentStride;
    if (helper.GetEnabled()) helper.MapValues(column, count);
    for (int32_t i = 0; i < count; ++i) column[i] = valid[i] ? column[i] : LVMissing();
  }
}

std::pair<double, double> TLVCalcNormalizer::OutputRange(int32_t) const {
  const TLVLinearNormalizeHelper& helper = helper_;
  if (helper.GetEnabled()) return {helper.GetMin(), helper.GetMax()};
  return SourceRange();
}

void TLVCalcNormalizer::SaveTo(ILVSettingsSection& section) const {
  TLVNormalizer::SaveTo(section);
  SaveOwnSettings(section);
  helper_.SaveTo(section.AddSection("Helper"));
}

void TLVCalcNormalizer::LoadFrom(const ILVSettingsSection& section) {
  TLVNormalizer::LoadFrom(section);
  LoadOwnSettings(section);
  if (const ILVSettingsSection* helper = section.FindSection("Helper")) helper_.LoadFrom(*helper);
}

TLVValue TLVCalcNormalizer::NullResult() const {
  if (!GetAllowNulls()) throw ELVError("ErrDenormalizeNull");
  return TLVValue::Null(Column().GetDataType());
}

void AppendOutputWidths(const TLVNormalizer& normalizer, std::vector<double>& widths) {
  for (int32_t j = 0; j < normalizer.OutputWidth(); ++j) {
    const auto [low, high] = normalizer.OutputRange(j);
    widths.push_back(high - low);
  }
}

double LVRowError(const double* outputs, const double* targets, ptrdiff_t stride,
                  std::span<const double> widths) {
  if (widths.empty()) return 0.0;
  double sum = 0;
  for (size_t j = 0; j < widths.size(); ++j) {
    const double width = widths[j] != 0 ? widths[j] : 1;
    const ptrdiff_t at = static_cast<ptrdiff_t>(j) * stride;
    const double r = (outputs[at] - targets[at]) / width;
    sum += r * r;
  }
  // A missing output or target makes the sum NaN, and so the row's error.
  return sum / static_cast<double>(widths.size());
}

void RegisterNormalizerTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrHelperMinMax", "ErrNormalizeToFloat", "ErrNormalizeToVector", "ErrDenormalizeFloat",
       "ErrDenormalizeVector", "ErrNormColumnsNotCreated", "ErrNormalizeValues",
       "ErrNormalizeValue", "ErrDenormalizeNull", "ErrValueNotInUniqueList", "HelperEnabledCaption",
       "HelperMinCaption", "HelperMaxCaption"});
}

}  // namespace lv
