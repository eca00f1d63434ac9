// Grouping benchmarks: the peer kit's group workload (region and product: sum of qty,
// mean of price, count of rows) on its 2-million-row sales file loaded through the text
// import, timed as the operation after the load; and the same grouping of 10 million
// rows made in the row cache.
//
// The peer file is $LV_PEERS_SALES (see LV_SalesBenchData.h); without it the peer
// benchmark skips. groups and qty_total are the kit's check values (50989, 12003830).
#include <benchmark/benchmark.h>

#include "bench/transform/LV_SalesBenchData.h"
#include "transform/group/LV_GroupData.h"

namespace lv {
namespace {

void Group(benchmark::State& state, std::shared_ptr<ILVDataSource> parent) {
  auto node = std::make_shared<TLVGroupData>();
  node->SetDataSource(std::move(parent));
  node->SetCached(false);
  node->Dimensions().AddDimension("region");
  node->Dimensions().AddDimension("product");
  node->Facts().AddFact("qty", TLVGroupDataFunction::gdSum);
  node->Facts().AddFact("price", TLVGroupDataFunction::gdAvg);
  node->Facts().AddFact("id", TLVGroupDataFunction::gdCount);
  for (auto _ : state) {
    node->Close();
    node->Open();
  }
  const TLVRowIndex groups = node->GetRowCount();
  double qty = 0;
  for (TLVRowIndex g = 0; g < groups; ++g) qty += node->GetNumber(g, 2);
  state.SetItemsProcessed(state.iterations() * node->GetDataSource()->GetRowCount());
  state.counters["groups"] = static_cast<double>(groups);
  state.counters["qty_total"] = qty;
}

void BM_GroupPeerSales(benchmark::State& state) {
  auto sales = bench::PeerSales();
  if (!sales) return state.SkipWithError("no peer sales file ($LV_PEERS_SALES)");
  Group(state, sales);
}
BENCHMARK(BM_GroupPeerSales)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_Group10M(benchmark::State& state) {
  Group(state, bench::SyntheticSales(10'000'000));
}
BENCHMARK(BM_Group10M)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace
}  // namespace lv
