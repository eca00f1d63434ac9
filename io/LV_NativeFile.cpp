#include "io/LV_NativeFile.h"

#include <atomic>
#include <bit>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "core/platform/LV_Bytes.h"
#include "core/cache/LV_DataCache.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
#include "core/sources/LV_Progress.h"
#include "core/platform/LV_RowParts.h"

namespace lv {

// Values are copied between the file and memory as they are.
static_assert(std::endian::native == std::endian::little,
              "the native data file is little-endian, like the machines it is made on");

namespace {

// A text item in a row: reference count and length, then the characters and a zero.
constexpr size_t kItemHeader = 8;
constexpr size_t kItemOverhead = kItemHeader + 1;
// The smallest column description: ID, two empty texts and three bytes.
constexpr uint64_t kMinColumnBytes = 4 + 4 + 4 + 3;
// Output is handed over in pieces of this size; input is read through a buffer of 64 KiB.
constexpr size_t kOutputChunk = size_t{1} << 20;
constexpr size_t kInputBuffer = size_t{1} << 16;
// Rows are read from the source in pieces of this size.
constexpr size_t kReadPiece = size_t{1} << 18;

template <class T>
void Store(void* at, T value) {
  std::memcpy(at, &value, sizeof value);
}

template <class T>
T Load(const uint8_t* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

}  // namespace

// --- TLVNativeLayout ---

TLVNativeLayout::TLVNativeLayout(std::vector<TLVDataType> types) : types_(std::move(types)) {
  offsets_.reserve(types_.size());
  for (TLVDataType type : types_) {
    offsets_.push_back(fixedSize_);
    fixedSize_ += CellSize(type);
    hasStrings_ |= type == TLVDataType::dtString;
  }
}

size_t TLVNativeLayout::CellSize(TLVDataType type) {
  switch (type) {
    case TLVDataType::dtBoolean:
      return 2;
    case TLVDataType::dtDateTime:
    case TLVDataType::dtFloat:
      return 1 + sizeof(double);
    case TLVDataType::dtInteger:
    case TLVDataType::dtString:
      return 1 + sizeof(int32_t);
    case TLVDataType::dtNone:
      break;
  }
  return 1;
}

// --- TLVNativeFileWriter ---

TLVNativeFileWriter::TLVNativeFileWriter(TOutput output, TLVCodePage page)
    : output_(std::move(output)), encoder_(page) {
  out_.resize(kOutputChunk + kOutputChunk / 4);
}

void TLVNativeFileWriter::PutText(std::string_view text, std::string_view column) {
  encoded_.clear();
  if (!encoder_.Append(text, encoded_)) throw ELVError("ErrNativeColumnText", {column});
  PutValue(static_cast<int32_t>(encoded_.size()));
  Put(encoded_.data(), encoded_.size());
}

void TLVNativeFileWriter::WriteHeader(const std::vector<TLVNativeColumn>& columns,
                                      int64_t rowCount) {
  Put(kLVNativeSignature.data(), kLVNativeSignature.size());
  PutValue(kLVNativeVersion);
  PutValue(static_cast<int32_t>(columns.size()));
  std::vector<TLVDataType> types;
  names_.clear();
  for (const TLVNativeColumn& column : columns) {
    PutValue(column.id);
    PutText(column.name, column.name);
    PutText(column.caption, column.name);
    PutValue(static_cast<uint8_t>(column.kind));
    PutValue(static_cast<uint8_t>(column.status));
    PutValue(static_cast<uint8_t>(column.type));
    types.push_back(column.type);
    names_.push_back(column.name);
  }
  PutValue(static_cast<int32_t>(types.size()));
  for (TLVDataType type : types) PutValue(static_cast<uint8_t>(type));
  PutValue(rowCount);
  layout_ = std::make_unique<TLVNativeLayout>(std::move(types));
  stringCells_.clear();
  for (size_t c = 0; c < layout_->Types().size(); ++c) {
    if (layout_->Types()[c] == TLVDataType::dtString) stringCells_.push_back(c);
  }
  FlushIfFull();
}

void TLVNativeFileWriter::StageFixedParts(const std::vector<TLVBlock>& blocks, int32_t count,
                                          uint8_t* fixed) {
  // Column by column: one tight loop per column with the type decided outside it. A
  // missing value is written as zero bytes, so equal tables give equal files.
  const size_t stride = layout_->FixedSize();
  for (size_t c = 0; c < layout_->Types().size(); ++c) {
    const TLVBlock& block = blocks[c];
    const uint8_t* valid = block.Valid();
    uint8_t* cell = fixed + layout_->CellOffset(c);
    switch (layout_->Types()[c]) {
      case TLVDataType::dtNone:
        for (int32_t i = 0; i < count; ++i, cell += stride) cell[0] = valid[i] != 0;
        break;
      case TLVDataType::dtString:  // the offsets of non-empty texts are set row by row
        for (int32_t i = 0; i < count; ++i, cell += stride) {
          cell[0] = valid[i] != 0;
          Store<int32_t>(cell + 1, 0);
        }
        break;
      case TLVDataType::dtBoolean:
        for (int32_t i = 0; i < count; ++i, cell += stride) {
          cell[0] = valid[i] != 0;
          cell[1] = valid[i] != 0 && block.Numbers()[i] != 0;
        }
        break;
      case TLVDataType::dtInteger:
        for (int32_t i = 0; i < count; ++i, cell += stride) {
          cell[0] = valid[i] != 0;
          Store<int32_t>(cell + 1, valid[i] ? block.Integers()[i] : 0);
        }
        break;
      case TLVDataType::dtFloat:
      case TLVDataType::dtDateTime:
        for (int32_t i = 0; i < count; ++i, cell += stride) {
          cell[0] = valid[i] != 0;
          Store<double>(cell + 1, valid[i] ? block.Numbers()[i] : 0.0);
        }
        break;
    }
  }
}

void TLVNativeFileWriter::WriteStringRow(const std::vector<TLVBlock>& blocks, int32_t row,
                                         int64_t rowNumber, uint8_t* fixed) {
  const size_t fixedSize = layout_->FixedSize();
  items_.clear();
  rowTexts_.clear();
  // Offsets count from the start of the fixed part and point at an item's characters.
  size_t next = fixedSize + kItemHeader;
  for (size_t c : stringCells_) {
    const TLVBlock& block = blocks[c];
    if (!block.Valid()[row]) continue;
    std::string_view text = block.Strings()[row];
    if (text.empty()) continue;  // present and empty: offset 0, no item
    TItem item{text.data(), 0, text.size()};
    if (!IsAsciiText(text)) {
      const size_t start = rowTexts_.size();
      if (!encoder_.Append(text, rowTexts_)) {
        throw ELVError("ErrNativeCellText", {names_[c], rowNumber});
      }
      item = {nullptr, start, rowTexts_.size() - start};
    }
    if (next > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
      throw ELVError("ErrNativeRowTooLong", {rowNumber});
    }
    Store<int32_t>(fixed + layout_->CellOffset(c) + 1, static_cast<int32_t>(next));
    next += item.size + kItemOverhead;
    items_.push_back(item);
  }
  const size_t total = next - kItemHeader;
  if (total > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
    throw ELVError("ErrNativeRowTooLong", {rowNumber});
  }
  char* at = Room(sizeof(int32_t) + total);
  Store<int32_t>(at, static_cast<int32_t>(total));
  std::memcpy(at + sizeof(int32_t), fixed, fixedSize);
  at += sizeof(int32_t) + fixedSize;
  for (const TItem& item : items_) {
    Store<int32_t>(at, 1);
    Store<int32_t>(at + sizeof(int32_t), static_cast<int32_t>(item.size));
    std::memcpy(at + kItemHeader, item.data ? item.data : rowTexts_.data() + item.offset,
                item.size);
    at[kItemHeader + item.size] = '\0';
    at += item.size + kItemOverhead;
  }
}

void TLVNativeFileWriter::WriteRows(const std::vector<TLVBlock>& blocks, int32_t count,
                                    int64_t firstRow) {
  if (!layout_ || layout_->Types().empty() || count <= 0) return;
  for (size_t c = 0; c < layout_->Types().size(); ++c) {
    // Only the validity of a column without values is read, whatever its block holds.
    const TLVDataType type = layout_->Types()[c];
    if (blocks.size() <= c || blocks[c].Count() < count ||
        (type != TLVDataType::dtNone && blocks[c].Type() != type)) {
      throw std::logic_error("a block does not hold its column's values");
    }
  }
  const size_t fixedSize = layout_->FixedSize();
  const size_t bytes = fixedSize * static_cast<size_t>(count);
  if (!layout_->HasStrings()) {
    // The fixed parts are the rows: they are staged straight into the output.
    StageFixedParts(blocks, count, reinterpret_cast<uint8_t*>(Room(bytes)));
    FlushIfFull();
    return;
  }
  staging_.resize(bytes);
  StageFixedParts(blocks, count, staging_.data());
  for (int32_t i = 0; i < count; ++i) {
    WriteStringRow(blocks, i, firstRow + i + 1,
                   staging_.data() + static_cast<size_t>(i) * fixedSize);
    FlushIfFull();
  }
}

void TLVNativeFileWriter::FlushIfFull() {
  if (used_ >= kOutputChunk) Finish();
}

void TLVNativeFileWriter::Finish() {
  if (used_ == 0) return;
  output_({out_.data(), used_});
  written_ += used_;
  used_ = 0;
}

// --- Sources ---

namespace {

class TFileSource : public ILVNativeSource {
 public:
  explicit TFileSource(const std::string& path) : file_(std::fopen(path.c_str(), "rb")) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (!file_ || error) {
      if (file_) std::fclose(file_);
      throw ELVError("ErrNativeFileOpen", {path});
    }
    size_ = size;
    // The reader buffers itself.
    std::setvbuf(file_, nullptr, _IONBF, 0);
  }
  ~TFileSource() override { std::fclose(file_); }
  TFileSource(const TFileSource&) = delete;
  TFileSource& operator=(const TFileSource&) = delete;

