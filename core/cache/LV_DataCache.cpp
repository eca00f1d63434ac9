#include "core/cache/LV_DataCache.h"

#include <bit>
#include <cstdint>
#include <new>
#include <type_traits>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

size_t ValueSize(TLVDataType type) {
  switch (type) {
    case TLVDataType::dtBoolean:
      return 1;
    case TLVDataType::dtInteger:
      return sizeof(int32_t);
    case TLVDataType::dtFloat:
    case TLVDataType::dtDateTime:
      return sizeof(double);
    case TLVDataType::dtString:
      return sizeof(TLVTextItem*);
    default:
      return 0;  // dtNone and anything unknown cannot be stored
  }
}

// One value from its slot (whose flag byte is `flag`) for a block, shared by the run
// and the gather loops. A missing number reads as the quiet NaN so that code ignoring
// the flags still sees a missing value. Nulls are chosen with masks rather than
// branches: where they fall in real data is unpredictable, and a mispredicted branch
// per row would cost more than the read.
constexpr uint64_t kMissingBits = 0xFFF8000000000000ull;
constexpr uint64_t kOneBits = 0x3FF0000000000000ull;  // 1.0

inline uint64_t PresentMask(uint8_t flag) {
  return uint64_t{0} - uint64_t{flag != 0};
}

struct TReadNumber {
  double operator()(const uint8_t* slot, uint8_t flag) const {
    uint64_t stored;
    std::memcpy(&stored, slot + 1, sizeof(stored));
    const uint64_t present = PresentMask(flag);
    return std::bit_cast<double>((stored & present) | (kMissingBits & ~present));
  }
};
struct TReadBoolean {
  double operator()(const uint8_t* slot, uint8_t flag) const {
    const uint64_t present = PresentMask(flag);
    return std::bit_cast<double>((kOneBits & PresentMask(slot[1]) & present) |
                                 (kMissingBits & ~present));
  }
};
struct TReadInteger {
  int32_t operator()(const uint8_t* slot, uint8_t flag) const {
    uint32_t stored;
    std::memcpy(&stored, slot + 1, sizeof(stored));
    return static_cast<int32_t>(stored & static_cast<uint32_t>(PresentMask(flag)));
  }
};
struct TReadString {
  std::string_view operator()(const uint8_t* slot, uint8_t flag) const {
    const TLVTextItem* item;
    std::memcpy(&item, slot + 1, sizeof(item));
    return flag != 0 && item ? item->View() : std::string_view{};
  }
};

// One run of adjacent records into a block.
template <class Read, class T>
void FillRun(const uint8_t* slot, size_t n, size_t stride, uint8_t* flags, T* out, Read read) {
  for (size_t i = 0; i < n; ++i, slot += stride) {
    const uint8_t flag = slot[0];
    flags[i] = flag;
    out[i] = read(slot, flag);
  }
}

}  // namespace

TLVDataCache::TLVDataCache(TLVDataCacheCleanupBuffer& cleanup) : cleanup_(cleanup) {}

TLVDataCache::~TLVDataCache() {
  Close();
}

void TLVDataCache::SetColumns(std::vector<TLVDataType> columns) {
  if (active_) throw ELVDataError("ErrDataCacheActive");
  std::vector<TSlot> slots;
  std::vector<size_t> stringOffsets;
  slots.reserve(columns.size());
  size_t offset = 0;
  for (size_t i = 0; i < columns.size(); ++i) {
    const size_t size = ValueSize(columns[i]);
    if (size == 0) throw ELVDataError("ErrInvalidDataCacheColumn", {i});
    slots.push_back({offset, columns[i]});
    if (columns[i] == TLVDataType::dtString) stringOffsets.push_back(offset);
    offset += 1 + size;
  }
  columns_ = std::move(columns);
  slots_ = std::move(slots);
  stringSlotOffsets_ = std::move(stringOffsets);
  recordSize_ = offset;
}

void TLVDataCache::SetRowBlockBytes(size_t bytes) {
  if (active_) throw ELVDataError("ErrDataCacheActive");
  rowBlockBytes_ = bytes;
}

