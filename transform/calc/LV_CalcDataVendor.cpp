#include "transform/calc/LV_CalcDataVendor.h"

#include "core/registry/LV_Vendor.h"
#include "transform/calc/LV_CalcData.h"
#include "transform/calc/LV_CalcDataFunctions.h"

namespace lv {

void RegisterCalcDataUnits() {
  RegisterCalcDataFunctionsTexts();
  RegisterCalcDataTexts();
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("Calc")) {
    vendors.Add(TLVComponentVendor::Make<TLVCalcData, TLVVendorGroupAnalyticTransform>(
        {"Calc", "CalcDataCaption", "CalcDataWizardCaption"}));
  }
}

}  // namespace lv
