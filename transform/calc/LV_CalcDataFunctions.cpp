#include "transform/calc/LV_CalcDataFunctions.h"

#include <array>
#include <bit>
#include <cmath>
#include <filesystem>
#include <unordered_map>

#include "core/columns/LV_Block.h"
#include "core/columns/LV_ColumnStats.h"
#include "core/text/LV_Localization.h"
#include "env/LV_Logger.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

TLVCalcDataContext& DataContext(const TLVCalcArgs& args) {
  auto* context = dynamic_cast<TLVCalcDataContext*>(args.Context());
  if (!context || !context->DataSource()) {
    throw ELVDataError("ErrCalcNoDataContext", {args.Function().Name()});
  }
  return *context;
}

TLVRowIndex CurrentRow(const TLVCalcArgs& args) { return args.Context()->RowOf(args.Position()); }

// The cache key of a whole-column result: its kind, the field and the group column.
std::string PerRowKey(char kind, std::string_view field, std::string_view group) {
  std::string key(1, kind);
  key += '|';
  key += field;
  key += '|';
  if (group.data()) key += group;
  return key;
}

std::string_view GroupArg(const TLVCalcArgs& args) {
  return args.Count() > 1 ? args.String(1) : std::string_view();
}

// Data("Столбец"; НомерСтроки): rows are numbered from 1, like RowNum.
bool DataRow(const TLVCalcArgs& args, int32_t& column, TLVRowIndex& row) {
  TLVCalcDataContext& context = DataContext(args);
  column = context.RequireColumn(args.String(0));
  double number = args.Number(1);
  ILVDataSource& source = *context.DataSource();
  if (std::isnan(number) || number < 1 || number > static_cast<double>(source.GetRowCount()) ||
      number != std::trunc(number)) {
    return false;
  }
  row = static_cast<TLVRowIndex>(number) - 1;
  return true;
}

double DataNumber(const TLVCalcArgs& args) {
  int32_t column = 0;
  TLVRowIndex row = 0;
  if (!DataRow(args, column, row)) return LVCalcNull();
  return args.Context()->DataSource()->GetNumber(row, column);
}

void DataText(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  int32_t column = 0;
  TLVRowIndex row = 0;
  ILVDataSource* source = args.Context() ? args.Context()->DataSource() : nullptr;
  if (!DataRow(args, column, row) || source->IsNull(row, column)) return result.SetNull();
  result.Build() = source->GetValue(row, column).AsText();
}

double StatValue(const TLVCalcArgs& args) {
  const TLVStatInfo& stats = DataContext(args).Stats(args.String(0));
  std::string_view type = args.String(1);
  struct TNamed {
    std::string_view name;
    double value;
  };
  const std::array<TNamed, 9> values{{
      {"Min", stats.min},
      {"Max", stats.max},
      {"Avg", stats.avg},
      {"StdDev", stats.stdDev},
      {"Sum", stats.sum},
      {"SumSq", stats.sumSq},
      {"Count", static_cast<double>(stats.totalCount - stats.nullCount)},
      {"UniqueCount", static_cast<double>(stats.uniqueValuesCount)},
      {"NullCount", static_cast<double>(stats.nullCount)},
  }};
  for (const TNamed& v : values) {
    if (CalcNamesEqual(v.name, type)) return v.value;
  }
  throw ELVDataError("ErrCalcStatUnknown", {std::string(type)});
}

void FieldInfo(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  const ILVColumnInfo* column = args.Context() ? args.Context()->CurrentColumn() : nullptr;
  std::string_view type = args.String(0);
  std::string& out = result.Build();
  if (column && CalcNamesEqual(type, "Name")) {
    out = column->GetName();
  } else if (column && CalcNamesEqual(type, "DisplayName")) {
    out = column->GetDisplayName();
  } else if (column && CalcNamesEqual(type, "DataType")) {
    out = ValueName(column->GetDataType());
  } else if (column && CalcNamesEqual(type, "DataKind")) {
    out = ValueName(column->GetDataKind());
  } else {
    throw ELVDataError("ErrCalcFieldInfoUnknown", {std::string(type)});
  }
}