void TLVDataCache::Open() {
  if (active_) return;
  if (columns_.empty()) throw ELVDataError("ErrDataCacheColumns");
  // A power of two rows per block turns the row-to-block step of every cell access
  // into a shift and a mask. Rounding down costs at most half of the nominal block
  // size per block, never memory beyond the records themselves.
  constexpr size_t kMaxRowsPerBlock = size_t{1} << 30;
  const size_t rows = std::clamp<size_t>(rowBlockBytes_ / recordSize_, 1, kMaxRowsPerBlock);
  rowsPerBlock_ = static_cast<TLVRowIndex>(std::bit_floor(rows));
  rowShift_ = std::countr_zero(static_cast<uint64_t>(rowsPerBlock_));
  rowMask_ = rowsPerBlock_ - 1;
  active_ = true;
}

void TLVDataCache::Close() noexcept {
  if (!active_) return;
  HandOverBlocks();
  active_ = false;
}

void TLVDataCache::Clear() {
  if (active_) HandOverBlocks();
}

void TLVDataCache::HandOverBlocks() noexcept {
  std::vector<TLVRowBlockMemory> memory;
  try {
    memory.reserve(blocks_.size());
  } catch (...) {
    // Without room to list them the blocks cannot be watched; texts may still point
    // into them, so they are left to the system rather than freed.
    for (auto& store : blocks_) {
      store.memory.records.Leak();
      for (auto& chunk : store.memory.textChunks) chunk.Leak();
    }
  }
  if (memory.capacity() >= blocks_.size()) {
    for (size_t b = 0; b < blocks_.size(); ++b) {
      const TLVRowIndex used = rowCount_ - static_cast<TLVRowIndex>(b) * rowsPerBlock_;
      blocks_[b].memory.rowCount =
          static_cast<uint32_t>(std::clamp<TLVRowIndex>(used, 0, rowsPerBlock_));
      memory.push_back(std::move(blocks_[b].memory));
    }
    cleanup_.Submit(std::move(memory), stringSlotOffsets_, recordSize_);
  }
  blocks_.clear();
  rowBlocks_.clear();
  rowCount_ = 0;
  capacity_ = 0;
}

void TLVDataCache::AddRowBlock(size_t textRoom) {
  if (!active_) throw ELVDataError("ErrDataCacheClosed");
  if (blocks_.size() == blocks_.capacity()) {
    const size_t grown = std::max<size_t>(8, blocks_.size() * 2);
    rowBlocks_.reserve(grown);
    blocks_.reserve(grown);
  }
  TBlockStore store;
  store.memory.records = TLVPageBlock(static_cast<size_t>(rowsPerBlock_) * recordSize_);
  if (textRoom > 0) {
    TLVPageBlock room(textRoom);
    store.textCursor = room.Data();
    store.textLeft = room.Bytes();
    store.textAllocated = room.Bytes();
    store.memory.textChunks.push_back(std::move(room));
  }
  rowBlocks_.push_back(store.memory.records.Data());
  blocks_.push_back(std::move(store));
  capacity_ += rowsPerBlock_;
}

TLVRowIndex TLVDataCache::AppendRows(TLVRowIndex count) {
  return AppendRowsToFill(count, 0);
}

TLVRowIndex TLVDataCache::AppendRowsToFill(TLVRowIndex count, size_t textBytes) {
  if (!active_) throw ELVDataError("ErrDataCacheClosed");
  if (count < 0) throw ELVDataError("ErrDataCacheInvalidIndex", {count});
  if (static_cast<uint64_t>(count) > static_cast<uint64_t>(PTRDIFF_MAX) / recordSize_) {
    throw std::bad_alloc();
  }
  // Each new block's share of the text room, with an eighth to spare: rows differ, and
  // what a block leaves unused is given back by EndFill.
  const double roomPerRow = count > 0 ? 1.125 * static_cast<double>(textBytes) / static_cast<double>(count) : 0;
  const size_t blocksBefore = blocks_.size();
  try {
    while (capacity_ - rowCount_ < count) {
      const TLVRowIndex rows = std::min(rowsPerBlock_, rowCount_ + count - capacity_);
      AddRowBlock(static_cast<size_t>(roomPerRow * static_cast<double>(rows)));
    }
  } catch (...) {
    DropBlocksFrom(blocksBefore);
    throw;
  }
  const TLVRowIndex first = rowCount_;
  rowCount_ += count;
  fillFirst_ = first;
  return first;
}

