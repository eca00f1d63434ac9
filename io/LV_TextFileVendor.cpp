#include "io/LV_TextFileVendor.h"

#include "core/text/LV_Localization.h"
#include "io/LV_ExportStd.h"
#include "io/LV_TextFile.h"
#include "io/LV_TextFileColumns.h"
#include "io/LV_TextSettings.h"
#include "io/LV_TextStream.h"

namespace lv {

TLVExportStdVendor::TLVExportStdVendor()
    : TLVComponentVendor(TLVClassRef::Of<TLVExportStd>(), LVVendorGroup<TLVVendorGroupExportFile>(),
                         {"ExportStd", "ExportStdVendorCaption", "ExportStdVendorHint"},
                         [] { return std::make_shared<TLVExportStd>(); }) {
  DescribeSettingsOf<TLVExportStd>();
}

void RegisterTextFileUnits() {
  RegisterTextSettingsTexts();
  RegisterTextStreamTexts();
  RegisterTextFileColumnsTexts();
  RegisterTextFileTexts();
  RegisterExportStdTexts();
  TLVLocalization::Instance().RegisterKeys({"TextFileVendorCaption", "TextFileVendorHint",
                                            "ExportStdVendorCaption", "ExportStdVendorHint"});
  TLVComponentVendorList& vendors = LVComponentVendors();
  if (!vendors.FindByID("TextFile")) {
    vendors.Add(TLVComponentVendor::Make<TLVTextFile, TLVVendorGroupImportFile>(
        {"TextFile", "TextFileVendorCaption", "TextFileVendorHint"}));
  }
  if (!vendors.FindByID("ExportStd")) vendors.Add(std::make_shared<TLVExportStdVendor>());
}

}  // namespace lv
