#include "io/LV_NativeExport.h"

#include <algorithm>

#include "core/columns/LV_ColumnInfo.h"
#include "core/platform/LV_SafeFile.h"
#include "core/sources/LV_DataIntf.h"
#include "core/sources/LV_Progress.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
#include "env/LV_EnvVariables.h"
#include "io/LV_NativeFile.h"

namespace lv {

namespace {

constexpr std::string_view kExportedFieldsProperty = "ExportedFields";

}  // namespace

std::string TLVNativeExport::ExpandedFileName() const {
  return LVEnvVariables().Expand(fileName_);
}

void TLVNativeExport::SetExportedFields(std::vector<std::string> names) {
  std::vector<std::string> unique;
  for (auto& name : names) {
    if (std::find(unique.begin(), unique.end(), name) == unique.end()) {
      unique.push_back(std::move(name));
    }
  }
  exportedFields_ = std::move(unique);
}

bool TLVNativeExport::IsFieldExported(std::string_view name) const {
  return std::find(exportedFields_.begin(), exportedFields_.end(), name) != exportedFields_.end();
}

void TLVNativeExport::SetFieldExported(std::string_view name, bool exported) {
  auto at = std::find(exportedFields_.begin(), exportedFields_.end(), name);
  if (exported && at == exportedFields_.end()) exportedFields_.emplace_back(name);
  if (!exported && at != exportedFields_.end()) exportedFields_.erase(at);
}

std::string TLVNativeExport::GetExportedFieldsText() const {
  std::string text;
  for (const std::string& name : exportedFields_) {
    if (!text.empty()) text += ',';
    text += '"';
    for (char c : name) {
      if (c == '"') text += '"';
      text += c;
    }
    text += '"';
  }
  return text;
}

void TLVNativeExport::SetExportedFieldsText(const std::string& text) {
  std::vector<std::string> names;
  size_t i = 0;
  while (i < text.size()) {
    if (text[i] != '"') RaisePropertyValue(kExportedFieldsProperty, text);
    std::string name;
    for (++i;; ++i) {
      if (i >= text.size()) RaisePropertyValue(kExportedFieldsProperty, text);
      if (text[i] == '"') {
        if (i + 1 < text.size() && text[i + 1] == '"') {
          ++i;
        } else {
          ++i;
          break;
        }
      }
      name += text[i];
    }
    names.push_back(std::move(name));
    if (i == text.size()) break;
    if (text[i] != ',' || i + 1 == text.size()) RaisePropertyValue(kExportedFieldsProperty, text);
    ++i;
  }
  SetExportedFields(std::move(names));
}

std::string TLVNativeExport::GetDescription() const {
  return Format(LVText("NativeExportDescription"), {ExpandedFileName()});
}

ILVDataSource& TLVNativeExport::RequireSource() const {
  if (!source_) throw ELVDataError("ErrDataSourceNoParent", {GetComponentName()});
  return *source_;
}

std::vector<int32_t> TLVNativeExport::ChosenColumns() const {
  const ILVColumnsInfo& columns = RequireSource().GetColumnsInfo();
  std::vector<int32_t> chosen;
  if (exportedAllFields_) {
    for (int32_t i = 0; i < columns.GetColumnCount(); ++i) chosen.push_back(i);
  } else {
    // A marked column that went away must not silently vanish from the file.
    for (const std::string& name : exportedFields_) {
      if (columns.IndexOfColumn(name) < 0) throw ELVDataError("ErrParentColumnNotFound", {name});
    }
    for (int32_t i = 0; i < columns.GetColumnCount(); ++i) {
      if (IsFieldExported(columns.GetColumnInfo(i)->GetName())) chosen.push_back(i);
    }
  }
  if (chosen.empty()) throw ELVError("ErrNativeNoFields");
  return chosen;
}

void TLVNativeExport::Execute(ILVProgress* progress) {
  ILVDataSource& source = RequireSource();
  const std::string path = ExpandedFileName();
  if (path.empty()) throw ELVError("ErrNativeBadFileName");
  const std::vector<int32_t> chosen = ChosenColumns();

  TLVLockGuard lock(source);
  std::vector<TLVNativeColumn> columns;
  for (int32_t index : chosen) {
    auto info = source.GetColumnsInfo().GetColumnInfo(index);
    columns.push_back({static_cast<int32_t>(columns.size()), info->GetName(),
                       info->GetDisplayName(), info->GetDataKind(), info->GetDataStatus(),
                       info->GetDataType()});
  }
  const TLVRowIndex rows = source.GetRowCount();

  TLVSafeFile file(path);
  TLVNativeFileWriter writer([&](std::string_view bytes) { file.Write(bytes); }, AnsiCodePage());
  writer.WriteHeader(columns, rows);
  TLVProgressScope scope(progress, GetDescription(), rows);
  std::vector<TLVBlock> blocks(chosen.size());
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
    for (size_t k = 0; k < chosen.size(); ++k) source.ReadBlock(chosen[k], first, count, blocks[k]);
    writer.WriteRows(blocks, count, first);
    scope.Step(first + count);
  }
  writer.Finish();
  file.Commit();
}

const TLVPropertyTable<TLVNativeExport>& TLVNativeExport::Properties() {
  static const auto table = [] {
    TLVPropertyTable<TLVNativeExport> t;
    t.Add("FileName", &TLVNativeExport::GetFileName, &TLVNativeExport::SetFileName, std::string())
        .Add("ExportedAllFields", &TLVNativeExport::GetExportedAllFields,
             &TLVNativeExport::SetExportedAllFields, false)
        .Add(kExportedFieldsProperty, &TLVNativeExport::GetExportedFieldsText,
             &TLVNativeExport::SetExportedFieldsText, std::string());
    return t;
  }();
  return table;
}

void RegisterNativeExportTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrNativeNoFields", "ErrNativeBadFileName",
                                            "NativeExportDescription", "NativeExportVendorCaption",
                                            "NativeExportVendorHint", "SNativeFileName",
                                            "SNativeExportedAllFields", "SNativeSourceField"});
}

}  // namespace lv