void TLVDataCache::PrepareFill(TLVRowIndex first, TLVRowIndex count, size_t textBytes) {
  if (count <= 0) return;
  if (first < 0 || first > rowCount_ - count || (first >> rowShift_) != ((first + count - 1) >> rowShift_)) {
    ThrowBadRange(first, count);
  }
  // madvise wants whole pages; blocks start on one, so rounding down stays inside.
  const auto prefault = [](uint8_t* from, size_t bytes) {
    const size_t lead = reinterpret_cast<uintptr_t>(from) % LVPageSize();
    LVPrefaultPages(from - lead, bytes + lead);
  };
  prefault(SlotAt(first, 0), static_cast<size_t>(count) * recordSize_);
  const TBlockStore& store = blocks_[static_cast<size_t>(first >> rowShift_)];
  if (store.textLeft > 0 && textBytes > 0) prefault(store.textCursor, std::min(textBytes, store.textLeft));
}

void TLVDataCache::EndFill(TLVRowIndex filled) noexcept {
  const TLVRowIndex keep = fillFirst_ + std::clamp<TLVRowIndex>(filled, 0, rowCount_ - fillFirst_);
  // Blocks past the kept rows go back at once: nothing was handed out from them yet.
  DropBlocksFrom(static_cast<size_t>((keep + rowsPerBlock_ - 1) >> rowShift_));
  // Rows appended later must be null, whatever a filling thread wrote there.
  if (keep < std::min(rowCount_, capacity_)) {
    std::memset(SlotAt(keep, 0), 0, static_cast<size_t>(std::min(rowCount_, capacity_) - keep) * recordSize_);
  }
  rowCount_ = keep;
  for (size_t b = static_cast<size_t>(fillFirst_ >> rowShift_); b < blocks_.size(); ++b) {
    TBlockStore& store = blocks_[b];
    // Only room worth a system call goes back: a chunk's own tail is left as it is.
    if (store.textLeft <= kTextChunkBytes) continue;
    const auto cursor = reinterpret_cast<uintptr_t>(store.textCursor);
    for (TLVPageBlock& chunk : store.memory.textChunks) {
      const auto start = reinterpret_cast<uintptr_t>(chunk.Data());
      if (cursor < start || cursor - start >= chunk.Bytes()) continue;  // not the current chunk
      const size_t used = cursor - start;
      store.textAllocated -= chunk.Bytes();
      chunk.TrimTo(LVRoundToPages(std::max<size_t>(used, 1)));
      store.textAllocated += chunk.Bytes();
      store.textLeft = chunk.Bytes() - used;
      break;
    }
  }
}

void TLVDataCache::DropBlocksFrom(size_t kept) noexcept {
  while (blocks_.size() > kept) {
    blocks_.pop_back();
    rowBlocks_.pop_back();
  }
  capacity_ = static_cast<TLVRowIndex>(blocks_.size()) * rowsPerBlock_;
}

size_t TLVDataCache::AllocatedBytes() const {
  size_t bytes = 0;
  for (const TBlockStore& store : blocks_) bytes += store.memory.records.Bytes() + store.textAllocated;
  return bytes;
}

size_t TLVDataCache::PayloadBytes() const {
  size_t bytes = static_cast<size_t>(rowCount_) * recordSize_;
  for (const TBlockStore& store : blocks_) bytes += store.textBytes;
  return bytes;
}

TLVTextItem* TLVDataCache::PlaceTextInNewChunk(TBlockStore& store,
                                               std::string_view text) {
  if (text.size() > kLVMaxTextLength) throw std::bad_alloc();
  const size_t size = TLVTextItem::StorageSize(text.size());
  auto& chunks = store.memory.textChunks;
  if (chunks.size() == chunks.capacity()) chunks.reserve(std::max<size_t>(4, chunks.size() * 2));
  // A text that would fill a good part of a chunk gets pages of its own: opening a new
  // shared chunk for it could leave that much of the current one unused.
  if (size > kTextChunkBytes / 4) {
    TLVPageBlock own(size);
    TLVTextItem* item = TLVTextItem::Place(own.Data(), text, true);
    store.textAllocated += own.Bytes();
    store.textBytes += size;
    chunks.push_back(std::move(own));
    return item;
  }
  TLVPageBlock chunk(kTextChunkBytes);
  uint8_t* at = chunk.Data();
  store.textCursor = at + size;
  store.textLeft = chunk.Bytes() - size;
  store.textAllocated += chunk.Bytes();
  store.textBytes += size;
  chunks.push_back(std::move(chunk));
  return TLVTextItem::Place(at, text, true);
}

