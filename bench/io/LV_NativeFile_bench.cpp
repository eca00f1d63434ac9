// Native data file benchmarks: exporting a cached table of ten million typed rows (the
// columns of the text-import benchmark: id, qty, price, amount, date, flag, an
// 8-character code and a comment of 5 to 20 characters, about 1 % of the cells missing)
// and reloading it through the import node. A variant keeps only the six columns
// without texts, where a row is copied into the cache as it stands in the file; another
// has Cyrillic comments, which cost a code-page conversion each way.
//
// The file goes to LV_BENCH_DIR (default: the system's temporary folder) and is
// deleted afterwards; LV_BENCH_ROWS changes the row count. The reload reads a file that
// was just written, so it comes from the system's file cache, as a reload after an
// export does.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/LV_CoreStartup.h"
#include "core/platform/LV_Platform.h"
#include "core/sources/LV_CachedDataSource.h"
#include "core/text/LV_Format.h"
#include "env/LV_EnvStartup.h"
#include "io/LV_IoStartup.h"
#include "io/LV_NativeExport.h"
#include "io/LV_NativeImport.h"

namespace lv {
namespace {

using enum TLVDataType;

TLVRowIndex Rows() {
  const char* rows = std::getenv("LV_BENCH_ROWS");
  return rows ? std::atoll(rows) : 10'000'000;
}

std::string FilePath() {
  const char* dir = std::getenv("LV_BENCH_DIR");
  return (std::filesystem::path(dir ? dir : std::filesystem::temp_directory_path().string()) /
          "lv_native_bench.lvd")
      .string();
}

uint64_t Mix(uint64_t x) {
  x += 0x9E3779B97F4A7C15ull;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
  return x ^ (x >> 31);
}

enum class TVariant : uint8_t { vTyped, vNumbersOnly, vCyrillic };

// The benchmark table, computed from the row number block by block.
class TGenerated : public TLVDataSource {
 public:
  TGenerated(TLVRowIndex rows, TVariant variant) : rows_(rows), variant_(variant) {
    const std::pair<const char*, TLVDataType> columns[] = {
        {"id", dtInteger},    {"qty", dtInteger},  {"price", dtFloat}, {"amount", dtFloat},
        {"date", dtDateTime}, {"flag", dtBoolean}, {"code", dtString}, {"comment", dtString}};
    for (const auto& [name, type] : columns) {
      if (variant == TVariant::vNumbersOnly && type == dtString) continue;
      Columns().AddColumn(name, type);
    }
  }

 protected:
  TLVRowIndex DoGetRowCount() override { return rows_; }
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    static constexpr std::string_view kLatin[] = {"north", "river", "delta", "cargo",
                                                  "stone", "light", "paper", "clock"};
    static constexpr std::string_view kCyrillic[] = {"север",  "река", "дельта", "груз",
                                                     "камень", "свет", "бумага", "часы"};
    const auto& words = variant_ == TVariant::vCyrillic ? kCyrillic : kLatin;
    out.Reset(Columns()[column].GetDataType(), count);
    std::string text;
    for (int32_t i = 0; i < count; ++i) {
      const auto row = static_cast<uint64_t>(first + i);
      const uint64_t h = Mix(row * 16 + static_cast<uint64_t>(column));
      out.Valid()[i] = column == 0 || (h >> 56) % 100 != 0;
      switch (column) {
        case 0:
          out.Integers()[i] = static_cast<int32_t>(row + 1);
          break;
        case 1:
          out.Integers()[i] = static_cast<int32_t>(h % 101000) - 1000;
          break;
        case 2:
          out.Numbers()[i] = static_cast<double>(h % 10'000'000) / 100.0;
          break;
        case 3:
          out.Numbers()[i] =
              static_cast<double>(static_cast<int64_t>(h % 20'000'000'000) - 5'000'000'000) /
              10000.0;
          break;
        case 4:
          out.Numbers()[i] = 32874.0 + static_cast<double>(h % 15000);
          break;
        case 5:
          out.Numbers()[i] = static_cast<double>(h & 1);
          break;
        case 6:
          text = {static_cast<char>('A' + h % 26), static_cast<char>('A' + (h >> 8) % 26), '-'};
          text += std::to_string(10000 + (h >> 16) % 90000);
          out.Strings()[i] = out.Arena().Store(text);
          break;
        default: {
          // 5 to 20 characters of words.
          const size_t length = 5 + h % 16;
          text.clear();
          for (uint64_t w = h >> 8; Utf8Length(text) < length; w >>= 3) {
            if (!text.empty()) text += ' ';
            text += words[w % 8];
          }
          while (Utf8Length(text) > length) {
            // Drop the last character: its continuation bytes, then its first byte.
            while ((static_cast<unsigned char>(text.back()) & 0xC0) == 0x80) text.pop_back();
            text.pop_back();
          }
          out.Strings()[i] = out.Arena().Store(text);
          break;
        }
      }
    }
  }

