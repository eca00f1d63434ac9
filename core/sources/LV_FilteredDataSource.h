// Sources that offer a subset of their parent's rows, in the parent's columns.
//
// TLVFilteredDataSource shows the rows of an index set that someone else keeps (a
// training or test set, a selection). TLVCachedFilteredDataSource finds its rows
// itself when it opens (a row selector over blocks of the parent; over a parent that
// allows concurrent reads, one selector per core, each on its own part of the rows)
// and keeps them as an array of parent row numbers; it also lets a column's type be
// changed where the values allow. Both read the parent by gathering the selected rows
// block by block.
#pragma once

#include <memory>
#include <vector>

#include "core/sources/LV_DataSource.h"
#include "core/sources/LV_Progress.h"

namespace lv {

// A plain array of row numbers.
class TLVDataSourceIndexes : public ILVDataSourceIndexes {
 public:
  TLVDataSourceIndexes() = default;
  explicit TLVDataSourceIndexes(std::vector<TLVRowIndex> rows) : rows_(std::move(rows)) {}
  TLVRowIndex GetIndexCount() const override { return static_cast<TLVRowIndex>(rows_.size()); }
  const TLVRowIndex* GetIndexes() const override { return rows_.data(); }
  std::vector<TLVRowIndex>& Rows() { return rows_; }

 private:
  std::vector<TLVRowIndex> rows_;
};

// Chooses the rows a filtering source keeps, block by block. A selector is used by one
// thread; a selection that runs in parts has one per part.
class ILVRowSelector {
 public:
  virtual ~ILVRowSelector() = default;
  // Appends to `selected`, ascending, the rows among the `count` (<= kLVBlockSize) rows
  // of `source` from `first` on that are kept.
  virtual void SelectRows(ILVDataSource& source, TLVRowIndex first, int32_t count,
                          std::vector<TLVRowIndex>& selected) = 0;
};

class TLVFilteredDataSource : public TLVDataSource {
 public:
  ILVDataSource* GetDataSource() const { return ParentSource(); }
  void SetDataSource(std::shared_ptr<ILVDataSource> parent) { ReplaceParent(std::move(parent)); }
  // The rows to show; null shows none. Every index must be a row of the parent.
  void SetIndexes(std::shared_ptr<const ILVDataSourceIndexes> indexes);

 protected:
  void DoOpen() override;
  TLVRowIndex DoGetRowCount() override;
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;
  void DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) override;
  void RebuildColumns() override;

 private:
  std::shared_ptr<const ILVDataSourceIndexes> indexes_;
};

class TLVCachedFilteredDataSource : public TLVDataSource {
 public:
  ILVDataSource* GetDataSource() const { return ParentSource(); }
  void SetDataSource(std::shared_ptr<ILVDataSource> parent) { ReplaceParent(std::move(parent)); }

  // Changes the type of column `index`; refused with a message when the column's type
  // is fixed or a value of the parent cannot be converted.
  void SetColumnDataType(int32_t index, TLVDataType type);

  // The selected rows as parent row numbers ("Массив выбранных строк"); valid while
  // the source is open.
  const std::vector<TLVRowIndex>& SelectedRows() const { return selected_; }
  void SetProgress(ILVProgress* progress) { progress_ = progress; }
  // Reads gather from the parent and convert in the block.
  bool ConcurrentReads() const override {
    return ParentSource() && ParentSource()->ConcurrentReads();
  }

 protected:
  // A selector for one part of the rows, made on the opening thread while the parent
  // is locked. The default keeps every row.
  virtual std::unique_ptr<ILVRowSelector> NewRowSelector();
  // Caption of the selection's progress.
  virtual std::string ProgressCaption() const;
  // Whether a column's type may change at all; the default allows it for every
  // column of a known type.
  virtual bool TypeChangeable(int32_t index) const;
  // Puts the selected rows (parent row numbers, ascending) in the order the source
  // offers them; called on the opening thread while the parent is locked. The default
  // keeps the parent's order.
  virtual void ArrangeRows(ILVDataSource& parent, std::vector<TLVRowIndex>& rows);

  void DoOpen() override;
  void DoClose() override;
  TLVRowIndex DoGetRowCount() override;
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;
  void DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) override;
  void RebuildColumns() override;

 private:
  void ReadParentRows(int32_t column, const TLVRowIndex* parentRows, int32_t count, TLVBlock& out);

  std::vector<TLVRowIndex> selected_;
  ILVProgress* progress_ = nullptr;
};

void RegisterFilteredDataSourceTexts();

}  // namespace lv
