// The base of every table of a scenario.
//
// TLVDataSourceInfo owns the column descriptions and the open state; TLVDataSource adds
// rows. A subclass supplies rows by overriding DoReadBlock (and, where it can do
// better than the defaults, DoReadRows and the cell reads): the block read is the
// primitive, so every source is fast on the hot path by default and the cell reads
// are a convenience built on it.
//
// Sources open on first read. Structural changes of the column list are refused while
// a source is open ("ErrDataSourceActive"). A source with a parent (tuned, derived,
// filtered) listens to it: a change of the parent's columns closes the source and
// lets it redefine its own; a change of the parent's rows closes it. Locks chain up:
// after a source is locked it locks its parent, and before it is unlocked it unlocks
// its parent. Single-threaded, like every source.
#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "core/columns/LV_ColumnInfo.h"
#include "core/sources/LV_Component.h"
#include "core/sources/LV_DataIntf.h"

namespace lv {

class TLVDataSource;

// A column description that also gives access to the column's values.
class TLVColumn : public TLVColumnInfo {
 public:
  TLVDataSource* Owner() const { return owner_; }
  TLVValue GetValue(TLVRowIndex row) const;
  void ReadBlock(TLVRowIndex first, int32_t count, TLVBlock& out) const;

 private:
  friend class TLVColumns;
  TLVDataSource* owner_ = nullptr;
};

class TLVColumns : public TLVColumnsInfo {
 public:
  explicit TLVColumns(TLVDataSource* owner) : owner_(owner) {}
  TLVColumn& Column(int32_t index) const { return static_cast<TLVColumn&>((*this)[index]); }

 protected:
  std::shared_ptr<TLVColumnInfo> NewItem() const override;
  // Binds a new item to the source so that it can read values.
  std::shared_ptr<TLVColumnInfo> Adopt(std::shared_ptr<TLVColumn> column) const {
    column->owner_ = owner_;
    return column;
  }

 private:
  TLVDataSource* owner_;
};

class TLVDataSourceInfo : public TLVComponent, public virtual ILVDataSourceInfo {
 public:
  explicit TLVDataSourceInfo(std::unique_ptr<TLVColumnsInfo> columns);
  ~TLVDataSourceInfo() override;

  TLVColumnsInfo& Columns() { return *columns_; }
  const TLVColumnsInfo& Columns() const { return *columns_; }
  const ILVColumnsInfo& GetColumnsInfo() const override { return *columns_; }
  bool GetActive() const override { return active_; }

  void AddListener(ILVDataSourceListener* listener) override;
  void RemoveListener(ILVDataSourceListener* listener) override;

 protected:
  void NotifyListeners(TLVNotifyReason reason);
  void SetActiveFlag(bool active) { active_ = active; }
  // The open state without a virtual call, for the per-cell paths.
  bool IsActive() const { return active_; }
  // Called when a description changed (after the listeners were told).
  virtual void OnColumnsChanged() {}

 private:
  std::unique_ptr<TLVColumnsInfo> columns_;
  std::vector<ILVDataSourceListener*> listeners_;
  bool active_ = false;
};

class TLVDataSource : public TLVDataSourceInfo,
                      public ILVDataSource,
                      public ILVDataSourceListener,
                      public std::enable_shared_from_this<TLVDataSource> {
 public:
  TLVDataSource();
  ~TLVDataSource() override;
  // For sources whose column list holds special items (see TLVColumns::NewItem).
  explicit TLVDataSource(std::unique_ptr<TLVColumns> columns);

  TLVColumns& DataColumns() { return static_cast<TLVColumns&>(Columns()); }

  std::shared_ptr<ILVDataSource> GetDataSourceIntf() override { return shared_from_this(); }

  // ILVDataSource
  void Open() override;
  void Close() override;
  TLVRowIndex GetRowCount() override;
  TLVValue GetValue(TLVRowIndex row, int32_t column) override;
  bool IsNull(TLVRowIndex row, int32_t column) override;
  double GetNumber(TLVRowIndex row, int32_t column) override;
  void ReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;
  void ReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) override;
  void Lock() override;
  void Unlock() override;
  bool Locked() const override { return lockCount_ > 0; }

