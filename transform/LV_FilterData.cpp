#include "transform/LV_FilterData.h"

#include "core/LV_Localization.h"
#include "env/LV_EnvVariables.h"

namespace lv {

namespace {

constexpr std::string_view kFilterSection = "Filter";

}  // namespace

TLVFilterData::TLVFilterData() : clock_(LVLocalNow) {
  filter_.SetObserver([this](TLVCollectionItem*, std::string_view) { ListChanged(); });
}

TLVFilterData::~TLVFilterData() {
  filter_.SetObserver(nullptr);
}

void TLVFilterData::ListChanged() {
  Close();
  NotifyListeners(TLVNotifyReason::nrDataChanged);
}

void TLVFilterData::DoOpen() {
  ILVDataSource& parent = RequireParent();
  CheckFilterColumns(filter_, parent.GetColumnsInfo());
  if (filter_.GetFiltered()) {
    TLVLockGuard lock(parent);
    TLVFilterContext context = MakeFilterContext(filter_, parent, clock_(), &parentDates_);
    parentDates_.dataDates = context.dataDates;
    evaluator_ = std::make_unique<TLVFilterEvaluator>(filter_, parent.GetColumnsInfo(), context);
    filter_.SetContext(std::move(context));
  }
  try {
    TLVCachedFilteredDataSource::DoOpen();
  } catch (...) {
    evaluator_.reset();
    throw;
  }
  // The selection is made; the compiled list is not needed until the next open.
  evaluator_.reset();
}

void TLVFilterData::DoClose() {
  evaluator_.reset();
  TLVCachedFilteredDataSource::DoClose();
}

void TLVFilterData::SelectRows(ILVDataSource& parent, TLVRowIndex first, int32_t count,
                               std::vector<TLVRowIndex>& selected) {
  if (evaluator_) {
    evaluator_->SelectRows(parent, first, count, selected);
  } else {
    TLVCachedFilteredDataSource::SelectRows(parent, first, count, selected);
  }
}

void TLVFilterData::OnParentChanged(TLVNotifyReason reason) {
  parentDates_.dataDates.clear();
  TLVCachedFilteredDataSource::OnParentChanged(reason);
}

std::string TLVFilterData::ProgressCaption() const {
  return LVText("SFilterProgress");
}

const TLVPropertyTable<TLVFilterData>& TLVFilterData::Properties() {
  static const auto table = [] {
    TLVPropertyTable<TLVFilterData> t;
    t.AddObject(
        kFilterSection, [](auto& node) -> auto& { return node.Filter(); },
        TLVFilterColumnCollection::Properties());
    return t;
  }();
  return table;
}

void TLVFilterData::SaveSettingsTo(ILVSettingsSection& section) const {
  Properties().Save(*this, section);
}

void TLVFilterData::LoadSettingsFrom(const ILVSettingsSection& section) {
  TLVFilterColumnCollection loaded;
  if (const ILVSettingsSection* stored = section.FindSection(kFilterSection)) {
    TLVFilterColumnCollection::Properties().Load(loaded, *stored);
  }
  filter_.Assign(loaded);
}

void RegisterFilterDataTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrFilterNoColumn", "ErrFilterColumnType",
                                            "SFilterProgress", "SFilterWizardCaption",
                                            "FilterDataVendorCaption", "FilterDataVendorHint"});
}

}  // namespace lv
