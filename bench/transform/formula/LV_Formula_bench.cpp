// Formula language benchmarks over ten million rows:
//   - QTY*PRICE*(1-DISCOUNT) by blocks, by the plain row walk of the same tree, and as
//     a hand-written loop over the same arrays (the ceiling);
//   - parsing a formula of 10,000 characters;
//   - the calculator node reading its computed column by blocks.
// Rows per second are in the "rows/s" counter; compare the three numeric runs of one
// program run with each other. The text formula benchmarks are in
// LV_CalcFunctions_bench.cpp.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/sources/LV_CachedDataSource.h"
#include "transform/calc/LV_CalcData.h"
#include "transform/formula/LV_FloatCLineParser.h"

namespace lv {
namespace {

constexpr int64_t kRows = 10'000'000;

struct TSales {
  std::vector<double> qty, price, discount;
};

const TSales& Sales() {
  static const TSales sales = [] {
    std::mt19937 random(7);
    TSales s;
    s.qty.resize(kRows);
    s.price.resize(kRows);
    s.discount.resize(kRows);
    for (int64_t i = 0; i < kRows; ++i) {
      s.qty[static_cast<size_t>(i)] = static_cast<double>(random() % 100 + 1);
      s.price[static_cast<size_t>(i)] = static_cast<double>(random() % 100000) / 100.0;
      s.discount[static_cast<size_t>(i)] = static_cast<double>(random() % 30) / 100.0;
    }
    return s;
  }();
  return sales;
}

void ParseSales(TLineParser& parser) {
  parser.Variables().Add("QTY", TLVCalcKind::ckNumber);
  parser.Variables().Add("PRICE", TLVCalcKind::ckNumber);
  parser.Variables().Add("DISCOUNT", TLVCalcKind::ckNumber);
  parser.Parse("QTY*PRICE*(1-DISCOUNT)");
}

void Finish(benchmark::State& state, const std::vector<double>& out) {
  state.counters["rows/s"] =
      benchmark::Counter(static_cast<double>(kRows), benchmark::Counter::kIsIterationInvariantRate);
  benchmark::DoNotOptimize(out.data());
  benchmark::ClobberMemory();
}

void BM_SalesFormulaBlocks(benchmark::State& state) {
  const TSales& s = Sales();
  TLineParser parser;
  ParseSales(parser);
  std::vector<double> out(kRows);
  for (auto _ : state) {
    for (int64_t first = 0; first < kRows; first += kLVBlockSize) {
      auto count = static_cast<int32_t>(std::min<int64_t>(kLVBlockSize, kRows - first));
      const auto at = static_cast<size_t>(first);
      // The variables are bound to the arrays themselves: no copy on the way in.
      const TLVCalcVector inputs[] = {{TLVCalcKind::ckNumber, s.qty.data() + at, nullptr, 1},
                                      {TLVCalcKind::ckNumber, s.price.data() + at, nullptr, 1},
                                      {TLVCalcKind::ckNumber, s.discount.data() + at, nullptr, 1}};
      TLVCalcVector result = parser.EvaluateBlock(inputs, {nullptr, count});
      std::memcpy(out.data() + at, result.numbers, sizeof(double) * static_cast<size_t>(count));
    }
  }
  Finish(state, out);
}
BENCHMARK(BM_SalesFormulaBlocks)->Unit(benchmark::kMillisecond);

// The row walk as the scalar interface offers it: before each row every variable is
// bound by its name to the row's value, then the tree is walked once.
void BM_SalesFormulaRowWalk(benchmark::State& state) {
  const TSales& s = Sales();
  TLineParser parser;
  ParseSales(parser);
  TLVVariables& variables = parser.Variables();
  std::vector<double> out(kRows);
  for (auto _ : state) {
    for (size_t i = 0; i < static_cast<size_t>(kRows); ++i) {
      variables[variables.IndexOf("QTY")].SetNumber(s.qty[i]);
      variables[variables.IndexOf("PRICE")].SetNumber(s.price[i]);
      variables[variables.IndexOf("DISCOUNT")].SetNumber(s.discount[i]);
      out[i] = parser.EvaluateNumber();
    }
  }
  Finish(state, out);
}
BENCHMARK(BM_SalesFormulaRowWalk)->Unit(benchmark::kMillisecond);

// The same walk with the variables resolved once, before the loop: the fastest a
// row-at-a-time evaluator of this tree can be.
void BM_SalesFormulaRowWalkResolved(benchmark::State& state) {
  const TSales& s = Sales();
  TLineParser parser;
  ParseSales(parser);
  std::vector<double> out(kRows);
  for (auto _ : state) {
    for (size_t i = 0; i < static_cast<size_t>(kRows); ++i) {
      parser.Variables()[0].SetNumber(s.qty[i]);
      parser.Variables()[1].SetNumber(s.price[i]);
      parser.Variables()[2].SetNumber(s.discount[i]);
      out[i] = parser.EvaluateNumber();
    }
  }
  Finish(state, out);
}
BENCHMARK(BM_SalesFormulaRowWalkResolved)->Unit(benchmark::kMillisecond);

void BM_SalesHandLoop(benchmark::State& state) {
  const TSales& s = Sales();
  std::vector<double> out(kRows);
  for (auto _ : state) {
    for (size_t i = 0; i < static_cast<size_t>(kRows); ++i) {
      out[i] = s.qty[i] * s.price[i] * (1 - s.discount[i]);
    }
    benchmark::ClobberMemory();
  }
  Finish(state, out);
}
BENCHMARK(BM_SalesHandLoop)->Unit(benchmark::kMillisecond);

void BM_Parse10000Characters(benchmark::State& state) {
  std::string formula = "0";
  for (int i = 0; formula.size() < 10000; ++i) {
    formula += " + IFF(X > " + std::to_string(i) + "; (X * 1.5 - Y) / 2; Abs(Y - " +
               std::to_string(i) + "))";
  }
  for (auto _ : state) {
    TLineParser parser;
    parser.Variables().Add("X", TLVCalcKind::ckNumber);
    parser.Variables().Add("Y", TLVCalcKind::ckNumber);
    parser.Parse(formula);
    benchmark::DoNotOptimize(parser.Parsed());
  }
  state.counters["characters"] = static_cast<double>(formula.size());
}
BENCHMARK(BM_Parse10000Characters)->Unit(benchmark::kMicrosecond);

// The sales arrays as a cached table.
class TSalesTable : public TLVCachedDataSource {
 public:
  TSalesTable() {
    Columns().AddColumn("QTY", TLVDataType::dtFloat);
    Columns().AddColumn("PRICE", TLVDataType::dtFloat);
    Columns().AddColumn("DISCOUNT", TLVDataType::dtFloat);
  }