  size_t Read(void* to, size_t size) override { return std::fread(to, 1, size, file_); }
  uint64_t Size() const override { return size_; }

 private:
  std::FILE* file_;
  uint64_t size_ = 0;
};

class TMemorySource : public ILVNativeSource {
 public:
  explicit TMemorySource(std::string_view bytes) : bytes_(bytes) {}
  size_t Read(void* to, size_t size) override {
    const size_t n = std::min(size, bytes_.size() - at_);
    if (n != 0) std::memcpy(to, bytes_.data() + at_, n);
    at_ += n;
    return n;
  }
  uint64_t Size() const override { return bytes_.size(); }

 private:
  std::string_view bytes_;
  size_t at_ = 0;
};

}  // namespace

std::unique_ptr<ILVNativeSource> OpenNativeFileSource(const std::string& path) {
  return std::make_unique<TFileSource>(path);
}

std::unique_ptr<ILVNativeSource> NativeMemorySource(std::string_view bytes) {
  return std::make_unique<TMemorySource>(bytes);
}

// --- TLVNativeFileReader ---

// A buffered input that hands out runs of bytes in place. Every request is checked
// against the bytes the source has left before anything is allocated for it, and no
// more than those are ever read.
class TLVNativeFileReader::TInput {
 public:
  explicit TInput(std::unique_ptr<ILVNativeSource> source)
      : source_(std::move(source)), left_(source_->Size()), buffer_(kInputBuffer) {}

