#include "mining/tree/LV_DecisionTreeVendor.h"

#include "core/registry/LV_Vendor.h"
#include "core/registry/LV_VendorGroups.h"
#include "mining/tree/LV_TreeMeasures.h"

namespace lv {

TLVDecisionTreeHandler::TLVDecisionTreeHandler()
    : TLVModelHandler({[] { return std::make_shared<TLVDecisionTree>(); },
                       [] { return std::make_unique<TLVDsTreeTeacherC45>(); }}) {}

void RegisterDecisionTreeVendor() {
  RegisterModelHandlerTexts();
  RegisterTreeMeasuresTexts();
  RegisterDecisionTreeTexts();
  RegisterDsTreeTeacherC45Texts();
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("DecisionTree")) {
    vendors.Add(TLVComponentVendor::Make<TLVDecisionTreeHandler, TLVVendorGroupAnalyticDataMining>(
        {"DecisionTree", "DecisionTreeVendorCaption", "DecisionTreeVendorHint"}));
  }
}

}  // namespace lv
