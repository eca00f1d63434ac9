// Data-mining benchmarks on ten million rows: normalizing ten input columns (five
// linear, five bit masks of four values) into the model's input matrix, drawing a
// random 70/30 split, and training a linear regression on all the rows.
//
// The rows come from a synthetic source that repeats 2^20 generated rows, so the
// figures measure the mining code and a plain block copy, not a file or the row cache.
// y = 1 + sum of (j + 1) x_j + the codes of k0 + noise, so the regression has
// something to find.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "core/sources/LV_DataSource.h"
#include "mining/models/LV_LinearRegression.h"
#include "mining/normalizers/LV_BitMaskNormalizer.h"
#include "mining/normalizers/LV_TunedNormDataSource.h"
#include "mining/teach/LV_TeachDataSource.h"

namespace lv {
namespace {

// A column name of a letter and a number, built without "literal" + string, which
// GCC 12 misreads as an overlapping copy in Release builds.
std::string Numbered(char letter, int32_t number) {
  std::string name(1, letter);
  name += std::to_string(number);
  return name;
}

constexpr TLVRowIndex kRows = 10'000'000;
constexpr TLVRowIndex kBaseRows = TLVRowIndex{1} << 20;
constexpr int32_t kLinear = 5;
constexpr int32_t kMasks = 5;
constexpr TLVRowIndex kChunk = 65536;

class TSyntheticSource : public TLVDataSource {
 public:
  TSyntheticSource() {
    std::mt19937_64 random(2024);
    std::uniform_real_distribution<double> uniform(0, 1);
    numbers_.assign(kLinear + 1, std::vector<double>(static_cast<size_t>(kBaseRows)));
    codes_.assign(kMasks, std::vector<int32_t>(static_cast<size_t>(kBaseRows)));
    for (TLVRowIndex r = 0; r < kBaseRows; ++r) {
      double y = 1 + 0.01 * (uniform(random) - 0.5);
      for (int32_t j = 0; j < kLinear; ++j) {
        const double x = uniform(random) * 100;
        numbers_[static_cast<size_t>(j)][static_cast<size_t>(r)] = x;
        y += (j + 1) * x;
      }
      for (int32_t j = 0; j < kMasks; ++j) {
        const auto code = static_cast<int32_t>(random() % 4);
        codes_[static_cast<size_t>(j)][static_cast<size_t>(r)] = code;
        if (j == 0) y += code;
      }
      numbers_[kLinear][static_cast<size_t>(r)] = y;
    }
    for (int32_t j = 0; j < kLinear; ++j)
      Columns().AddColumn(Numbered('x', j), TLVDataType::dtFloat);
    for (int32_t j = 0; j < kMasks; ++j)
      Columns().AddColumn(Numbered('k', j), TLVDataType::dtInteger);
    Columns().AddColumn("y", TLVDataType::dtFloat);
  }

 protected:
  TLVRowIndex DoGetRowCount() override { return kRows; }
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    const bool code = column >= kLinear && column < kLinear + kMasks;
    out.Reset(code ? TLVDataType::dtInteger : TLVDataType::dtFloat, count);
    std::fill(out.Valid(), out.Valid() + count, uint8_t{1});
    // Row by row with a mask, so a block may straddle the repetition.
    if (code) {
      const int32_t* in = codes_[static_cast<size_t>(column - kLinear)].data();
      for (int32_t i = 0; i < count; ++i) out.Integers()[i] = in[(first + i) & (kBaseRows - 1)];
    } else {
      const double* in = numbers_[static_cast<size_t>(column < kLinear ? column : kLinear)].data();
      for (int32_t i = 0; i < count; ++i) out.Numbers()[i] = in[(first + i) & (kBaseRows - 1)];
    }
  }

 private:
  std::vector<std::vector<double>> numbers_;
  std::vector<std::vector<int32_t>> codes_;
};

// The tuned source of the benchmarks, its normalizers fitted once.
std::shared_ptr<TLVTunedNormDataSource> Tuned() {
  static const std::shared_ptr<TLVTunedNormDataSource> tuned = [] {
    auto source = std::make_shared<TSyntheticSource>();
    auto result = std::make_shared<TLVTunedNormDataSource>();
    result->SetDataSource(source);
    for (int32_t j = 0; j < kLinear + kMasks; ++j) {
      if (j >= kLinear) result->Columns()[j].SetDataKind(TLVDataKind::dkDiscrete);
      result->Columns()[j].SetDataStatus(TLVDataStatus::dsInput);
    }
    result->Columns()[kLinear + kMasks].SetDataStatus(TLVDataStatus::dsOutput);
    result->PrepareNormalizers();
    for (int32_t j = kLinear; j < kLinear + kMasks; ++j) {
      result->SetNormalizerClass(j, "TLVBitMaskNormalizer");
    }
    result->PrepareNormalizers();
    for (int32_t j = 0; j < kLinear; ++j) result->Normalizer(j)->Helper()->SetEnabled(true);
    return result;
  }();
  return tuned;
}

void BM_NormalizeInputs(benchmark::State& state) {
  auto tuned = Tuned();
  const std::vector<int32_t> inputs = tuned->InputColumns();
  const int32_t width = tuned->WidthOf(inputs);
  std::vector<double> matrix(static_cast<size_t>(kChunk * width));
  for (auto _ : state) {
    for (TLVRowIndex at = 0; at < kRows; at += kChunk) {
      const TLVRowIndex n = std::min(kChunk, kRows - at);
      tuned->NormalizeRows(inputs, nullptr, at, n, matrix.data(), n);
    }
    benchmark::DoNotOptimize(matrix.data());
  }
  state.SetItemsProcessed(state.iterations() * kRows * (kLinear + kMasks));
  state.counters["components"] = width;
}
BENCHMARK(BM_NormalizeInputs)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RandomSplit(benchmark::State& state) {
  TLVTeachDataSource teach;
  teach.SetTunedNormDataSource(Tuned());
  teach.SetSplitType(TLVSplitType::stRandom);
  teach.Indexes().SetRandSeed(7);
  for (auto _ : state) {
    teach.Refresh();
    benchmark::DoNotOptimize(teach.Rows(TLVDataSourceType::dstTest).data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_RandomSplit)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LinearRegression(benchmark::State& state) {
  TLVTeachDataSource teach;
  teach.SetTunedNormDataSource(Tuned());
  teach.SetPercent(TLVDataSourceType::dstTeach, 100);
  teach.Rows(TLVDataSourceType::dstTeach);
  TLVLinearRegressionTeacher teacher;
  auto kernel = std::make_shared<TLVLinearRegressionKernel>();
  teacher.SetKernel(kernel);
  teacher.SetTeachDataSource(&teach);
  for (auto _ : state) teacher.Teach(nullptr);
  state.SetItemsProcessed(state.iterations() * kRows);
  state.counters["R2"] = kernel->RSquared()[0];
  state.counters["inputs"] = kernel->InputWidth();
}
BENCHMARK(BM_LinearRegression)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace lv