  uint64_t Left() const { return left_; }

  // `n` bytes, valid until the next call.
  const uint8_t* Take(size_t n) {
    if (n > end_ - at_) [[unlikely]]
      Refill(n);
    const uint8_t* bytes = buffer_.data() + at_;
    at_ += n;
    left_ -= n;
    return bytes;
  }
  template <class T>
  T Get() {
    return Load<T>(Take(sizeof(T)));
  }


  // Takes the next `count` rows into `out`, from its start, and returns their bytes.
  // `rowBytes(at, i)` gives the bytes of row i (its head included) from its first
  // `head` bytes, or raises when they are wrong. Reads from the source straight into
  // `out`, a piece at a time, so that what is read past the last row (at most a piece)
  // is all that is copied twice: it stays buffered for the next call.
  template <class RowBytes>
  size_t TakeRows(std::vector<uint8_t>& out, uint32_t count, size_t head, RowBytes rowBytes) {
    size_t filled = end_ - at_;
    if (out.size() < filled) out.resize(filled);
    std::memcpy(out.data(), buffer_.data() + at_, filled);
    at_ = end_ = 0;
    const auto need = [&](size_t n) {
      if (n <= filled) return;
      if (n > left_) throw ELVError("ErrNativeTruncated");
      const auto target = static_cast<size_t>(std::min<uint64_t>(left_, std::max(n, filled + kReadPiece)));
      if (out.size() < target) out.resize(std::max(target, std::min<size_t>(out.size() * 2, left_)));
      while (filled < n) {
        const size_t got = source_->Read(out.data() + filled, target - filled);
        if (got == 0) throw ELVError("ErrNativeTruncated");  // the source shrank
        filled += got;
      }
    };
    size_t taken = 0;
    for (uint32_t i = 0; i < count; ++i) {
      need(taken + head);
      const size_t size = rowBytes(out.data() + taken, i);
      need(taken + size);
      taken += size;
    }
    const size_t extra = filled - taken;
    if (buffer_.size() < extra) buffer_.resize(extra);
    std::memcpy(buffer_.data(), out.data() + taken, extra);
    end_ = extra;
    left_ -= taken;
    return taken;
  }

