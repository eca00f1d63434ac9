// The calculator node: the parent's columns passed through, and one column per
// expression appended in list order, computed by the formula language over blocks of
// rows.
//
// `Variables` records the parent columns the expressions may use as they were when the
// node was set up; opening checks the parent still has each with its type. A node
// without recorded variables records the parent's columns when it first opens.
// Expressions marked `Cached` are computed for all rows once per opening and kept;
// the others are computed on every read (so Today, Now and Random change between
// reads). Single-threaded, like every data source.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/columns/LV_Block.h"
#include "core/registry/LV_Properties.h"
#include "core/sources/LV_DerivedDataSource.h"
#include "transform/calc/LV_CalcDataFunctions.h"
#include "transform/calc/LV_ExprColumns.h"
#include "transform/formula/LV_FloatCLineParser.h"

namespace lv {

class TLVCalcVariable : public TLVCollectionItem {
 public:
  TLVDataType GetDataType() const { return dataType_; }
  void SetDataType(TLVDataType type) { dataType_ = type; }

  // "Name", "DisplayName", "DataType".
  static const TLVPropertyTable<TLVCalcVariable>& Properties();

 private:
  TLVDataType dataType_ = TLVDataType::dtNone;
};

class TLVCalcVariables : public TLVCollectionOf<TLVCalcVariable> {};

class TLVCalcData : public TLVDerivedDataSource {
 public:
  TLVCalcData();
  ~TLVCalcData() override;

  TLVCalcVariables& Variables() { return variables_; }
  const TLVCalcVariables& Variables() const { return variables_; }
  TLVCalcExprColumns& ExprColumns() { return expressions_; }
  const TLVCalcExprColumns& ExprColumns() const { return expressions_; }

  // Records the parent's present columns as the variables (what setting the node up
  // does).
  void CaptureVariables();

  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    SetDataSource(std::move(parent));
  }

  // "Variables" (items "Variable") and "Expressions" (items "Expression").
  static const TLVPropertyTable<TLVCalcData>& Properties();
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 protected:
  void DefineColumns() override;
  void DoOpen() override;
  void DoClose() override;
  void ComputeBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;

 private:
  struct TCompiled;

  void CheckVariables();
  void Compile();
  // The block of one expression's values for rows [first, first + count).
  TLVCalcVector Evaluate(TCompiled& compiled, TLVRowIndex first, int32_t count);
  void FillCache(TCompiled& compiled);

  TLVCalcVariables variables_;
  TLVCalcExprColumns expressions_;
  std::vector<std::unique_ptr<TCompiled>> compiled_;
  std::vector<int32_t> expressionOfColumn_;  // -1 for passed-through columns
  std::vector<int32_t> parentIndexOfVariable_;
  TLVCalcDataContext context_;
  // Reused from block to block: the parent's values and their formula views.
  std::vector<TLVBlock> inputBlocks_;
  std::vector<std::unique_ptr<double[]>> inputNumbers_;
  std::vector<std::unique_ptr<std::string_view[]>> inputTexts_;
  std::vector<TLVCalcVector> inputs_;
  std::vector<std::string_view> cachedViews_;  // a cached text column's block, as views
};

void RegisterCalcDataTexts();

}  // namespace lv
