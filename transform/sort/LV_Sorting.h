// The sorting node: its parent's rows, with the parent's columns, in the order of a
// list of sort keys (SortDefs), the first the most significant.
//
// The order is stable (rows with equal keys keep the parent's order) and puts missing
// values last whatever the direction. Texts follow the alphabetical order of
// CompareTextOrder (Ё beside Е; case ignored unless the key is CaseSensitive).
// Opening reads the key columns by blocks, sorts the rows once (LV_SortKeys.h) and
// keeps the permutation: one parent row number per row. Reads gather the parent's rows
// through it, so the node holds no copy of the table.
//
// Opening refuses an empty list ("Не указаны столбцы для сортировки"), a key without a
// column ("Ошибка в строке %d...") and a key whose column the parent no longer has.
// A change of the list closes the node and tells its children that the rows changed.
// Settings: the collection "SortDefs" of "SortDef" items. Single-threaded.
#pragma once

#include <memory>
#include <string>

#include "core/registry/LV_Collection.h"
#include "core/registry/LV_Properties.h"
#include "core/sources/LV_FilteredDataSource.h"

namespace lv {

// The direction of one sort key.
enum class TLVSortDefOrder : uint8_t { soAscending, soDescending };
const TLVEnumDescriptor& DescribeEnum(TLVSortDefOrder);

class TLVSortDef : public TLVCollectionItem {
 public:
  TLVSortDefOrder GetSortOrder() const { return order_; }
  void SetSortOrder(TLVSortDefOrder value);
  // "Учитывать регистр".
  bool GetCaseSensitive() const { return caseSensitive_; }
  void SetCaseSensitive(bool value);

  // "Name", "SortOrder", "CaseSensitive".
  static const TLVPropertyTable<TLVSortDef>& Properties();

 private:
  TLVSortDefOrder order_ = TLVSortDefOrder::soAscending;
  bool caseSensitive_ = false;
};

class TLVSortDefs : public TLVCollectionOf<TLVSortDef> {
 public:
  TLVSortDef& AddKey(std::string_view name, TLVSortDefOrder order = TLVSortDefOrder::soAscending,
                     bool caseSensitive = false);
};

class TLVSorting : public TLVCachedFilteredDataSource {
 public:
  TLVSorting();
  ~TLVSorting() override;

  TLVSortDefs& SortDefs() { return sortDefs_; }
  const TLVSortDefs& SortDefs() const { return sortDefs_; }

  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    SetDataSource(std::move(parent));
  }

  // "Сортировка: " and the keys' columns joined with "%s, %s".
  std::string ShortDescription() const;

  static const TLVPropertyTable<TLVSorting>& Properties();
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 protected:
  void DoOpen() override;
  void ArrangeRows(ILVDataSource& parent, std::vector<TLVRowIndex>& rows) override;
  std::string ProgressCaption() const override;

 private:
  void ListChanged();

  TLVSortDefs sortDefs_;
};

void RegisterSortingTexts();

}  // namespace lv
