#include "transform/filter/LV_FilterData.h"

#include "core/text/LV_Localization.h"
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
    filter_.SetContext(context);
    openContext_ = std::move(context);
  }
  try {
    TLVCachedFilteredDataSource::DoOpen();
  } catch (...) {
    openContext_.reset();
    throw;
  }
  openContext_.reset();
}

void TLVFilterData::DoClose() {
  openContext_.reset();
  TLVCachedFilteredDataSource::DoClose();
}

std::unique_ptr<ILVRowSelector> TLVFilterData::NewRowSelector() {
  if (!openContext_) return TLVCachedFilteredDataSource::NewRowSelector();
  return std::make_unique<TLVFilterEvaluator>(filter_, RequireParent().GetColumnsInfo(),
                                              *openContext_);
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
