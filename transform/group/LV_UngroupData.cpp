#include "transform/group/LV_UngroupData.h"

#include <array>
#include <cmath>

#include "core/sources/LV_FilteredDataSource.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "transform/group/LV_GroupData.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kEvalNames{"detOverall"sv, "detLatestData"sv};
const TLVEnumDescriptor kEvalType{"TLVDistribEvalType", kEvalNames, true, true};

bool SameValue(const TLVGroupValues& a, size_t i, const TLVGroupValues& b, size_t j) {
  if (a.valid[i] != b.valid[j]) return false;
  if (!a.valid[i]) return true;
  if (a.type == TLVDataType::dtString) return a.texts[i] == b.texts[j];
  if (a.type == TLVDataType::dtInteger) return a.integers[i] == b.integers[j];
  return a.numbers[i] == b.numbers[j];
}

bool IsNumber(TLVDataType type) {
  return type == TLVDataType::dtInteger || type == TLVDataType::dtFloat;
}

// The last `depth` rows of each group of `dimensions`, ascending.
std::vector<TLVRowIndex> LatestRows(ILVDataSource& source, const std::vector<int32_t>& dimensions,
                                    int32_t depth) {
  const std::vector<uint32_t> groups = LVGroupNumbers(source, dimensions);
  std::vector<int32_t> taken;
  std::vector<TLVRowIndex> rows;
  for (size_t r = groups.size(); r-- > 0;) {
    if (groups[r] >= taken.size()) taken.resize(groups[r] + 1, 0);
    if (taken[groups[r]]++ < depth) rows.push_back(static_cast<TLVRowIndex>(r));
  }
  std::reverse(rows.begin(), rows.end());
  return rows;
}

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVDistribEvalType) {
  return kEvalType;
}

void TLVUngroupDataColumn::SetRefColumnName(const std::string& value) {
  if (value == ref_) return;
  ref_ = value;
  Changed("RefColumnName");
}

const TLVPropertyTable<TLVUngroupDataColumn>& TLVUngroupDataColumn::Properties() {
  static const auto table = [] {
    using I = TLVUngroupDataColumn;
    TLVPropertyTable<I> t;
    t.Add("Name", &I::GetName, &I::SetName, std::string())
        .Add("RefColumnName", &I::GetRefColumnName, &I::SetRefColumnName, std::string());
    return t;
  }();
  return table;
}

TLVUngroupDataColumn& TLVUngroupDataColumns::AddFact(std::string_view name,
                                                     std::string_view refColumnName) {
  auto item = std::make_shared<TLVUngroupDataColumn>();
  item->SetName(name);
  item->SetRefColumnName(std::string(refColumnName));
  TLVUngroupDataColumn& added = *item;
  Add(std::move(item));
  return added;
}

TLVUngroupData::TLVUngroupData() {
  facts_.SetObserver([this](TLVCollectionItem*, std::string_view) { SettingsChanged(); });
}

TLVUngroupData::~TLVUngroupData() {
  facts_.SetObserver(nullptr);
}

void TLVUngroupData::SettingsChanged() {
  Restructure();
}

void TLVUngroupData::Changed() {
  Close();
  NotifyListeners(TLVNotifyReason::nrDataChanged);
}

void TLVUngroupData::SetExpandColumnName(const std::string& value) {
  if (value == expand_) return;
  expand_ = value;
  SettingsChanged();
}

void TLVUngroupData::SetKeyColumnName(const std::string& value) {
  if (value == key_) return;
  key_ = value;
  Changed();
}

void TLVUngroupData::SetDistribEvalType(TLVDistribEvalType value) {
  if (value == evalType_) return;
  evalType_ = value;
  Changed();
}

void TLVUngroupData::SetKeyStatsDepth(int32_t value) {
  if (value == depth_) return;
  if (value <= 0) throw ELVDataError("ErrUngroupDepth");
  depth_ = value;
  Changed();
}

