// Row cache benchmarks: appending ten million rows of (integer, float, date, 8-character
// text), and reading the float column back by blocks, by lists of rows and cell by
// cell, next to a bare loop over the same records that marks the ceiling any reader
// of the cache can reach. BM_CleanupShutdownDuringPass times the clean-up thread's
// shutdown while a slow pass is under way.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/LV_CoreStartup.h"
#include "core/cache/LV_DataCache.h"
#include "core/cache/LV_DataCacheCleanup.h"
#include "core/platform/LV_Platform.h"
#include "core/sources/LV_CachedDataSource.h"

namespace lv {
namespace {

constexpr TLVRowIndex kRows = 10'000'000;
constexpr int32_t kIntegerColumn = 0;
constexpr int32_t kFloatColumn = 1;
constexpr int32_t kDateColumn = 2;
constexpr int32_t kStringColumn = 3;

const std::vector<std::string>& Texts() {
  static const std::vector<std::string> texts = [] {
    std::mt19937 random(42);
    std::vector<std::string> result(4096);
    for (auto& text : result) {
      text.resize(8);
      for (char& c : text) c = static_cast<char>('a' + random() % 26);
    }
    return result;
  }();
  return texts;
}

void OpenForRows(TLVDataCache& cache) {
  cache.SetColumns({TLVDataType::dtInteger, TLVDataType::dtFloat, TLVDataType::dtDateTime,
                    TLVDataType::dtString});
  cache.Open();
}

void Fill(TLVDataCache& cache, TLVRowIndex rows) {
  const auto& texts = Texts();
  for (TLVRowIndex r = 0; r < rows; ++r) {
    cache.AppendRow();
    cache.SetInteger(r, kIntegerColumn, static_cast<int32_t>(r));
    cache.SetFloat(r, kFloatColumn, static_cast<double>(r) * 0.25);
    cache.SetDateTime(r, kDateColumn, 45000.0 + static_cast<double>(r) / 86400.0);
    cache.SetString(r, kStringColumn, texts[static_cast<size_t>(r) & 4095]);
  }
}

void ReportMemory(benchmark::State& state, const TLVDataCache& cache, size_t residentGrowth) {
  constexpr double kMiB = 1024.0 * 1024.0;
  state.counters["allocated_MiB"] = static_cast<double>(cache.AllocatedBytes()) / kMiB;
  state.counters["payload_MiB"] = static_cast<double>(cache.PayloadBytes()) / kMiB;
  state.counters["allocated_per_payload"] =
      static_cast<double>(cache.AllocatedBytes()) / static_cast<double>(cache.PayloadBytes());
  state.counters["rss_growth_MiB"] = static_cast<double>(residentGrowth) / kMiB;
}

void BM_AppendRows(benchmark::State& state) {
  TLVDataCacheCleanupBuffer cleanup;
  cleanup.SetInterval(std::chrono::hours(1));
  Texts();
  for (auto _ : state) {
    TLVDataCache cache(cleanup);
    OpenForRows(cache);
    const size_t residentBefore = LVResidentBytes();
    Fill(cache, kRows);
    state.PauseTiming();
    const size_t residentAfter = LVResidentBytes();
    ReportMemory(state, cache, residentAfter > residentBefore ? residentAfter - residentBefore : 0);
    cache.Close();
    cleanup.RunPassNow();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_AppendRows)->Unit(benchmark::kMillisecond)->Iterations(3);

// One filled table shared by the read benchmarks: a cached data source, so that the
// same records are read both straight from the cache and through ILVDataSource.
class TReadSource : public TLVCachedDataSource {
 public:
  TReadSource() {
    Columns().AddColumn("I", TLVDataType::dtInteger);
    Columns().AddColumn("F", TLVDataType::dtFloat);
    Columns().AddColumn("D", TLVDataType::dtDateTime);
    Columns().AddColumn("S", TLVDataType::dtString);
  }

 protected:
  void FillCache(TLVDataCache& cache) override {
    Fill(cache, kRows);
    // Every tenth value missing, so that the readers' null handling is exercised.
    for (TLVRowIndex r = 0; r < kRows; r += 10) cache.SetNull(r, kFloatColumn);
  }
};

TReadSource& ReadSource() {
  static auto source = [] {
    auto s = std::make_shared<TReadSource>();
    s->Open();
    return s;
  }();
  return *source;
}

const TLVDataCache& ReadCache() {
  return ReadSource().Cache();
}

// What every reader does with the values: four running sums, so that the adds do not
// wait for each other and the reading itself is what is measured.
struct TSums {
  double s[4] = {0, 0, 0, 0};
  double Total() const { return s[0] + s[1] + s[2] + s[3]; }
};

inline double SlotValue(const uint8_t* slot) {
  double value;
  std::memcpy(&value, slot + 1, sizeof(value));
  return slot[0] != 0 ? value : 0.0;
}

void SumRecords(const uint8_t* slot, size_t n, size_t stride, TSums& sums) {
  double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
  size_t i = 0;
  for (; i + 4 <= n; i += 4, slot += 4 * stride) {
    s0 += SlotValue(slot);
    s1 += SlotValue(slot + stride);
    s2 += SlotValue(slot + 2 * stride);
    s3 += SlotValue(slot + 3 * stride);
  }
  for (; i < n; ++i, slot += stride) s0 += SlotValue(slot);
  sums.s[0] += s0;
  sums.s[1] += s1;
  sums.s[2] += s2;
  sums.s[3] += s3;
}

void SumBlock(const TLVBlock& block, TSums& sums) {
  const double* values = block.Numbers();
  const uint8_t* valid = block.Valid();
  const int32_t n = block.Count();
  double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
  int32_t i = 0;
  for (; i + 4 <= n; i += 4) {
    s0 += valid[i] != 0 ? values[i] : 0.0;
    s1 += valid[i + 1] != 0 ? values[i + 1] : 0.0;
    s2 += valid[i + 2] != 0 ? values[i + 2] : 0.0;
    s3 += valid[i + 3] != 0 ? values[i + 3] : 0.0;
  }
  for (; i < n; ++i) s0 += valid[i] != 0 ? values[i] : 0.0;
  sums.s[0] += s0;
  sums.s[1] += s1;
  sums.s[2] += s2;
  sums.s[3] += s3;
}

// The ceiling: the float slots straight from the records.
void BM_ReadFloatBareLoop(benchmark::State& state) {
  const TLVDataCache& cache = ReadCache();
  const size_t stride = cache.RecordSize();
  const size_t offset = cache.SlotOffset(kFloatColumn);
  for (auto _ : state) {
    TSums sums;
    cache.ForEachRecordRun(0, cache.RowCount(), [&](const uint8_t* records, size_t n) {
      SumRecords(records + offset, n, stride, sums);
    });
    benchmark::DoNotOptimize(sums.Total());
  }
  state.SetItemsProcessed(state.iterations() * cache.RowCount());
}
BENCHMARK(BM_ReadFloatBareLoop)->Unit(benchmark::kMillisecond);

void BM_ReadFloatByBlock(benchmark::State& state) {
  const TLVDataCache& cache = ReadCache();
  TLVBlock block;
  for (auto _ : state) {
    TSums sums;
    for (TLVRowIndex first = 0; first < cache.RowCount(); first += kLVBlockSize) {
      const auto count =
          static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, cache.RowCount() - first));
      cache.ReadBlock(kFloatColumn, first, count, block);
      SumBlock(block, sums);
    }
    benchmark::DoNotOptimize(sums.Total());
  }
  state.SetItemsProcessed(state.iterations() * cache.RowCount());
}
BENCHMARK(BM_ReadFloatByBlock)->Unit(benchmark::kMillisecond);

// Every second row, as a filter that kept half of its parent's rows would read them.
void BM_ReadFloatByRowList(benchmark::State& state) {
  const TLVDataCache& cache = ReadCache();
  TLVBlock block;
  std::vector<TLVRowIndex> rows(static_cast<size_t>(kLVBlockSize));
  const TLVRowIndex wanted = cache.RowCount() / 2;
  for (auto _ : state) {
    TSums sums;
    for (TLVRowIndex first = 0; first < wanted; first += kLVBlockSize) {
      const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, wanted - first));
      for (int32_t i = 0; i < count; ++i) rows[static_cast<size_t>(i)] = 2 * (first + i);
      cache.ReadRows(kFloatColumn, rows.data(), count, block);
      SumBlock(block, sums);
    }
    benchmark::DoNotOptimize(sums.Total());
  }
  state.SetItemsProcessed(state.iterations() * wanted);
}
BENCHMARK(BM_ReadFloatByRowList)->Unit(benchmark::kMillisecond);