void TLVDataCache::KeepReplacedText(TLVRowIndex row, TLVTextItem* item) {
  blocks_[static_cast<size_t>(row >> rowShift_)].memory.replacedTexts.push_back(item);
}

void TLVDataCache::SetValue(TLVRowIndex row, int32_t column, const TLVValue& value) {
  if (value.IsNull()) {
    SetNull(row, column);
    return;
  }
  switch (value.Type()) {
    case TLVDataType::dtBoolean:
      SetBoolean(row, column, value.AsBoolean());
      return;
    case TLVDataType::dtInteger:
      SetInteger(row, column, value.AsInteger());
      return;
    case TLVDataType::dtFloat:
      SetFloat(row, column, value.AsDouble());
      return;
    case TLVDataType::dtDateTime:
      SetDateTime(row, column, value.AsDouble());
      return;
    case TLVDataType::dtString:
      SetString(row, column, value.AsText());
      return;
    default:
      break;
  }
  if (!ValidCell(row, column)) ThrowBadCell(row, column);
  ThrowWrongType(column);
}

TLVValue TLVDataCache::GetValue(TLVRowIndex row, int32_t column) const {
  if (!ValidCell(row, column)) ThrowBadCell(row, column);
  const TSlot& info = slots_[static_cast<size_t>(column)];
  const uint8_t* slot = SlotAt(row, info.offset);
  if (slot[0] == 0) return TLVValue::Null(info.type);
  switch (info.type) {
    case TLVDataType::dtBoolean:
      return TLVValue::Boolean(slot[1] != 0);
    case TLVDataType::dtInteger: {
      int32_t value;
      std::memcpy(&value, slot + 1, sizeof(value));
      return TLVValue::Integer(value);
    }
    case TLVDataType::dtString: {
      TLVTextItem* item;
      std::memcpy(&item, slot + 1, sizeof(item));
      return TLVValue::String(TLVText::Share(item));
    }
    default: {
      double value;
      std::memcpy(&value, slot + 1, sizeof(value));
      return info.type == TLVDataType::dtFloat ? TLVValue::Float(value) : TLVValue::DateTime(value);
    }
  }
}

void TLVDataCache::ReadBlock(int32_t column, TLVRowIndex first, int32_t count,
                             TLVBlock& out) const {
  if (!active_ || static_cast<uint32_t>(column) >= slots_.size()) ThrowBadCell(0, column);
  if (count > kLVBlockSize) throw ELVDataError("ErrDataCacheInvalidIndex", {count});
  if (first < 0 || count < 0 || first > rowCount_ - count) ThrowBadRange(first, count);
  const TSlot info = slots_[static_cast<size_t>(column)];
  out.Reset(info.type, count);
  const size_t stride = recordSize_;
  uint8_t* valid = out.Valid();
  // One tight loop per run of adjacent records; runs end only at block boundaries.
  auto fill = [&](auto read, auto* values) {
    auto run = [&](const uint8_t* records, size_t n) {
      FillRun(records + info.offset, n, stride, valid, values, read);
      valid += n;
      values += n;
    };
    ForRuns(first, count, run);
  };
  switch (info.type) {
    case TLVDataType::dtBoolean:
      fill(TReadBoolean{}, out.Numbers());
      break;
    case TLVDataType::dtInteger:
      fill(TReadInteger{}, out.Integers());
      break;
    case TLVDataType::dtString:
      fill(TReadString{}, out.Strings());
      break;
    default:
      fill(TReadNumber{}, out.Numbers());
      break;
  }
}

void TLVDataCache::CheckGather(int32_t column, int32_t count) const {
  if (!active_ || static_cast<uint32_t>(column) >= slots_.size()) ThrowBadCell(0, column);
  if (count < 0 || count > kLVBlockSize) throw ELVDataError("ErrDataCacheInvalidIndex", {count});
}

