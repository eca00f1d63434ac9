// Built-in text kernels inside a formula evaluated over blocks, the way a calculator
// node runs them: Upper(Left(S;3)) + "-" + Str(N) over short ASCII and Cyrillic texts.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "transform/formula/LV_FloatCLineParser.h"

namespace lv {
namespace {

void RunFormula(benchmark::State& state, const char* formula, std::vector<std::string> words) {
  constexpr int32_t kRows = LV_BLOCK_SIZE;
  TLineParser parser;
  parser.Variables().Add("S", TLVCalcKind::ckString);
  parser.Variables().Add("N", TLVCalcKind::ckNumber);
  parser.Parse(formula);
  std::vector<std::string_view> texts(kRows);
  std::vector<double> numbers(kRows);
  for (int32_t i = 0; i < kRows; ++i) {
    texts[static_cast<size_t>(i)] = words[static_cast<size_t>(i) % words.size()];
    numbers[static_cast<size_t>(i)] = i * 7;
  }
  TLVCalcVector inputs[2] = {{TLVCalcKind::ckString, nullptr, texts.data(), 1},
                             {TLVCalcKind::ckNumber, numbers.data(), nullptr, 1}};
  TLVSelection all{nullptr, kRows};
  for (auto _ : state) {
    TLVCalcVector out = parser.EvaluateBlock(inputs, all);
    benchmark::DoNotOptimize(out.String(kRows - 1).data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

void BM_UpperLeftStrAscii(benchmark::State& state) {
  RunFormula(state, R"(Upper(Left(S;3)) + "-" + Str(N))", {"alpha", "beta", "gamma", "delta"});
}
BENCHMARK(BM_UpperLeftStrAscii);

void BM_UpperLeftStrCyrillic(benchmark::State& state) {
  RunFormula(state, R"(Upper(Left(S;3)) + "-" + Str(N))", {"альфа", "бета", "гамма", "дельта"});
}
BENCHMARK(BM_UpperLeftStrCyrillic);

// The three kernels one at a time, to see which part of the formula costs what.
void BM_Kernel(benchmark::State& state, const char* formula) {
  RunFormula(state, formula, {"alpha", "beta", "gamma", "delta"});
}
BENCHMARK_CAPTURE(BM_Kernel, Upper, "Upper(S)");
BENCHMARK_CAPTURE(BM_Kernel, Left, "Left(S;3)");
BENCHMARK_CAPTURE(BM_Kernel, Str, "Str(N)");
BENCHMARK_CAPTURE(BM_Kernel, Concat, R"(S + "-" + S)");

}  // namespace
}  // namespace lv