void BM_ReadFloatByCell(benchmark::State& state) {
  const TLVDataCache& cache = ReadCache();
  for (auto _ : state) {
    TSums sums;
    const TLVRowIndex rows = cache.RowCount();
    for (TLVRowIndex r = 0; r < rows; ++r) {
      double value;
      sums.s[r & 3] += cache.GetFloat(r, kFloatColumn, value) ? value : 0.0;
    }
    benchmark::DoNotOptimize(sums.Total());
  }
  state.SetItemsProcessed(state.iterations() * cache.RowCount());
}
BENCHMARK(BM_ReadFloatByCell)->Unit(benchmark::kMillisecond);

// The same column through the interface every consumer uses.
void BM_SourceReadFloatByBlock(benchmark::State& state) {
  ILVDataSource& source = ReadSource();
  const TLVRowIndex rowCount = source.GetRowCount();
  TLVBlock block;
  for (auto _ : state) {
    TSums sums;
    for (TLVRowIndex first = 0; first < rowCount; first += kLVBlockSize) {
      const auto count =
          static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rowCount - first));
      source.ReadBlock(kFloatColumn, first, count, block);
      SumBlock(block, sums);
    }
    benchmark::DoNotOptimize(sums.Total());
  }
  state.SetItemsProcessed(state.iterations() * rowCount);
}
BENCHMARK(BM_SourceReadFloatByBlock)->Unit(benchmark::kMillisecond);

