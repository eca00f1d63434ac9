#include "mining/teach/LV_TeachDataSource.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "core/columns/LV_ColumnStats.h"
#include "core/registry/LV_Properties.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"
#include "mining/normalizers/LV_UniqueValuesNormalizer.h"

namespace lv {

namespace {

constexpr uint8_t kNoSet = 2;
constexpr TLVDataSourceType kSets[] = {TLVDataSourceType::dstTeach, TLVDataSourceType::dstTest};

// The assignment of a random split, two bits a row, as hexadecimal text.
std::string PackAssignment(const std::vector<uint8_t>& sets) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text;
  text.reserve((sets.size() + 1) / 2);
  for (size_t i = 0; i < sets.size(); i += 2) {
    const unsigned nibble = sets[i] | (i + 1 < sets.size() ? sets[i + 1] << 2 : 0u);
    text += kHex[nibble];
  }
  return text;
}

std::optional<std::vector<uint8_t>> UnpackAssignment(std::string_view text, size_t count) {
  if (text.size() != (count + 1) / 2) return std::nullopt;
  std::vector<uint8_t> sets(count);
  for (size_t i = 0; i < count; ++i) {
    const char c = text[i / 2];
    const int nibble = c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    if (nibble < 0) return std::nullopt;
    const auto code = static_cast<uint8_t>(i % 2 == 0 ? nibble & 3 : nibble >> 2);
    if (code > kNoSet) return std::nullopt;
    sets[i] = code;
  }
  return sets;
}

}  // namespace

TLVTeachDataSource::TLVTeachDataSource() = default;

TLVTeachDataSource::~TLVTeachDataSource() {
  if (source_) source_->RemoveListener(this);
}

void TLVTeachDataSource::SetTunedNormDataSource(std::shared_ptr<TLVTunedNormDataSource> source) {
  if (source == source_) return;
  if (source_) source_->RemoveListener(this);
  source_ = std::move(source);
  if (source_) source_->AddListener(this);
  for (auto& view : views_) {
    if (view) view->SetDataSource(source_);
  }
  // A kept assignment stays: a project loads its settings before its source is
  // connected, and the assignment only serves a source with as many rows.
  stale_ = true;
}

void TLVTeachDataSource::OnNotifyDataSource(ILVDataSourceInfo&, TLVNotifyReason reason) {
  if (reason == TLVNotifyReason::nrDestroying) return;
  if (reason == TLVNotifyReason::nrActiveChanged) return;
  if (autoRefresh_) stale_ = true;
}

void TLVTeachDataSource::SettingChanged() {
  stale_ = true;
  // A new split draws anew rather than keeping the last assignment.
  assignment_.clear();
}

void TLVTeachDataSource::SetDataSourceTypes(TLVEnumSet<TLVDataSourceType> types) {
  if (types == types_) return;
  types_ = types;
  SettingChanged();
}

void TLVTeachDataSource::SetSplitType(TLVSplitType type) {
  if (type == splitType_) return;
  splitType_ = type;
  SettingChanged();
}

void TLVTeachDataSource::SetSplitCollumnName(const std::string& name) {
  if (name == splitColumn_ && splitType_ == TLVSplitType::stCustom) return;
  splitColumn_ = name;
  splitType_ = TLVSplitType::stCustom;
  SettingChanged();
}

double TLVTeachDataSource::GetPercent(TLVDataSourceType set) {
  if (splitType_ != TLVSplitType::stCustom) return percents_[Slot(set)];
  EnsureBuilt();
  return builtRows_ > 0
             ? static_cast<double>(sets_[Slot(set)].size()) * 100 / static_cast<double>(builtRows_)
             : 0.0;
}

void TLVTeachDataSource::SetPercent(TLVDataSourceType set, double percent) {
  if (!(percent >= 0 && percent <= 100)) throw ELVError("ErrPercentRange", {percent});
  std::array<double, 2> next = percents_;
  next[Slot(set)] = percent;
  double others = 0;
  for (size_t i = 0; i < next.size(); ++i) {
    if (i != Slot(set)) others += next[i];
  }
  for (size_t i = 0; i < next.size(); ++i) {
    if (i == Slot(set)) continue;
    if (percent == 100) {
      next[i] = 0;
    } else if (others + percent > 100) {
      next[i] = next[i] / others * (100 - percent);
    }
  }
  if (next == percents_) return;
  percents_ = next;
  SettingChanged();
}