 protected:
  void FillCache(TLVDataCache& cache) override {
    const TSales& s = Sales();
    for (int64_t r = 0; r < kRows; ++r) {
      const auto at = static_cast<size_t>(r);
      cache.AppendRow();
      cache.SetFloat(r, 0, s.qty[at]);
      cache.SetFloat(r, 1, s.price[at]);
      cache.SetFloat(r, 2, s.discount[at]);
    }
  }
};

// The calculator over the cached table, its computed column read back by blocks.
void BM_CalcNodeReadBlocks(benchmark::State& state) {
  auto table = std::make_shared<TSalesTable>();
  auto calc = std::make_shared<TLVCalcData>();
  calc->SetDataSource(table);
  calc->ExprColumns().AddExpression("AMOUNT", "QTY*PRICE*(1-DISCOUNT)", TLVDataType::dtFloat);
  calc->Open();
  TLVBlock block;
  double sum = 0;
  for (auto _ : state) {
    for (int64_t first = 0; first < kRows; first += kLVBlockSize) {
      auto count = static_cast<int32_t>(std::min<int64_t>(kLVBlockSize, kRows - first));
      calc->ReadBlock(3, first, count, block);
      sum += block.Numbers()[0];
    }
  }
  benchmark::DoNotOptimize(sum);
  state.counters["rows/s"] =
      benchmark::Counter(static_cast<double>(kRows), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_CalcNodeReadBlocks)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace lv
