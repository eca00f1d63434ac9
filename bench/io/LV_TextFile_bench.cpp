// Text import and export benchmarks.
//
// TextImport reads the generated semicolon-separated file (LV_TextFileGen.h) into a
// typed table: integers, decimals with a comma, dd.mm.yyyy dates, Booleans and texts,
// the column types given as a user would give them. It reports the throughput and the
// peak memory the import took next to the size of the finished table. TextExport
// writes that table back as a delimited file. ImportVsNativeReload reads the same file
// and the native data file of the table it gives, one after the other in every
// iteration, so that the two are compared under the same load and memory. SplitLines and
// the Read* benchmarks show the parts of the import on their own. WideTitleLine imports
// a file of one title line and one row of 100 000 columns, with LF line ends and with CR
// alone (where the whole file is one line), so that defining many columns stays linear.
//
// The file is $LV_TEXT_BENCH_FILE; without it, $LV_TEXT_BENCH_ROWS rows (1 000 000 by
// default) are generated into the temporary folder. The import runs first, so the
// process's peak memory is the import's. The export writes beside the file, or into
// $LV_TEXT_EXPORT_DIR, as does the native data file.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/io/LV_TextFileGen.h"
#include "core/LV_CoreStartup.h"
#include "core/platform/LV_Platform.h"
#include "env/LV_EnvStartup.h"
#include "io/LV_ExportStd.h"
#include "io/LV_IoStartup.h"
#include "io/LV_NativeExport.h"
#include "io/LV_NativeImport.h"
#include "io/LV_TextFields.h"
#include "io/LV_TextFile.h"
#include "io/LV_TextStream.h"
#include "io/LV_TextValues.h"

namespace lv {
namespace {

constexpr double kMiB = 1024.0 * 1024.0;

const std::string& BenchFile() {
  static const std::string path = [] {
    if (const char* given = std::getenv("LV_TEXT_BENCH_FILE")) return std::string(given);
    const char* rows = std::getenv("LV_TEXT_BENCH_ROWS");
    const uint64_t count = rows ? std::strtoull(rows, nullptr, 10) : 1'000'000;
    std::string generated = (std::filesystem::temp_directory_path() /
                             ("lv_text_bench_" + std::to_string(count) + ".csv"))
                                .string();
    if (!std::filesystem::exists(generated)) bench::WriteBenchFile(generated.c_str(), count, 1);
    return generated;
  }();
  return path;
}

double FileBytes() {
  return static_cast<double>(std::filesystem::file_size(BenchFile()));
}

// Peak resident memory since the last reset, from the kernel's high-water mark.
size_t PeakResidentBytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stoull(line.substr(6)) * 1024;
  }
  return 0;
}

void ResetPeakResident() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

std::shared_ptr<TLVTextFile> NewImport() {
  auto node = std::make_shared<TLVTextFile>();
  node->SetFileName(BenchFile());
  node->SetDelimiter(TLVDelimiterType::dtSemicolon);
  using enum TLVDataType;
  const std::pair<const char*, TLVDataType> columns[] = {
      {"id", dtInteger},    {"qty", dtInteger},  {"price", dtFloat}, {"amount", dtFloat},
      {"date", dtDateTime}, {"flag", dtBoolean}, {"code", dtString}, {"comment", dtString}};
  for (const auto& [name, type] : columns) {
    TLVTextFileColumn& column = node->ColumnDefs().AddDefinition();
    column.SetName(name);
    column.SetDataType(type);
    column.SetDataStatus(TLVDataStatus::dsInfo);
  }
  return node;
}

// The imported table, kept for the export benchmark.
std::shared_ptr<TLVTextFile>& Imported() {
  static std::shared_ptr<TLVTextFile> node;
  return node;
}

// Each iteration refreshes a new node made by `make`, on memory the previous one has
// given back. Returns the last node and the growth of the peak memory its refresh took.
template <class Make>
std::pair<std::shared_ptr<TLVTextFile>, size_t> RefreshNewNodes(benchmark::State& state,
                                                                Make make) {
  std::shared_ptr<TLVTextFile> node;
  size_t growth = 0;
  for (auto _ : state) {
    state.PauseTiming();
    node.reset();
    TLVDataCacheCleanupBuffer::Instance().RunPassNow();
    const size_t before = LVResidentBytes();
    ResetPeakResident();
    node = make();
    state.ResumeTiming();
    node->Refresh();
    state.PauseTiming();
    growth = PeakResidentBytes() - before;
    state.ResumeTiming();
  }
  return {node, growth};
}