void TLVTeachDataSource::SetSortOrder(TLVDataSourceType set, TLVTeachDataSourveSortOrder order) {
  if (sortOrders_[Slot(set)] == order) return;
  sortOrders_[Slot(set)] = order;
  stale_ = true;
}

void TLVTeachDataSource::SetSplitOrders(const std::vector<TLVDataSourceType>& order) {
  if (order.size() != 2 || order[0] == order[1]) throw ELVError("ErrSetSplitOrders");
  std::array<TLVDataSourceType, 2> next{order[0], order[1]};
  if (next == order_) return;
  order_ = next;
  SettingChanged();
}

void TLVTeachDataSource::Reshuffle() {
  indexes_.Randomize();
  seedChosen_ = true;
  SettingChanged();
}

std::array<TLVRowIndex, 2> TLVTeachDataSource::SplitSizes(TLVRowIndex n, double teachPercent,
                                                          double testPercent) {
  // Halves go to the even neighbour (the default rounding mode), as everywhere a share
  // of rows is rounded.
  const auto rounded = [n](double percent) {
    return static_cast<TLVRowIndex>(std::nearbyint(percent * static_cast<double>(n) / 100));
  };
  const TLVRowIndex test = std::max<TLVRowIndex>(0, rounded(testPercent));
  const TLVRowIndex teach = std::max<TLVRowIndex>(0, std::min(rounded(teachPercent), n - test));
  return {teach, test};
}

void TLVTeachDataSource::EnsureBuilt() {
  if (!source_) throw ELVError("ErrNoTeachSet");
  if (stale_ || builtRows_ != source_->GetRowCount()) Build(nullptr);
}

void TLVTeachDataSource::Refresh(ILVProgress* progress) {
  if (!source_) throw ELVError("ErrNoTeachSet");
  Build(progress);
}

void TLVTeachDataSource::BuildCustom(std::array<std::vector<TLVRowIndex>, 2>& sets, TLVRowIndex n) {
  if (splitColumn_.empty()) throw ELVError("ErrSplitColumnNotGiven");
  const int32_t column = source_->Columns().IndexOfName(splitColumn_);
  if (column < 0) throw ELVError("ErrSplitColumnNotFound", {splitColumn_});
  if (source_->Columns()[column].GetDataType() != TLVDataType::dtBoolean) {
    throw ELVError("ErrSplitColumnNotLogical", {splitColumn_});
  }
  TLVLockGuard lock(*source_);
  TLVBlock block;
  for (TLVRowIndex first = 0; first < n; first += kLVBlockSize) {
    const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, n - first));
    source_->ReadBlock(column, first, count, block);
    for (int32_t i = 0; i < count; ++i) {
      if (!block.Valid()[i]) continue;
      const TLVDataSourceType set =
          block.Numbers()[i] != 0 ? TLVDataSourceType::dstTest : TLVDataSourceType::dstTeach;
      if (types_.Contains(set)) sets[Slot(set)].push_back(first + i);
    }
  }
}

