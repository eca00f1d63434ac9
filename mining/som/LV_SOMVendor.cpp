#include "mining/som/LV_SOMVendor.h"

#include "core/LV_Vendor.h"
#include "core/LV_VendorGroups.h"
#include "mining/som/LV_SOMTeacher.h"
#include "mining/som/LV_SOMWithClusters.h"

namespace lv {

TLVSOM::TLVSOM()
    : TLVModelHandler({[] { return std::make_shared<TLVSOMWithClusters>(); },
                       [] { return std::make_unique<TLVSOMTeacher>(); }}) {}

TLVSOMWithClusters& TLVSOM::SOM() const {
  return static_cast<TLVSOMWithClusters&>(*Kernel());
}

TLVSOMTeacher& TLVSOM::SOMTeacher() {
  return static_cast<TLVSOMTeacher&>(Teacher());
}

void RegisterSOMVendor() {
  RegisterModelHandlerTexts();
  RegisterSOMTexts();
  RegisterSOMTeacherTexts();
  RegisterSOMWithClustersTexts();
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("SOM")) {
    vendors.Add(TLVComponentVendor::Make<TLVSOM, TLVVendorGroupAnalyticDataMining>(
        {"SOM", "SOMVendorCaption", "SOMVendorHint"}));
  }
}

}  // namespace lv
