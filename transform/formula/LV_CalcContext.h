// What a formula knows about the rows it is evaluated for. The evaluator tells the
// context which rows the current block holds; the data functions (RowNum, Data, Stat
// ...) reach the node's input through it. A context serves one evaluation at a time.
#pragma once

#include <string>
#include <string_view>

#include "core/columns/LV_Block.h"

namespace lv {

class ILVDataSource;
class ILVColumnInfo;

class TLVCalcContext {
 public:
  virtual ~TLVCalcContext() = default;

  // The table row (from 0) at a position of the current block.
  TLVRowIndex RowOf(int32_t pos) const { return rowList_ ? rowList_[pos] : firstRow_ + pos; }
  // The block holds rows first, first + 1, ...
  void SetRows(TLVRowIndex first) {
    firstRow_ = first;
    rowList_ = nullptr;
  }
  // The block holds the listed rows (kept by the caller during the evaluation).
  void SetRowList(const TLVRowIndex* rows) { rowList_ = rows; }

  // The node's input (null outside a data node).
  virtual ILVDataSource* DataSource() { return nullptr; }
  // The column being computed (null when there is none).
  virtual const ILVColumnInfo* CurrentColumn() const { return nullptr; }
  // Full name of the project file that holds the node ("" when unsaved or unknown).
  virtual std::string ProjectFileName() const { return {}; }

 private:
  TLVRowIndex firstRow_ = 0;
  const TLVRowIndex* rowList_ = nullptr;
};

}  // namespace lv
