// Filter benchmarks: ten million cached rows filtered by three conditions (an amount
// in an interval, a city in a list of five, a date in the last three months of the
// data), and the kept rows read back by blocks next to the same reading of the whole
// parent.
//
// The parent's rows: ID (integer), Amount (float 0..1000, one value in fifty missing),
// City (one of ten Russian city names, one in fifty missing) and Date (two years,
// 2023-01-01 to 2024-12-31, with the time of day). The conditions keep about half of
// the amounts, half of the cities and an eighth of the dates: 3 % of the rows.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/cache/LV_DataCache.h"
#include "core/sources/LV_CachedDataSource.h"
#include "core/text/LV_Text.h"
#include "transform/filter/LV_FilterData.h"

namespace lv {
namespace {

constexpr TLVRowIndex kRows = 10'000'000;
constexpr int32_t kColumns = 4;
constexpr double kFirstDate = 44927;  // 2023-01-01
const char* const kCities[] = {"Москва", "Казань",  "Пермь", "Омск",    "Тула",
                               "Самара", "Иркутск", "Сочи",  "Воронеж", "Уфа"};

class TSalesSource : public TLVCachedDataSource {
 public:
  TSalesSource() {
    Columns().AddColumn("ID", TLVDataType::dtInteger);
    Columns().AddColumn("Amount", TLVDataType::dtFloat);
    Columns().AddColumn("City", TLVDataType::dtString);
    Columns().AddColumn("Date", TLVDataType::dtDateTime);
  }

