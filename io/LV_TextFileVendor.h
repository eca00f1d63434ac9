// The catalogue entries of the text import and the text export, and the start-up of
// every text-file unit (their text keys, then their vendors).
#pragma once

#include <memory>

#include "core/registry/LV_Vendor.h"

namespace lv {

// The vendor of the text export, offered among the file exports. Its identifier,
// "ExportStd", is what a project file keeps.
class TLVExportStdVendor : public TLVComponentVendor {
 public:
  TLVExportStdVendor();
};

// Registers the text keys of the text-file units and the two node kinds: the import
// "TextFile" under TLVVendorGroupImportFile and the export "ExportStd" under
// TLVVendorGroupExportFile. Safe to call again: registered kinds stay as they are.
void RegisterTextFileUnits();

}  // namespace lv
