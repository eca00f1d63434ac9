// Self-organising map benchmark: a 16 x 12 hexagonal map trained for 100 epochs on
// 8 numeric columns, every row a training row, with the teacher's default schedule
// (radius 10 -> 0.1, rate 0.3 -> 0.005, both back-proportional) and the bubble
// neighbourhood.
//
// The rows are read from the ';'-separated file named by LV_SOM_DATA (a header line,
// then numbers), or else generated: LV_SOM_ROWS rows (default 50,000) from a mixture of
// six Gaussian clusters in eight dimensions. Either way each column is scaled to mean
// 0 and standard deviation 1 before the clock starts, as the map is usually fed.
// Counters: the mean distance of a row to its node ("qe"), the mean squared distance
// ("qe_sq", the measure that other SOM packages print as the mean winner distance)
// and the topographic error ("te").
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "core/sources/LV_DataSource.h"
#include "mining/normalizers/LV_TunedNormDataSource.h"
#include "mining/som/LV_SOMTeacher.h"
#include "mining/som/LV_SOMWithClusters.h"
#include "mining/teach/LV_TeachDataSource.h"

namespace lv {
namespace {

constexpr int32_t kWidth = 8;

std::string ColumnName(int32_t j) {
  std::string name(1, 'd');
  name += std::to_string(j + 1);
  return name;
}

std::vector<std::vector<double>> ReadRows(const char* path) {
  std::vector<std::vector<double>> columns(kWidth);
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);  // the header
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string field;
    for (int32_t j = 0; j < kWidth && std::getline(fields, field, ';'); ++j) {
      columns[static_cast<size_t>(j)].push_back(std::stod(field));
    }
  }
  return columns;
}

std::vector<std::vector<double>> GenerateRows(size_t rows) {
  const double weights[] = {0.25, 0.20, 0.18, 0.15, 0.12, 0.10};
  std::mt19937_64 random(20261126);
  std::uniform_real_distribution<double> centre(-5, 5);
  std::uniform_real_distribution<double> spread(0.5, 1.5);
  std::normal_distribution<double> normal(0, 1);
  std::discrete_distribution<int> cluster(std::begin(weights), std::end(weights));
  std::vector<std::vector<double>> centres(6, std::vector<double>(kWidth));
  std::vector<double> sds(6);
  for (auto& c : centres) {
    for (double& x : c) x = centre(random);
  }
  for (double& s : sds) s = spread(random);
  std::vector<std::vector<double>> columns(kWidth, std::vector<double>(rows));
  for (size_t i = 0; i < rows; ++i) {
    const auto k = static_cast<size_t>(cluster(random));
    for (size_t j = 0; j < kWidth; ++j) columns[j][i] = centres[k][j] + normal(random) * sds[k];
  }
  return columns;
}

class TMatrixSource : public TLVDataSource {
 public:
  explicit TMatrixSource(std::vector<std::vector<double>> columns) : columns_(std::move(columns)) {
    for (auto& column : columns_) {
      double mean = 0;
      for (double x : column) mean += x;
      mean /= static_cast<double>(column.size());
      double ss = 0;
      for (double x : column) ss += (x - mean) * (x - mean);
      const double sd = std::sqrt(ss / static_cast<double>(column.size() - 1));
      for (double& x : column) x = (x - mean) / sd;
    }
    for (int32_t j = 0; j < kWidth; ++j) Columns().AddColumn(ColumnName(j), TLVDataType::dtFloat);
  }

 protected:
  TLVRowIndex DoGetRowCount() override { return static_cast<TLVRowIndex>(columns_[0].size()); }
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    out.Reset(TLVDataType::dtFloat, count);
    std::fill(out.Valid(), out.Valid() + count, uint8_t{1});
    const double* in = columns_[static_cast<size_t>(column)].data() + first;
    std::copy(in, in + count, out.Numbers());
  }

 private:
  std::vector<std::vector<double>> columns_;
};

std::shared_ptr<TLVTunedNormDataSource> Tuned() {
  static const std::shared_ptr<TLVTunedNormDataSource> tuned = [] {
    const char* path = std::getenv("LV_SOM_DATA");
    const char* rows = std::getenv("LV_SOM_ROWS");
    auto source = std::make_shared<TMatrixSource>(
        path ? ReadRows(path) : GenerateRows(rows ? std::stoul(rows) : 50000));
    auto result = std::make_shared<TLVTunedNormDataSource>();
    result->SetDataSource(source);
    for (int32_t j = 0; j < kWidth; ++j) result->Columns()[j].SetDataStatus(TLVDataStatus::dsInput);
    result->PrepareNormalizers();
    return result;
  }();
  return tuned;
}

void BM_SOM_W9(benchmark::State& state) {
  // LV_SOM_THREAD_WEIGHTS moves the map size from which training takes the second core,
  // to compare one and two threads on the same map.
  if (const char* weights = std::getenv("LV_SOM_THREAD_WEIGHTS")) {
    LVSetSOMMinWeightsForThreads(std::stoll(weights));
  }
  TLVTeachDataSource teach;
  teach.SetTunedNormDataSource(Tuned());
  teach.SetPercent(TLVDataSourceType::dstTeach, 100);
  teach.Rows(TLVDataSourceType::dstTeach);
  TLVSOMTeacher teacher;
  teacher.Random().SetRandSeed(1);
  teacher.SetMaxEpochCount(100);
  auto som = std::make_shared<TLVSOMWithClusters>();
  teacher.SetKernel(som);
  teacher.SetTeachDataSource(&teach);
  for (auto _ : state) teacher.Teach(nullptr);
  const auto rows = static_cast<double>(teach.Rows(TLVDataSourceType::dstTeach).size());
  state.SetItemsProcessed(static_cast<int64_t>(static_cast<double>(state.iterations()) * rows));
  state.counters["rows"] = rows;
  state.counters["qe"] = som->Quality().quantizationError;
  state.counters["qe_sq"] = som->Quality().quantizationErrorSq;
  state.counters["te"] = som->Quality().topographicError;
  state.counters["clusters"] = som->ClustersFound();
}
BENCHMARK(BM_SOM_W9)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

}  // namespace
}  // namespace lv
