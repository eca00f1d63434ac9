#include "io/LV_NativeVendor.h"

#include "core/registry/LV_Vendor.h"
#include "io/LV_NativeExport.h"
#include "io/LV_NativeFile.h"
#include "io/LV_NativeImport.h"

namespace lv {

void RegisterNativeFileVendors() {
  RegisterNativeFileTexts();
  RegisterNativeImportTexts();
  RegisterNativeExportTexts();
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifiers are what project files store: they never change.
  if (!vendors.FindByID("NativeImport")) {
    vendors.Add(TLVComponentVendor::Make<TLVNativeImport, TLVVendorGroupImportFile>(
        {"NativeImport", "NativeImportVendorCaption", "NativeImportVendorHint"}));
  }
  if (!vendors.FindByID("NativeExport")) {
    vendors.Add(TLVComponentVendor::Make<TLVNativeExport, TLVVendorGroupExportFile>(
        {"NativeExport", "NativeExportVendorCaption", "NativeExportVendorHint"}));
  }
}

}  // namespace lv
