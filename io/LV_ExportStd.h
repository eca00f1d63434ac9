// The text export node: writes the table of a chosen node as a delimited text file
// with the same settings the text import reads it with, so that importing what was
// exported gives back the same table.
//
// TLVExportStd reads its source by blocks and writes through a TLVSafeFile: a temporary
// file beside the target, renamed into place only when everything was written. After a
// failure or a cancellation the file that was there before is left as it was and no
// partial file remains. Fields holding the separator, the qualifier, a line break or
// the end-of-file mark (character 26) are qualified, the qualifier doubled inside.
// Lines end with CR LF. A text the chosen code page cannot hold stops the export with
// a message naming the column and the row; nothing is replaced silently. A UTF-8 file
// starts with a byte-order mark, so the import reads it as UTF-8 on any machine.
//
// The title line holds the columns' captions (what the user sees, and what the import
// turns back into captions) unless TitleKind asks for their names.
//
// Limits of the round trip: an empty text and a missing one are told apart only when
// ValueNull is not empty, and a value whose text is ValueNull reads back as missing.
// Single-threaded; the source is locked while it is read.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "core/registry/LV_Collection.h"
#include "core/sources/LV_Component.h"
#include "core/sources/LV_DataIntf.h"
#include "core/sources/LV_Progress.h"
#include "io/LV_TextSettings.h"

namespace lv {

// What the title line of an exported file holds: the columns' captions or their names.
enum class TLVTitleKind : uint8_t { tkCaption, tkName };
const TLVEnumDescriptor& DescribeEnum(TLVTitleKind);

// A column to write, by its name in the source.
class TLVExportStdColumn : public TLVCollectionItem {
 public:
  // "Name".
  static const TLVPropertyTable<TLVExportStdColumn>& Properties();
};

class TLVExportStdColumns : public TLVCollectionOf<TLVExportStdColumn> {
 public:
  TLVExportStdColumn& AddColumn(std::string_view name) {
    TLVExportStdColumn& column = AddNew();
    column.SetName(name);
    return column;
  }
};

class TLVExportStd : public TLVComponent, public ILVExecutable, public TLVTextSettings {
 public:
  // The node whose table is written; the scenario tree sets it to the export's parent.
  const std::shared_ptr<ILVDataSource>& GetDataSource() const { return source_; }
  void SetDataSource(std::shared_ptr<ILVDataSource> source) { source_ = std::move(source); }
  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    SetDataSource(std::move(parent));
  }

  // The columns to write, in this order; none listed means every column of the source.
  TLVExportStdColumns& ExportColumns() { return columns_; }
  const TLVExportStdColumns& ExportColumns() const { return columns_; }

  // What the title line holds (when FirstLineTitle is set); captions unless told.
  TLVTitleKind GetTitleKind() const { return titleKind_; }
  void SetTitleKind(TLVTitleKind value);

  // Writes the file. `progress` (may be null) sees the rows written and may cancel.
  void Execute(ILVProgress* progress) override;
  void Execute() { Execute(nullptr); }

  // FileName, CharSet, Delimiter, DelimiterChar, LimiterString, DecimalPoint,
  // DateDelimiter, DateFormat, TimeDelimiter, TimeFormat, FirstLineTitle, TitleKind,
  // ValueTrue, ValueFalse, ValueNull; then the collection "Columns" (one "Column" item per column
  // to write), which only the section form persists.
  static const TLVPropertyTable<TLVExportStd>& Properties();
  void SaveSettings(const TSettingsWriter& put) const override;
  void LoadSettings(const TSettingsReader& get) override;
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 private:
  class TWriter;

  std::shared_ptr<ILVDataSource> source_;
  TLVExportStdColumns columns_;
  TLVTitleKind titleKind_ = TLVTitleKind::tkCaption;
};

void RegisterExportStdTexts();

}  // namespace lv
