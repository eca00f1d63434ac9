// The grouping node: one row per distinct combination of the values of its dimension
// columns, in the ascending order of those values, with one column per fact aggregated
// by the fact's function (LV_GroupAggregates.h).
//
// The output's columns are the dimensions (as the parent describes them), then the
// facts: a fact is named after its column, or, when that name is taken by an earlier
// output column, after its column and function ("qty_Sum"); its type follows
// GroupFunctionResultType. Opening checks the settings against the parent's
// descriptions before it reads a row: no dimension and no fact ("Не указаны столбцы для
// обработки"), a column the parent lacks, a function that does not take its column's
// type ("Недопустимый тип столбца %s для указанной функции группировки").
//
// With Cached ("Кэшировать данные", the default) the groups stay in memory after the
// node closes and serve the next open, until the settings or the parent change;
// without it they are computed on every open. A change of the settings rebuilds the
// columns and tells the children. Settings: "Cached", the collection "Dimensions" of
// "Dimension" items and the collection "Facts" of "Fact" items. Single-threaded.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/registry/LV_Properties.h"
#include "core/sources/LV_DataSource.h"
#include "core/sources/LV_Progress.h"
#include "transform/group/LV_GroupAggregates.h"
#include "transform/group/LV_GroupDataColumns.h"

namespace lv {

class TLVGroupData : public TLVDataSource {
 public:
  TLVGroupData();
  ~TLVGroupData() override;

  TLVGroupDataDimensions& Dimensions() { return dimensions_; }
  const TLVGroupDataDimensions& Dimensions() const { return dimensions_; }
  TLVGroupDataColumns& Facts() { return facts_; }
  const TLVGroupDataColumns& Facts() const { return facts_; }

  bool GetCached() const { return cached_; }
  void SetCached(bool value);

  ILVDataSource* GetDataSource() const { return ParentSource(); }
  void SetDataSource(std::shared_ptr<ILVDataSource> parent) { ReplaceParent(std::move(parent)); }
  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    SetDataSource(std::move(parent));
  }
  void SetProgress(ILVProgress* progress) { progress_ = progress; }

  // "Измерения: %s" and "Факты: %s" of the columns joined by "%s, %s".
  std::string ShortDescription() const;

  static const TLVPropertyTable<TLVGroupData>& Properties();
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 protected:
  void DoOpen() override;
  void DoClose() override;
  TLVRowIndex DoGetRowCount() override;
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;
  void OnParentChanged(TLVNotifyReason reason) override;
  void RebuildColumns() override;

 private:
  void SettingsChanged();

  TLVGroupDataDimensions dimensions_;
  TLVGroupDataColumns facts_;
  bool cached_ = true;
  ILVProgress* progress_ = nullptr;
  std::optional<TLVGroupResult> result_;
};

void RegisterGroupDataTexts();

}  // namespace lv