 private:
  // Keeps what is buffered and reads on until at least `n` bytes are.
  void Refill(size_t n) {
    if (n > left_) throw ELVError("ErrNativeTruncated");
    const size_t held = end_ - at_;
    std::memmove(buffer_.data(), buffer_.data() + at_, held);
    at_ = 0;
    end_ = held;
    // A row larger than the buffer gets a buffer of its size, which the check above
    // bounds by what the file really holds.
    if (n > buffer_.size()) buffer_.resize(n);
    const size_t room =
        static_cast<size_t>(std::min<uint64_t>(buffer_.size() - held, left_ - held));
    while (end_ < n) {
      const size_t got = source_->Read(buffer_.data() + end_, room - (end_ - held));
      if (got == 0) throw ELVError("ErrNativeTruncated");  // the source shrank
      end_ += got;
    }
  }

  std::unique_ptr<ILVNativeSource> source_;
  // Bytes not taken yet, the buffered ones included.
  uint64_t left_;
  std::vector<uint8_t> buffer_;
  size_t at_ = 0;
  size_t end_ = 0;
};

TLVNativeFileReader::TLVNativeFileReader(std::unique_ptr<ILVNativeSource> source, TLVCodePage page)
    : input_(std::make_unique<TInput>(std::move(source))), decoder_(page) {}

TLVNativeFileReader::~TLVNativeFileReader() = default;

namespace {

template <class E>
bool ValidEnum(uint8_t value) {
  return value < EnumCount<E>();
}

}  // namespace

const TLVNativeHeader& TLVNativeFileReader::ReadHeader() {
  TInput& in = *input_;
  if (in.Left() < kLVNativeSignature.size() ||
      std::memcmp(in.Take(kLVNativeSignature.size()), kLVNativeSignature.data(),
                  kLVNativeSignature.size()) != 0) {
    throw ELVError("ErrNativeSignature");
  }
  if (in.Get<int32_t>() != kLVNativeVersion) throw ELVError("ErrNativeVersion");

  const auto count = in.Get<int32_t>();
  if (count < 0) throw ELVError("ErrNativeBadColumnCount", {count});
  if (static_cast<uint64_t>(count) > in.Left() / kMinColumnBytes) {
    throw ELVError("ErrNativeTruncated");
  }
  auto text = [&](int32_t number) {
    const auto length = in.Get<int32_t>();
    if (length < 0) throw ELVError("ErrNativeBadColumn", {number});
    const auto* bytes = reinterpret_cast<const char*>(in.Take(static_cast<size_t>(length)));
    return decoder_.Decode({bytes, static_cast<size_t>(length)});
  };
  header_ = {};
  header_.columns.resize(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) {
    TLVNativeColumn& column = header_.columns[static_cast<size_t>(i)];
    column.id = in.Get<int32_t>();
    column.name = text(i + 1);
    column.caption = text(i + 1);
    const uint8_t* bytes = in.Take(3);
    if (!ValidEnum<TLVDataKind>(bytes[0]) || !ValidEnum<TLVDataStatus>(bytes[1]) ||
        !ValidEnum<TLVDataType>(bytes[2])) {
      throw ELVError("ErrNativeBadColumn", {i + 1});
    }
    column.kind = static_cast<TLVDataKind>(bytes[0]);
    column.status = static_cast<TLVDataStatus>(bytes[1]);
    column.type = static_cast<TLVDataType>(bytes[2]);
  }

  headerRead_ = true;
  const auto cells = in.Get<int32_t>();
  if (cells < 1) return header_;  // no cell columns: a table without rows
  if (cells != count) throw ELVError("ErrNativeColumnMismatch");
  const uint8_t* types = in.Take(static_cast<size_t>(cells));
  for (int32_t i = 0; i < cells; ++i) {
    const auto type = static_cast<TLVDataType>(types[i]);
    if (type != header_.columns[static_cast<size_t>(i)].type) {
      throw ELVError("ErrNativeColumnMismatch");
    }
    header_.cellTypes.push_back(type);
  }
  header_.rowCount = static_cast<uint32_t>(in.Get<int64_t>());
  longest_.assign(header_.cellTypes.size(), 0);
  return header_;
}

TLVDataType NativeCacheType(TLVDataType cellType) {
  return cellType == TLVDataType::dtNone ? TLVDataType::dtBoolean : cellType;
}

std::vector<TLVDataType> TLVNativeFileReader::CacheColumns() const {
  std::vector<TLVDataType> types;
  for (TLVDataType type : header_.cellTypes) types.push_back(NativeCacheType(type));
  return types;
}

TLVNativeFileReader::TRowPlan TLVNativeFileReader::PlanRows(const TLVDataCache& cache) const {
  // How a row's fixed part maps onto a cache record: runs of value cells are laid out
  // alike on both sides and are copied whole; text cells are placed one by one; cells
  // without values have nothing to copy (their slots stay missing).
  const TLVNativeLayout layout(header_.cellTypes);
  TRowPlan plan;
  for (size_t c = 0; c < layout.Types().size(); ++c) {
    const TLVDataType type = layout.Types()[c];
    const size_t from = layout.CellOffset(c);
    const size_t to = cache.SlotOffset(static_cast<int32_t>(c));
    if (type == TLVDataType::dtString) {
      plan.texts.push_back({from, to, c});
    } else if (type != TLVDataType::dtNone) {
      const size_t size = TLVNativeLayout::CellSize(type);
      std::vector<TRun>& runs = plan.runs;
      if (!runs.empty() && runs.back().from + runs.back().size == from &&
          runs.back().to + runs.back().size == to) {
        runs.back().size += size;
      } else {
        runs.push_back({from, to, size});
      }
    }
  }
  plan.fixedSize = layout.FixedSize();
  plan.head = layout.HasStrings() ? sizeof(int32_t) : 0;
  return plan;
}

// One reading of rows: the segments, which thread has taken which, how far each got,
// and the first error by position in the file.
class TLVNativeFileReader::TRowJob {
 public:
  static constexpr size_t kNoSegment = SIZE_MAX;

