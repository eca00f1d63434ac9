#include "mining/neural/LV_NeuralNetVendor.h"

#include "core/registry/LV_Vendor.h"
#include "core/registry/LV_VendorGroups.h"
#include "mining/neural/LV_NeuralNet.h"
#include "mining/neural/LV_NeuralTeacher.h"

namespace lv {

TLVNeuralNetHandler::TLVNeuralNetHandler()
    : TLVModelHandler({[] { return std::make_shared<TLVNeuralNet>(); },
                       [] { return std::make_unique<TLVNeuralTeacher>(); }, true}) {}

void RegisterNeuralNetVendor() {
  RegisterModelHandlerTexts();
  RegisterNeuralNetTexts();
  RegisterNeuralTeacherTexts();
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("NeuralNet")) {
    vendors.Add(TLVComponentVendor::Make<TLVNeuralNetHandler, TLVVendorGroupAnalyticDataMining>(
        {"NeuralNet", "NeuralNetVendorCaption", "NeuralNetVendorHint"}));
  }
}

}  // namespace lv
