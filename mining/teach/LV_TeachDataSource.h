// Splits the rows of a tuned normalized source into a training set and a test set,
// by order, at random or by a logical column, and gives each set its own row order.
//
// The sets are built lazily: every change of a split setting (and of the source, when
// AutoRefresh is on) marks them stale, and the next request rebuilds them. A random
// split draws from the "Indexes" container; its seed is chosen at the first draw and
// kept with the settings, and the drawn assignment is saved too ("RowNumbers"), so a
// reopened project trains on the same rows. The sets are offered as data sources over
// the tuned source's rows. Single-threaded, like the sources it reads.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/sources/LV_FilteredDataSource.h"
#include "core/sources/LV_Progress.h"
#include "mining/LV_MiningTypes.h"
#include "mining/normalizers/LV_TunedNormDataSource.h"
#include "mining/random/LV_Random.h"

namespace lv {

class TLVDiscreteNormalizer;

class TLVTeachDataSource : private ILVDataSourceListener {
 public:
  TLVTeachDataSource();
  ~TLVTeachDataSource() override;
  TLVTeachDataSource(const TLVTeachDataSource&) = delete;
  TLVTeachDataSource& operator=(const TLVTeachDataSource&) = delete;

  TLVTunedNormDataSource* GetTunedNormDataSource() const { return source_.get(); }
  void SetTunedNormDataSource(std::shared_ptr<TLVTunedNormDataSource> source);

  // Whether a change of the source's rows or columns makes the sets stale. When off,
  // the sets stay as they were built until a split setting changes or the number of
  // rows no longer matches.
  bool GetAutoRefresh() const { return autoRefresh_; }
  void SetAutoRefresh(bool value) { autoRefresh_ = value; }

  // The sets in use; a set left out gets no rows.
  TLVEnumSet<TLVDataSourceType> GetDataSourceTypes() const { return types_; }
  void SetDataSourceTypes(TLVEnumSet<TLVDataSourceType> types);

  TLVSplitType GetSplitType() const { return splitType_; }
  void SetSplitType(TLVSplitType type);
  // The logical column of a custom split; setting one switches to stCustom.
  const std::string& GetSplitCollumnName() const { return splitColumn_; }
  void SetSplitCollumnName(const std::string& name);

  // The share of rows of a set in percent. For a custom split it is derived from the
  // split column. Setting one rescales the others so that the total stays within 100.
  double GetPercent(TLVDataSourceType set);
  void SetPercent(TLVDataSourceType set, double percent);

  TLVTeachDataSourveSortOrder GetSortOrder(TLVDataSourceType set) const {
    return sortOrders_[Slot(set)];
  }
  void SetSortOrder(TLVDataSourceType set, TLVTeachDataSourveSortOrder order);

  // Which set takes rows first in an order split (and in a random one).
  const std::array<TLVDataSourceType, 2>& GetSplitOrders() const { return order_; }
  // Must name both sets once each, else "SetSplitOrders Error".
  void SetSplitOrders(const std::vector<TLVDataSourceType>& order);

  TLVRandomContainer& Indexes() { return indexes_; }
  // Chooses a new seed for the random split (which then draws again).
  void Reshuffle();

  // --- The sets (rebuilt first when stale) ---
  TLVRowIndex GetRowCount(TLVDataSourceTypeEx set);
  // The tuned-source row of the i-th row of a set.
  TLVRowIndex GetRowNumber(TLVDataSourceTypeEx set, TLVRowIndex i);
  // The rows of a set in the set's order (every row in source order for dsteAll).
  const std::vector<TLVRowIndex>& Rows(TLVDataSourceType set);
  // The set a tuned-source row belongs to, nothing for a row in no set.
  std::optional<TLVDataSourceType> SetOfRow(TLVRowIndex row);
  // A set as a table in the tuned source's columns (the tuned source itself for all).
  std::shared_ptr<ILVDataSource> DataSource(TLVDataSourceTypeEx set);

  // Whether the next request rebuilds the sets.
  bool Stale() const { return stale_; }
  void MarkStale() { stale_ = true; }
  // Rebuilds the sets now (reporting as "Инициализация кэшев источников данных").
  void Refresh(ILVProgress* progress = nullptr);

  // The checks before training: a training set in use, with rows, in which every
  // unique value of each discrete input column occurs.
  void CheckBeforeTraining(ILVProgress* progress = nullptr);

  void SaveTo(ILVSettingsSection& section) const;
  // Reads everything before applying it: a bad section changes nothing.
  void LoadFrom(const ILVSettingsSection& section);

  // The sizes of an order or random split of n rows by the percentages.
  static std::array<TLVRowIndex, 2> SplitSizes(TLVRowIndex n, double teachPercent,
                                               double testPercent);

 private:
  static size_t Slot(TLVDataSourceType set) { return static_cast<size_t>(set); }
  void OnNotifyDataSource(ILVDataSourceInfo& sender, TLVNotifyReason reason) override;
  void EnsureBuilt();
  void Build(ILVProgress* progress);
  void BuildCustom(std::array<std::vector<TLVRowIndex>, 2>& sets, TLVRowIndex n);
  void SettingChanged();
  // Whether the training rows hold every unique value the normalizer knows.
  bool TeachSetShowsAll(const TLVDiscreteNormalizer& normalizer, int32_t column,
                        const std::vector<TLVRowIndex>& rows);

  std::shared_ptr<TLVTunedNormDataSource> source_;
  bool autoRefresh_ = true;
  TLVEnumSet<TLVDataSourceType> types_{TLVDataSourceType::dstTeach, TLVDataSourceType::dstTest};
  TLVSplitType splitType_ = TLVSplitType::stOrder;
  std::string splitColumn_;
  std::array<double, 2> percents_{70.0, 30.0};
  std::array<TLVTeachDataSourveSortOrder, 2> sortOrders_{TLVTeachDataSourveSortOrder::tsoAsc,
                                                         TLVTeachDataSourveSortOrder::tsoAsc};
  std::array<TLVDataSourceType, 2> order_{TLVDataSourceType::dstTeach, TLVDataSourceType::dstTest};
  TLVRandomContainer indexes_{"Indexes"};
  bool seedChosen_ = false;

  bool stale_ = true;
  TLVRowIndex builtRows_ = -1;
  std::array<std::vector<TLVRowIndex>, 2> sets_;
  std::vector<TLVRowIndex> all_;
  // Per source row: 0 training, 1 test, 2 none. Kept from the last random draw (or a
  // loaded project) so a rebuild over the same rows keeps the same assignment.
  std::vector<uint8_t> assignment_;
  std::array<std::shared_ptr<TLVFilteredDataSource>, 2> views_;
};

void RegisterTeachDataSourceTexts();

}  // namespace lv
