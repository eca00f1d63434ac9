#include "io/LV_NativeFile.h"

#include <bit>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <stdexcept>

#include "core/LV_Bytes.h"
#include "core/LV_DataCache.h"
#include "core/LV_Errors.h"
#include "core/LV_Format.h"
#include "core/LV_Localization.h"
#include "core/LV_Progress.h"

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
    const uint8_t* bytes = Peek(n);
    Skip(n);
    return bytes;
  }
  template <class T>
  T Get() {
    return Load<T>(Take(sizeof(T)));
  }

  // At least `n` bytes from the current position, not taken, valid until the next call.
  const uint8_t* Peek(size_t n) {
    if (n > end_ - at_) [[unlikely]]
      Refill(n);
    return buffer_.data() + at_;
  }
  // The bytes buffered from the current position on.
  size_t Buffered() const { return end_ - at_; }
  // Takes `n` (at most Buffered()) bytes.
  void Skip(size_t n) {
    at_ += n;
    left_ -= n;
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

int64_t TLVNativeFileReader::ReadRows(TLVDataCache& cache, ILVProgress* progress) {
  if (!headerRead_) ReadHeader();
  if (header_.cellTypes.empty()) return 0;
  if (cache.Columns() != CacheColumns()) {
    throw std::logic_error("the row cache does not have the file's columns");
  }

  // How a row's fixed part maps onto a cache record: runs of value cells are laid out
  // alike on both sides and are copied whole; text cells are placed one by one; cells
  // without values have nothing to copy (their slots stay missing).
  const TLVNativeLayout layout(header_.cellTypes);
  std::vector<TRun> runs;
  std::vector<TTextCell> texts;
  for (size_t c = 0; c < layout.Types().size(); ++c) {
    const TLVDataType type = layout.Types()[c];
    const size_t from = layout.CellOffset(c);
    const size_t to = cache.SlotOffset(static_cast<int32_t>(c));
    if (type == TLVDataType::dtString) {
      texts.push_back({from, to, c});
    } else if (type != TLVDataType::dtNone) {
      const size_t size = TLVNativeLayout::CellSize(type);
      if (!runs.empty() && runs.back().from + runs.back().size == from &&
          runs.back().to + runs.back().size == to) {
        runs.back().size += size;
      } else {
        runs.push_back({from, to, size});
      }
    }
  }

  TInput& in = *input_;
  const size_t fixedSize = layout.FixedSize();
  // Rows of tables with texts start with their size.
  const size_t head = layout.HasStrings() ? sizeof(int32_t) : 0;
  auto rowSize = [&](const uint8_t* at, uint32_t row) {
    if (head == 0) return fixedSize;
    const auto total = Load<int32_t>(at);
    if (total < 0 || static_cast<size_t>(total) < fixedSize) {
      throw ELVError("ErrNativeBadRow", {int64_t{row} + 1});
    }
    return static_cast<size_t>(total);
  };

  // The rows are filled as fast as they are read, so the cache may map their memory in
  // one go; but only for as many rows as the bytes left can hold, whatever the count.
  cache.ExpectRows(static_cast<TLVRowIndex>(
      std::min<uint64_t>(header_.rowCount, in.Left() / (head + fixedSize))));
  TLVProgressScope scope(progress, LVText("SNativeImporting"), header_.rowCount);
  uint32_t read = 0;
  while (read < header_.rowCount) {
    // Rows are decoded where they lie in the input buffer, as many as it holds whole,
    // up to the next report of progress.
    const auto stop = static_cast<uint32_t>(
        std::min<uint64_t>(header_.rowCount, (uint64_t{read} / kProgressRows + 1) * kProgressRows));
    size_t size = rowSize(in.Peek(head), read);
    const uint8_t* const start = in.Peek(head + size);
    const uint8_t* const end = start + in.Buffered();
    const uint8_t* at = start;
    for (;;) {
      uint8_t* record = cache.AppendRecord();
      const uint8_t* bytes = at + head;
      for (const TRun& run : runs) CopyShortBytes(record + run.to, bytes + run.from, run.size);
      if (!texts.empty()) PlaceTexts(cache, texts, bytes, size, fixedSize, record, read);
      at = bytes + size;
      if (++read == stop || static_cast<size_t>(end - at) < head + fixedSize) break;
      size = rowSize(at, read);
      if (static_cast<size_t>(end - at) < head + size) break;
    }
    in.Skip(static_cast<size_t>(at - start));
    if (progress && read % kProgressRows == 0) {
      progress->SetPosition(read);
      if (progress->Cancelled()) break;
    }
  }
  return read;
}

void TLVNativeFileReader::PlaceTexts(TLVDataCache& cache, const std::vector<TTextCell>& texts,
                                     const uint8_t* bytes, size_t size, size_t fixedSize,
                                     uint8_t* record, uint32_t read) {
  const TLVRowIndex row = cache.RowCount() - 1;
  // Every item lies after the fixed part: when all of that is ASCII (item headers of
  // short texts are too), so is every text of the row, and none needs converting.
  const bool ascii =
      IsAsciiText({reinterpret_cast<const char*>(bytes + fixedSize), size - fixedSize});
  const bool singleByte = decoder_.Page() != TLVCodePage::cpUTF8;
  for (const TTextCell& cell : texts) {
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
      throw ELVError("ErrNativeBadRow", {int64_t{read} + 1});
    }
    const auto length = Load<int32_t>(bytes + offset - sizeof(int32_t));
    if (length < 0 || static_cast<size_t>(length) >= size - static_cast<size_t>(offset)) {
      throw ELVError("ErrNativeBadRow", {int64_t{read} + 1});
    }
    std::string_view text(reinterpret_cast<const char*>(bytes + offset),
                          static_cast<size_t>(length));
    int32_t& longest = longest_[cell.column];
    int32_t characters = length;
    if (!ascii && !IsAsciiText(text)) {
      if (singleByte || !IsValidUtf8(text)) {
        decoded_.clear();
        decoder_.Append(text, decoded_);
        text = decoded_;
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
