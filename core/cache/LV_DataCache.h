// The row cache: materialised rows of the cached data sources.
//
// A row is a fixed-size record packed without padding. Each column has a slot: one
// flag byte (0 = null) followed by the value - Boolean 1 byte, integer 4 (int32),
// float and date 8 (double), string 8 (a TLVTextItem*, nullptr for an empty text).
// Slots are unaligned, so values go in and out with memcpy. Records live in large
// blocks from the operating system, a power-of-two number of rows per block, so a row
// is found with a shift and a mask. The texts of a block's string cells are placed in
// text chunks that belong to that block, so a block and its texts go back together.
//
// Ownership and threads: a cache is used from one thread, but for the filling of rows
// by several threads, a row block each (AppendRowsToFill). Close() and Clear() hand
// the blocks to the process-wide clean-up buffer (LV_DataCacheCleanup.h), the only part
// shared between threads, which frees a block once no TLVText handed out by GetValue()
// points into it. Views from GetString(), ReadBlock() and ReadRows() point into the
// blocks and stay valid until the cache is cleared or closed.
//
// Every failing call raises ELVDataError and changes nothing.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "core/cache/LV_DataCacheCleanup.h"
#include "core/columns/LV_Block.h"
#include "core/columns/LV_Types.h"
#include "core/columns/LV_Value.h"
#include "core/text/LV_Text.h"

namespace lv {

class TLVDataCache {
 public:
  // Name of the column list where caches persist it.
  static constexpr std::string_view kColumnsPropertyName = "CacheColumns";
  static constexpr size_t kDefaultRowBlockBytes = size_t{4} << 20;
  // Texts are placed in chunks of this size; 64 KiB is also the allocation granularity
  // of the systems that have one, so no address space is lost between chunks.
  static constexpr size_t kTextChunkBytes = size_t{64} << 10;

  explicit TLVDataCache(TLVDataCacheCleanupBuffer& cleanup = TLVDataCacheCleanupBuffer::Instance());
  ~TLVDataCache();
  TLVDataCache(const TLVDataCache&) = delete;
  TLVDataCache& operator=(const TLVDataCache&) = delete;

  // Structure; only while closed.
  void SetColumns(std::vector<TLVDataType> columns);
  const std::vector<TLVDataType>& Columns() const { return columns_; }
  int32_t ColumnCount() const { return static_cast<int32_t>(columns_.size()); }
  // Bytes of records per block (rounded down to a power-of-two row count, at least one
  // row). Small values are for tests that need many blocks.
  void SetRowBlockBytes(size_t bytes);
  size_t RowBlockBytes() const { return rowBlockBytes_; }

  void Open();
  // Drops every row; the blocks go to the clean-up buffer. Does nothing when closed.
  void Close() noexcept;
  bool Active() const { return active_; }
  // Drops every row and stays open; the blocks go to the clean-up buffer. Does nothing
  // when closed.
  void Clear();
  TLVRowIndex RowCount() const { return rowCount_; }

  // New rows have every cell null. Both return the index of the first new row.
  TLVRowIndex AppendRow() {
    if (rowCount_ == capacity_) [[unlikely]]
      AddRowBlock();
    return rowCount_++;
  }
  TLVRowIndex AppendRows(TLVRowIndex count);
  // Filling many rows at once, from several threads (a native data file is read so).
  // AppendRowsToFill appends `count` rows, every cell null, and has the system set up
  // their memory without touching it: their records, and room for about `textBytes`
  // of texts shared out over their blocks. Threads then fill the rows of whole blocks of
  // their own, each block from one thread: PrepareFill has the system map the memory
  // of some of those rows (and `textBytes` of their text room) in one go, which costs
  // it far less than mapping page by page at the first write; RecordToFill gives a
  // row's record, whose flag bytes and non-string values may be written as they are;
  // SetNewString sets its texts. No other call may be made until EndFill, which keeps
  // the first `filled` of the rows (later ones go back to null or away) and gives back
  // the text room left unused. Memory is taken from the system only in
  // AppendRowsToFill, except for texts that outgrow their block's room, because a
  // thread asking the system for memory holds up the page mapping of the others.
  TLVRowIndex AppendRowsToFill(TLVRowIndex count, size_t textBytes);
  void PrepareFill(TLVRowIndex first, TLVRowIndex count, size_t textBytes);
  uint8_t* RecordToFill(TLVRowIndex row) const { return SlotAt(row, 0); }
  void EndFill(TLVRowIndex filled) noexcept;
  TLVRowIndex RowsPerBlock() const { return rowsPerBlock_; }

