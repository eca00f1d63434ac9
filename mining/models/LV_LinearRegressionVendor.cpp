#include "mining/models/LV_LinearRegressionVendor.h"

#include "core/registry/LV_Vendor.h"
#include "core/registry/LV_VendorGroups.h"
#include "mining/models/LV_LinearRegression.h"

namespace lv {

TLVLinearRegression::TLVLinearRegression()
    : TLVModelHandler({[] { return std::make_shared<TLVLinearRegressionKernel>(); },
                       [] { return std::make_unique<TLVLinearRegressionTeacher>(); }}) {}

void RegisterLinearRegressionVendor() {
  RegisterModelHandlerTexts();
  RegisterLinearRegressionTexts();
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("LinearRegression")) {
    vendors.Add(TLVComponentVendor::Make<TLVLinearRegression, TLVVendorGroupAnalyticDataMining>(
        {"LinearRegression", "LinearRegressionVendorCaption", "LinearRegressionVendorHint"}));
  }
}

}  // namespace lv
