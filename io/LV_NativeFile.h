// The native data file (.lvd): one table, its column descriptions and all its rows, in
// the program's own binary form. Rows are stored as the row cache keeps them: a
// fixed-size part of cells (a presence byte and the value) followed, in tables with
// text columns, by the row's texts. So reloading a table is a copy of each row into a
// cache record plus the placing of its texts, with no parsing of values.
//
// The byte layout is described in docs/nodes/native-file.md. Integers are
// little-endian; texts are in the ANSI code page (LV_CodePage.h) and UTF-8 inside the
// program.
//
// TLVNativeFileWriter encodes a header and rows taken from blocks; TLVNativeFileReader
// decodes a header and appends rows to a row cache. Neither trusts the other side: the
// reader checks every count, length and offset against the bytes the source really has
// before it uses them, so a damaged or hostile file gets a message, never a crash or an
// allocation of what the file merely claims. Both belong to one thread; the reader
// decodes large files on every core (ReadRows), threads of its own that end with it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/columns/LV_Block.h"
#include "core/columns/LV_Types.h"
#include "core/text/LV_CodePage.h"

namespace lv {

class ILVProgress;
class TLVDataCache;

inline constexpr std::string_view kLVNativeSignature = "LVDATA";
inline constexpr int32_t kLVNativeVersion = 1;
inline constexpr std::string_view kLVNativeExtension = ".lvd";

// A column as the file describes it. Texts are UTF-8 here and in the ANSI code page in
// the file.
struct TLVNativeColumn {
  int32_t id = 0;
  std::string name;
  std::string caption;
  TLVDataKind kind = TLVDataKind::dkUndefined;
  TLVDataStatus status = TLVDataStatus::dsUnUsable;
  TLVDataType type = TLVDataType::dtNone;

  bool operator==(const TLVNativeColumn&) const = default;
};

// The row cache's column type for a cell column: the cell's own type, except that a
// column without values (dtNone) is kept as an always-missing Boolean, since the cache
// has no slot without a value.
TLVDataType NativeCacheType(TLVDataType cellType);

// Where the cells of a row's fixed part lie.
class TLVNativeLayout {
 public:
  explicit TLVNativeLayout(std::vector<TLVDataType> types);

  // Bytes of a cell, its presence byte included.
  static size_t CellSize(TLVDataType type);

  const std::vector<TLVDataType>& Types() const { return types_; }
  size_t CellOffset(size_t cell) const { return offsets_[cell]; }
  // The fixed part of a row: the sum of the cell sizes.
  size_t FixedSize() const { return fixedSize_; }
  // Rows of tables with text columns start with their total size.
  bool HasStrings() const { return hasStrings_; }

 private:
  std::vector<TLVDataType> types_;
  std::vector<size_t> offsets_;
  size_t fixedSize_ = 0;
  bool hasStrings_ = false;
};

// Encodes a file. Bytes are handed to the output in order, in pieces of about a
// megabyte; after a failure the caller drops what it received (TLVSafeFile does).
class TLVNativeFileWriter {
 public:
  using TOutput = std::function<void(std::string_view bytes)>;

  TLVNativeFileWriter(TOutput output, TLVCodePage page);
  TLVNativeFileWriter(const TLVNativeFileWriter&) = delete;
  TLVNativeFileWriter& operator=(const TLVNativeFileWriter&) = delete;

  // Signature, version, column block, cell types (one cell column per column) and row
  // count. Raises "ErrNativeColumnText" when a name or caption has a character the code
  // page lacks.
  void WriteHeader(const std::vector<TLVNativeColumn>& columns, int64_t rowCount);
  // Writes `count` rows: blocks[c] holds the values of column c (of the header's type)
  // for those rows; `firstRow` numbers them for messages. Raises "ErrNativeCellText",
  // naming the column and the row, when a text has a character the code page lacks.
  void WriteRows(const std::vector<TLVBlock>& blocks, int32_t count, int64_t firstRow);
  // Hands over what is still buffered.
  void Finish();
  uint64_t BytesWritten() const { return written_ + used_; }

 private:
  // A text of the current row as it goes into the file: either the block's own bytes
  // (plain ASCII) or a piece of rowTexts_.
  struct TItem {
    const char* data;
    size_t offset;
    size_t size;
  };

  // `size` bytes of the output to fill, at its end.
  char* Room(size_t size) {
    if (out_.size() - used_ < size) [[unlikely]]
      out_.resize(std::max(out_.size() * 2, used_ + size));
    char* at = out_.data() + used_;
    used_ += size;
    return at;
  }
  void Put(const void* data, size_t size) { std::memcpy(Room(size), data, size); }
  template <class T>
  void PutValue(T value) {
    Put(&value, sizeof value);
  }
  void PutText(std::string_view text, std::string_view column);
  void FlushIfFull();
  void StageFixedParts(const std::vector<TLVBlock>& blocks, int32_t count, uint8_t* fixed);
  void WriteStringRow(const std::vector<TLVBlock>& blocks, int32_t row, int64_t rowNumber,
                      uint8_t* fixed);