  // Sets a string cell of a row being filled that has not been set since, without the
  // checks of SetString. `slot` is the row's record plus SlotOffset() of a string
  // column.
  void SetNewString(TLVRowIndex row, uint8_t* slot, std::string_view text) {
    TLVTextItem* item = text.empty() ? nullptr : PlaceText(row, text);
    slot[0] = 1;
    std::memcpy(slot + 1, &item, sizeof(item));
  }

  // Setters must match the column's type exactly (ErrInvalidDataCacheColumn).
  void SetNull(TLVRowIndex row, int32_t column) {
    if (!ValidCell(row, column)) ThrowBadCell(row, column);
    uint8_t* slot = SlotAt(row, slots_[static_cast<size_t>(column)].offset);
    if (slots_[static_cast<size_t>(column)].type == TLVDataType::dtString) ForgetText(row, slot);
    slot[0] = 0;
  }
  void SetBoolean(TLVRowIndex row, int32_t column, bool value) {
    uint8_t* slot = WritableSlot(row, column, TLVDataType::dtBoolean);
    slot[0] = 1;
    slot[1] = value ? 1 : 0;
  }
  void SetInteger(TLVRowIndex row, int32_t column, int32_t value) {
    uint8_t* slot = WritableSlot(row, column, TLVDataType::dtInteger);
    slot[0] = 1;
    std::memcpy(slot + 1, &value, sizeof(value));
  }
  void SetFloat(TLVRowIndex row, int32_t column, double value) {
    uint8_t* slot = WritableSlot(row, column, TLVDataType::dtFloat);
    slot[0] = 1;
    std::memcpy(slot + 1, &value, sizeof(value));
  }
  void SetDateTime(TLVRowIndex row, int32_t column, double days) {
    uint8_t* slot = WritableSlot(row, column, TLVDataType::dtDateTime);
    slot[0] = 1;
    std::memcpy(slot + 1, &days, sizeof(days));
  }
  void SetString(TLVRowIndex row, int32_t column, std::string_view text) {
    uint8_t* slot = WritableSlot(row, column, TLVDataType::dtString);
    TLVTextItem* item = text.empty() ? nullptr : PlaceText(row, text);
    ForgetText(row, slot);
    slot[0] = 1;
    std::memcpy(slot + 1, &item, sizeof(item));
  }
  // A null value of any type makes the cell null; otherwise the value's type must be
  // the column's.
  void SetValue(TLVRowIndex row, int32_t column, const TLVValue& value);