void BM_SourceReadFloatByCell(benchmark::State& state) {
  ILVDataSource& source = ReadSource();
  const TLVRowIndex rowCount = source.GetRowCount();
  for (auto _ : state) {
    TSums sums;
    for (TLVRowIndex r = 0; r < rowCount; ++r) {
      const double value = source.GetNumber(r, kFloatColumn);
      sums.s[r & 3] += value == value ? value : 0.0;
    }
    benchmark::DoNotOptimize(sums.Total());
  }
  state.SetItemsProcessed(state.iterations() * rowCount);
}
BENCHMARK(BM_SourceReadFloatByCell)->Unit(benchmark::kMillisecond);

// How long the clean-up's shutdown waits for a pass in progress: each of ten blocks of
// texts takes `range(0)` ms to look at. A pass over entries of 200 ms stops between two
// of them (the wait should stay well under a second); one stuck in an entry of 5000 ms
// is given up on after kShutdownWait (3500 ms).
void BM_CleanupShutdownDuringPass(benchmark::State& state) {
  const std::chrono::milliseconds perEntry(state.range(0));
  bool finished = false;
  for (auto _ : state) {
    state.PauseTiming();
    TLVDataCacheCleanupBuffer buffer;
    auto calls = std::make_shared<std::atomic<int>>(0);
    buffer.SetPassHookForTesting([calls, perEntry] {
      calls->fetch_add(1);
      std::this_thread::sleep_for(perEntry);
    });
    buffer.SetInterval(std::chrono::milliseconds(10));
    {
      TLVDataCache cache(buffer);
      cache.SetColumns({TLVDataType::dtInteger, TLVDataType::dtString});
      cache.SetRowBlockBytes(64);
      cache.Open();
      for (TLVRowIndex r = 0; r < 40; ++r) {
        cache.AppendRow();
        cache.SetString(r, 1, Texts()[static_cast<size_t>(r)]);
      }
    }
    while (calls->load() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    state.ResumeTiming();
    finished = buffer.Shutdown();
  }
  state.counters["finished"] = finished ? 1 : 0;
}
BENCHMARK(BM_CleanupShutdownDuringPass)
    ->Arg(200)
    ->Arg(5000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->UseRealTime();

}  // namespace
}  // namespace lv