void TLVTeachDataSource::Build(ILVProgress* progress) {
  TLVProgressScope scope(progress, LVText("TeachRebuildCaption"), -1);
  const TLVRowIndex n = source_->GetRowCount();
  const bool random = splitType_ != TLVSplitType::stOrder ||
                      sortOrders_[0] == TLVTeachDataSourveSortOrder::tsoRandom ||
                      sortOrders_[1] == TLVTeachDataSourveSortOrder::tsoRandom;
  if (random && !seedChosen_) {
    indexes_.Randomize();
    seedChosen_ = true;
  }
  TLVRandom generator = indexes_.Restart();
  std::array<std::vector<TLVRowIndex>, 2> sets;
  const std::array<TLVRowIndex, 2> sizes =
      SplitSizes(n, types_.Contains(TLVDataSourceType::dstTeach) ? percents_[0] : 0,
                 types_.Contains(TLVDataSourceType::dstTest) ? percents_[1] : 0);

  switch (splitType_) {
    case TLVSplitType::stOrder: {
      TLVRowIndex next = 0;
      for (TLVDataSourceType set : order_) {
        std::vector<TLVRowIndex>& rows = sets[Slot(set)];
        rows.resize(static_cast<size_t>(sizes[Slot(set)]));
        std::iota(rows.begin(), rows.end(), next);
        next += sizes[Slot(set)];
        switch (sortOrders_[Slot(set)]) {
          case TLVTeachDataSourveSortOrder::tsoDesc:
            std::reverse(rows.begin(), rows.end());
            break;
          case TLVTeachDataSourveSortOrder::tsoRandom:
            generator.Shuffle(std::span(rows));
            break;
          case TLVTeachDataSourveSortOrder::tsoAsc:
            break;
        }
      }
      break;
    }
    case TLVSplitType::stRandom: {
      std::vector<TLVRowIndex> permutation(static_cast<size_t>(n));
      std::iota(permutation.begin(), permutation.end(), TLVRowIndex{0});
      generator.Shuffle(std::span(permutation));
      if (assignment_.size() == static_cast<size_t>(n)) {
        // A kept assignment: the sets it names, each in the order of the draw.
        for (TLVRowIndex row : permutation) {
          const uint8_t set = assignment_[static_cast<size_t>(row)];
          if (set != kNoSet) sets[set].push_back(row);
        }
      } else {
        auto at = permutation.begin();
        for (TLVDataSourceType set : order_) {
          sets[Slot(set)].assign(at, at + sizes[Slot(set)]);
          at += sizes[Slot(set)];
        }
      }
      break;
    }
    case TLVSplitType::stCustom:
      BuildCustom(sets, n);
      for (auto& rows : sets) generator.Shuffle(std::span(rows));
      break;
  }

  std::vector<uint8_t> assignment(static_cast<size_t>(n), kNoSet);
  for (uint8_t set = 0; set < 2; ++set) {
    for (TLVRowIndex row : sets[set]) assignment[static_cast<size_t>(row)] = set;
  }
  sets_ = std::move(sets);
  assignment_ = std::move(assignment);
  all_.resize(static_cast<size_t>(n));
  std::iota(all_.begin(), all_.end(), TLVRowIndex{0});
  builtRows_ = n;
  stale_ = false;
  for (TLVDataSourceType set : kSets) {
    if (views_[Slot(set)]) {
      views_[Slot(set)]->SetIndexes(std::make_shared<TLVDataSourceIndexes>(sets_[Slot(set)]));
    }
  }
}

TLVRowIndex TLVTeachDataSource::GetRowCount(TLVDataSourceTypeEx set) {
  EnsureBuilt();
  if (set == TLVDataSourceTypeEx::dsteAll) return builtRows_;
  return static_cast<TLVRowIndex>(sets_[static_cast<size_t>(set)].size());
}

TLVRowIndex TLVTeachDataSource::GetRowNumber(TLVDataSourceTypeEx set, TLVRowIndex i) {
  EnsureBuilt();
  const std::vector<TLVRowIndex>& rows =
      set == TLVDataSourceTypeEx::dsteAll ? all_ : sets_[static_cast<size_t>(set)];
  if (i < 0 || i >= static_cast<TLVRowIndex>(rows.size())) {
    throw ELVDataError("ErrTeachRowIndex", {i, static_cast<int64_t>(rows.size())});
  }
  return rows[static_cast<size_t>(i)];
}

const std::vector<TLVRowIndex>& TLVTeachDataSource::Rows(TLVDataSourceType set) {
  EnsureBuilt();
  return sets_[Slot(set)];
}

std::optional<TLVDataSourceType> TLVTeachDataSource::SetOfRow(TLVRowIndex row) {
  EnsureBuilt();
  if (row < 0 || row >= builtRows_) return std::nullopt;
  const uint8_t set = assignment_[static_cast<size_t>(row)];
  if (set == kNoSet) return std::nullopt;
  return static_cast<TLVDataSourceType>(set);
}

std::shared_ptr<ILVDataSource> TLVTeachDataSource::DataSource(TLVDataSourceTypeEx set) {
  EnsureBuilt();
  if (set == TLVDataSourceTypeEx::dsteAll) return source_;
  auto& view = views_[static_cast<size_t>(set)];
  if (!view) {
    view = std::make_shared<TLVFilteredDataSource>();
    view->SetDataSource(source_);
    view->SetIndexes(std::make_shared<TLVDataSourceIndexes>(sets_[static_cast<size_t>(set)]));
  }
  return view;
}

