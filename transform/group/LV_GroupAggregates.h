// The computation of a grouping: the groups of a table's rows by the values of its
// dimension columns and the aggregates of its fact columns per group.
//
// One pass reads the table by blocks ("Заполнение кэша"): each row's dimension values
// are found in (or added to) a hash table of the groups, and each fact's block is
// accumulated per group ("Агрегация" finishes the accumulators). Medians and unique
// counts keep each group's values and are exact: the values are sorted per group
// ("Расчет медианы"). Finally the groups are put in the ascending order of their
// dimension values, the first dimension the most significant, texts in the
// alphabetical order with case (CompareTextOrder), missing values last ("Группировка").
// Standard deviation is the sample deviation (n - 1); First and Last take the first and
// last present value in the table's row order. A function over a group without a
// present value gives a missing value (counts give 0).
//
// The result holds one value per group and output column; nothing else is kept.
// Single-threaded.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/columns/LV_Block.h"
#include "core/sources/LV_DataIntf.h"
#include "core/sources/LV_Progress.h"
#include "transform/group/LV_GroupDataColumns.h"

namespace lv {

// The values of one output column, one per group.
struct TLVGroupValues {
  TLVDataType type = TLVDataType::dtNone;
  std::vector<double> numbers;  // Booleans, dates and reals
  std::vector<int32_t> integers;
  std::vector<std::string> texts;
  std::vector<uint8_t> valid;

  void Resize(size_t count);
  // Copies `count` values from `first` into `out`; texts as views of this column.
  void Read(size_t first, int32_t count, TLVBlock& out) const;
};

struct TLVGroupFact {
  int32_t column = 0;  // in the source
  TLVGroupDataFunction function = TLVGroupDataFunction::gdSum;
};

// The dimension columns, then one column per fact, each with a value per group.
struct TLVGroupResult {
  size_t groups = 0;
  std::vector<TLVGroupValues> columns;
};

// Groups `source` (opened and locked by the caller) by the columns `dimensions` and
// aggregates `facts`; every fact's function must accept its column's type. Progress
// (rows, then groups) goes to `progress` when given.
TLVGroupResult LVGroupRows(ILVDataSource& source, const std::vector<int32_t>& dimensions,
                           const std::vector<TLVGroupFact>& facts, ILVProgress* progress);

// The group of every row of `source` (opened and locked by the caller) by the columns
// `dimensions`, groups numbered in the order they are first met.
std::vector<uint32_t> LVGroupNumbers(ILVDataSource& source, const std::vector<int32_t>& dimensions);

void RegisterGroupAggregatesTexts();

}  // namespace lv
