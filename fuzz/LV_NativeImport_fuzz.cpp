// Native data files come from anywhere: any bytes must either read or raise ELVError,
// without crashing, hanging or allocating what the file merely claims (libFuzzer's
// malloc limit catches the latter). What reads must survive a trip through the writer:
// writing again what was read from the written copy gives the same bytes. Whether one
// thread reads or several, the rows and the errors are the same, so reading in threads
// is what is fuzzed.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/LV_CoreStartup.h"
#include "core/cache/LV_DataCache.h"
#include "core/platform/LV_RowParts.h"
#include "core/text/LV_Errors.h"
#include "env/LV_EnvStartup.h"
#include "io/LV_IoStartup.h"
#include "io/LV_NativeFile.h"

namespace {

using namespace lv;

// The clean-up buffer of this target: blocks are freed after every input, not every few
// seconds, so that memory stays flat however fast the inputs come.
TLVDataCacheCleanupBuffer& Cleanup() {
  static TLVDataCacheCleanupBuffer buffer;
  static bool quiet = (buffer.SetInterval(std::chrono::hours(1)), true);
  (void)quiet;
  return buffer;
}

struct TTable {
  TLVNativeHeader header;
  int64_t rows = 0;
  std::string written;  // the table written again
};

TTable ReadAndRewrite(std::string_view bytes, TLVCodePage page) {
  TTable table;
  TLVNativeFileReader reader(NativeMemorySource(bytes), page);
  table.header = reader.ReadHeader();
  TLVNativeFileWriter writer([&](std::string_view piece) { table.written += piece; }, page);
  if (table.header.cellTypes.empty()) return table;
  TLVDataCache cache(Cleanup());
  cache.SetColumns(reader.CacheColumns());
  // Blocks of a few rows and a low bar for threads: the rows of even a small input are
  // read in segments by two threads, as a large file's are.
  cache.SetRowBlockBytes(256);
  cache.Open();
  const int64_t rows = table.rows = reader.ReadRows(cache, nullptr);
  writer.WriteHeader(table.header.columns, rows);
  std::vector<TLVBlock> blocks(table.header.cellTypes.size());
  for (int64_t first = 0; first < rows; first += kLVBlockSize) {
    const auto count = static_cast<int32_t>(std::min<int64_t>(kLVBlockSize, rows - first));
    for (size_t c = 0; c < blocks.size(); ++c) {
      cache.ReadBlock(static_cast<int32_t>(c), first, count, blocks[c]);
    }
    writer.WriteRows(blocks, count, first);
  }
  writer.Finish();
  return table;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool started = (CoreStartup(), EnvStartup(), IoStartup(), LVSetMinRowsPerPart(8), true);
  (void)started;
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  for (TLVCodePage page : {TLVCodePage::cpWindows1251, TLVCodePage::cpUTF8}) {
    try {
      TTable first = ReadAndRewrite(bytes, page);
      if (first.header.cellTypes.empty()) continue;
      TTable second = ReadAndRewrite(first.written, page);
      if (second.header.columns != first.header.columns || second.rows != first.rows ||
          second.written != first.written) {
        __builtin_trap();
      }
    } catch (const ELVError&) {
    }
    Cleanup().RunPassNow();
  }
  return 0;
}