void TLVTeachDataSource::CheckBeforeTraining(ILVProgress* progress) {
  if (!types_.Contains(TLVDataSourceType::dstTeach)) throw ELVError("ErrNoTeachSet");
  const std::vector<TLVRowIndex>& rows = Rows(TLVDataSourceType::dstTeach);
  if (rows.empty()) throw ELVError("ErrTeachSetEmpty");
  std::string names;
  std::vector<int32_t> unfitted;
  for (int32_t index : source_->InputColumns()) {
    if (source_->Columns()[index].GetDataKind() != TLVDataKind::dkDiscrete) continue;
    const auto* normalizer = dynamic_cast<const TLVDiscreteNormalizer*>(source_->Normalizer(index));
    if (!normalizer || !normalizer->HasColumn()) {
      unfitted.push_back(index);
    } else if (!TeachSetShowsAll(*normalizer, index, rows)) {
      if (!names.empty()) names += ", ";
      names += source_->Columns()[index].GetName();
    }
  }
  // Columns without a fitted normalizer compare the counts of unique values instead.
  if (!unfitted.empty()) {
    auto whole = ComputeColumnStats(*source_, unfitted, progress);
    auto teach =
        ComputeColumnStats(*DataSource(TLVDataSourceTypeEx::dsteTeach), unfitted, progress);
    for (size_t i = 0; i < unfitted.size(); ++i) {
      if (teach[i]->uniqueValuesCount == whole[i]->uniqueValuesCount) continue;
      if (!names.empty()) names += ", ";
      names += source_->Columns()[unfitted[i]].GetName();
    }
  }
  if (!names.empty()) throw ELVError("ErrTeachSetIncomplete", {names});
}

bool TLVTeachDataSource::TeachSetShowsAll(const TLVDiscreteNormalizer& normalizer, int32_t column,
                                          const std::vector<TLVRowIndex>& rows) {
  // The normalizer was fitted to the whole source: its list is every value there is.
  // The reading stops as soon as each one has been met, usually within a block.
  std::vector<uint8_t> seen(static_cast<size_t>(normalizer.UniqueCount()), 0);
  size_t missing = seen.size();
  TLVLockGuard lock(*source_);
  TLVBlock block;
  int32_t positions[kLVBlockSize];
  const auto total = static_cast<TLVRowIndex>(rows.size());
  for (TLVRowIndex at = 0; at < total && missing > 0; at += kLVBlockSize) {
    const auto n = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, total - at));
    source_->ReadRows(column, rows.data() + at, n, block);
    normalizer.PositionsOf(block, positions);
    for (int32_t i = 0; i < n; ++i) {
      if (positions[i] < 0 || seen[static_cast<size_t>(positions[i])]) continue;
      seen[static_cast<size_t>(positions[i])] = 1;
      --missing;
    }
  }
  return missing == 0;
}

void TLVTeachDataSource::SaveTo(ILVSettingsSection& section) const {
  section.Put("AutoRefresh", TLVPropertyCodec<bool>::ToText(autoRefresh_));
  section.Put("DataSourceTypes", EnumSetToText(types_));
  section.Put("SplitType", ValueName(splitType_));
  section.Put("SplitCollumnName", splitColumn_);
  ILVSettingsSection& percents = section.AddSection("PercentOfDataSource");
  ILVSettingsSection& sorts = section.AddSection("SortOrders");
  for (TLVDataSourceType set : kSets) {
    percents.Put(ValueName(set), RealText(percents_[Slot(set)]));
    sorts.Put(ValueName(set), ValueName(sortOrders_[Slot(set)]));
  }
  section.Put("SplitOrders",
              std::string(ValueName(order_[0])) + "," + std::string(ValueName(order_[1])));
  if (seedChosen_) indexes_.SaveTo(section);
  // A changed split has dropped its assignment; a kept one is saved even before the
  // sets were rebuilt, so opening and saving a project keeps its rows.
  if (splitType_ == TLVSplitType::stRandom && !assignment_.empty()) {
    ILVSettingsSection& rows = section.AddSection("RowNumbers");
    rows.Put("Count", std::to_string(assignment_.size()));
    rows.Put("Sets", PackAssignment(assignment_));
  }
}

