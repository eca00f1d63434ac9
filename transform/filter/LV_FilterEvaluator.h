// The in-memory filter: a condition list compiled against a table's columns and
// evaluated over blocks of its rows.
//
// Semantics are those of the null-safe query form (LV_FilterColumns.h), so the rows
// kept here are the rows a database keeps for either form: a missing value satisfies
// only "пустой"; numbers compare exactly (no tolerance, as a database compares them);
// dates compare by their millisecond keys (LV_FilterDates.h); texts compare byte by
// byte (code point order, the binary collation of a database) and, without
// CaseSensitive, in FilterUpper's upper case on both sides; pattern relations test
// plain substrings, so '%' and '_' in a value are ordinary characters.
//
// The chain is evaluated as a database applies it: AND before OR, i.e. as OR of runs
// of AND-joined conditions. Each condition sees only the rows still alive in its run
// (a selection vector), and a run sees only the rows no earlier run has kept. Within a
// run the cheap tests go first (numbers, then dates, then texts). A column is read when
// a condition first needs it: the whole block, or, when few rows are still alive, just
// those rows (a gather).
//
// An evaluator holds compiled copies of the conditions: later changes of the list do
// not reach it. Not thread-safe; one evaluator per reading thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/sources/LV_DataIntf.h"
#include "core/sources/LV_FilteredDataSource.h"
#include "transform/filter/LV_FilterColumns.h"

namespace lv {

class TLVFilterEvaluator : public ILVRowSelector {
 public:
  // Compiles the conditions of `list` for a table with `columns`; raises the open-time
  // messages (CheckFilterColumns) and those of an incomplete condition. A list that is
  // not Filtered, or has no condition, keeps every row.
  TLVFilterEvaluator(const TLVFilterColumnCollection& list, const ILVColumnsInfo& columns,
                     const TLVFilterContext& context);
  ~TLVFilterEvaluator() override;
  TLVFilterEvaluator(const TLVFilterEvaluator&) = delete;
  TLVFilterEvaluator& operator=(const TLVFilterEvaluator&) = delete;

  // Appends to `selected`, ascending, the rows among the `count` (<= kLVBlockSize) rows
  // of `source` from `first` on that satisfy the list.
  void SelectRows(ILVDataSource& source, TLVRowIndex first, int32_t count,
                  std::vector<TLVRowIndex>& selected) override;

 private:
  struct TCondition;
  struct TColumn;
  static void CompileNumbers(TCondition& c, const TLVFilterColumnItem& item,
                             const std::vector<TLVValue>& values, const TLVFilterContext& context);
  int32_t Keep(const TCondition& condition, const int32_t* rows, int32_t count, int32_t* kept);
  // Keep for an interval test when every row of the block is alive.
  int32_t KeepInterval(const TCondition& condition, const double* x, int32_t* kept) const;
  // The column of `slot` with its values for at least the `count` given rows.
  TColumn& Read(int32_t slot, const int32_t* rows, int32_t count);
  // Orders each run of AND-joined conditions so that the tests that drop the most rows
  // for their cost come first, by what they have dropped so far.
  void ReorderRuns();

  std::vector<TCondition> conditions_;
  // Where each run of AND-joined conditions begins in conditions_, and its end.
  std::vector<size_t> runs_;
  std::vector<TColumn> columns_;
  int32_t blocksSinceReorder_ = 0;
  ILVDataSource* source_ = nullptr;
  TLVRowIndex first_ = 0;
  int32_t count_ = 0;
  std::string upper_;
  // The source's row numbers of a gather.
  std::vector<TLVRowIndex> gathered_ = std::vector<TLVRowIndex>(kLVBlockSize);
};

// The open-time checks: every condition's column is in `columns`, with the type the
// condition recorded ("Нет необходимого для фильтрации столбца..." and "У столбца...
// поменялся тип данных...").
void CheckFilterColumns(const TLVFilterColumnCollection& list, const ILVColumnsInfo& columns);

// The context in which `source` is filtered: `today`, and the earliest and latest date
// of every column that a period counts from its data, read by blocks unless `known`
// already has them (from an earlier open over the same rows).
TLVFilterContext MakeFilterContext(const TLVFilterColumnCollection& list, ILVDataSource& source,
                                   double today, const TLVFilterContext* known = nullptr);

// The upper case in which texts are compared without CaseSensitive: Unicode case
// mapping for Russian. A database that receives the query text must offer the same
// UPPER (SQLite's own knows only ASCII letters).
std::string FilterUpper(std::string_view text);

}  // namespace lv