  // Getters return whether the value is present. A missing value leaves `value` as
  // false, 0, the quiet NaN or an empty view.
  bool IsNull(TLVRowIndex row, int32_t column) const {
    if (!ValidCell(row, column)) ThrowBadCell(row, column);
    return SlotAt(row, slots_[static_cast<size_t>(column)].offset)[0] == 0;
  }
  bool GetBoolean(TLVRowIndex row, int32_t column, bool& value) const {
    const uint8_t* slot = ReadableSlot(row, column, TLVDataType::dtBoolean);
    value = slot[0] != 0 && slot[1] != 0;
    return slot[0] != 0;
  }
  bool GetInteger(TLVRowIndex row, int32_t column, int32_t& value) const {
    const uint8_t* slot = ReadableSlot(row, column, TLVDataType::dtInteger);
    value = 0;
    if (slot[0] == 0) return false;
    std::memcpy(&value, slot + 1, sizeof(value));
    return true;
  }
  // Also reads Boolean (0 or 1), integer and date columns.
  bool GetFloat(TLVRowIndex row, int32_t column, double& value) const {
    if (!ValidCell(row, column)) ThrowBadCell(row, column);
    const TSlot& info = slots_[static_cast<size_t>(column)];
    if (info.type == TLVDataType::dtString) ThrowWrongType(column);
    const uint8_t* slot = SlotAt(row, info.offset);
    if (slot[0] == 0) {
      value = LVMissing();
      return false;
    }
    if (info.type == TLVDataType::dtInteger) {
      int32_t integer;
      std::memcpy(&integer, slot + 1, sizeof(integer));
      value = integer;
    } else if (info.type == TLVDataType::dtBoolean) {
      value = slot[1] != 0 ? 1.0 : 0.0;
    } else {
      std::memcpy(&value, slot + 1, sizeof(value));
    }
    return true;
  }
  bool GetDateTime(TLVRowIndex row, int32_t column, double& days) const {
    const uint8_t* slot = ReadableSlot(row, column, TLVDataType::dtDateTime);
    days = LVMissing();
    if (slot[0] == 0) return false;
    std::memcpy(&days, slot + 1, sizeof(days));
    return true;
  }
  bool GetString(TLVRowIndex row, int32_t column, std::string_view& text) const {
    const uint8_t* slot = ReadableSlot(row, column, TLVDataType::dtString);
    text = {};
    if (slot[0] == 0) return false;
    const TLVTextItem* item;
    std::memcpy(&item, slot + 1, sizeof(item));
    if (item) text = item->View();
    return true;
  }
  // A string value shares the cell's text: the block stays allocated while it lives.
  TLVValue GetValue(TLVRowIndex row, int32_t column) const;

