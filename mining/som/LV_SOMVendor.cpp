#include "mining/som/LV_SOMVendor.h"

#include "core/registry/LV_Vendor.h"
#include "core/registry/LV_VendorGroups.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
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

std::string TLVSOM::TeachSummary() const {
  const TLVSOMWithClusters& som = SOM();
  return Format(
      LVText("SSOMTeachSummary"),
      {TeachResultText(Teacher().GetResult()), som.GetXDim(), som.GetYDim(), som.Quality().rows,
       som.Quality().quantizationError, som.Quality().topographicError, som.ClustersFound()});
}

void RegisterSOMVendor() {
  RegisterModelHandlerTexts();
  RegisterSOMTexts();
  RegisterSOMTeacherTexts();
  RegisterSOMWithClustersTexts();
  TLVLocalization::Instance().RegisterKeys({"SSOMTeachSummary"});
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("SOM")) {
    vendors.Add(TLVComponentVendor::Make<TLVSOM, TLVVendorGroupAnalyticDataMining>(
        {"SOM", "SOMVendorCaption", "SOMVendorHint"}));
  }
}

}  // namespace lv