  TOutput output_;
  TLVCodePageEncoder encoder_;
  std::unique_ptr<TLVNativeLayout> layout_;
  std::vector<std::string> names_;
  std::vector<size_t> stringCells_;
  // The output not handed over yet: out_[0, used_).
  std::vector<char> out_;
  size_t used_ = 0;
  std::vector<uint8_t> staging_;
  std::string encoded_;
  std::string rowTexts_;
  std::vector<TItem> items_;
  uint64_t written_ = 0;
};

// Where a reader takes its bytes from.
class ILVNativeSource {
 public:
  virtual ~ILVNativeSource() = default;
  // Up to `size` bytes; fewer only at the end.
  virtual size_t Read(void* to, size_t size) = 0;
  // Total bytes, known before reading: every claim of the file is checked against it.
  virtual uint64_t Size() const = 0;
};

// A file opened for reading ("ErrNativeFileOpen" when it cannot be).
std::unique_ptr<ILVNativeSource> OpenNativeFileSource(const std::string& path);
// Bytes in memory, which must outlive the source.
std::unique_ptr<ILVNativeSource> NativeMemorySource(std::string_view bytes);

struct TLVNativeHeader {
  std::vector<TLVNativeColumn> columns;
  // Empty when the file has no cell columns: the table then has no rows.
  std::vector<TLVDataType> cellTypes;
  // The low 32 bits of the stored row count: the rows to read.
  uint32_t rowCount = 0;
};

class TLVNativeFileReader {
 public:
  // Rows between two progress reports (and checks for cancellation).
  static constexpr uint32_t kProgressRows = 8192;

  TLVNativeFileReader(std::unique_ptr<ILVNativeSource> source, TLVCodePage page);
  ~TLVNativeFileReader();
  TLVNativeFileReader(const TLVNativeFileReader&) = delete;
  TLVNativeFileReader& operator=(const TLVNativeFileReader&) = delete;

  // Reads everything before the rows. Raises "ErrNativeSignature", "ErrNativeVersion",
  // "ErrNativeTruncated", "ErrNativeBadColumn" or "ErrNativeColumnMismatch".
  const TLVNativeHeader& ReadHeader();
  const TLVNativeHeader& Header() const { return header_; }

  // The row cache's column types for the cells (NativeCacheType of each).
  std::vector<TLVDataType> CacheColumns() const;

  // Appends the rows to `cache` (open, with CacheColumns()), after ReadHeader. Every
  // kProgressRows rows the position goes to `progress`; when it reports cancellation the
  // reading stops and the rows read so far stay. Returns the number of rows read.
  // Raises "ErrNativeTruncated" or "ErrNativeBadRow" for a damaged row (the first one,
  // as a reading from start to end would meet it).
  //
  // The rows of each of the cache's row blocks make a segment. Segments are taken from
  // the source in order, one thread at a time, and decoded into their blocks by as
  // many threads as LVRowPartCount allows, the caller's included; the cache maps their
  // memory before they start (TLVDataCache::AppendRowsToFill).
  int64_t ReadRows(TLVDataCache& cache, ILVProgress* progress);

  // The longest text (in characters) of each cell column over the rows read; 0 for
  // columns of other types.
  const std::vector<int32_t>& LongestTexts() const { return longest_; }

 private:
  class TInput;
  // Where the bytes of a run of value cells go in a cache record.
  struct TRun {
    size_t from, to, size;
  };
  // A text cell: its place in the fixed part and in the record, and its column.
  struct TTextCell {
    size_t from, to, column;
  };

  // How the rows of this file go into cache records.
  struct TRowPlan {
    std::vector<TRun> runs;
    std::vector<TTextCell> texts;
    // Bytes before a row's fixed part: its size, in tables with texts.
    size_t head = 0;
    size_t fixedSize = 0;
  };
  // What each thread decoding rows has of its own.
  struct TPartState {
    std::vector<uint8_t> bytes;
    std::string decoded;
    std::vector<int32_t> longest;
  };
  class TRowJob;

  TRowPlan PlanRows(const TLVDataCache& cache) const;
  // Places the texts of `row`, whose bytes from its fixed part on are `bytes` (`size` of
  // them) and whose record is `record`; the row is number `fileRow` + 1 of the file.
  void PlaceTexts(TLVDataCache& cache, const TRowPlan& plan, TPartState& state,
                  const uint8_t* bytes, size_t size, uint8_t* record, TLVRowIndex row,
                  int64_t fileRow) const;

  std::unique_ptr<TInput> input_;
  TLVCodePageDecoder decoder_;
  TLVNativeHeader header_;
  std::vector<int32_t> longest_;
  bool headerRead_ = false;
};

void RegisterNativeFileTexts();

}  // namespace lv