namespace {

struct TGroupingParts {
  TLVGroupData* grouping = nullptr;
  ILVDataSource* detailed = nullptr;
};

TGroupingParts GroupingOf(ILVDataSource* parent) {
  auto* grouping = dynamic_cast<TLVGroupData*>(parent);
  if (!grouping) throw ELVDataError("ErrUngroupNoGroupIntf");
  ILVDataSource* detailed = grouping->GetDataSource();
  if (!detailed) throw ELVDataError("ErrUngroupNoGroupIntf");
  return {grouping, detailed};
}

}  // namespace

std::vector<std::string> TLVUngroupData::RestorableColumns() const {
  const TGroupingParts parts = GroupingOf(ParentSource());
  if (parts.grouping->Dimensions().Count() == 0) throw ELVDataError("ErrUngroupNoDimensions");
  std::vector<std::string> names;
  const ILVColumnsInfo& columns = parts.detailed->GetColumnsInfo();
  for (int32_t i = 0; i < columns.GetColumnCount(); ++i) {
    const std::string name = columns.GetColumnInfo(i)->GetName();
    if (parts.grouping->Dimensions().IndexOfName(name) < 0) names.push_back(name);
  }
  if (names.empty()) throw ELVDataError("ErrUngroupNothingToRestore");
  return names;
}

void TLVUngroupData::RebuildColumns() {
  Columns().Clear();
  outputs_.clear();
  auto* grouping = dynamic_cast<TLVGroupData*>(ParentSource());
  if (!grouping) return;
  const ILVColumnsInfo& parent = grouping->GetColumnsInfo();
  std::shared_ptr<ILVColumnInfo> restored;
  if (grouping->GetDataSource())
    restored = grouping->GetDataSource()->GetColumnsInfo().FindColumnInfo(expand_);
  const int32_t at = std::min(grouping->Dimensions().Count(), parent.GetColumnCount());
  for (int32_t i = 0; i <= parent.GetColumnCount(); ++i) {
    if (i == at && restored) {
      AssignColumnInfo(Columns().AddColumn(restored->GetName(), restored->GetDataType()),
                       *restored);
      outputs_.push_back({TOutput::Kind::kRestored, -1});
    }
    if (i == parent.GetColumnCount()) break;
    auto column = parent.GetColumnInfo(i);
    const TLVUngroupDataColumn* fact = nullptr;
    for (int32_t f = 0; f < facts_.Count() && !fact; ++f) {
      if (facts_[f].GetRefColumnName() == column->GetName()) fact = &facts_[f];
    }
    if (fact) {
      // A fact that keeps its source column's name keeps its caption too.
      const std::string& name = fact->GetName().empty() ? column->GetName() : fact->GetName();
      TLVColumnInfo& added = Columns().AddColumn(name, TLVDataType::dtFloat);
      if (name == column->GetName()) added.SetDisplayName(column->GetDisplayName());
      outputs_.push_back({TOutput::Kind::kFact, i});
    } else {
      AssignColumnInfo(Columns().AddColumn(column->GetName(), column->GetDataType()), *column);
      outputs_.push_back({TOutput::Kind::kCopy, i});
    }
  }
}

