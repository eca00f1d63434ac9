// The start-up every benchmark program shares: the libraries' own start-up (texts,
// node kinds, variables) as the program does it, then Google Benchmark, then shutdown.
#include <benchmark/benchmark.h>

#include "core/LV_CoreStartup.h"
#include "env/LV_EnvStartup.h"
#include "io/LV_IoStartup.h"
#include "mining/LV_MiningStartup.h"
#include "transform/LV_TransformStartup.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  lv::CoreStartup();
  lv::EnvStartup();
  lv::IoStartup();
  lv::TransformStartup();
  lv::MiningStartup();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  lv::CoreShutdown();
  return 0;
}