void TextImport(benchmark::State& state) {
  const double bytes = FileBytes();
  const auto [node, growth] = RefreshNewNodes(state, NewImport);
  const TLVDataCache& cache = node->Cache();
  state.counters["MB/s"] = benchmark::Counter(bytes * static_cast<double>(state.iterations()) / 1e6,
                                              benchmark::Counter::kIsRate);
  state.counters["rows/s"] = benchmark::Counter(
      static_cast<double>(cache.RowCount() * state.iterations()), benchmark::Counter::kIsRate);
  state.counters["rows"] = static_cast<double>(cache.RowCount());
  state.counters["table_MiB"] = static_cast<double>(cache.AllocatedBytes()) / kMiB;
  state.counters["peak_MiB"] = static_cast<double>(growth) / kMiB;
  state.counters["peak_ratio"] =
      static_cast<double>(growth) / static_cast<double>(cache.AllocatedBytes());
  Imported() = node;
}

// Where an export writes `name`: $LV_TEXT_EXPORT_DIR (a memory file system shows the
// export without the disk), else beside the text file.
std::string ExportPath(const std::string& name) {
  const char* folder = std::getenv("LV_TEXT_EXPORT_DIR");
  return folder ? (std::filesystem::path(folder) / name).string() : BenchFile() + "." + name;
}

// Wall and CPU seconds of one call. On a shared machine the CPU time of the calling
// thread (user and system) is the steadier figure: it leaves out the time spent waiting
// for a core. The system part is mostly the kernel's work for fresh memory and for the
// file cache.
struct TSeconds {
  double wall = 0;
  double cpu = 0;
  double user = 0;
};

// CPU time of the whole process: the reload decodes on every core.
TSeconds ProcessTimes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
  };
  const double user = seconds(usage.ru_utime);
  return {0, user + seconds(usage.ru_stime), user};
}

TSeconds SecondsOf(const auto& run) {
  const TSeconds before = ProcessTimes();
  const auto start = std::chrono::steady_clock::now();
  run();
  const TSeconds after = ProcessTimes();
  return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
          after.cpu - before.cpu, after.user - before.user};
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t n = values.size();
  return n == 0 ? 0 : n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

void TextExport(benchmark::State& state) {
  auto& table = Imported();
  if (!table) {
    state.SkipWithError("TextImport must run first");
    return;
  }
  const std::string target = ExportPath("lv_text_bench_export.csv");
  TLVExportStd exporter;
  exporter.SetDataSource(table);
  exporter.SetFileName(target);
  exporter.SetDelimiter(TLVDelimiterType::dtSemicolon);
  // Every iteration replaces the file of the one before, as exporting again does.
  std::vector<double> wall, user, system;
  for (auto _ : state) {
    const TSeconds t = SecondsOf([&] { exporter.Execute(); });
    wall.push_back(t.wall);
    user.push_back(t.user);
    system.push_back(t.cpu - t.user);
  }
  const double bytes = static_cast<double>(std::filesystem::file_size(target));
  state.counters["MB/s"] = bytes / 1e6 / Median(wall);
  state.counters["user_MB/s"] = bytes / 1e6 / Median(user);
  state.counters["user_s"] = Median(user);
  state.counters["sys_s"] = Median(system);
  state.counters["file_MB"] = bytes / 1e6;
  std::filesystem::remove(target);
}

// Each iteration imports the text file, then reloads the native data file of the same
// table. Every read first drops its own previous table, so both take memory the system
// has just been given back, and both see the same load on a shared machine. The figures
// are medians over the iterations; the ratios are taken iteration by iteration.
void ImportVsNativeReload(benchmark::State& state) {
  const std::string native = ExportPath("lv_text_bench_native.lvd");
  std::shared_ptr<TLVTextFile> text;
  auto reloaded = std::make_shared<TLVNativeImport>();
  std::vector<double> import, reload, ratio, importCpu, reloadCpu, ratioCpu, reloadUser;
  for (auto _ : state) {
    text.reset();
    TLVDataCacheCleanupBuffer::Instance().RunPassNow();
    text = NewImport();
    const TSeconds i = SecondsOf([&] { text->Refresh(); });
    if (reloaded->GetFileName().empty()) {
      TLVNativeExport exporter;
      exporter.SetDataSource(text);
      exporter.SetExportedAllFields(true);
      exporter.SetFileName(native);
      exporter.Execute(nullptr);
      reloaded->SetFileName(native);
    }
    reloaded->Close();
    TLVDataCacheCleanupBuffer::Instance().RunPassNow();
    const TSeconds r = SecondsOf([&] { reloaded->Refresh(); });
    if (reloaded->GetRowCount() != text->GetRowCount()) state.SkipWithError("rows lost");
    import.push_back(i.wall);
    reload.push_back(r.wall);
    ratio.push_back(i.wall / r.wall);
    importCpu.push_back(i.cpu);
    reloadCpu.push_back(r.cpu);
    reloadUser.push_back(r.user);
    ratioCpu.push_back(i.cpu / r.cpu);
  }
  state.counters["import_s"] = Median(import);
  state.counters["reload_s"] = Median(reload);
  state.counters["reload_x"] = Median(ratio);
  state.counters["import_cpu_s"] = Median(importCpu);
  state.counters["reload_cpu_s"] = Median(reloadCpu);
  state.counters["reload_cpu_x"] = Median(ratioCpu);
  state.counters["reload_user_s"] = Median(reloadUser);
  state.counters["native_MB"] = static_cast<double>(std::filesystem::file_size(native)) / 1e6;
  reloaded.reset();
  text.reset();
  std::filesystem::remove(native);
}

