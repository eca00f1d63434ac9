// Neural-network training on the regression set of the peer kit: a 10-20-1 sigmoid
// network over 100,000 rows for 100 epochs with each algorithm, and the RPROP run again
// on a million rows. The rows are read from a file in the training-file format of the
// peer kit (first line "rows inputs outputs", then a line of inputs and a line of
// outputs per row), named by LV_NEURAL_BENCH_DATA (and LV_NEURAL_BENCH_DATA_1M for the
// large run); bench/mining/neural/LV_NeuralNet_compare.sh makes them and times the peer beside us.
//
// The values are in [0, 1] already, so the normalizers pass them through and the
// network sees exactly the numbers the peer sees. Each figure is one whole training
// (statistics, split, loading the rows, the epochs and the final errors); "mse" is the
// mean squared error of the trained network on the training rows.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "core/sources/LV_DataSource.h"
#include "mining/neural/LV_NeuralNetVendor.h"
#include "mining/neural/LV_NeuralTeacher.h"

namespace lv {
namespace {

// The rows of a training file, column by column.
class TFileRows : public TLVDataSource {
 public:
  explicit TFileRows(const char* path) {
    std::ifstream in(path);
    TLVRowIndex rows = 0;
    int32_t inputs = 0, outputs = 0;
    if (!(in >> rows >> inputs >> outputs)) return;
    columns_.assign(static_cast<size_t>(inputs + outputs),
                    std::vector<double>(static_cast<size_t>(rows)));
    for (TLVRowIndex r = 0; r < rows; ++r) {
      for (auto& column : columns_) in >> column[static_cast<size_t>(r)];
    }
    if (!in) {
      columns_.clear();
      return;
    }
    for (int32_t j = 0; j < inputs + outputs; ++j) {
      std::string name(1, j < inputs ? 'x' : 'y');
      name += std::to_string(j < inputs ? j + 1 : j - inputs + 1);
      Columns().AddColumn(name, TLVDataType::dtFloat);
    }
    rows_ = rows;
    inputs_ = inputs;
  }
  bool Empty() const { return columns_.empty(); }
  int32_t InputCount() const { return inputs_; }
  // Column-major values, leading dimension the row count.
  std::vector<double> Matrix(int32_t first, int32_t count) const {
    std::vector<double> m;
    for (int32_t j = first; j < first + count; ++j) {
      m.insert(m.end(), columns_[static_cast<size_t>(j)].begin(),
               columns_[static_cast<size_t>(j)].end());
    }
    return m;
  }

 protected:
  TLVRowIndex DoGetRowCount() override { return rows_; }
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    out.Reset(TLVDataType::dtFloat, count);
    std::fill(out.Valid(), out.Valid() + count, uint8_t{1});
    const double* values = columns_[static_cast<size_t>(column)].data() + first;
    std::copy(values, values + count, out.Numbers());
  }

 private:
  std::vector<std::vector<double>> columns_;
  TLVRowIndex rows_ = 0;
  int32_t inputs_ = 0;
};

std::shared_ptr<TFileRows> Rows(const char* variable) {
  const char* path = std::getenv(variable);
  return std::make_shared<TFileRows>(path ? path : "");
}

void Train(benchmark::State& state, const char* variable, TLearningAlgorithm algorithm) {
  static std::map<std::string, std::shared_ptr<TFileRows>> cache;
  std::shared_ptr<TFileRows>& rows = cache[variable];
  if (!rows) rows = Rows(variable);
  if (rows->Empty()) {
    state.SkipWithError((std::string(variable) + " names no readable training file").c_str());
    return;
  }
  const auto epochs = static_cast<int32_t>(state.range(0));
  double mse = 0;
  for (auto _ : state) {
    state.PauseTiming();
    TLVNeuralNetHandler model;
    model.SetParentSource(rows);
    TLVTunedNormDataSource& tuned = model.TunedNormDataSource();
    const int32_t p = rows->InputCount();
    for (int32_t j = 0; j < tuned.Columns().Count(); ++j) {
      tuned.Columns()[j].SetDataStatus(j < p ? TLVDataStatus::dsInput : TLVDataStatus::dsOutput);
    }
    tuned.PrepareNormalizers();
    for (int32_t j = 0; j < tuned.Columns().Count(); ++j) {
      tuned.Normalizer(j)->Helper()->SetEnabled(false);
    }
    model.TeachDataSource().SetPercent(TLVDataSourceType::dstTeach, 100);
    auto& teacher = static_cast<TLVNeuralTeacher&>(model.Teacher());
    teacher.SetLA(algorithm);
    teacher.SetMaxEpochCount(epochs);
    teacher.SetWeightsSeed(42);
    static_cast<TLVNeuralNet&>(*model.Kernel()).SetHiddenNeurons({20});
    state.ResumeTiming();
    model.Teach(nullptr);
    state.PauseTiming();
    const std::vector<double> in = rows->Matrix(0, p);
    const std::vector<double> target = rows->Matrix(p, 1);
    std::vector<double> out(target.size());
    const auto n = static_cast<TLVRowIndex>(target.size());
    model.Kernel()->Compute(in.data(), n, n, out.data(), n);
    double sum = 0;
    for (size_t i = 0; i < out.size(); ++i) sum += (out[i] - target[i]) * (out[i] - target[i]);
    mse = sum / static_cast<double>(n);
    state.ResumeTiming();
  }
  state.counters["mse"] = mse;
  state.counters["rows"] = static_cast<double>(rows->GetRowCount());
  state.counters["epochs"] = epochs;
}

void BM_RProp(benchmark::State& state) {
  Train(state, "LV_NEURAL_BENCH_DATA", TLearningAlgorithm::laRProp);
}
void BM_BackProp(benchmark::State& state) {
  Train(state, "LV_NEURAL_BENCH_DATA", TLearningAlgorithm::laBackProp);
}
void BM_ConjugateGradients(benchmark::State& state) {
  Train(state, "LV_NEURAL_BENCH_DATA", TLearningAlgorithm::laCG);
}
void BM_RProp1M(benchmark::State& state) {
  Train(state, "LV_NEURAL_BENCH_DATA_1M", TLearningAlgorithm::laRProp);
}

BENCHMARK(BM_RProp)->Arg(100)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BackProp)->Arg(100)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ConjugateGradients)
    ->Arg(100)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_RProp1M)->Arg(100)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace lv