  TRowJob(TLVNativeFileReader& reader, TLVDataCache& cache, TRowPlan plan, ILVProgress* progress,
          TLVRowIndex firstRow, TLVRowIndex rows)
      : reader_(reader),
        cache_(cache),
        plan_(std::move(plan)),
        progress_(progress),
        firstRow_(firstRow),
        endRow_(firstRow + rows) {
    // Segments follow the cache's blocks, so that each block is filled by one thread.
    const TLVRowIndex perBlock = cache.RowsPerBlock();
    for (TLVRowIndex row = firstRow_; row < endRow_; row = (row / perBlock + 1) * perBlock) {
      starts_.push_back(row);
    }
    starts_.push_back(endRow_);
    done_.assign(Segments(), 0);
  }

  // The rows of every segment, by `parts` threads.
  void Run(int parts) {
    std::vector<TPartState> states(static_cast<size_t>(parts));
    for (TPartState& state : states) state.longest.assign(reader_.header_.cellTypes.size(), 0);
    LVRunInParts(
        parts, [&](int part, const std::atomic<bool>&) { RunPart(part, states[static_cast<size_t>(part)]); },
        [&] { Report(); });
    for (const TPartState& state : states) {
      for (size_t c = 0; c < state.longest.size(); ++c) {
        reader_.longest_[c] = std::max(reader_.longest_[c], state.longest[c]);
      }
    }
  }

  // Rows decoded from the first on without a gap (after Run).
  TLVRowIndex RowsRead() const {
    TLVRowIndex rows = 0;
    for (size_t k = 0; k < Segments(); ++k) {
      rows += done_[k];
      if (done_[k] < SegmentRows(k)) break;
    }
    return rows;
  }
  // The error of the earliest damaged segment, if any (after Run).
  void RaiseError() const {
    if (error_) std::rethrow_exception(error_);
  }
  bool Cancelled() const { return cancelled_; }

 private:
  size_t Segments() const { return starts_.size() - 1; }
  TLVRowIndex SegmentRows(size_t k) const { return starts_[k + 1] - starts_[k]; }