// The lines of the first 64 MB of the file, held in memory.
const std::vector<std::string>& SampleLines() {
  static const std::vector<std::string> lines = [] {
    std::vector<std::string> result;
    TLVTextStream stream(BenchFile(), size_t{1} << 20);
    std::string_view line;
    size_t bytes = 0;
    stream.ReadLine(line);  // the title
    while (bytes < (size_t{64} << 20) && stream.ReadLine(line)) {
      result.emplace_back(line);
      bytes += line.size() + 1;
    }
    return result;
  }();
  return lines;
}

void SplitLines(benchmark::State& state) {
  const auto& lines = SampleLines();
  TLVLineSplitter splitter({';', '"', false});
  TLVBlockArena arena;
  std::string_view fields[8];
  double bytes = 0;
  for (const auto& line : lines) bytes += static_cast<double>(line.size() + 1);
  for (auto _ : state) {
    for (const auto& line : lines) {
      splitter.Split(line, fields, 8, arena);
      benchmark::DoNotOptimize(fields);
    }
    arena.Clear();
  }
  state.counters["MB/s"] = benchmark::Counter(bytes * static_cast<double>(state.iterations()) / 1e6,
                                              benchmark::Counter::kIsRate);
}

// Reads field `column` of every sample line with `read`.
template <class T, class Read>
void ReadColumn(benchmark::State& state, size_t column, Read read) {
  std::vector<std::string> fields;
  TLVLineSplitter splitter({';', '"', false});
  TLVBlockArena arena;
  std::string_view row[8];
  for (const auto& line : SampleLines()) {
    splitter.Split(line, row, 8, arena);
    if (!row[column].empty()) fields.emplace_back(row[column]);
  }
  const TLVTextValueReader reader(DefaultFormatSettings());
  for (auto _ : state) {
    for (const auto& field : fields) {
      T value;
      benchmark::DoNotOptimize(read(reader, field, value));
      benchmark::DoNotOptimize(value);
    }
  }
  state.counters["values/s"] = benchmark::Counter(
      static_cast<double>(fields.size() * state.iterations()), benchmark::Counter::kIsRate);
}

void ReadFloats(benchmark::State& state) {
  ReadColumn<double>(state, 3, [](const TLVTextValueReader& r, std::string_view t, double& v) {
    return r.ReadFloat(t, v);
  });
}

void ReadDates(benchmark::State& state) {
  ReadColumn<double>(state, 4, [](const TLVTextValueReader& r, std::string_view t, double& v) {
    return r.ReadDateTime(t, v);
  });
}

// A title line of `columns` Cyrillic titles (names come out as COLn, captions as they
// stand) and one row of numbers, the lines ended by `lineEnd`.
std::string WriteWideFile(int64_t columns, std::string_view lineEnd) {
  const std::string path =
      (std::filesystem::temp_directory_path() / ("lv_text_bench_wide_" + std::to_string(columns) +
                                                 (lineEnd == "\r" ? "_cr" : "_lf") + ".csv"))
          .string();
  if (std::filesystem::exists(path)) return path;
  std::string text;
  for (int64_t c = 1; c <= columns; ++c) {
    text += c > 1 ? ";" : "";
    text += "Сумма " + std::to_string(c);
  }
  text += lineEnd;
  for (int64_t c = 1; c <= columns; ++c) {
    text += c > 1 ? ";" : "";
    text += std::to_string(c * 7) + ",5";
  }
  text += lineEnd;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

void WideTitleLine(benchmark::State& state) {
  const int64_t columns = state.range(0);
  const std::string path = WriteWideFile(columns, state.range(1) ? "\r" : "\n");
  const auto [node, growth] = RefreshNewNodes(state, [&] {
    auto wide = std::make_shared<TLVTextFile>();
    wide->SetFileName(path);
    wide->SetDelimiter(TLVDelimiterType::dtSemicolon);
    wide->SetDecimalPoint(',');
    return wide;
  });
  state.counters["columns"] = static_cast<double>(node->GetColumnsInfo().GetColumnCount());
  state.counters["rows"] = static_cast<double>(node->GetRowCount());
  state.counters["peak_MiB"] = static_cast<double>(growth) / kMiB;
}

BENCHMARK(TextImport)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(TextExport)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(ImportVsNativeReload)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK(SplitLines)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadFloats)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadDates)->Unit(benchmark::kMillisecond);
BENCHMARK(WideTitleLine)
    ->ArgNames({"columns", "cr_only"})
    ->Args({100'000, 0})
    ->Args({100'000, 1})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseRealTime();

}  // namespace
}  // namespace lv
