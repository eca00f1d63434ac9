#include "io/LV_NativeImport.h"

#include <algorithm>
#include <filesystem>
#include <utility>
#include <vector>

#include "core/text/LV_Localization.h"
#include "env/LV_EnvVariables.h"
#include "io/LV_NativeFile.h"

namespace lv {

namespace {

// Whether the descriptions already are the file's columns, in names and types.
bool SameShape(const TLVColumnsInfo& described, const std::vector<TLVNativeColumn>& file) {
  if (described.Count() != static_cast<int32_t>(file.size())) return false;
  for (int32_t i = 0; i < described.Count(); ++i) {
    const TLVNativeColumn& column = file[static_cast<size_t>(i)];
    if (described[i].GetName() != column.name || described[i].GetDataType() != column.type) {
      return false;
    }
  }
  return true;
}

void DescribeColumns(TLVColumnsInfo& columns, const std::vector<TLVNativeColumn>& file) {
  if (SameShape(columns, file)) return;
  TLVColumnsUpdate update(columns);
  columns.Clear();
  for (const TLVNativeColumn& column : file) {
    TLVColumnInfo& info = columns.AddColumn(column.name, column.type, column.status);
    if (column.caption != column.name) info.SetDisplayName(column.caption);
    // A writer with other rules may call a text or logical column continuous; the
    // column model does not allow it, so such a column keeps the kind its type implies.
    const bool alwaysDiscrete =
        column.type == TLVDataType::dtString || column.type == TLVDataType::dtBoolean;
    if (!(alwaysDiscrete && column.kind == TLVDataKind::dkContinuous)) {
      info.SetDataKind(column.kind);
    }
  }
  update.Changed();
}

void ReadMissing(int32_t count, TLVBlock& out) {
  out.Reset(TLVDataType::dtNone, count);
  std::fill_n(out.Valid(), count, uint8_t{0});
  std::fill_n(out.Numbers(), count, LVMissing());
}

}  // namespace

// The message is the general one followed by what was wrong, so that a run log tells
// a damaged file from a file of another kind; the key stays the general one.
ELVNativeFileError::ELVNativeFileError(std::string_view fileName, const ELVError& cause)
    : ELVDataError(Raw{}, "ErrNativeNotLvd",
                   Format(LVText("ErrNativeNotLvdBecause"), {fileName, cause.what()})),
      causeKey_(cause.Key()),
      causeMessage_(cause.what()) {}

const TLVPropertyTable<TLVNativeImport>& TLVNativeImport::Properties() {
  static const auto table = [] {
    TLVPropertyTable<TLVNativeImport> t;
    t.Add("FileName", &TLVNativeImport::GetFileName, &TLVNativeImport::SetFileName, std::string());
    return t;
  }();
  return table;
}

void TLVNativeImport::SetFileName(const std::string& value) {
  if (value == fileName_) return;
  TLVColumnsUpdate update(Columns());
  Close();
  fileName_ = value;
  DescribeFromFile();
  update.Changed();
}

std::string TLVNativeImport::ExpandedFileName() const {
  return LVEnvVariables().Expand(fileName_);
}

void TLVNativeImport::DescribeFromFile() {
  const std::string path = ExpandedFileName();
  std::vector<TLVNativeColumn> columns;
  std::error_code error;
  if (!path.empty() && std::filesystem::is_regular_file(path, error)) {
    try {
      TLVNativeFileReader reader(OpenNativeFileSource(path), AnsiCodePage());
      columns = reader.ReadHeader().columns;
    } catch (const ELVError&) {
      // A damaged file is reported when the table is opened; until then it has no
      // columns, like a file that is not there yet.
    }
  }
  DescribeColumns(Columns(), columns);
}

void TLVNativeImport::Refresh(ILVProgress* progress) {
  Close();
  ILVProgress* const previous = std::exchange(progress_, progress);
  try {
    Open();
  } catch (...) {
    progress_ = previous;
    throw;
  }
  progress_ = previous;
}

void TLVNativeImport::DoOpen() {
  const std::string path = ExpandedFileName();
  if (path.empty()) throw ELVDataError("ErrNativeBadFileName");
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    throw ELVDataError("ErrNativeFileNotFound", {path});
  }
  try {
    ReadFile(path);
  } catch (const ELVError& e) {
    Cache().Close();
    throw ELVNativeFileError(path, e);
  } catch (...) {
    // Running out of memory is not the file's fault: it is reported as it is.
    Cache().Close();
    throw;
  }
}

void TLVNativeImport::ReadFile(const std::string& path) {
  TLVNativeFileReader reader(OpenNativeFileSource(path), AnsiCodePage());
  DescribeColumns(Columns(), reader.ReadHeader().columns);
  TLVDataCache& cache = Cache();
  cache.Close();
  if (Columns().Count() == 0) return;  // nothing to keep: the table is empty
  std::vector<TLVDataType> types;
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    types.push_back(NativeCacheType(Columns()[i].GetDataType()));
  }
  cache.SetColumns(std::move(types));
  cache.Open();
  reader.ReadRows(cache, progress_);
  const std::vector<int32_t>& longest = reader.LongestTexts();
  for (size_t c = 0; c < longest.size(); ++c) {
    TLVColumnInfo& column = Columns()[static_cast<int32_t>(c)];
    if (column.GetDataType() == TLVDataType::dtString) column.SetDataSize(longest[c]);
  }
}

void TLVNativeImport::DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) {
  if (Valueless(column)) {
    ReadMissing(count, out);
    return;
  }
  TLVCachedDataSource::DoReadBlock(column, first, count, out);
}

void TLVNativeImport::DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                                 TLVBlock& out) {
  if (Valueless(column)) {
    ReadMissing(count, out);
    return;
  }
  TLVCachedDataSource::DoReadRows(column, rows, count, out);
}

TLVValue TLVNativeImport::DoGetValue(TLVRowIndex row, int32_t column) {
  if (Valueless(column)) {
    (void)Cache().IsNull(row, column);  // the row is checked like any other read's
    return TLVValue::Null(TLVDataType::dtNone);
  }
  return TLVCachedDataSource::DoGetValue(row, column);
}

void RegisterNativeImportTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrNativeNotLvd", "ErrNativeNotLvdBecause", "ErrNativeFileNotFound", "ErrNativeBadFileName",
       "NativeImportVendorCaption", "NativeImportVendorHint", "SNativeFileName"});
}

}  // namespace lv
