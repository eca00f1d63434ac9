// Column descriptions with hand-made statistics and error catchers, for the mining tests.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/columns/LV_ColumnInfo.h"
#include "core/text/LV_Errors.h"

namespace lv::test {

// The key of the ELVError that `f` raises ("" when it raises none).
template <class F>
std::string ErrorKey(F&& f) {
  try {
    f();
  } catch (const ELVError& e) {
    return e.Key();
  }
  return "";
}

// The message of the ELVError that `f` raises ("" when it raises none).
template <class F>
std::string ErrorText(F&& f) {
  try {
    f();
  } catch (const ELVError& e) {
    return e.what();
  }
  return "";
}

inline TLVColumnInfo& WithStats(TLVColumnInfo& column, double min, double max,
                                int64_t nullCount = 0, int64_t totalCount = 10,
                                std::vector<TLVValue> unique = {}) {
  auto stats = std::make_shared<TLVStatInfo>();
  stats->min = min;
  stats->max = max;
  stats->nullCount = nullCount;
  stats->totalCount = totalCount;
  stats->uniqueValuesFound = true;
  stats->uniqueValues = std::move(unique);
  stats->uniqueValuesCount = static_cast<int64_t>(stats->uniqueValues.size());
  column.SetStatInfo(std::move(stats));
  return column;
}

// A continuous float column whose statistics span [min, max].
inline std::shared_ptr<TLVColumnInfo> NumberColumn(std::string name, double min, double max,
                                                   int64_t nullCount = 0) {
  auto column = std::make_shared<TLVColumnInfo>();
  column->SetName(name);
  column->SetDataType(TLVDataType::dtFloat);
  column->SetDataKind(TLVDataKind::dkContinuous);
  column->SetDataStatus(TLVDataStatus::dsInput);
  WithStats(*column, min, max, nullCount);
  return column;
}

// A discrete text column with the given unique values (ascending) and null count.
inline std::shared_ptr<TLVColumnInfo> TextColumn(std::string name, std::vector<std::string> values,
                                                 int64_t nullCount = 0) {
  auto column = std::make_shared<TLVColumnInfo>();
  column->SetName(name);
  column->SetDataType(TLVDataType::dtString);
  column->SetDataKind(TLVDataKind::dkDiscrete);
  column->SetDataStatus(TLVDataStatus::dsInput);
  std::vector<TLVValue> unique;
  for (const auto& v : values) unique.push_back(TLVValue::String(v));
  WithStats(*column, LVMissing(), LVMissing(), nullCount, 10, std::move(unique));
  return column;
}

inline std::vector<std::string> Letters(int count) {
  std::vector<std::string> letters;
  for (int i = 0; i < count; ++i) letters.push_back(std::string(1, static_cast<char>('a' + i)));
  return letters;
}

}  // namespace lv::test
