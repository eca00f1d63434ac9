#include "transform/group/LV_GroupDataVendor.h"

#include "core/registry/LV_Vendor.h"
#include "transform/group/LV_GroupAggregates.h"
#include "transform/group/LV_GroupData.h"
#include "transform/group/LV_GroupDataColumns.h"

namespace lv {

void RegisterGroupDataVendors() {
  RegisterGroupDataColumnsTexts();
  RegisterGroupAggregatesTexts();
  RegisterGroupDataTexts();
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("GroupData")) {
    vendors.Add(TLVComponentVendor::Make<TLVGroupData, TLVVendorGroupAnalyticTransform>(
        {"GroupData", "GroupDataVendorCaption", "GroupDataVendorHint"}));
  }
}

}  // namespace lv