 protected:
  void FillCache(TLVDataCache& cache) override {
    std::mt19937_64 random(2024);
    for (TLVRowIndex r = 0; r < kRows; ++r) {
      const uint64_t bits = random();
      cache.AppendRow();
      cache.SetInteger(r, 0, static_cast<int32_t>(r));
      if (bits % 50 == 0) {
        cache.SetNull(r, 1);
      } else {
        cache.SetFloat(r, 1, static_cast<double>((bits >> 8) % 100000) / 100.0);
      }
      if ((bits >> 32) % 50 == 0) {
        cache.SetNull(r, 2);
      } else {
        cache.SetString(r, 2, kCities[(bits >> 24) % 10]);
      }
      cache.SetDateTime(r, 3, kFirstDate + static_cast<double>((bits >> 40) % (731 * 1440)) / 1440);
    }
  }
};

std::shared_ptr<TSalesSource> Sales() {
  static auto source = [] {
    auto s = std::make_shared<TSalesSource>();
    s->Open();
    return s;
  }();
  return source;
}

std::shared_ptr<TLVFilterData> Filter(bool caseSensitive) {
  auto node = std::make_shared<TLVFilterData>();
  node->SetDataSource(Sales());
  TLVFilterColumnCollection& list = node->Filter();
  list.SetCaseSensitive(caseSensitive);
  list.AddCondition("Amount", TLVDataType::dtFloat, TLVRelationType::rtBetween,
                    {TLVValue::Float(200), TLVValue::Float(700)});
  std::vector<TLVValue> cities;
  for (int i = 0; i < 5; ++i) cities.push_back(TLVValue::String(kCities[2 * i]));
  list.AddCondition("City", TLVDataType::dtString, TLVRelationType::rtIn, cities);
  list.AddCondition("Date", TLVDataType::dtDateTime, TLVRelationType::rtLastPeriod)
      .SetPeriod({3, TLVFirstLastDateListType::fldMonth, TLVFirstLastBaseDateType::bdtData});
  return node;
}

// Opening a node again evaluates the list over every parent row; the dates the period
// counts from were found by the first open. The figure is parent rows per second of
// wall time: the parent is a row cache, so the rows are shared among the cores.
void BM_FilterEvaluate(benchmark::State& state) {
  auto node = Filter(state.range(0) != 0);
  Sales();
  for (auto _ : state) {
    node->Close();
    node->Open();
  }
  state.SetItemsProcessed(state.iterations() * kRows);
  state.counters["kept_rows"] = static_cast<double>(node->GetRowCount());
}
// A node's first open also reads the date column once for its latest date.
void BM_FilterEvaluateFirstOpen(benchmark::State& state) {
  Sales();
  for (auto _ : state) {
    auto node = Filter(true);
    node->Open();
    benchmark::DoNotOptimize(node->GetRowCount());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_FilterEvaluateFirstOpen)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK(BM_FilterEvaluate)
    ->Arg(1)
    ->Arg(0)
    ->ArgName("case_sensitive")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Every column of `source` by blocks, the whole table once per iteration: the time is
// what reading the table takes, the rate its rows per second.
void ReadAll(benchmark::State& state, ILVDataSource& source) {
  const TLVRowIndex rows = source.GetRowCount();
  TLVBlock block;
  for (auto _ : state) {
    double sum = 0;
    for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
      const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
      for (int32_t column = 0; column < kColumns; ++column) {
        source.ReadBlock(column, first, count, block);
        sum += block.Type() == TLVDataType::dtString
                   ? static_cast<double>(block.Strings()[0].size())
                   : block.NumberAt(count - 1);
      }
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * rows);
  state.counters["rows"] = static_cast<double>(rows);
}

void BM_ReadParent(benchmark::State& state) {
  ReadAll(state, *Sales());
}
BENCHMARK(BM_ReadParent)->Unit(benchmark::kMillisecond);

void BM_ReadFiltered(benchmark::State& state) {
  auto node = Filter(true);
  node->Open();
  ReadAll(state, *node);
}
BENCHMARK(BM_ReadFiltered)->Unit(benchmark::kMillisecond);

// How the read-back depends on how close the kept rows lie: an amount below a bound
// that keeps the given percentage of the rows.
void BM_ReadFilteredKeeping(benchmark::State& state) {
  auto node = std::make_shared<TLVFilterData>();
  node->SetDataSource(Sales());
  node->Filter().AddCondition("Amount", TLVDataType::dtFloat, TLVRelationType::rtLess,
                              {TLVValue::Float(10.0 * static_cast<double>(state.range(0)))});
  node->Open();
  ReadAll(state, *node);
  state.counters["kept_rows"] = static_cast<double>(node->GetRowCount());
}
BENCHMARK(BM_ReadFilteredKeeping)
    ->Arg(3)
    ->Arg(12)
    ->Arg(25)
    ->Arg(50)
    ->Arg(90)
    ->ArgName("percent")
    ->Unit(benchmark::kMillisecond);

void BM_ReadFilteredColumn(benchmark::State& state) {
  auto node = Filter(true);
  node->Open();
  const TLVRowIndex rows = node->GetRowCount();
  TLVBlock block;
  for (auto _ : state) {
    for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
      const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
      node->ReadBlock(static_cast<int32_t>(state.range(0)), first, count, block);
    }
  }
  state.SetItemsProcessed(state.iterations() * rows);
}
BENCHMARK(BM_ReadFilteredColumn)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);

// What the memory allows, with none of the sources' work: each row's four values read
// straight from its record (the city through its text item), over every row in order
// (arg 0) and over the rows the filter keeps (arg 1), with each kept row's record asked
// for 16 rows ahead and its text 8 rows ahead. No read-back of the filtered table can
// beat the second; the ratio of the two bounds what a gather can reach on a machine.
void BM_MemoryLimit(benchmark::State& state) {
  const TLVDataCache& cache = Sales()->Cache();
  const size_t id = cache.SlotOffset(0), amount = cache.SlotOffset(1);
  const size_t city = cache.SlotOffset(2), date = cache.SlotOffset(3);
  std::vector<const uint8_t*> records;
  if (state.range(0) == 0) {
    cache.ForEachRecordRun(0, cache.RowCount(), [&](const uint8_t* run, size_t n) {
      for (size_t i = 0; i < n; ++i) records.push_back(run + i * cache.RecordSize());
    });
  } else {
    auto node = Filter(true);
    node->Open();
    for (TLVRowIndex row : node->SelectedRows()) {
      cache.ForEachRecordRun(row, 1, [&](const uint8_t* run, size_t) { records.push_back(run); });
    }
  }
  const auto textOf = [city](const uint8_t* record) {
    const TLVTextItem* item;
    std::memcpy(&item, record + city + 1, sizeof(item));
    return item;
  };
  const size_t n = records.size();
  for (auto _ : state) {
    double sum = 0;
    for (size_t i = 0; i < n; ++i) {
      if (i + 16 < n) __builtin_prefetch(records[i + 16]);
      if (i + 8 < n && records[i + 8][city] != 0) __builtin_prefetch(textOf(records[i + 8]));
      const uint8_t* record = records[i];
      int32_t number;
      double amountValue, dateValue;
      std::memcpy(&number, record + id + 1, sizeof(number));
      std::memcpy(&amountValue, record + amount + 1, sizeof(amountValue));
      std::memcpy(&dateValue, record + date + 1, sizeof(dateValue));
      const TLVTextItem* item = record[city] != 0 ? textOf(record) : nullptr;
      sum += number + amountValue + dateValue + (item ? item->Length() : 0);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(n));
}
BENCHMARK(BM_MemoryLimit)->Arg(0)->Arg(1)->ArgName("kept_only")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace lv
