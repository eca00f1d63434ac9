// Association rules at the workload of the peer kit's W8: 100,000 baskets of about ten
// items out of 1,000, minimum support 0.1 %, minimum confidence 80 %, read from the
// kit's transactions.csv (transaction_id;item) by the text import and searched by the
// node, as a user would run it. LV_BASKETS_CSV names the file (default
// /tmp/peers/data/transactions.csv); the benchmark is skipped without it.
//
// The second benchmark mines one million baskets made here in the same manner
// (overlapping weighted patterns over 1,000 items) at 0.1 %, the search alone, and
// reports the process's peak resident memory.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "io/LV_TextFile.h"
#include "mining/assoc/LV_AssociationRulesVendor.h"

namespace lv {
namespace {

size_t PeakResidentBytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stoull(line.substr(6)) * 1024;
  }
  return 0;
}

std::string BasketsFile() {
  const char* path = std::getenv("LV_BASKETS_CSV");
  return path ? path : "/tmp/peers/data/transactions.csv";
}

void Report(benchmark::State& state, const TLVAssociationRules& rules) {
  state.counters["transactions"] = rules.GetTransactionsCount();
  state.counters["frequent_sets"] = static_cast<double>(rules.LargeItemSets().size());
  state.counters["rules"] = static_cast<double>(rules.Rules().size());
  state.counters["peak_MiB"] = static_cast<double>(PeakResidentBytes()) / (1 << 20);
}

void BM_AssociationRules_W8File(benchmark::State& state) {
  const std::string path = BasketsFile();
  if (!std::filesystem::exists(path)) {
    state.SkipWithError("no baskets file: set LV_BASKETS_CSV");
    return;
  }
  std::unique_ptr<TLVAssociationRulesNode> node;
  for (auto _ : state) {
    auto import = std::make_shared<TLVTextFile>();
    import->SetFileName(path);
    import->SetDelimiter(TLVDelimiterType::dtSemicolon);
    node = std::make_unique<TLVAssociationRulesNode>();
    node->SetParentSource(import->GetDataSourceIntf());
    import->Refresh();
    TLVAssnRulesTunedSource& tuned = node->TunedSource();
    tuned.RefreshColumns();
    for (int32_t c : {0, 1}) tuned.Columns()[c].SetDataKind(TLVDataKind::dkDiscrete);
    tuned.Columns()[0].SetDataStatus(TLVDataStatus::dsTransactionID);
    tuned.Columns()[1].SetDataStatus(TLVDataStatus::dsItemID);
    node->Teacher().SetMinSupport(static_cast<double>(state.range(0)) / 1000);
    node->Teacher().SetMinConfidence(0.8);
    node->Teach(nullptr);
  }
  Report(state, node->Rules());
}
BENCHMARK(BM_AssociationRules_W8File)->Arg(1)->Arg(5)->Unit(benchmark::kMillisecond)->Iterations(1);

// Baskets of about ten items drawn from overlapping patterns, with noise items.
TLVTransactions SyntheticBaskets(int32_t count) {
  std::mt19937_64 random(20240601);
  std::uniform_int_distribution<int32_t> item(0, 999);
  std::vector<std::vector<int32_t>> patterns(2000);
  for (auto& pattern : patterns) {
    const int32_t size = 2 + static_cast<int32_t>(random() % 5);
    for (int32_t i = 0; i < size; ++i) pattern.push_back(item(random));
  }
  std::exponential_distribution<double> weight(1.0);
  std::vector<double> weights;
  for (size_t i = 0; i < patterns.size(); ++i) weights.push_back(weight(random));
  std::discrete_distribution<size_t> pick(weights.begin(), weights.end());
  TLVTransactions baskets;
  std::vector<int32_t> basket;
  for (int32_t t = 0; t < count; ++t) {
    basket.clear();
    while (basket.size() < 10) {
      if (random() % 4 == 0) {
        basket.push_back(item(random));
        continue;
      }
      const auto& pattern = patterns[pick(random)];
      basket.insert(basket.end(), pattern.begin(), pattern.end());
    }
    std::sort(basket.begin(), basket.end());
    basket.erase(std::unique(basket.begin(), basket.end()), basket.end());
    baskets.Add(basket);
  }
  return baskets;
}

void BM_AssociationRules_MillionBaskets(benchmark::State& state) {
  TLVAssociationRulesTeachDataSource data;
  data.SetTransactions(SyntheticBaskets(1'000'000));
  TLVAssociationRules rules;
  TLVAssociationRulesTeacher teacher;
  teacher.SetTeachDataSource(&data);
  teacher.SetAssociationRules(&rules);
  teacher.SetMinSupport(0.001);
  teacher.SetMinConfidence(0.8);
  for (auto _ : state) teacher.Teach(nullptr);
  Report(state, rules);
}
BENCHMARK(BM_AssociationRules_MillionBaskets)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
}  // namespace lv