void ModelInfo(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  std::string_view type = args.String(0);
  std::string file = args.Context() ? args.Context()->ProjectFileName() : std::string();
  std::string& out = result.Build();
  if (CalcNamesEqual(type, "FileName")) {
    out = file;
  } else if (CalcNamesEqual(type, "FilePath")) {
    out = file.empty() ? std::string() : std::filesystem::path(file).parent_path().string();
  } else {
    throw ELVDataError("ErrCalcModelInfoUnknown", {std::string(type)});
  }
}

TLVFunctionCollection& BuildCollection() {
  static TLVFunctionCollection functions;
  functions.SetBase(&LVCalcFunctions());
  using G = TLVCalcFunctionGroup;
  const uint32_t data = fnNeedsData;
  functions.AddNumber(
      "RowNum", 0, 0, "", G::fgOther,
      [](const TLVCalcArgs& a) { return static_cast<double>(CurrentRow(a) + 1); }, data);
  TPFunction& dataFunction = functions.AddNumber("Data", 2, 2, "SN", G::fgOther, DataNumber, data);
  dataFunction.strKernel = DataText;
  dataFunction.kindFromArg = 0;
  functions.AddNumber("Stat", 2, 2, "SS", G::fgOther, StatValue, data);
  functions.AddNumber(
      "CumulativeSum", 1, 2, "S", G::fgOther,
      [](const TLVCalcArgs& a) {
        return DataContext(a).RunningSum(a.String(0), GroupArg(a))[static_cast<size_t>(CurrentRow(a))];
      },
      data);
  functions.AddNumber(
      "LinearTrend", 1, 2, "S", G::fgOther,
      [](const TLVCalcArgs& a) {
        return DataContext(a).Trend(a.String(0), GroupArg(a))[static_cast<size_t>(CurrentRow(a))];
      },
      data);
  functions.AddString("GetFieldInfo", 1, 1, "S", G::fgOther, FieldInfo, data);
  functions.AddString("GetModelInfo", 1, 1, "S", G::fgOther, ModelInfo, data);
  // Helpers of the time-series models, which fill them in; elsewhere they are missing.
  functions.AddNumber(
      "GetTrend", 0, 0, "", G::fgHidden, [](const TLVCalcArgs&) { return LVCalcNull(); }, data);
  functions.AddNumber(
      "GetPeriod", 0, 0, "", G::fgHidden, [](const TLVCalcArgs&) { return LVCalcNull(); }, data);
  return functions;
}

}  // namespace

void TLVCalcDataContext::Attach(ILVDataSource* source) {
  source_ = source;
  perRow_.clear();
  stats_.clear();
}

std::string TLVCalcDataContext::ProjectFileName() const { return LVRunLog().GetProjectFileName(); }

int32_t TLVCalcDataContext::RequireColumn(std::string_view name) const {
  int32_t index = source_ ? source_->GetColumnsInfo().IndexOfColumn(name) : -1;
  if (index < 0) throw ELVDataError("ErrCalcColumnNotFound", {std::string(name)});
  return index;
}

std::vector<double> TLVCalcDataContext::NumbersOf(std::string_view field) {
  int32_t column = RequireColumn(field);
  TLVRowIndex rows = source_->GetRowCount();
  std::vector<double> values(static_cast<size_t>(rows));
  TLVBlock block;
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
    source_->ReadBlock(column, first, count, block);
    for (int32_t i = 0; i < count; ++i) values[static_cast<size_t>(first + i)] = block.NumberAt(i);
  }
  return values;
}

