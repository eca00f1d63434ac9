#include "transform/filter/LV_FilterVendor.h"

#include "core/registry/LV_Vendor.h"
#include "transform/filter/LV_FilterColumns.h"
#include "transform/filter/LV_FilterData.h"
#include "transform/filter/LV_FilterDates.h"
#include "transform/filter/LV_FilterTypes.h"

namespace lv {

void RegisterFilterVendors() {
  RegisterFilterTypesTexts();
  RegisterFilterDatesTexts();
  RegisterFilterColumnsTexts();
  RegisterFilterDataTexts();
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("FilterData")) {
    vendors.Add(TLVComponentVendor::Make<TLVFilterData, TLVVendorGroupAnalyticTransform>(
        {"FilterData", "FilterDataVendorCaption", "FilterDataVendorHint"}));
  }
}

}  // namespace lv
