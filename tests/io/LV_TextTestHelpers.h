// Helpers of the text import and export tests: the run log captured in a temporary
// file together with the titles of its error sections, and a table read back as values.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "core/LV_TestSection.h"
#include "core/columns/LV_Convert.h"
#include "core/registry/LV_Settings.h"
#include "core/sources/LV_DataIntf.h"
#include "env/LV_EnvTestHelpers.h"
#include "env/LV_Logger.h"

namespace lv {

// Values show in failures as their type and text.
inline void PrintTo(const TLVValue& value, std::ostream* os) {
  *os << ValueName(value.Type()) << ":"
      << (value.IsNull() ? "<null>" : ValueToText(value, DefaultFormatSettings()));
}

}  // namespace lv

namespace lv::test {

class TRunLogCapture {
 public:
  explicit TRunLogCapture(std::string path) : path_(std::move(path)) {
    TLVLogger& log = LVRunLog();
    log.SetLogType(TLVLogType::lgtFile);
    log.SetLogDir("");
    log.SetLogFileName(path_);
    log.SetOnErrorSection([this](const std::string& title) { sections.push_back(title); });
  }
  ~TRunLogCapture() {
    TLVLogger& log = LVRunLog();
    log.SetOnErrorSection(nullptr);
    log.SetLogFileName("");
    log.Close();
  }
  TRunLogCapture(const TRunLogCapture&) = delete;
  TRunLogCapture& operator=(const TRunLogCapture&) = delete;

  std::string Text() const { return ReadWholeFile(path_); }

  std::vector<std::string> sections;

 private:
  std::string path_;
};

// Every row of `source`, cell by cell (opened first: an import without column
// definitions has its columns only once open).
inline std::vector<std::vector<TLVValue>> ReadTable(ILVDataSource& source) {
  source.Open();
  std::vector<std::vector<TLVValue>> rows;
  const int32_t columns = source.GetColumnsInfo().GetColumnCount();
  for (TLVRowIndex r = 0; r < source.GetRowCount(); ++r) {
    auto& row = rows.emplace_back();
    for (int32_t c = 0; c < columns; ++c) row.push_back(source.GetValue(r, c));
  }
  return rows;
}

}  // namespace lv::test
