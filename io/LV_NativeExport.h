// The export node of a native data file (.lvd): writes the table of its data source,
// all columns or the ones marked for export, to a file that the import node (or any
// other reader of the format) reads back without conversion.
//
// Execute() is the node's whole work, run from the desktop or unattended. It reads the
// source by blocks under a lock and writes through TLVSafeFile: the file appears only
// when complete, and a failure or a cancellation leaves whatever was there before.
// Texts are written in the ANSI code page; a text the page cannot hold stops the export
// with a message naming the column and the row, nothing is replaced silently.
//
// Not a data source: an export feeds no child. Single-threaded.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/registry/LV_Properties.h"
#include "core/sources/LV_Component.h"

namespace lv {

class TLVNativeExport : public TLVComponent, public ILVExecutable {
 public:
  // The file to write; %NAME% references to environment variables are expanded.
  const std::string& GetFileName() const { return fileName_; }
  void SetFileName(const std::string& value) { fileName_ = value; }
  std::string ExpandedFileName() const;

  // Whether every column of the source is written; otherwise the marked ones.
  bool GetExportedAllFields() const { return exportedAllFields_; }
  void SetExportedAllFields(bool value) { exportedAllFields_ = value; }

  // The node whose table is written.
  ILVDataSource* GetDataSource() const { return source_.get(); }
  void SetDataSource(std::shared_ptr<ILVDataSource> source) { source_ = std::move(source); }
  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    SetDataSource(std::move(parent));
  }

  // The columns marked for export, by name (without duplicates, in marking order).
  // They are written in the source's order whatever the order here.
  const std::vector<std::string>& GetExportedFields() const { return exportedFields_; }
  void SetExportedFields(std::vector<std::string> names);
  bool IsFieldExported(std::string_view name) const;
  void SetFieldExported(std::string_view name, bool exported);
  // The persisted form of the marks: the names in double quotes (an inner quote
  // doubled), separated by commas. A malformed text raises "ErrNativeExportedFields".
  std::string GetExportedFieldsText() const;
  void SetExportedFieldsText(const std::string& text);

  // "Экспорт в Lumivera Data файл [<file name>]".
  std::string GetDescription() const;

  // The source columns the run writes, in the source's order. Raises "Не выбрано ни
  // одного поля для экспорта" when there are none and names a marked column the
  // source no longer has.
  std::vector<int32_t> ChosenColumns() const;

  // Writes the file, reporting each block of rows to `progress`; ELVAbort when it is
  // cancelled.
  void Execute(ILVProgress* progress) override;

  // The persisted settings: "FileName", "ExportedAllFields", "ExportedFields".
  static const TLVPropertyTable<TLVNativeExport>& Properties();
  void SaveSettings(const TSettingsWriter& put) const override { Properties().Save(*this, put); }
  void LoadSettings(const TSettingsReader& get) override { Properties().Load(*this, get); }

 private:
  ILVDataSource& RequireSource() const;

  std::string fileName_;
  bool exportedAllFields_ = false;
  std::shared_ptr<ILVDataSource> source_;
  std::vector<std::string> exportedFields_;
};

void RegisterNativeExportTexts();

}  // namespace lv
