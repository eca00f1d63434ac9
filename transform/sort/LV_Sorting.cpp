#include "transform/sort/LV_Sorting.h"

#include <array>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
#include "transform/sort/LV_SortKeys.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kSortDefOrderNames{"soAscending"sv, "soDescending"sv};
const TLVEnumDescriptor kSortDefOrder{"TLVSortDefOrder", kSortDefOrderNames, true, true};

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVSortDefOrder) {
  return kSortDefOrder;
}

void TLVSortDef::SetSortOrder(TLVSortDefOrder value) {
  if (value == order_) return;
  order_ = value;
  Changed("SortOrder");
}

void TLVSortDef::SetCaseSensitive(bool value) {
  if (value == caseSensitive_) return;
  caseSensitive_ = value;
  Changed("CaseSensitive");
}

const TLVPropertyTable<TLVSortDef>& TLVSortDef::Properties() {
  static const auto table = [] {
    using I = TLVSortDef;
    TLVPropertyTable<I> t;
    t.Add("Name", &I::GetName, &I::SetName, std::string())
        .Add("SortOrder", &I::GetSortOrder, &I::SetSortOrder, TLVSortDefOrder::soAscending)
        .Add("CaseSensitive", &I::GetCaseSensitive, &I::SetCaseSensitive, false);
    return t;
  }();
  return table;
}

TLVSortDef& TLVSortDefs::AddKey(std::string_view name, TLVSortDefOrder order, bool caseSensitive) {
  auto item = std::make_shared<TLVSortDef>();
  item->SetName(name);
  item->SetSortOrder(order);
  item->SetCaseSensitive(caseSensitive);
  TLVSortDef& added = *item;
  Add(std::move(item));
  return added;
}

TLVSorting::TLVSorting() {
  sortDefs_.SetObserver([this](TLVCollectionItem*, std::string_view) { ListChanged(); });
}

TLVSorting::~TLVSorting() {
  sortDefs_.SetObserver(nullptr);
}

void TLVSorting::ListChanged() {
  Close();
  NotifyListeners(TLVNotifyReason::nrDataChanged);
}

std::string TLVSorting::ShortDescription() const {
  std::string keys;
  for (int32_t i = 0; i < sortDefs_.Count(); ++i) {
    const std::string& name = sortDefs_[i].GetDisplayName();
    keys = i == 0 ? name : Format(LVText("SSortKeysJoin"), {keys, name});
  }
  return LVText("SSortDescription") + keys;
}

void TLVSorting::DoOpen() {
  // Every key is checked against the parent's descriptions before a row is read.
  if (sortDefs_.Count() == 0) throw ELVDataError("ErrSortNoColumns");
  const ILVColumnsInfo& columns = RequireParent().GetColumnsInfo();
  for (int32_t i = 0; i < sortDefs_.Count(); ++i) {
    const std::string& name = sortDefs_[i].GetName();
    if (name.empty()) throw ELVDataError("ErrSortRowNoColumn", {i + 1});
    if (columns.IndexOfColumn(name) < 0) throw ELVDataError("ErrParentColumnNotFound", {name});
  }
  TLVCachedFilteredDataSource::DoOpen();
}

void TLVSorting::ArrangeRows(ILVDataSource& parent, std::vector<TLVRowIndex>& rows) {
  const ILVColumnsInfo& columns = parent.GetColumnsInfo();
  std::vector<TLVSortKey> keys;
  for (int32_t i = 0; i < sortDefs_.Count(); ++i) {
    const TLVSortDef& def = sortDefs_[i];
    keys.push_back({columns.IndexOfColumn(def.GetName()),
                    def.GetSortOrder() == TLVSortDefOrder::soDescending, def.GetCaseSensitive()});
  }
  // The selection keeps every row, so the sorted parent rows replace it whole.
  rows = LVSortedRows(parent, keys);
}

std::string TLVSorting::ProgressCaption() const {
  return LVText("SortingVendorCaption");
}

const TLVPropertyTable<TLVSorting>& TLVSorting::Properties() {
  static const auto table = [] {
    TLVPropertyTable<TLVSorting> t;
    t.AddCollection(
        "SortDefs", "SortDef", [](auto& node) -> auto& { return node.SortDefs(); },
        TLVSortDef::Properties());
    return t;
  }();
  return table;
}

void TLVSorting::SaveSettingsTo(ILVSettingsSection& section) const {
  Properties().Save(*this, section);
}

void TLVSorting::LoadSettingsFrom(const ILVSettingsSection& section) {
  Properties().Load(*this, section);
}

void RegisterSortingTexts() {
  RegisterEnumTexts(kSortDefOrder);
  TLVLocalization::Instance().RegisterKeys(
      {"ErrSortNoColumns", "ErrSortRowNoColumn", "SSortClearConfirm", "SSortDescription",
       "SSortKeysJoin", "TLVSortDef.CaseSensitive", "SortingVendorCaption", "SortingVendorHint"});
}

}  // namespace lv