std::vector<int32_t> TLVCalcDataContext::GroupsOf(std::string_view group) {
  TLVRowIndex rows = source_->GetRowCount();
  std::vector<int32_t> groups(static_cast<size_t>(rows), 0);
  if (group.data() == nullptr || group.empty()) return groups;
  int32_t column = RequireColumn(group);
  std::unordered_map<std::string, int32_t> numbers;
  TLVBlock block;
  std::string key;
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
    source_->ReadBlock(column, first, count, block);
    for (int32_t i = 0; i < count; ++i) {
      // A missing value is a group of its own; a text and a number never share a key.
      if (block.IsNull(i)) {
        key.assign(1, 'N');
      } else if (block.Type() == TLVDataType::dtString) {
        key.assign(1, 'S');
        key += block.Strings()[i];
      } else {
        auto bits = std::bit_cast<uint64_t>(block.NumberAt(i));
        key.assign(1, 'D');
        key.append(reinterpret_cast<const char*>(&bits), sizeof bits);
      }
      auto [it, added] = numbers.emplace(key, static_cast<int32_t>(numbers.size()));
      groups[static_cast<size_t>(first + i)] = it->second;
    }
  }
  return groups;
}

// Missing values add nothing: the running sum carries on past them.
const std::vector<double>& TLVCalcDataContext::RunningSum(std::string_view field,
                                                          std::string_view group) {
  std::string key = PerRowKey('C', field, group);
  if (auto it = perRow_.find(key); it != perRow_.end()) return it->second;
  std::vector<double> values = NumbersOf(field);
  std::vector<int32_t> groups = GroupsOf(group);
  std::vector<double> sums;
  for (size_t r = 0; r < values.size(); ++r) {
    auto g = static_cast<size_t>(groups[r]);
    if (g >= sums.size()) sums.resize(g + 1, 0.0);
    if (!std::isnan(values[r])) sums[g] += values[r];
    values[r] = sums[g];
  }
  return perRow_.emplace(std::move(key), std::move(values)).first->second;
}

// Least squares over the group's present values with the row number (from 1) as the
// abscissa; a group with one value gives that value, a group without any gives
// missing values.
const std::vector<double>& TLVCalcDataContext::Trend(std::string_view field,
                                                     std::string_view group) {
  std::string key = PerRowKey('T', field, group);
  if (auto it = perRow_.find(key); it != perRow_.end()) return it->second;
  std::vector<double> values = NumbersOf(field);
  std::vector<int32_t> groups = GroupsOf(group);
  struct TSums {
    double n = 0, x = 0, y = 0, xx = 0, xy = 0;
  };
  std::vector<TSums> sums;
  for (size_t r = 0; r < values.size(); ++r) {
    auto g = static_cast<size_t>(groups[r]);
    if (g >= sums.size()) sums.resize(g + 1);
    if (std::isnan(values[r])) continue;
    double x = static_cast<double>(r + 1);
    TSums& s = sums[g];
    s.n += 1;
    s.x += x;
    s.y += values[r];
    s.xx += x * x;
    s.xy += x * values[r];
  }
  for (size_t r = 0; r < values.size(); ++r) {
    const TSums& s = sums[static_cast<size_t>(groups[r])];
    if (s.n == 0) {
      values[r] = LVCalcNull();
      continue;
    }
    double denominator = s.n * s.xx - s.x * s.x;
    double slope = denominator == 0 ? 0 : (s.n * s.xy - s.x * s.y) / denominator;
    double intercept = (s.y - slope * s.x) / s.n;
    values[r] = intercept + slope * static_cast<double>(r + 1);
  }
  return perRow_.emplace(std::move(key), std::move(values)).first->second;
}

const TLVStatInfo& TLVCalcDataContext::Stats(std::string_view field) {
  if (auto it = stats_.find(field); it != stats_.end()) return *it->second;
  const int32_t column = RequireColumn(field);
  auto computed = ComputeColumnStats(*source_, std::span(&column, 1));
  return *stats_.emplace(std::string(field), computed.front()).first->second;
}

const TLVFunctionCollection& CalcDataFunctions() {
  static const TLVFunctionCollection& functions = BuildCollection();
  return functions;
}

void RegisterCalcDataFunctionsTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrCalcNoDataContext", "ErrCalcColumnNotFound", "ErrCalcStatUnknown",
       "ErrCalcFieldInfoUnknown", "ErrCalcModelInfoUnknown"});
  CalcDataFunctions();
}

}  // namespace lv