 private:
  TLVRowIndex rows_;
  TVariant variant_;
};

// The cached table of one variant; building another frees the previous one.
TLVCachedDataSource& Table(TVariant variant) {
  static std::shared_ptr<TLVCachedDataSource> table;
  static TVariant built{};
  if (!table || built != variant) {
    table.reset();
    auto generated = std::make_shared<TGenerated>(Rows(), variant);
    table = std::make_shared<TLVCachedDataSource>();
    table->CopyFrom(*generated);
    built = variant;
  }
  return *table;
}

void Report(benchmark::State& state, TLVRowIndex rows, uint64_t bytes) {
  const auto n = static_cast<double>(state.iterations());
  state.counters["rows/s"] =
      benchmark::Counter(static_cast<double>(rows) * n, benchmark::Counter::kIsRate);
  state.counters["MB/s"] =
      benchmark::Counter(static_cast<double>(bytes) / 1e6 * n, benchmark::Counter::kIsRate);
  state.counters["file_MB"] = static_cast<double>(bytes) / 1e6;
  state.counters["bytes/row"] = static_cast<double>(bytes) / static_cast<double>(rows);
}

void BM_NativeExport(benchmark::State& state) {
  TLVCachedDataSource& table = Table(static_cast<TVariant>(state.range(0)));
  TLVNativeExport node;
  node.SetDataSource(table.GetDataSourceIntf());
  node.SetExportedAllFields(true);
  node.SetFileName(FilePath());
  for (auto _ : state) node.Execute(nullptr);
  Report(state, table.GetRowCount(), std::filesystem::file_size(FilePath()));
}

void BM_NativeReload(benchmark::State& state) {
  // The file of the export benchmark of the same table, when it is still there.
  if (!std::filesystem::exists(FilePath())) {
    TLVNativeExport node;
    node.SetDataSource(Table(static_cast<TVariant>(state.range(0))).GetDataSourceIntf());
    node.SetExportedAllFields(true);
    node.SetFileName(FilePath());
    node.Execute(nullptr);
  }
  TLVNativeImport imported;
  imported.SetFileName(FilePath());
  size_t allocated = 0;
  for (auto _ : state) {
    imported.Refresh();
    state.PauseTiming();
    allocated = imported.Cache().AllocatedBytes();
    if (imported.GetRowCount() != Rows()) state.SkipWithError("rows lost");
    imported.Close();
    TLVDataCacheCleanupBuffer::Instance().RunPassNow();
    state.ResumeTiming();
  }
  Report(state, Rows(), std::filesystem::file_size(FilePath()));
  state.counters["cache_MiB"] = static_cast<double>(allocated) / (1024.0 * 1024.0);
  std::filesystem::remove(FilePath());
}

#define LV_NATIVE_BENCH(name, variant) \
  BENCHMARK(name)                      \
      ->Arg(static_cast<int>(variant)) \
      ->Unit(benchmark::kMillisecond)  \
      ->Iterations(3)                  \
      ->UseRealTime()

LV_NATIVE_BENCH(BM_NativeExport, TVariant::vTyped);
LV_NATIVE_BENCH(BM_NativeReload, TVariant::vTyped);
LV_NATIVE_BENCH(BM_NativeExport, TVariant::vNumbersOnly);
LV_NATIVE_BENCH(BM_NativeReload, TVariant::vNumbersOnly);
LV_NATIVE_BENCH(BM_NativeExport, TVariant::vCyrillic);
LV_NATIVE_BENCH(BM_NativeReload, TVariant::vCyrillic);

}  // namespace
}  // namespace lv
