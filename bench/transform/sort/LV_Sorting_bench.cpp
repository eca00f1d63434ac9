// Sorting benchmarks: the peer kit's sort workload (region ascending, price descending,
// missing values last, stable) on its 2-million-row sales file loaded through the text
// import, timed as the operation after the load; the same order over 10 million rows
// made in the row cache; and the reading of every column of the sorted table next to
// the reading of its parent, which is what reads through the permutation cost.
//
// The peer file is $LV_PEERS_SALES (see LV_SalesBenchData.h); without it the peer
// benchmarks skip. first_id and last_id are the kit's check values (1515545, 1981389).
#include <benchmark/benchmark.h>

#include "bench/transform/LV_SalesBenchData.h"
#include "transform/sort/LV_Sorting.h"

namespace lv {
namespace {

std::shared_ptr<TLVSorting> RegionPriceSort(std::shared_ptr<ILVDataSource> parent) {
  auto node = std::make_shared<TLVSorting>();
  node->SetDataSource(std::move(parent));
  node->SortDefs().AddKey("region");
  node->SortDefs().AddKey("price", TLVSortDefOrder::soDescending);
  return node;
}

void Sort(benchmark::State& state, std::shared_ptr<ILVDataSource> parent) {
  auto node = RegionPriceSort(parent);
  for (auto _ : state) {
    node->Close();
    node->Open();
  }
  const TLVRowIndex rows = node->GetRowCount();
  state.SetItemsProcessed(state.iterations() * rows);
  state.counters["rows"] = static_cast<double>(rows);
  state.counters["first_id"] = node->GetValue(0, 0).AsInteger();
  state.counters["last_id"] = node->GetValue(rows - 1, 0).AsInteger();
}

void BM_SortPeerSales(benchmark::State& state) {
  auto sales = bench::PeerSales();
  if (!sales) return state.SkipWithError("no peer sales file ($LV_PEERS_SALES)");
  Sort(state, sales);
}
BENCHMARK(BM_SortPeerSales)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_Sort10M(benchmark::State& state) {
  Sort(state, bench::SyntheticSales(10'000'000));
}
BENCHMARK(BM_Sort10M)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// Every column by blocks, once per iteration.
void ReadAll(benchmark::State& state, ILVDataSource& source) {
  const TLVRowIndex rows = source.GetRowCount();
  const int32_t columns = source.GetColumnsInfo().GetColumnCount();
  TLVBlock block;
  for (auto _ : state) {
    size_t valid = 0;
    for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
      const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
      for (int32_t column = 0; column < columns; ++column) {
        source.ReadBlock(column, first, count, block);
        valid += block.Valid()[count - 1];
      }
    }
    benchmark::DoNotOptimize(valid);
  }
  state.SetItemsProcessed(state.iterations() * rows);
}

void BM_ReadPeerSales(benchmark::State& state) {
  auto sales = bench::PeerSales();
  if (!sales) return state.SkipWithError("no peer sales file ($LV_PEERS_SALES)");
  ReadAll(state, *sales);
}
BENCHMARK(BM_ReadPeerSales)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_ReadSortedPeerSales(benchmark::State& state) {
  auto sales = bench::PeerSales();
  if (!sales) return state.SkipWithError("no peer sales file ($LV_PEERS_SALES)");
  auto node = RegionPriceSort(sales);
  node->Open();
  ReadAll(state, *node);
}
BENCHMARK(BM_ReadSortedPeerSales)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace
}  // namespace lv