  void RunPart(int part, TPartState& state) {
    for (;;) {
      size_t k;
      size_t textBytes;
      {
        std::lock_guard lock(inputMutex_);
        if (cancelled_ || errorSegment_ != kNoSegment || next_ == Segments()) return;
        k = next_++;
        try {
          textBytes = TakeSegment(k, state);
        } catch (...) {
          Fail(k, std::current_exception());
          return;
        }
      }
      try {
        cache_.PrepareFill(starts_[k], SegmentRows(k), textBytes);
        DecodeSegment(k, state, part == 0);
      } catch (...) {
        Fail(k, std::current_exception());
        return;
      }
    }
  }

  // Under the input's lock: the bytes of segment k from the source. Returns about the
  // bytes its texts take in the cache.
  size_t TakeSegment(size_t k, TPartState& state) {
    const size_t head = plan_.head;
    const size_t fixedSize = plan_.fixedSize;
    const int64_t fileRow = starts_[k] - firstRow_;
    const size_t bytes = reader_.input_->TakeRows(
        state.bytes, static_cast<uint32_t>(SegmentRows(k)), head, [&](const uint8_t* at, uint32_t i) {
          if (head == 0) return fixedSize;
          const auto total = Load<int32_t>(at);
          if (total < 0 || static_cast<size_t>(total) < fixedSize) {
            throw ELVError("ErrNativeBadRow", {fileRow + i + 1});
          }
          return head + static_cast<size_t>(total);
        });
    // Text items take a few bytes more in the cache than in the file (alignment).
    const auto rows = static_cast<size_t>(SegmentRows(k));
    return bytes - rows * (head + fixedSize) + rows * plan_.texts.size() * 3;
  }

  void DecodeSegment(size_t k, TPartState& state, bool reports) {
    const size_t head = plan_.head;
    const uint8_t* at = state.bytes.data();
    TLVRowIndex row = starts_[k];
    const TLVRowIndex end = starts_[k + 1];
    while (row < end) {
      // Progress and cancellation are looked at every kProgressRows rows of the file.
      const TLVRowIndex stop = std::min(end, firstRow_ + ((row - firstRow_) / kProgressRows + 1) * kProgressRows);
      const TLVRowIndex chunk = stop - row;
      for (; row < stop; ++row) {
        const size_t size = head == 0 ? plan_.fixedSize : static_cast<size_t>(Load<int32_t>(at));
        const uint8_t* bytes = at + head;
        uint8_t* record = cache_.RecordToFill(row);
        for (const TRun& run : plan_.runs) CopyShortBytes(record + run.to, bytes + run.from, run.size);
        if (!plan_.texts.empty()) {
          reader_.PlaceTexts(cache_, plan_, state, bytes, size, record, row, row - firstRow_);
        }
        at = bytes + size;
      }
      done_[k] += chunk;
      rowsDone_.fetch_add(chunk, std::memory_order_relaxed);
      if (reports) Report();
      if (cancelled_ || errorSegment_ < k) return;
    }
  }

  // On the calling thread only.
  void Report() {
    if (!progress_) return;
    progress_->SetPosition(rowsDone_.load(std::memory_order_relaxed));
    if (progress_->Cancelled()) cancelled_ = true;
  }

  void Fail(size_t k, std::exception_ptr error) {
    std::lock_guard lock(errorMutex_);
    if (k < errorSegment_) {
      errorSegment_ = k;
      error_ = std::move(error);
    }
  }

