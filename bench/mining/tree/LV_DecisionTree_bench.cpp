// Decision-tree (C4.5) training on a classification table: 8 numeric and 4
// categorical inputs and a class of 3 values, the table of the peer kit's
// gen/gen_classify.py (its classify.csv, named by LV_CLASSIFY_CSV; without it a
// generator of the same shape makes 200,000 rows). The table is read into memory
// before timing, so the figure is the training itself (normalizing the rows into the
// teacher's columns, growth and pruning, and classifying the set for its statistics),
// as the peers time only their model building.
//
// Counters: rows, nodes, leaves, the training-set accuracy in percent, and the
// process's resident memory before training and at its peak (Linux).
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "core/sources/LV_DataSource.h"
#include "mining/normalizers/LV_TunedNormDataSource.h"
#include "mining/teach/LV_TeachDataSource.h"
#include "mining/tree/LV_DsTreeTeacherC45.h"

namespace lv {
namespace {

constexpr int32_t kNumbers = 8;
constexpr int32_t kCategories = 4;

// A name of a letter and a number, built without "literal" + string, which GCC 12
// misreads as an overlapping copy in Release builds.
std::string Named(char letter, int32_t number) {
  std::string name(1, letter);
  name += std::to_string(number);
  return name;
}

// The table in memory: numbers column by column, categories and class as texts.
class TClassifyTable : public TLVDataSource {
 public:
  TClassifyTable() {
    numbers_.resize(kNumbers);
    texts_.resize(kCategories + 1);
    const char* path = std::getenv("LV_CLASSIFY_CSV");
    if (path && *path) {
      Load(path);
    } else {
      Generate(200'000);
    }
    for (int32_t j = 0; j < kNumbers; ++j) {
      Columns().AddColumn(Named('x', j + 1), TLVDataType::dtFloat);
    }
    for (int32_t j = 0; j < kCategories; ++j) {
      Columns().AddColumn(Named('c', j + 1), TLVDataType::dtString);
    }
    Columns().AddColumn("class", TLVDataType::dtString);
  }

 protected:
  TLVRowIndex DoGetRowCount() override { return static_cast<TLVRowIndex>(numbers_[0].size()); }
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    if (column < kNumbers) {
      out.Reset(TLVDataType::dtFloat, count);
      std::fill(out.Valid(), out.Valid() + count, uint8_t{1});
      const double* in = numbers_[static_cast<size_t>(column)].data() + first;
      std::copy(in, in + count, out.Numbers());
      return;
    }
    out.Reset(TLVDataType::dtString, count);
    std::fill(out.Valid(), out.Valid() + count, uint8_t{1});
    const std::vector<std::string>& in = texts_[static_cast<size_t>(column - kNumbers)];
    for (int32_t i = 0; i < count; ++i) {
      out.Strings()[i] = out.Arena().Store(in[static_cast<size_t>(first + i)]);
    }
  }

 private:
  void Load(const char* path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);  // the header
    while (std::getline(file, line)) {
      size_t at = 0;
      for (int32_t j = 0; j < kNumbers + kCategories + 1; ++j) {
        const size_t end = std::min(line.find(';', at), line.size());
        if (j < kNumbers) {
          double value = 0;
          std::from_chars(line.data() + at, line.data() + end, value);
          numbers_[static_cast<size_t>(j)].push_back(value);
        } else {
          texts_[static_cast<size_t>(j - kNumbers)].push_back(line.substr(at, end - at));
        }
        at = end + 1;
      }
    }
  }

