// The data-context functions of the calculator: RowNum, Data, Stat, CumulativeSum,
// LinearTrend, GetFieldInfo, GetModelInfo (and the hidden GetTrend, GetPeriod). They
// read the node's input through TLVCalcDataContext, not a single row, so they exist
// only in the calculator's own collection, layered over the built-in functions.
//
// Whole-column results (running sums, trends, statistics) are computed once per
// opening of the node and kept in the context.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/columns/LV_ColumnInfo.h"
#include "core/sources/LV_DataIntf.h"
#include "transform/formula/LV_CalcContext.h"
#include "transform/formula/LV_CalcFunctions.h"

namespace lv {

class TLVCalcDataContext : public TLVCalcContext {
 public:
  // The input whose rows the formulas compute over (null: detached).
  void Attach(ILVDataSource* source);
  void SetCurrentColumn(const ILVColumnInfo* column) { column_ = column; }

  ILVDataSource* DataSource() override { return source_; }
  const ILVColumnInfo* CurrentColumn() const override { return column_; }
  // The project being run (the run log knows it).
  std::string ProjectFileName() const override;

  // Index of an input column; raises when there is none of that name.
  int32_t RequireColumn(std::string_view name) const;
  // Per row of the input: the running sum of `field` or its linear trend, restarted
  // for each value of `group` when one is given.
  const std::vector<double>& RunningSum(std::string_view field, std::string_view group);
  const std::vector<double>& Trend(std::string_view field, std::string_view group);
  const TLVStatInfo& Stats(std::string_view field);

 private:
  // Group number of each row (all 0 without a group column).
  std::vector<int32_t> GroupsOf(std::string_view group);
  std::vector<double> NumbersOf(std::string_view field);

  ILVDataSource* source_ = nullptr;
  const ILVColumnInfo* column_ = nullptr;
  std::map<std::string, std::vector<double>, std::less<>> perRow_;
  std::map<std::string, std::shared_ptr<TLVStatInfo>, std::less<>> stats_;
};

// The calculator's functions, on top of LVCalcFunctions().
const TLVFunctionCollection& CalcDataFunctions();

void RegisterCalcDataFunctionsTexts();

}  // namespace lv