void TLVTeachDataSource::LoadFrom(const ILVSettingsSection& section) {
  TLVTeachDataSource next;
  next.autoRefresh_ = ReadSetting<bool>(section, "AutoRefresh", true);
  if (std::optional<std::string> text = section.Get("DataSourceTypes")) {
    auto types = EnumSetFromText<TLVDataSourceType>(*text);
    if (!types) RaisePropertyValue("DataSourceTypes", *text);
    next.types_ = *types;
  }
  if (std::optional<std::string> text = section.Get("SplitType")) {
    auto type = EnumFromName<TLVSplitType>(*text);
    if (!type) RaisePropertyValue("SplitType", *text);
    next.splitType_ = *type;
  }
  next.splitColumn_ = section.Get("SplitCollumnName").value_or("");
  if (const ILVSettingsSection* percents = section.FindSection("PercentOfDataSource")) {
    for (TLVDataSourceType set : kSets) {
      const double p = ReadSetting<double>(*percents, ValueName(set), next.percents_[Slot(set)]);
      if (!(p >= 0 && p <= 100)) throw ELVError("ErrPercentRange", {p});
      next.percents_[Slot(set)] = p;
    }
    if (next.percents_[0] + next.percents_[1] > 100) throw ELVError("ErrPercentRange", {100.0});
  }
  if (const ILVSettingsSection* sorts = section.FindSection("SortOrders")) {
    for (TLVDataSourceType set : kSets) {
      std::optional<std::string> text = sorts->Get(ValueName(set));
      if (!text) continue;
      auto order = EnumFromName<TLVTeachDataSourveSortOrder>(*text);
      if (!order) RaisePropertyValue("SortOrders", *text);
      next.sortOrders_[Slot(set)] = *order;
    }
  }
  if (std::optional<std::string> text = section.Get("SplitOrders")) {
    const size_t comma = text->find(',');
    auto first = EnumFromName<TLVDataSourceType>(std::string_view(*text).substr(0, comma));
    auto second = comma == std::string::npos
                      ? std::nullopt
                      : EnumFromName<TLVDataSourceType>(std::string_view(*text).substr(comma + 1));
    if (!first || !second) RaisePropertyValue("SplitOrders", *text);
    next.SetSplitOrders({*first, *second});
  }
  if (section.FindSection("Indexes")) {
    next.indexes_.LoadFrom(section);
    next.seedChosen_ = true;
  }
  if (const ILVSettingsSection* rows = section.FindSection("RowNumbers")) {
    const std::string countText = rows->Get("Count").value_or("");
    std::optional<int32_t> count = TLVPropertyCodec<int32_t>::FromText(countText);
    if (!count || *count < 0) RaisePropertyValue("RowNumbers", countText);
    auto sets = UnpackAssignment(rows->Get("Sets").value_or(""), static_cast<size_t>(*count));
    if (!sets) RaisePropertyValue("RowNumbers", countText);
    next.assignment_ = std::move(*sets);
  }
  autoRefresh_ = next.autoRefresh_;
  types_ = next.types_;
  splitType_ = next.splitType_;
  splitColumn_ = std::move(next.splitColumn_);
  percents_ = next.percents_;
  sortOrders_ = next.sortOrders_;
  order_ = next.order_;
  indexes_ = next.indexes_;
  seedChosen_ = next.seedChosen_;
  assignment_ = std::move(next.assignment_);
  stale_ = true;
}

void RegisterTeachDataSourceTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrPercentRange", "ErrSetSplitOrders", "ErrSplitColumnNotGiven", "ErrSplitColumnNotFound",
       "ErrSplitColumnNotLogical", "ErrNoTeachSet", "ErrTeachSetEmpty", "ErrTeachSetIncomplete",
       "ErrTeachRowIndex", "TeachRebuildCaption", "TeachDataSourceTypesCaption",
       "TeachSplitColumnCaption", "TeachPercentCaption", "TeachSplitOrdersCaption",
       "TeachRowNumbersCaption"});
}

}  // namespace lv
