// Column statistics computed from a data source in one pass over its rows, all the
// requested columns together, block by block. Numbers, dates and Booleans give
// minimum, maximum, sum, sum of squares, mean and the sample standard deviation
// (n - 1; 0 for a single value); every type gives the counts and the unique values;
// texts also give their longest value (length in characters).
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "core/columns/LV_ColumnInfo.h"
#include "core/sources/LV_DataIntf.h"
#include "core/sources/LV_Progress.h"

namespace lv {

class TLVDataSource;

struct TLVStatOptions {
  // Gathering the unique values of a column with millions of distinct reals costs
  // memory; callers that only need the moments switch it off.
  bool uniqueValues = true;
};

std::vector<std::shared_ptr<TLVStatInfo>> ComputeColumnStats(ILVDataSource& source,
                                                             std::span<const int32_t> columns,
                                                             ILVProgress* progress = nullptr,
                                                             TLVStatOptions options = {});

// Computes the statistics of every column of `source` and attaches them to its
// descriptions.
void UpdateColumnStats(TLVDataSource& source, ILVProgress* progress = nullptr,
                       TLVStatOptions options = {});

void RegisterColumnStatsTexts();

}  // namespace lv
