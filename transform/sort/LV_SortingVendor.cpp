#include "transform/sort/LV_SortingVendor.h"

#include "core/registry/LV_Vendor.h"
#include "transform/sort/LV_Sorting.h"

namespace lv {

void RegisterSortingVendors() {
  RegisterSortingTexts();
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("Sorting")) {
    vendors.Add(TLVComponentVendor::Make<TLVSorting, TLVVendorGroupAnalyticTransform>(
        {"Sorting", "SortingVendorCaption", "SortingVendorHint"}));
  }
}

}  // namespace lv