void TLVDataCache::ReadRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                            TLVBlock& out) const {
  CheckGather(column, count);
  // Every index is checked before anything is read.
  if (const int32_t bad = FindRowOutside(rows, count, rowCount_); bad >= 0) {
    throw ELVDataError("ErrDataCacheInvalidIndex", {rows[bad]});
  }
  Gather(column, rows, count, out);
}

void TLVDataCache::ReadCheckedRows(int32_t column, const TLVRowIndex* rows, int32_t count,
                                   TLVBlock& out) const {
  CheckGather(column, count);
  Gather(column, rows, count, out);
}

void TLVDataCache::Gather(int32_t column, const TLVRowIndex* rows, int32_t count,
                          TLVBlock& out) const {
  const TSlot info = slots_[static_cast<size_t>(column)];
  out.Reset(info.type, count);
  uint8_t* valid = out.Valid();
  // Rows far apart miss the processor's caches one by one, at addresses its prefetcher
  // cannot guess: each record is asked for kAhead rows before it is read, and each
  // text, a second miss behind its record, half as far ahead, once the record is in.
  auto gather = [&](auto read, auto* values) {
    constexpr bool kTexts = std::is_same_v<decltype(read), TReadString>;
    constexpr int32_t kAhead = 16;
    uint8_t* const* const blocks = rowBlocks_.data();
    const int shift = rowShift_;
    const TLVRowIndex mask = rowMask_;
    const size_t stride = recordSize_;
    const size_t offset = info.offset;
    auto slotOf = [=](TLVRowIndex row) {
      return blocks[static_cast<size_t>(row >> shift)] + static_cast<size_t>(row & mask) * stride +
             offset;
    };
    auto take = [&](int32_t i) {
      const uint8_t* slot = slotOf(rows[i]);
      const uint8_t flag = slot[0];
      valid[i] = flag;
      values[i] = read(slot, flag);
    };
    for (int32_t i = 0; i < std::min(count, kAhead); ++i) __builtin_prefetch(slotOf(rows[i]));
    int32_t i = 0;
    for (; i + kAhead < count; ++i) {
      __builtin_prefetch(slotOf(rows[i + kAhead]));
      if constexpr (kTexts) {
        const uint8_t* near = slotOf(rows[i + kAhead / 2]);
        const TLVTextItem* item;
        std::memcpy(&item, near + 1, sizeof(item));
        if (near[0] != 0) __builtin_prefetch(item);
      }
      take(i);
    }
    for (; i < count; ++i) take(i);
  };
  switch (info.type) {
    case TLVDataType::dtBoolean:
      gather(TReadBoolean{}, out.Numbers());
      break;
    case TLVDataType::dtInteger:
      gather(TReadInteger{}, out.Integers());
      break;
    case TLVDataType::dtString:
      gather(TReadString{}, out.Strings());
      break;
    default:
      gather(TReadNumber{}, out.Numbers());
      break;
  }
}

size_t TLVDataCache::SlotOffset(int32_t column) const {
  if (static_cast<uint32_t>(column) >= slots_.size()) {
    throw ELVDataError("ErrDataCacheInvalidIndex", {column});
  }
  return slots_[static_cast<size_t>(column)].offset;
}

void TLVDataCache::ThrowBadCell(TLVRowIndex row, int32_t column) const {
  if (!active_) throw ELVDataError("ErrDataCacheClosed");
  if (static_cast<uint32_t>(column) >= slots_.size()) {
    throw ELVDataError("ErrDataCacheInvalidIndex", {column});
  }
  throw ELVDataError("ErrDataCacheInvalidIndex", {row});
}

void TLVDataCache::ThrowBadRange(TLVRowIndex first, TLVRowIndex count) const {
  if (!active_) throw ELVDataError("ErrDataCacheClosed");
  if (first < 0) throw ELVDataError("ErrDataCacheInvalidIndex", {first});
  if (count < 0) throw ELVDataError("ErrDataCacheInvalidIndex", {count});
  throw ELVDataError("ErrDataCacheInvalidIndex", {std::max(first, rowCount_)});
}

void TLVDataCache::ThrowWrongType(int32_t column) {
  throw ELVDataError("ErrInvalidDataCacheColumn", {column});
}

void RegisterDataCacheTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrDataCacheActive", "ErrDataCacheClosed",
                                            "ErrDataCacheColumns", "ErrInvalidDataCacheColumn",
                                            "ErrDataCacheInvalidIndex"});
}

}  // namespace lv