  // The same shape and rule as the peer kit's generator (not the same draws).
  void Generate(int32_t rows) {
    std::mt19937_64 random(20261123);
    std::normal_distribution<double> normal(0, 1);
    std::uniform_real_distribution<double> uniform(0, 1);
    std::exponential_distribution<double> exponential(1);
    const char* c1[] = {"red", "green", "blue"};
    const char* c2[] = {"XS", "S", "M", "L", "XL"};
    const char* classes[] = {"A", "B", "C"};
    for (int32_t r = 0; r < rows; ++r) {
      const double x[kNumbers] = {normal(random),          10 * uniform(random),
                                  exponential(random),     50 + 10 * normal(random),
                                  2 * uniform(random) - 1, normal(random),
                                  uniform(random),         std::exp(normal(random))};
      const auto k1 = static_cast<int32_t>(random() % 3);
      const auto k2 = static_cast<int32_t>(random() % 5);
      const auto k3 = static_cast<int32_t>(random() % 8);
      const auto k4 = static_cast<int32_t>(random() % 12);
      int32_t y = 2;
      if (x[1] > 7) y = 1;
      if (k3 <= 2 && x[4] > 0) y = 2;
      if ((k4 == 2 || k4 == 6 || k4 == 10) && x[0] < -1) y = 1;
      if (x[2] + 0.1 * (x[3] - 50) > 1.2) y = 0;
      if ((k2 == 1 || k2 == 3) && x[1] < 4) y = 1;
      if (k1 == 0 && x[0] > 0.5) y = 0;
      if (uniform(random) < 0.05) y = (y + 1 + static_cast<int32_t>(random() % 2)) % 3;
      for (int32_t j = 0; j < kNumbers; ++j) numbers_[static_cast<size_t>(j)].push_back(x[j]);
      texts_[0].push_back(c1[k1]);
      texts_[1].push_back(c2[k2]);
      texts_[2].push_back(Named('k', k3 + 1));
      texts_[3].push_back(Named('m', k4 + 1));
      texts_[4].push_back(classes[y]);
    }
  }

  std::vector<std::vector<double>> numbers_;
  std::vector<std::vector<std::string>> texts_;
};

// A line of /proc/self/status in megabytes ("VmRSS", "VmHWM"), 0 where there is none.
double StatusMegabytes(const std::string& key) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.starts_with(key + ":")) return std::stod(line.substr(key.size() + 1)) / 1024;
  }
  return 0;
}

void BM_DecisionTreeC45(benchmark::State& state) {
  auto table = std::make_shared<TClassifyTable>();
  auto tuned = std::make_shared<TLVTunedNormDataSource>();
  tuned->SetDataSource(table);
  const int32_t classColumn = kNumbers + kCategories;
  for (int32_t j = 0; j < classColumn; ++j) {
    tuned->Columns()[j].SetDataStatus(TLVDataStatus::dsInput);
  }
  tuned->Columns()[classColumn].SetDataStatus(TLVDataStatus::dsOutput);
  tuned->PrepareNormalizers();
  TLVTeachDataSource teach;
  teach.SetTunedNormDataSource(tuned);
  teach.SetPercent(TLVDataSourceType::dstTeach, 100);
  teach.Rows(TLVDataSourceType::dstTeach);
  TLVDsTreeTeacherC45 teacher;
  auto kernel = std::make_shared<TLVDecisionTree>();
  teacher.SetKernel(kernel);
  teacher.SetTeachDataSource(&teach);
  // The memory of the table itself, to tell the training's own share of the peak.
  const double before = StatusMegabytes("VmRSS");
  for (auto _ : state) teacher.Teach(nullptr);
  state.counters["rss_before_mb"] = before;
  state.counters["peak_rss_mb"] = StatusMegabytes("VmHWM");
  const TLVRowIndex rows = table->GetRowCount();
  state.SetItemsProcessed(state.iterations() * rows);
  state.counters["rows"] = static_cast<double>(rows);
  state.counters["nodes"] = teacher.NodesCount();
  state.counters["leaves"] = teacher.LeafsCount();
  state.counters["train_acc_pct"] = teacher.Result(TLVDataSourceType::dstTeach).PercentRecognized();
}
BENCHMARK(BM_DecisionTreeC45)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

}  // namespace
}  // namespace lv