void TLVUngroupData::DoOpen() {
  const TGroupingParts parts = GroupingOf(ParentSource());
  const ILVColumnsInfo& detailed = parts.detailed->GetColumnsInfo();
  const ILVColumnsInfo& grouped = parts.grouping->GetColumnsInfo();
  std::vector<int32_t> dims;
  for (int32_t i = 0; i < parts.grouping->Dimensions().Count(); ++i) {
    const std::string& name = parts.grouping->Dimensions()[i].GetName();
    const int32_t index = detailed.IndexOfColumn(name);
    if (index < 0) throw ELVDataError("ErrParentColumnNotFound", {name});
    dims.push_back(index);
  }
  if (expand_.empty()) throw ELVDataError("ErrUngroupNoKeyColumn");
  const int32_t expand = detailed.IndexOfColumn(expand_);
  if (expand < 0 || parts.grouping->Dimensions().IndexOfName(expand_) >= 0) {
    throw ELVDataError("ErrUngroupBadExpandColumn");
  }
  if (key_.empty()) throw ELVDataError("ErrUngroupNoControlColumn");
  const int32_t key = detailed.IndexOfColumn(key_);
  if (key < 0 || !IsNumber(detailed.GetColumnInfo(key)->GetDataType())) {
    throw ELVDataError("ErrUngroupBadKeyColumn");
  }
  if (facts_.Count() == 0) throw ELVDataError("ErrUngroupNoFacts");
  for (int32_t f = 0; f < facts_.Count(); ++f) {
    const std::string& ref = facts_[f].GetRefColumnName();
    if (ref.empty()) throw ELVDataError("ErrUngroupNoRefColumn", {facts_[f].GetName()});
    if (grouped.IndexOfColumn(ref) < 0) throw ELVDataError("ErrParentColumnNotFound", {ref});
  }

  ILVDataSource& parent = RequireParent();
  TLVLockGuard lock(parent);
  const TLVRowIndex inputs = parent.GetRowCount();
  TLVGroupValues values = std::move(LVGroupRows(*parts.detailed, {expand}, {}, nullptr).columns[0]);
  // Missing values sort last; they are no value to restore.
  size_t k = values.valid.size();
  while (k > 0 && !values.valid[k - 1]) --k;
  values.valid.resize(k);
  // The sums of the control column per group and restored value, over the rows the
  // estimate uses; the groups come in the grouping's own order.
  std::vector<int32_t> byValue = dims;
  byValue.push_back(expand);
  const std::vector<TLVGroupFact> sums{{key, TLVGroupDataFunction::gdSum}};
  TLVGroupResult result;
  if (evalType_ == TLVDistribEvalType::detLatestData) {
    auto latest = std::make_shared<TLVFilteredDataSource>();
    latest->SetDataSource(dynamic_cast<TLVComponent&>(*parts.detailed).GetDataSourceIntf());
    latest->SetIndexes(
        std::make_shared<TLVDataSourceIndexes>(LatestRows(*parts.detailed, dims, depth_)));
    result = LVGroupRows(*latest, byValue, sums, nullptr);
  } else {
    result = LVGroupRows(*parts.detailed, byValue, sums, nullptr);
  }
  const TLVGroupValues& sum = result.columns.back();
  if (std::none_of(sum.valid.begin(), sum.valid.end(), [](uint8_t v) { return v != 0; })) {
    throw ELVDataError("ErrUngroupNoKeyData");
  }
  std::vector<double> shares(static_cast<size_t>(inputs) * k, 0);
  size_t row = 0;
  for (TLVRowIndex input = 0; input < inputs; ++input) {
    // One run of result rows per group, its restored values ascending like `values`.
    const size_t start = row;
    double total = 0;
    double* share = shares.data() + static_cast<size_t>(input) * k;
    for (size_t j = 0; row < result.groups; ++row) {
      bool sameGroup = true;
      for (size_t d = 0; d < dims.size() && row > start; ++d) {
        sameGroup = sameGroup && SameValue(result.columns[d], row, result.columns[d], start);
      }
      if (!sameGroup) break;
      const TLVGroupValues& value = result.columns[dims.size()];
      while (j < k && !SameValue(values, j, value, row)) ++j;
      if (j < k && sum.valid[row]) {
        share[j] = sum.numbers[row];
        total += sum.numbers[row];
      }
    }
    if (total == 0 || std::isnan(total)) throw ELVDataError("ErrUngroupZeroSum");
    for (size_t j = 0; j < k; ++j) share[j] /= total;
  }
  values_ = std::move(values);
  shares_ = std::move(shares);
  inputRows_ = inputs;
}

