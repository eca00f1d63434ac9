// Project file benchmarks: saving and opening a scenario of 1,000 nodes of the real
// node kinds (10 text imports with 99 exports each, every node with all its settings),
// as bare XML and as a protected container, and the key derivation that opening a
// protected project costs once.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <filesystem>
#include <string>

#include "core/LV_CoreStartup.h"
#include "env/LV_EnvStartup.h"
#include "io/LV_IoStartup.h"
#include "project/LV_Project.h"
#include "project/LV_ProjectStartup.h"

namespace lv {
namespace {

class TSilentUI : public ILVProjectUI {
 public:
  void Warning(const std::string&) override {}
  bool Confirm(const std::string&) override { return true; }
  std::optional<std::string> AskPassword(const std::string&) override { return "пароль"; }
};

void Start() {
  static bool started = (CoreStartup(), EnvStartup(), IoStartup(), ProjectStartup(), true);
  (void)started;
}

std::filesystem::path BenchFile(const char* name) {
  return std::filesystem::temp_directory_path() /
         ("lv_bench_" + std::to_string(::getpid()) + "_" + name);
}

void Build(TLVProject& project) {
  for (int root = 0; root < 10; ++root) {
    TModelTreeNode& import = project.AddNode(nullptr, "TextFile");
    import.SetCaption("Продажи, филиал " + std::to_string(root));
    for (int i = 0; i < 99; ++i) {
      TModelTreeNode& out = project.AddNode(&import, i % 2 ? "ExportStd" : "NativeExport");
      out.SetCaption("Выгрузка " + std::to_string(i));
    }
  }
}

void Protect(TLVProject& project) {
  project.Properties().SetProtected(true);
  project.Properties().SetPassword(TProjectAccess::paProject, "пароль");
  project.Properties().SetPassword(TProjectAccess::paViewer, "просмотр");
  project.Properties().SetPassword(TProjectAccess::paBatch, "ночь");
}

void Save(benchmark::State& state, bool protect) {
  Start();
  TLVEnvVariables variables;
  TLVProject project(variables);
  Build(project);
  if (protect) {
    Protect(project);
    project.Save(BenchFile("first.lvp"));  // the key slots are made once, here
  }
  std::filesystem::path file = BenchFile(protect ? "protected.lvp" : "plain.lvp");
  for (auto _ : state) project.Save(file);
  state.counters["nodes"] = project.NodeCount();
  state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(file));
}

void Open(benchmark::State& state, bool protect) {
  Start();
  TLVEnvVariables variables;
  std::filesystem::path file = BenchFile(protect ? "open_protected.lvp" : "open_plain.lvp");
  {
    TLVProject project(variables);
    Build(project);
    if (protect) Protect(project);
    project.Save(file);
  }
  TSilentUI ui;
  TLVProject project(variables);
  for (auto _ : state) project.Open(file, ui);
  state.counters["nodes"] = project.NodeCount();
}

void BM_SaveProject1000(benchmark::State& state) {
  Save(state, false);
}
void BM_OpenProject1000(benchmark::State& state) {
  Open(state, false);
}
void BM_SaveProtectedProject1000(benchmark::State& state) {
  Save(state, true);
}
void BM_OpenProtectedProject1000(benchmark::State& state) {
  Open(state, true);
}

void BM_ProtectedKeyDerivation(benchmark::State& state) {
  Start();
  TProjectKeyRing ring;  // the product's limits
  for (auto _ : state) benchmark::DoNotOptimize(ring.DeriveKey("пароль"));
}

BENCHMARK(BM_SaveProject1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenProject1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveProtectedProject1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenProtectedProject1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ProtectedKeyDerivation)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace lv
