// Binary copies of column descriptions are read from streams: any bytes must either
// read or raise ELVError, and a refused read leaves the description as it was.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/LV_CoreStartup.h"
#include "core/columns/LV_ColumnInfo.h"
#include "core/text/LV_Errors.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool started = (lv::CoreStartup(), true);
  (void)started;
  lv::TLVColumnsInfo list;
  lv::TLVColumnInfo& column = list.AddColumn("Before", lv::TLVDataType::dtString);
  lv::TLVByteReader reader(std::string_view(reinterpret_cast<const char*>(data), size));
  try {
    while (reader.Remaining() > 0) column.ReadFrom(reader);
  } catch (const lv::ELVError&) {
  }
  // Whatever happened, the description obeys its rules.
  if (column.GetDataType() == lv::TLVDataType::dtString &&
      column.GetDataKind() == lv::TLVDataKind::dkContinuous) {
    std::abort();
  }
  return 0;
}