  // One column's values for rows [first, first + count) into `out` (reset to the
  // column's type; count <= kLVBlockSize). Booleans read as 0/1 doubles; missing
  // numbers as the quiet NaN, missing integers as 0, missing texts as empty views.
  void ReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) const;
  // The same for `count` (<= kLVBlockSize) rows listed in `rows`, in that order.
  void ReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) const;
  // ReadRows for indexes the caller has already checked against RowCount().
  void ReadCheckedRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                       TLVBlock& out) const;

  // Direct access to the records, for readers that are faster on them than through
  // blocks. A column's flag byte is at SlotOffset(column) in a record and its value
  // right after it.
  size_t RecordSize() const { return recordSize_; }
  size_t SlotOffset(int32_t column) const;
  // Calls f(const uint8_t* records, size_t n) for each run of records that lie next to
  // each other, covering rows [first, first + count) in order; record i of a run starts
  // at records + i * RecordSize().
  template <class F>
  void ForEachRecordRun(TLVRowIndex first, TLVRowIndex count, F&& f) const {
    if (!active_ || first < 0 || count < 0 || first > rowCount_ - count) {
      ThrowBadRange(first, count);
    }
    ForRuns(first, count, f);
  }

  // Bytes taken from the system for live rows and texts, and the bytes those need
  // (records plus text items), for memory reports.
  size_t AllocatedBytes() const;
  size_t PayloadBytes() const;

 private:
  struct TSlot {
    size_t offset;
    TLVDataType type;
  };
  // A block's memory plus where its next text goes. Text sizes are counted per block,
  // so that threads filling different blocks share nothing.
  struct TBlockStore {
    TLVRowBlockMemory memory;
    uint8_t* textCursor = nullptr;
    size_t textLeft = 0;
    size_t textBytes = 0;
    size_t textAllocated = 0;
  };

  bool ValidCell(TLVRowIndex row, int32_t column) const {
    return static_cast<uint64_t>(row) < static_cast<uint64_t>(rowCount_) &&
           static_cast<size_t>(static_cast<uint32_t>(column)) < slots_.size();
  }
  uint8_t* SlotAt(TLVRowIndex row, size_t offset) const {
    return rowBlocks_[static_cast<size_t>(row >> rowShift_)] +
           static_cast<size_t>(row & rowMask_) * recordSize_ + offset;
  }
  uint8_t* WritableSlot(TLVRowIndex row, int32_t column, TLVDataType type) {
    return const_cast<uint8_t*>(ReadableSlot(row, column, type));
  }
  const uint8_t* ReadableSlot(TLVRowIndex row, int32_t column, TLVDataType type) const {
    if (!ValidCell(row, column)) ThrowBadCell(row, column);
    const TSlot& info = slots_[static_cast<size_t>(column)];
    if (info.type != type) ThrowWrongType(column);
    return SlotAt(row, info.offset);
  }
  template <class F>
  void ForRuns(TLVRowIndex first, TLVRowIndex count, F& f) const {
    TLVRowIndex row = first;
    const TLVRowIndex end = first + count;
    while (row < end) {
      const TLVRowIndex inBlock = row & rowMask_;
      const TLVRowIndex n = std::min(end - row, rowsPerBlock_ - inBlock);
      f(static_cast<const uint8_t*>(rowBlocks_[static_cast<size_t>(row >> rowShift_)] +
                                    static_cast<size_t>(inBlock) * recordSize_),
        static_cast<size_t>(n));
      row += n;
    }
  }

  TLVTextItem* PlaceText(TLVRowIndex row, std::string_view text) {
    const size_t size = TLVTextItem::StorageSize(text.size());
    TBlockStore& store = blocks_[static_cast<size_t>(row >> rowShift_)];
    if (size > store.textLeft) [[unlikely]]
      return PlaceTextInNewChunk(store, text);
    uint8_t* at = store.textCursor;
    store.textCursor += size;
    store.textLeft -= size;
    store.textBytes += size;
    return TLVTextItem::Place(at, text, true);
  }
  // Called before a string slot is overwritten: a text someone still holds must keep
  // its block alive although no record points to it any more.
  void ForgetText(TLVRowIndex row, const uint8_t* slot) {
    if (slot[0] == 0) return;
    TLVTextItem* old;
    std::memcpy(&old, slot + 1, sizeof(old));
    if (old && old->refCount.load(std::memory_order_relaxed) > 1) [[unlikely]]
      KeepReplacedText(row, old);
  }

  TLVTextItem* PlaceTextInNewChunk(TBlockStore& store, std::string_view text);
  void KeepReplacedText(TLVRowIndex row, TLVTextItem* item);
  // The column and the count of a gather.
  void CheckGather(int32_t column, int32_t count) const;
  // A gather whose column, count and indexes are checked.
  void Gather(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) const;
  // Drops the blocks after the first `kept` (no row of theirs handed out yet).
  void DropBlocksFrom(size_t kept) noexcept;
  // `textRoom` bytes are set aside for the new block's texts, untouched.
  void AddRowBlock(size_t textRoom = 0);
  void HandOverBlocks() noexcept;
  [[noreturn]] void ThrowBadCell(TLVRowIndex row, int32_t column) const;
  [[noreturn]] void ThrowBadRange(TLVRowIndex first, TLVRowIndex count) const;
  [[noreturn]] static void ThrowWrongType(int32_t column);

  TLVDataCacheCleanupBuffer& cleanup_;
  std::vector<TLVDataType> columns_;
  std::vector<TSlot> slots_;
  std::vector<size_t> stringSlotOffsets_;
  size_t recordSize_ = 0;
  size_t rowBlockBytes_ = kDefaultRowBlockBytes;

  bool active_ = false;
  TLVRowIndex rowsPerBlock_ = 1;
  int rowShift_ = 0;
  TLVRowIndex rowMask_ = 0;
  TLVRowIndex rowCount_ = 0;
  TLVRowIndex capacity_ = 0;
  // The records of each block, apart from the rest so that the hot paths index a dense
  // array of pointers.
  std::vector<uint8_t*> rowBlocks_;
  std::vector<TBlockStore> blocks_;
  // The first row of the last AppendRowsToFill.
  TLVRowIndex fillFirst_ = 0;
};

// Registers the row cache's message keys with the text table.
void RegisterDataCacheTexts();

}  // namespace lv
