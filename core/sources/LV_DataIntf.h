// The interfaces through which every consumer sees a table: column descriptions
// (ILVColumnInfo, ILVColumnsInfo, ILVDataSourceInfo) and rows (ILVDataSource).
//
// Descriptions are cheap: they read no rows, so settings checks, the project file and
// wizards work from them alone. Rows are read by blocks (ReadBlock, ReadRows) on every
// hot path; GetValue is for grids and tests. Everything is single-threaded: a source
// and its ancestors are used from one thread at a time.
//
// Ownership: sources are handed out as std::shared_ptr; a child holds its parent.
// Listeners are not owned: a child adds itself to its parent and removes itself
// before it dies. A column description stays alive while anyone holds it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/columns/LV_Block.h"
#include "core/columns/LV_Types.h"
#include "core/columns/LV_Value.h"

namespace lv {

struct TLVStatInfo;

class ILVColumnInfo {
 public:
  virtual ~ILVColumnInfo() = default;
  virtual const std::string& GetName() const = 0;
  virtual void SetName(std::string_view name) = 0;
  virtual const std::string& GetDisplayName() const = 0;
  virtual void SetDisplayName(std::string_view caption) = 0;
  virtual TLVDataKind GetDataKind() const = 0;
  virtual void SetDataKind(TLVDataKind kind) = 0;
  virtual TLVDataStatus GetDataStatus() const = 0;
  virtual void SetDataStatus(TLVDataStatus status) = 0;
  virtual TLVDataType GetDataType() const = 0;
  virtual void SetDataType(TLVDataType type) = 0;
  virtual int32_t GetDataSize() const = 0;
  virtual void SetDataSize(int32_t size) = 0;
  virtual bool GetUsable() const = 0;
  virtual void SetUsable(bool usable) = 0;
  // Position in its list (-1 when in none).
  virtual int32_t GetColumnIndex() const = 0;
  // The statistics, or null when they have not been computed.
  virtual const TLVStatInfo* GetStatInfo() const = 0;
};

class ILVColumnsInfo {
 public:
  virtual ~ILVColumnsInfo() = default;
  virtual int32_t GetColumnCount() const = 0;
  virtual std::shared_ptr<ILVColumnInfo> GetColumnInfo(int32_t index) const = 0;
  // Position of the column called `name`, or -1.
  virtual int32_t IndexOfColumn(std::string_view name) const = 0;

  std::shared_ptr<ILVColumnInfo> FindColumnInfo(std::string_view name) const {
    int32_t i = IndexOfColumn(name);
    return i < 0 ? nullptr : GetColumnInfo(i);
  }
};

class ILVDataSourceInfo;

// What a source tells its listeners (its children).
enum class TLVNotifyReason : uint8_t {
  nrColumnsChanged,  // the column descriptions changed: shape, types or purposes
  nrDataChanged,     // the rows changed; the descriptions did not
  nrActiveChanged,   // the source was opened or closed
  nrDestroying,      // the source is going away
};

class ILVDataSourceListener {
 public:
  virtual ~ILVDataSourceListener() = default;
  virtual void OnNotifyDataSource(ILVDataSourceInfo& sender, TLVNotifyReason reason) = 0;
};

class ILVDataSourceInfo {
 public:
  virtual ~ILVDataSourceInfo() = default;
  virtual const ILVColumnsInfo& GetColumnsInfo() const = 0;
  virtual bool GetActive() const = 0;
  virtual void AddListener(ILVDataSourceListener* listener) = 0;
  virtual void RemoveListener(ILVDataSourceListener* listener) = 0;
};

class ILVDataSource : public virtual ILVDataSourceInfo {
 public:
  // Opens the source (and its ancestors); opening an open source does nothing.
  virtual void Open() = 0;
  virtual void Close() = 0;

  virtual TLVRowIndex GetRowCount() = 0;
  // A value with its null state; a string shares the source's text where it can.
  virtual TLVValue GetValue(TLVRowIndex row, int32_t column) = 0;
  virtual bool IsNull(TLVRowIndex row, int32_t column) = 0;
  // The numeric value of a cell (NaN when missing or textual): the cheap cell path.
  virtual double GetNumber(TLVRowIndex row, int32_t column) = 0;

  // `count` values of `column` from row `first` on; count <= kLVBlockSize.
  virtual void ReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) = 0;
  // The values of `column` at the `count` given rows, in that order.
  virtual void ReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) = 0;

  // Whether ReadBlock and ReadRows may run on several threads at once while the source
  // is open and locked, nothing else being called meanwhile. Sources whose reads only
  // look at rows already in memory say so; the others are read by one thread.
  virtual bool ConcurrentReads() const { return false; }

  // While locked, the rows under the source may not change. Locks nest and chain up
  // through every ancestor.
  virtual void Lock() = 0;
  virtual void Unlock() = 0;
  virtual bool Locked() const = 0;
};

// A set of row numbers of a source (a selection, a training or test set).
class ILVDataSourceIndexes {
 public:
  virtual ~ILVDataSourceIndexes() = default;
  virtual TLVRowIndex GetIndexCount() const = 0;
  // The row numbers, ascending or not; valid until the set changes.
  virtual const TLVRowIndex* GetIndexes() const = 0;
};

// Keeps a source locked for a scope.
class TLVLockGuard {
 public:
  explicit TLVLockGuard(ILVDataSource& source) : source_(source) { source_.Lock(); }
  ~TLVLockGuard() { source_.Unlock(); }
  TLVLockGuard(const TLVLockGuard&) = delete;
  TLVLockGuard& operator=(const TLVLockGuard&) = delete;

 private:
  ILVDataSource& source_;
};

}  // namespace lv