  TLVNativeFileReader& reader_;
  TLVDataCache& cache_;
  const TRowPlan plan_;
  ILVProgress* const progress_;
  const TLVRowIndex firstRow_;
  const TLVRowIndex endRow_;
  // Segment k is cache rows [starts_[k], starts_[k + 1]).
  std::vector<TLVRowIndex> starts_;
  // Rows of each segment decoded; each written only by the thread that took it.
  std::vector<TLVRowIndex> done_;
  std::atomic<TLVRowIndex> rowsDone_{0};
  std::atomic<bool> cancelled_{false};
  std::mutex inputMutex_;
  size_t next_ = 0;  // guarded by inputMutex_: the next segment to take
  std::mutex errorMutex_;
  std::atomic<size_t> errorSegment_{kNoSegment};
  std::exception_ptr error_;  // guarded by errorMutex_
};

int64_t TLVNativeFileReader::ReadRows(TLVDataCache& cache, ILVProgress* progress) {
  if (!headerRead_) ReadHeader();
  if (header_.cellTypes.empty()) return 0;
  if (cache.Columns() != CacheColumns()) {
    throw std::logic_error("the row cache does not have the file's columns");
  }
  TRowPlan plan = PlanRows(cache);
  const size_t rowMinimum = plan.head + plan.fixedSize;
  // Memory goes to as many rows as the bytes left can hold, whatever the count says,
  // and to as many bytes of texts as they have.
  const uint64_t left = input_->Left();
  const auto rows = static_cast<TLVRowIndex>(std::min<uint64_t>(header_.rowCount, left / rowMinimum));
  const size_t itemBytes = static_cast<size_t>(left - static_cast<uint64_t>(rows) * rowMinimum);
  // Texts of a single-byte page may take up to twice as many bytes in UTF-8. Room not
  // used is given back before the rows are handed out.
  const size_t textRoom = decoder_.Page() == TLVCodePage::cpUTF8 ? itemBytes : 2 * itemBytes;

  TLVProgressScope scope(progress, LVText("SNativeImporting"), header_.rowCount);
  const TLVRowIndex first = cache.AppendRowsToFill(rows, textRoom);
  // However the reading ends, the cache keeps the rows read and nothing else.
  struct TEndFill {
    TLVDataCache& cache;
    TLVRowIndex read = 0;
    ~TEndFill() { cache.EndFill(read); }
  } end{cache};
  TRowJob job(*this, cache, std::move(plan), progress, first, rows);
  job.Run(LVRowPartCount(rows));
  end.read = job.RowsRead();
  job.RaiseError();
  if (!job.Cancelled() && static_cast<uint64_t>(rows) < header_.rowCount) {
    throw ELVError("ErrNativeTruncated");
  }
  return end.read;
}

void TLVNativeFileReader::PlaceTexts(TLVDataCache& cache, const TRowPlan& plan, TPartState& state,
                                     const uint8_t* bytes, size_t size, uint8_t* record,
                                     TLVRowIndex row, int64_t fileRow) const {
  const size_t fixedSize = plan.fixedSize;
  // Every item lies after the fixed part: when all of that is ASCII (item headers of
  // short texts are too), so is every text of the row, and none needs converting.
  const bool ascii =
      IsAsciiText({reinterpret_cast<const char*>(bytes + fixedSize), size - fixedSize});
  const bool singleByte = decoder_.Page() != TLVCodePage::cpUTF8;
  for (const TTextCell& cell : plan.texts) {
    const uint8_t* at = bytes + cell.from;
    if (at[0] == 0) continue;
    uint8_t* slot = record + cell.to;
    const auto offset = Load<int32_t>(at + 1);
    if (offset == 0) {
      cache.SetNewString(row, slot, {});
      continue;
    }
    // The item's header lies after the fixed part, its characters and the closing
    // zero inside the row.
    if (offset < 0 || static_cast<size_t>(offset) < fixedSize + kItemHeader ||
        static_cast<size_t>(offset) >= size) {
      throw ELVError("ErrNativeBadRow", {fileRow + 1});
    }
    const auto length = Load<int32_t>(bytes + offset - sizeof(int32_t));
    if (length < 0 || static_cast<size_t>(length) >= size - static_cast<size_t>(offset)) {
      throw ELVError("ErrNativeBadRow", {fileRow + 1});
    }
    std::string_view text(reinterpret_cast<const char*>(bytes + offset),
                          static_cast<size_t>(length));
    int32_t& longest = state.longest[cell.column];
    int32_t characters = length;
    if (!ascii && !IsAsciiText(text)) {
      if (singleByte || !IsValidUtf8(text)) {
        state.decoded.clear();
        decoder_.Append(text, state.decoded);
        text = state.decoded;
      }
      // A single-byte page has one character per byte; UTF-8 is counted only when it
      // could beat the longest so far (it never has more characters than bytes).
      if (!singleByte && length > longest) characters = static_cast<int32_t>(Utf8Length(text));
    }
    longest = std::max(longest, characters);
    cache.SetNewString(row, slot, text);
  }
}

void RegisterNativeFileTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"SNativeImporting", "ErrNativeFileOpen", "ErrNativeSignature", "ErrNativeVersion",
       "ErrNativeTruncated", "ErrNativeBadColumnCount", "ErrNativeBadColumn",
       "ErrNativeColumnMismatch", "ErrNativeBadRow", "ErrNativeColumnText", "ErrNativeCellText",
       "ErrNativeRowTooLong"});
}

}  // namespace lv
