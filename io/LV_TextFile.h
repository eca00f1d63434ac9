// The text-file import node: reads a delimited or fixed-width text file and offers it
// as a table with typed columns.
//
// TLVTextFile is a cached source: opening it (a read, or Refresh) parses the whole file
// into the row cache, defining the columns from the head of the file first when it has
// none. A value that cannot be converted leaves its cell missing and is reported, line
// by line, in an error section of the run log; the import goes on. Every conversion
// uses the node's own formats; the process defaults are never touched.
//
// Settings, in the order the project file keeps them: FileName, CharSet, DetectUTF8,
// FixedFormat,
// InsertKey, Delimiter, DelimiterChar, LimiterString, ManySeparatorToOne, DecimalPoint,
// DateDelimiter, DateFormat, TimeDelimiter, TimeFormat, LineImport, FirstLineTitle,
// ValueTrue, ValueFalse, ValueNull; then the column definitions (ColumnDefs()), which
// must be loaded after the settings, since most settings drop them. A change of a
// splitting or conversion setting closes the node and drops its column definitions;
// ValueNull closes it and keeps them; FixedFormat, CharSet and DetectUTF8 are stored as
// they are and take effect at the next refresh.
//
// Code page: a file that starts with a UTF-8 byte-order mark is read as UTF-8. So is a
// file without the mark whose head is valid UTF-8 with non-ASCII text, while DetectUTF8
// is on (the default, also for projects saved before the setting existed); the refresh
// then notes in the run log that the file was read as UTF-8. DetectUTF8 off forces the
// code page of CharSet.
//
// Single-threaded, like every source.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/sources/LV_CachedDataSource.h"
#include "core/sources/LV_Progress.h"
#include "io/LV_TextFileColumns.h"
#include "io/LV_TextSettings.h"
#include "io/LV_TextStream.h"

namespace lv {

class TLVTextFile : public TLVCachedDataSource, public TLVTextSettings {
 public:
  // Name and caption of the generated key column.
  static constexpr std::string_view kKeyColumnName = "PRIMARYKEY";
  // Lines Preview() returns at most.
  static constexpr int32_t kPreviewLines = 21;

  TLVTextFile();
  ~TLVTextFile() override;

  // Whether a file without a byte-order mark is read as UTF-8 when its head is UTF-8.
  bool GetDetectUTF8() const { return detectUtf8_; }
  void SetDetectUTF8(bool value) { detectUtf8_ = value; }
  bool GetFixedFormat() const { return fixedFormat_; }
  void SetFixedFormat(bool value) { fixedFormat_ = value; }
  bool GetInsertKey() const { return insertKey_; }
  void SetInsertKey(bool value);
  bool GetManySeparatorToOne() const { return manySeparatorToOne_; }
  void SetManySeparatorToOne(bool value);
  // The first line (from 1) the import uses; refuses values below 1.
  int32_t GetLineImport() const { return lineImport_; }
  void SetLineImport(int32_t value);

  // The column definitions; the table's descriptions follow every change of them.
  TLVTextFileColumns& ColumnDefs() { return defs_; }
  const TLVTextFileColumns& ColumnDefs() const { return defs_; }

  // Builds the column definitions from the head of the file: names from the title
  // line, types from the line after it. `endPositions` gives the last character of
  // each fixed-width column (the last column ends with the sample line). Returns the
  // number of columns defined (the key column included), 0 when the file does not
  // exist.
  int32_t DefineColumns(const std::vector<int32_t>& endPositions = {});
  // Up to kPreviewLines lines of the file from line `firstLine` (from 1), as UTF-8.
  std::vector<std::string> Preview(int32_t firstLine = 1) const;
  // Rereads the whole file; `progress` (may be null) sees the bytes read and may cancel.
  void Refresh(ILVProgress* progress = nullptr);

  // The settings above in their order, then the collection "Columns" (one "Column"
  // item per definition), which only the section form persists.
  static const TLVPropertyTable<TLVTextFile>& Properties();
  void SaveSettings(const TSettingsWriter& put) const override;
  void LoadSettings(const TSettingsReader& get) override;
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 protected:
  void ChangeSetting(TLVTextSetting setting, const std::function<void()>& store) override;
  void DoOpen() override;
  void FillCache(TLVDataCache& cache) override;

 private:
  class TReader;
  // The change bracket of every setter: drops the rows, stores, then drops the column
  // definitions when `dropColumns()` says so; the children are told either way.
  void Change(const std::function<void()>& store, const std::function<bool()>& dropColumns);
  void MirrorDefinitions();
  // Whether the file of `stream` is read as UTF-8 rather than in CharSet's code page
  // only because its head was recognised as UTF-8.
  bool Utf8ByDetection(const TLVTextStream& stream) const;
  const TLVTextDecoder& DecoderFor(const TLVTextStream& stream) const;

  bool detectUtf8_ = true;
  bool fixedFormat_ = false;
  bool insertKey_ = false;
  bool manySeparatorToOne_ = false;
  int32_t lineImport_ = 1;
  TLVTextFileColumns defs_;
  ILVProgress* progress_ = nullptr;
};

void RegisterTextFileTexts();

}  // namespace lv
