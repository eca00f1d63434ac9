#include "transform/group/LV_GroupData.h"

#include <set>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"

namespace lv {

TLVGroupData::TLVGroupData() {
  auto changed = [this](TLVCollectionItem*, std::string_view) { SettingsChanged(); };
  dimensions_.SetObserver(changed);
  facts_.SetObserver(changed);
}

TLVGroupData::~TLVGroupData() {
  dimensions_.SetObserver(nullptr);
  facts_.SetObserver(nullptr);
}

void TLVGroupData::SetCached(bool value) {
  if (value == cached_) return;
  cached_ = value;
  Close();
}

void TLVGroupData::SettingsChanged() {
  Restructure();
}

void TLVGroupData::OnParentChanged(TLVNotifyReason reason) {
  result_.reset();
  TLVDataSource::OnParentChanged(reason);
}

void TLVGroupData::RebuildColumns() {
  result_.reset();
  Columns().Clear();
  const ILVColumnsInfo* parent = ParentSource() ? &ParentSource()->GetColumnsInfo() : nullptr;
  if (!parent) return;
  std::set<std::string, std::less<>> names;
  for (int32_t i = 0; i < dimensions_.Count(); ++i) {
    auto column = parent->FindColumnInfo(dimensions_[i].GetName());
    if (!column || !names.insert(column->GetName()).second) continue;
    AssignColumnInfo(Columns().AddColumn(column->GetName(), column->GetDataType()), *column);
  }
  for (int32_t i = 0; i < facts_.Count(); ++i) {
    const TLVGroupDataColumn& fact = facts_[i];
    auto column = parent->FindColumnInfo(fact.GetName());
    if (!column) continue;
    // The plain name when it is free, else the name with the function, numbered if
    // even that is taken.
    std::string name = column->GetName();
    if (names.contains(name)) {
      const std::string base = name + "_" + std::string(ValueName(fact.GetGroupFunc())).substr(2);
      name = base;
      for (int n = 2; names.contains(name); ++n) name = base + "_" + std::to_string(n);
    }
    names.insert(name);
    const TLVDataType type = GroupFunctionResultType(fact.GetGroupFunc(), column->GetDataType());
    TLVColumnInfo& added = Columns().AddColumn(name, type);
    added.SetDisplayName(column->GetDisplayName() == column->GetName()
                             ? name
                             : column->GetDisplayName() + " (" + DisplayText(fact.GetGroupFunc()) +
                                   ")");
  }
}

std::string TLVGroupData::ShortDescription() const {
  auto join = [](const TLVCollection& list) {
    std::string text;
    for (int32_t i = 0; i < list.Count(); ++i) {
      const std::string& name = list.ItemAt(i).GetDisplayName();
      text = i == 0 ? name : Format(LVText("SSortKeysJoin"), {text, name});
    }
    return text;
  };
  return Format(LVText("SGroupDescription"),
                {Format(LVText("SGroupDimensions"), {join(dimensions_)}),
                 Format(LVText("SGroupFacts"), {join(facts_)})});
}

void TLVGroupData::DoOpen() {
  ILVDataSource& parent = RequireParent();
  const ILVColumnsInfo& columns = parent.GetColumnsInfo();
  if (dimensions_.Count() == 0 && facts_.Count() == 0) throw ELVDataError("ErrGroupNoColumns");
  std::vector<int32_t> dims;
  for (int32_t i = 0; i < dimensions_.Count(); ++i) {
    const int32_t index = columns.IndexOfColumn(dimensions_[i].GetName());
    if (index < 0) throw ELVDataError("ErrParentColumnNotFound", {dimensions_[i].GetName()});
    dims.push_back(index);
  }
  std::vector<TLVGroupFact> facts;
  for (int32_t i = 0; i < facts_.Count(); ++i) {
    const TLVGroupDataColumn& fact = facts_[i];
    const int32_t index = columns.IndexOfColumn(fact.GetName());
    if (index < 0) throw ELVDataError("ErrParentColumnNotFound", {fact.GetName()});
    if (!GroupFunctionAccepts(fact.GetGroupFunc(), columns.GetColumnInfo(index)->GetDataType())) {
      throw ELVDataError("ErrGroupColumnType", {fact.GetName()});
    }
    facts.push_back({index, fact.GetGroupFunc()});
  }
  if (result_) return;
  TLVLockGuard lock(parent);
  result_ = LVGroupRows(parent, dims, facts, progress_);
}

void TLVGroupData::DoClose() {
  if (!cached_) result_.reset();
}

TLVRowIndex TLVGroupData::DoGetRowCount() {
  return static_cast<TLVRowIndex>(result_->groups);
}

void TLVGroupData::DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) {
  result_->columns[static_cast<size_t>(column)].Read(static_cast<size_t>(first), count, out);
}

const TLVPropertyTable<TLVGroupData>& TLVGroupData::Properties() {
  static const auto table = [] {
    using T = TLVGroupData;
    TLVPropertyTable<T> t;
    t.Add("Cached", &T::GetCached, &T::SetCached, true)
        .AddCollection(
            "Dimensions", "Dimension", [](auto& node) -> auto& { return node.Dimensions(); },
            TLVGroupDataDimension::Properties())
        .AddCollection(
            "Facts", "Fact", [](auto& node) -> auto& { return node.Facts(); },
            TLVGroupDataColumn::Properties());
    return t;
  }();
  return table;
}

void TLVGroupData::SaveSettingsTo(ILVSettingsSection& section) const {
  Properties().Save(*this, section);
}

void TLVGroupData::LoadSettingsFrom(const ILVSettingsSection& section) {
  Properties().Load(*this, section);
}

void RegisterGroupDataTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrGroupNoColumns", "ErrGroupColumnType",
                                            "SGroupDescription", "SGroupDimensions", "SGroupFacts",
                                            "SSortKeysJoin", "TLVGroupData.Cached",
                                            "GroupDataVendorCaption", "GroupDataVendorHint"});
}

}  // namespace lv