  // The parent's notifications arrive here.
  void OnNotifyDataSource(ILVDataSourceInfo& sender, TLVNotifyReason reason) override;

 protected:
  // --- What a subclass supplies. Column indexes are always checked before; row
  // arguments are checked for block reads and gathers, while the cell reads check
  // their row themselves (so that a source which checks anyway pays once). ---
  virtual void DoOpen() {}
  virtual void DoClose() {}
  virtual TLVRowIndex DoGetRowCount() = 0;
  virtual void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) = 0;
  // Default: one block read per run of consecutive rows.
  virtual void DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out);
  // Defaults: a one-row block read after checking the row.
  virtual TLVValue DoGetValue(TLVRowIndex row, int32_t column);
  virtual double DoGetNumber(TLVRowIndex row, int32_t column);
  virtual bool DoIsNull(TLVRowIndex row, int32_t column);
  // Hooks around the lock of this source (before the parent is locked, after it is
  // unlocked), for sources over outside data.
  virtual void DoLock() {}
  virtual void DoUnlock() {}
  // The parent changed. Columns: the source is restructured (RebuildColumns); rows:
  // it closes. Either way the children are told.
  virtual void OnParentChanged(TLVNotifyReason reason);
  // Rebuilds the column list for the current parent (a new one, or one whose columns
  // changed); called closed, inside a column update bracket. The default keeps it.
  virtual void RebuildColumns() {}
  // Closes, rebuilds the columns and reports one change of them.
  void Restructure();
  // Replaces the column list with copies of `columns` (none when null).
  void CopyColumnsOf(const ILVColumnsInfo* columns);

  // --- Parent support for the sources that have a DataSource property. ---
  ILVDataSource* ParentSource() const { return parent_.get(); }
  const std::shared_ptr<ILVDataSource>& SharedParentSource() const { return parent_; }
  // Replaces the parent (listening to the new one) and restructures; the setter of
  // every source that has a DataSource property.
  void ReplaceParent(std::shared_ptr<ILVDataSource> parent);
  // The parent, or an error naming this source when there is none.
  ILVDataSource& RequireParent() const;

  void EnsureOpen() {
    if (!IsActive()) Open();
  }
  void CheckColumnIndex(int32_t column) const {
    if (static_cast<uint32_t>(column) >= static_cast<uint32_t>(Columns().Count())) {
      ThrowBadColumn(column);
    }
  }
  [[noreturn]] void ThrowBadColumn(int32_t column) const;
  void CheckRowRange(TLVRowIndex first, int32_t count);

  // Fills `out` with values at arbitrary rows by calling `readRun` once per run of
  // consecutive rows; the fallback gather of sources that can only read runs.
  static void ReadRowsByRuns(TLVDataType type, const TLVRowIndex* rows, int32_t count,
                             TLVBlock& out,
                             const std::function<void(TLVRowIndex, int32_t, TLVBlock&)>& readRun);

  // Reads `column` of `source` at `count` rows given by `indexes` (a gather), resolving
  // parent row numbers through an index array; shared by the filtering sources.
  static void GatherRows(ILVDataSource& source, int32_t sourceColumn, const TLVRowIndex* indexes,
                         const TLVRowIndex* rows, int32_t count, TLVBlock& out);

 private:
  std::shared_ptr<ILVDataSource> parent_;
  int lockCount_ = 0;
};

// Opens a column update bracket on a source's descriptions; the end of the bracket
// reports a change to the listeners when Changed() was called or a description changed
// inside it.
class TLVColumnsUpdate {
 public:
  explicit TLVColumnsUpdate(TLVColumnsInfo& columns);
  ~TLVColumnsUpdate();
  TLVColumnsUpdate(const TLVColumnsUpdate&) = delete;
  TLVColumnsUpdate& operator=(const TLVColumnsUpdate&) = delete;
  void Changed();

 private:
  TLVColumnsInfo& columns_;
};

void RegisterDataSourceTexts();

}  // namespace lv