void TLVUngroupData::DoClose() {
  values_ = TLVGroupValues();
  std::vector<double>().swap(shares_);
  inputRows_ = 0;
}

TLVRowIndex TLVUngroupData::DoGetRowCount() {
  return inputRows_ * static_cast<TLVRowIndex>(values_.valid.size());
}

void TLVUngroupData::DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) {
  const TOutput& output = outputs_[static_cast<size_t>(column)];
  const auto k = static_cast<TLVRowIndex>(values_.valid.size());
  if (output.kind == TOutput::Kind::kRestored) {
    out.Reset(values_.type, count);
    for (int32_t t = 0; t < count; ++t) {
      const auto j = static_cast<size_t>((first + t) % k);
      out.Valid()[t] = values_.valid[j];
      if (values_.type == TLVDataType::dtString) {
        out.Strings()[t] = values_.texts[j];
      } else if (values_.type == TLVDataType::dtInteger) {
        out.Integers()[t] = values_.integers[j];
      } else {
        out.Numbers()[t] = values_.numbers[j];
      }
    }
    return;
  }
  TLVRowIndex inputs[kLVBlockSize];
  for (int32_t t = 0; t < count; ++t) inputs[t] = (first + t) / k;
  if (output.kind == TOutput::Kind::kCopy) {
    RequireParent().ReadRows(output.parentColumn, inputs, count, out);
    return;
  }
  TLVBlock totals;
  RequireParent().ReadRows(output.parentColumn, inputs, count, totals);
  out.Reset(TLVDataType::dtFloat, count);
  for (int32_t t = 0; t < count; ++t) {
    const double value = totals.NumberAt(t) * shares_[static_cast<size_t>(first + t)];
    out.Numbers()[t] = value;
    out.Valid()[t] = !std::isnan(value);
  }
}

const TLVPropertyTable<TLVUngroupData>& TLVUngroupData::Properties() {
  static const auto table = [] {
    using T = TLVUngroupData;
    TLVPropertyTable<T> t;
    t.Add("ExpandColumnName", &T::GetExpandColumnName, &T::SetExpandColumnName, std::string())
        .Add("KeyColumnName", &T::GetKeyColumnName, &T::SetKeyColumnName, std::string())
        .Add("DistribEvalType", &T::GetDistribEvalType, &T::SetDistribEvalType,
             TLVDistribEvalType::detOverall)
        .Add("KeyStatsDepth", &T::GetKeyStatsDepth, &T::SetKeyStatsDepth, 10)
        .AddCollection(
            "Facts", "Fact", [](auto& node) -> auto& { return node.Facts(); },
            TLVUngroupDataColumn::Properties());
    return t;
  }();
  return table;
}

void TLVUngroupData::SaveSettingsTo(ILVSettingsSection& section) const {
  Properties().Save(*this, section);
}

void TLVUngroupData::LoadSettingsFrom(const ILVSettingsSection& section) {
  Properties().Load(*this, section);
}

void RegisterUngroupDataTexts() {
  RegisterEnumTexts(kEvalType);
  TLVLocalization::Instance().RegisterKeys(
      {"ErrUngroupNoGroupIntf", "ErrUngroupNoKeyData", "ErrUngroupNoRefColumn",
       "ErrUngroupNoKeyColumn", "ErrUngroupNoFacts", "ErrUngroupNoControlColumn",
       "ErrUngroupZeroSum", "ErrUngroupBadKeyColumn", "ErrUngroupBadExpandColumn",
       "ErrUngroupDepth", "ErrUngroupNothingToRestore", "ErrUngroupNoDimensions",
       "TLVUngroupData.ExpandColumnName", "TLVUngroupData.KeyColumnName",
       "TLVUngroupData.DistribEvalType", "TLVUngroupData.KeyStatsDepth",
       "TLVUngroupDataColumn.RefColumnName", "UngroupDataVendorCaption", "UngroupDataVendorHint"});
}

}  // namespace lv
