#include "transform/group/LV_GroupDataVendor.h"

#include "core/registry/LV_Vendor.h"
#include "transform/group/LV_GroupAggregates.h"
#include "transform/group/LV_GroupData.h"
#include "transform/group/LV_GroupDataColumns.h"
#include "transform/group/LV_UngroupData.h"

namespace lv {

void RegisterGroupDataVendors() {
  RegisterGroupDataColumnsTexts();
  RegisterGroupAggregatesTexts();
  RegisterGroupDataTexts();
  RegisterUngroupDataTexts();
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("GroupData")) {
    vendors.Add(TLVComponentVendor::Make<TLVGroupData, TLVVendorGroupAnalyticTransform>(
        {"GroupData", "GroupDataVendorCaption", "GroupDataVendorHint"}));
  }
  if (!vendors.FindByID("UngroupData")) {
    vendors.Add(TLVComponentVendor::Make<TLVUngroupData, TLVVendorGroupAnalyticTransform>(
        {"UngroupData", "UngroupDataVendorCaption", "UngroupDataVendorHint"}));
  }
}

}  // namespace lv
