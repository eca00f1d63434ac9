#include "core/columns/LV_ColumnStats.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_set>

#include "core/sources/LV_DataSource.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

class TColumnAccumulator {
 public:
  TColumnAccumulator(TLVDataType type, bool unique) : type_(type), unique_(unique) {}

  void Add(const TLVBlock& block) {
    const int32_t n = block.Count();
    const uint8_t* valid = block.Valid();
    total_ += n;
    if (type_ == TLVDataType::dtString) {
      for (int32_t i = 0; i < n; ++i) {
        if (!valid[i]) {
          ++nulls_;
          continue;
        }
        std::string_view text = block.Strings()[i];
        size_t length = Utf8Length(text);
        if (!hasText_ || length > maxLength_) {
          maxLength_ = length;
          longest_ = text;
          hasText_ = true;
        }
        if (unique_) texts_.emplace(text);
      }
      return;
    }
    for (int32_t i = 0; i < n; ++i) {
      if (!valid[i]) {
        ++nulls_;
        continue;
      }
      double x = type_ == TLVDataType::dtInteger ? block.Integers()[i] : block.Numbers()[i];
      if (std::isnan(x)) {
        ++nulls_;
        continue;
      }
      ++count_;
      if (count_ == 1) {
        min_ = max_ = x;
      } else {
        min_ = std::min(min_, x);
        max_ = std::max(max_, x);
      }
      sum_ += x;
      sumSq_ += x * x;
      // Welford's update: the deviation stays exact where sum of squares would cancel.
      double delta = x - mean_;
      mean_ += delta / static_cast<double>(count_);
      m2_ += delta * (x - mean_);
      if (unique_) numbers_.insert(x == 0 ? 0.0 : x);
    }
  }

  std::shared_ptr<TLVStatInfo> Result() const {
    auto stats = std::make_shared<TLVStatInfo>();
    stats->totalCount = total_;
    stats->nullCount = nulls_;
    if (type_ == TLVDataType::dtString) {
      stats->maxTextLength = static_cast<double>(maxLength_);
      stats->longestText = longest_;
      if (unique_) {
        std::vector<std::string> sorted(texts_.begin(), texts_.end());
        std::sort(sorted.begin(), sorted.end());
        stats->uniqueValues.reserve(sorted.size());
        for (auto& text : sorted) stats->uniqueValues.push_back(TLVValue::String(text));
      }
    } else {
      if (count_ > 0) {
        stats->min = min_;
        stats->max = max_;
        stats->sum = sum_;
        stats->sumSq = sumSq_;
        stats->avg = mean_;
        stats->stdDev = count_ > 1 ? std::sqrt(m2_ / static_cast<double>(count_ - 1)) : 0.0;
      }
      if (unique_) {
        std::vector<double> sorted(numbers_.begin(), numbers_.end());
        std::sort(sorted.begin(), sorted.end());
        stats->uniqueValues.reserve(sorted.size());
        for (double x : sorted) stats->uniqueValues.push_back(MakeValue(x));
      }
    }
    stats->uniqueValuesFound = unique_;
    stats->uniqueValuesCount = static_cast<int64_t>(stats->uniqueValues.size());
    return stats;
  }

 private:
  TLVValue MakeValue(double x) const {
    switch (type_) {
      case TLVDataType::dtBoolean:
        return TLVValue::Boolean(x != 0);
      case TLVDataType::dtDateTime:
        return TLVValue::DateTime(x);
      case TLVDataType::dtInteger:
        return TLVValue::Integer(static_cast<int32_t>(x));
      default:
        return TLVValue::Float(x);
    }
  }

  TLVDataType type_;
  bool unique_;
  int64_t total_ = 0, nulls_ = 0, count_ = 0;
  double min_ = 0, max_ = 0, sum_ = 0, sumSq_ = 0, mean_ = 0, m2_ = 0;
  size_t maxLength_ = 0;
  bool hasText_ = false;
  std::string longest_;
  std::unordered_set<double> numbers_;
  std::unordered_set<std::string> texts_;
};

}  // namespace

std::vector<std::shared_ptr<TLVStatInfo>> ComputeColumnStats(ILVDataSource& source,
                                                             std::span<const int32_t> columns,
                                                             ILVProgress* progress,
                                                             TLVStatOptions options) {
  TLVLockGuard lock(source);
  const ILVColumnsInfo& info = source.GetColumnsInfo();
  std::vector<TColumnAccumulator> accumulators;
  accumulators.reserve(columns.size());
  for (int32_t column : columns) {
    accumulators.emplace_back(info.GetColumnInfo(column)->GetDataType(), options.uniqueValues);
  }
  TLVRowIndex rows = source.GetRowCount();
  TLVProgressScope scope(progress, LVText("SComputingStatistics"), rows);
  TLVBlock block;
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
    for (size_t c = 0; c < columns.size(); ++c) {
      source.ReadBlock(columns[c], first, count, block);
      accumulators[c].Add(block);
    }
    scope.Step(first + count);
  }
  std::vector<std::shared_ptr<TLVStatInfo>> result;
  result.reserve(accumulators.size());
  for (const auto& accumulator : accumulators) result.push_back(accumulator.Result());
  return result;
}

void UpdateColumnStats(TLVDataSource& source, ILVProgress* progress, TLVStatOptions options) {
  std::vector<int32_t> columns(static_cast<size_t>(source.Columns().Count()));
  for (size_t i = 0; i < columns.size(); ++i) columns[i] = static_cast<int32_t>(i);
  auto stats = ComputeColumnStats(source, columns, progress, options);
  for (size_t i = 0; i < columns.size(); ++i) {
    source.Columns()[static_cast<int32_t>(i)].SetStatInfo(stats[i]);
  }
}

void RegisterColumnStatsTexts() {
  TLVLocalization::Instance().RegisterKeys({"SComputingStatistics"});
}

}  // namespace lv
