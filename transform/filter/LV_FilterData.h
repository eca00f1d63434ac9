// The filter node: passes on the rows of its parent that satisfy its condition list,
// in the parent's order, with the parent's columns unchanged.
//
// Opening checks that every condition's column is still in the parent with the type
// it had when the condition was made, evaluates the list over the parent's rows by
// blocks (progress "Выполнение операции фильтрации") and keeps the numbers of the rows
// that pass; reads then gather those rows from the parent block by block. A list that
// is not Filtered passes every row. The open node also leaves its context (the
// current date and the dates its periods counted from) with the list, so that the
// list's query text selects the same rows in a database.
//
// A change of the list closes the node and tells its children that the rows changed.
// The earliest and latest dates of the parent's columns that periods count from are
// remembered between opens until the parent reports any change.
// Settings: the list, as the section "Filter". Single-threaded, like every source.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/registry/LV_Properties.h"
#include "core/sources/LV_FilteredDataSource.h"
#include "transform/filter/LV_FilterColumns.h"
#include "transform/filter/LV_FilterEvaluator.h"

namespace lv {

class TLVFilterData : public TLVCachedFilteredDataSource {
 public:
  TLVFilterData();
  ~TLVFilterData() override;

  TLVFilterColumnCollection& Filter() { return filter_; }
  const TLVFilterColumnCollection& Filter() const { return filter_; }

  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    SetDataSource(std::move(parent));
  }

  // Where the current date of bdtCurrent periods comes from (the local clock unless a
  // test fixes it); days since 1899-12-30.
  void SetClock(std::function<double()> clock) { clock_ = std::move(clock); }

  // The persisted settings: the section "Filter" with the list. Loading reads the
  // whole list before it replaces the node's, so a damaged one changes nothing.
  static const TLVPropertyTable<TLVFilterData>& Properties();
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 protected:
  void DoOpen() override;
  void DoClose() override;
  // A compiled copy of the list for each part of the rows.
  std::unique_ptr<ILVRowSelector> NewRowSelector() override;
  std::string ProgressCaption() const override;
  void OnParentChanged(TLVNotifyReason reason) override;

 private:
  void ListChanged();

  TLVFilterColumnCollection filter_;
  // The list's context while the node opens (the dates of its periods); none when the
  // list keeps every row.
  std::optional<TLVFilterContext> openContext_;
  std::function<double()> clock_;
  // The date ranges found in the parent's columns, kept until the parent says anything
  // (its rows, its columns or its open state changed): a list tuned again and again
  // over the same rows scans them once.
  TLVFilterContext parentDates_;
};

void RegisterFilterDataTexts();

}  // namespace lv
