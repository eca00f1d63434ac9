// The import node of a native data file (.lvd): a cached source whose table is the
// file's.
//
// Its column descriptions come from the file's header, read when the file name is set,
// so children can be tuned before any row is read. Opening reads the whole file into
// the row cache (one copy per row into a cache record, then the row's texts); at every
// open the header is read again and, if the file's columns are no longer the described
// ones (names and types), the descriptions are replaced and the change reported. While
// they still match, the purposes, kinds and captions given in the program stay.
//
// A failure while the file is read closes the table and is reported as
// ELVNativeFileError: "Файл "%s" не является Lumivera Data файлом", followed by the
// detail, which is also kept as its cause. Cancelling the reading keeps the rows read so far. Used
// from one thread, like every source; the reading itself may use several (TLVNativeFileReader).
#pragma once

#include <string>

#include "core/registry/LV_Properties.h"
#include "core/sources/LV_CachedDataSource.h"
#include "core/text/LV_Errors.h"

namespace lv {

// A file that could not be read as a native data file. The message names the file and
// then says what was wrong with it; the cause keeps that reason on its own.
class ELVNativeFileError : public ELVDataError {
 public:
  ELVNativeFileError(std::string_view fileName, const ELVError& cause);
  const std::string& CauseKey() const { return causeKey_; }
  const std::string& CauseMessage() const { return causeMessage_; }

 private:
  std::string causeKey_;
  std::string causeMessage_;
};

class TLVNativeImport : public TLVCachedDataSource {
 public:
  // The file to read; %NAME% references to environment variables are expanded when it
  // is read. Setting another name drops the table and describes the new file's columns
  // (none while the file cannot be read).
  const std::string& GetFileName() const { return fileName_; }
  void SetFileName(const std::string& value);
  std::string ExpandedFileName() const;

  // Reads the whole file again, reporting to `progress` ("Импортирование данных").
  void Refresh(ILVProgress* progress = nullptr);
  // Where an open caused by a read reports; null by default.
  void SetProgress(ILVProgress* progress) { progress_ = progress; }

  // The persisted settings: "FileName".
  static const TLVPropertyTable<TLVNativeImport>& Properties();
  void SaveSettings(const TSettingsWriter& put) const override { Properties().Save(*this, put); }
  void LoadSettings(const TSettingsReader& get) override { Properties().Load(*this, get); }

 protected:
  void DoOpen() override;
  // Columns without values (dtNone) are kept in the cache as missing Booleans; they are
  // read back as missing values of their own type.
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;
  void DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) override;
  TLVValue DoGetValue(TLVRowIndex row, int32_t column) override;

 private:
  void DescribeFromFile();
  void ReadFile(const std::string& path);
  bool Valueless(int32_t column) const {
    return Columns()[column].GetDataType() == TLVDataType::dtNone;
  }

  std::string fileName_;
  ILVProgress* progress_ = nullptr;
};

void RegisterNativeImportTexts();

}  // namespace lv
