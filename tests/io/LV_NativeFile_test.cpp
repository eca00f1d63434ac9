#include "io/LV_NativeFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "LV_TestHelpers.h"
#include "core/LV_TestTable.h"
#include "core/cache/LV_DataCache.h"
#include "core/platform/LV_RowParts.h"
#include "core/text/LV_Errors.h"
#include "io/LV_NativeTestHelpers.h"

namespace lv {
namespace {

using enum TLVDataType;
using TRows = std::vector<std::vector<TLVValue>>;

// A file spelled out field by field, little-endian by hand.
struct TBytes {
  std::string data;
  TBytes& Raw(std::string_view bytes) {
    data += bytes;
    return *this;
  }
  TBytes& Int(uint64_t v, int size) {
    for (int i = 0; i < size; ++i) data += static_cast<char>(v >> (8 * i));
    return *this;
  }
  TBytes& U8(uint8_t v) { return Int(v, 1); }
  TBytes& I32(auto v) { return Int(static_cast<uint64_t>(v), 4); }
  TBytes& I64(int64_t v) { return Int(static_cast<uint64_t>(v), 8); }
  TBytes& F64(double v) { return Int(std::bit_cast<uint64_t>(v), 8); }
  TBytes& Text(std::string_view text) { return I32(text.size()).Raw(text); }
  // A column description: ID, name, caption, kind, usage, type.
  TBytes& Column(int32_t id, std::string_view name, std::string_view caption, uint8_t kind,
                 uint8_t usage, uint8_t type) {
    I32(id).Text(name).Text(caption);
    return U8(kind).U8(usage).U8(type);
  }
};

std::string Encode(const std::vector<TLVNativeColumn>& columns, TRows rows,
                   TLVCodePage page = TLVCodePage::cpWindows1251) {
  std::vector<test::TTestTable::TColumn> shape;
  for (const auto& c : columns) shape.push_back({c.name, c.type});
  test::TTestTable table(shape, std::move(rows));
  std::string out;
  TLVNativeFileWriter writer([&](std::string_view bytes) { out += bytes; }, page);
  writer.WriteHeader(columns, table.GetRowCount());
  std::vector<TLVBlock> blocks(columns.size());
  for (TLVRowIndex first = 0; first < table.GetRowCount(); first += kLVBlockSize) {
    auto count =
        static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, table.GetRowCount() - first));
    for (size_t c = 0; c < columns.size(); ++c) {
      table.ReadBlock(static_cast<int32_t>(c), first, count, blocks[c]);
    }
    writer.WriteRows(blocks, count, first);
  }
  writer.Finish();
  return out;
}

struct TDecoded {
  TLVNativeHeader header;
  TRows rows;
  std::vector<int32_t> longest;
};

TDecoded Decode(const std::string& bytes, TLVCodePage page = TLVCodePage::cpWindows1251) {
  TLVNativeFileReader reader(NativeMemorySource(bytes), page);
  TDecoded result{reader.ReadHeader(), {}, {}};
  if (result.header.cellTypes.empty()) return result;
  TLVDataCache cache;
  cache.SetColumns(reader.CacheColumns());
  cache.Open();
  reader.ReadRows(cache, nullptr);
  for (TLVRowIndex r = 0; r < cache.RowCount(); ++r) {
    auto& row = result.rows.emplace_back();
    for (int32_t c = 0; c < cache.ColumnCount(); ++c) row.push_back(cache.GetValue(r, c));
  }
  result.longest = reader.LongestTexts();
  return result;
}

std::string KeyOf(const std::string& bytes) {
  return test::KeyOf([&] { Decode(bytes); });
}

const TLVNativeColumn kA{0, "A", "", TLVDataKind::dkContinuous, TLVDataStatus::dsInput, dtInteger};
const TLVNativeColumn kS{1, "S", "Т", TLVDataKind::dkDiscrete, TLVDataStatus::dsUsable, dtString};

// Integer A and text S: 7 "ab" / missing "" / -1 missing.
TBytes SmallFile() {
  TBytes b;
  b.Raw("LVDATA").I32(1).I32(2);
  b.Column(0, "A", "", 1, 4, 4).Column(1, "S", "\xD2", 2, 1, 5);  // "Т" in Windows-1251
  b.I32(2).U8(4).U8(5).I64(3);
  // F = 5 + 5; the first item's characters lie at F + 8 = 18.
  b.I32(10 + 11).U8(1).I32(7).U8(1).I32(18).I32(1).I32(2).Raw("ab").U8(0);
  b.I32(10).U8(0).I32(0).U8(1).I32(0);
  b.I32(10).U8(1).I32(-1).U8(0).I32(0);
  return b;
}

TEST(NativeFile, SmallTablesToTheByte) {
  const TRows rows{{TLVValue::Integer(7), TLVValue::String("ab")},
                   {TLVValue::Null(dtInteger), TLVValue::String("")},
                   {TLVValue::Integer(-1), TLVValue::Null(dtString)}};
  const std::string bytes = SmallFile().data;
  EXPECT_EQ(Encode({kA, kS}, rows), bytes);
  TDecoded read = Decode(bytes);
  EXPECT_EQ(read.header.columns, (std::vector<TLVNativeColumn>{kA, kS}));
  EXPECT_EQ(read.rows, rows);
  EXPECT_EQ(read.longest, (std::vector<int32_t>{0, 2}));

  // Without text columns a row is its fixed part alone; dtNone has no value bytes.
  const std::vector<TLVNativeColumn> plain{
      {0, "B", "", TLVDataKind::dkDiscrete, TLVDataStatus::dsUsable, dtBoolean},
      {1, "X", "", TLVDataKind::dkContinuous, TLVDataStatus::dsOutput, dtFloat},
      {2, "D", "", TLVDataKind::dkContinuous, TLVDataStatus::dsUsable, dtDateTime},
      {3, "N", "", TLVDataKind::dkUndefined, TLVDataStatus::dsUnUsable, dtNone}};
  TBytes expected;
  expected.Raw("LVDATA").I32(1).I32(4).Column(0, "B", "", 2, 1, 1).Column(1, "X", "", 1, 5, 3);
  expected.Column(2, "D", "", 1, 1, 2).Column(3, "N", "", 0, 0, 0);
  expected.I32(4).U8(1).U8(3).U8(2).U8(0).I64(2);
  expected.U8(1).U8(1).U8(1).F64(1.5).U8(1).F64(45000.25).U8(0);
  expected.U8(0).U8(0).U8(0).F64(0).U8(0).F64(0).U8(0);
  EXPECT_EQ(Encode(plain, {{TLVValue::Boolean(true), TLVValue::Float(1.5),
                            TLVValue::DateTime(45000.25), TLVValue()},
                           {TLVValue::Null(dtBoolean), TLVValue::Null(dtFloat),
                            TLVValue::Null(dtDateTime), TLVValue()}}),
            expected.data);

  // No columns at all: an empty column block, N = 0 and the row count.
  const std::string empty = TBytes().Raw("LVDATA").I32(1).I32(0).I32(0).I64(0).data;
  EXPECT_EQ(Encode({}, {}), empty);
  EXPECT_TRUE(Decode(empty).header.columns.empty());
  EXPECT_TRUE(Decode(empty).rows.empty());
}

TEST(NativeFile, EveryTypeRoundTripsWithMissingValues) {
  const std::string huge(70000, 'w');  // one row larger than the reader's buffer
  std::vector<TLVNativeColumn> columns;
  for (TLVCodePage page : {TLVCodePage::cpWindows1251, TLVCodePage::cpUTF8}) {
    columns.clear();
    for (TLVDataType type : {dtBoolean, dtDateTime, dtFloat, dtInteger, dtString, dtString}) {
      columns.push_back({static_cast<int32_t>(columns.size()),
                         "Столбец " + std::to_string(columns.size()), "Подпись",
                         TLVDataKind::dkDiscrete, TLVDataStatus::dsInput, type});
    }
    TRows rows;
    const char* texts[] = {"", "Привет", "ascii", "ёЁ №"};
    for (int i = 0; i < 300; ++i) {
      auto maybe = [&](TLVDataType type, TLVValue value) {
        return i % 5 == 1 ? TLVValue::Null(type) : value;
      };
      rows.push_back(
          {maybe(dtBoolean, TLVValue::Boolean(i % 2 == 0)),
           maybe(dtDateTime, TLVValue::DateTime(45000 + i / 7.0)),
           maybe(dtFloat, TLVValue::Float(i == 3   ? -0.0
                                          : i == 4 ? std::numeric_limits<double>::infinity()
                                                   : i * -1.25)),
           maybe(dtInteger, TLVValue::Integer(i == 2 ? std::numeric_limits<int32_t>::min() : i)),
           i % 5 == 3 ? TLVValue::Null(dtString) : TLVValue::String(texts[i % 4]),
           TLVValue::String(i == 150 ? huge
                            : i % 3  ? std::string()
                                     : "№" + std::to_string(i))});
    }
    TDecoded read = Decode(Encode(columns, rows, page), page);
    EXPECT_EQ(read.header.columns, columns);
    ASSERT_EQ(read.rows.size(), rows.size());
    for (size_t r = 0; r < rows.size(); ++r) EXPECT_EQ(read.rows[r], rows[r]) << "row " << r;
    EXPECT_EQ(read.longest, (std::vector<int32_t>{0, 0, 0, 0, 6, 70000})) << "in characters";
    EXPECT_TRUE(std::signbit(read.rows[3][2].AsDouble()));
  }
  columns[0].caption = "日本";  // Windows-1251 has no such characters
  EXPECT_THROW(Encode(columns, {}), ELVError);
}

// A source that hands out a few bytes at a time, as a pipe or a slow disk may.
class TTrickleSource : public ILVNativeSource {
 public:
  explicit TTrickleSource(std::string_view bytes) : bytes_(NativeMemorySource(bytes)) {}
  size_t Read(void* to, size_t size) override {
    return bytes_->Read(to, std::min(size, size_t{1} + calls_++ % 7));
  }
  uint64_t Size() const override { return bytes_->Size(); }

 private:
  std::unique_ptr<ILVNativeSource> bytes_;
  size_t calls_ = 0;
};

// Small row blocks make many segments, and a low bar makes every file big enough to be
// read by several threads.
class TReadInParts {
 public:
  TReadInParts() : before_(LVMinRowsPerPart()) { LVSetMinRowsPerPart(100); }
  ~TReadInParts() { LVSetMinRowsPerPart(before_); }
  TReadInParts(const TReadInParts&) = delete;
  TReadInParts& operator=(const TReadInParts&) = delete;

 private:
  TLVRowIndex before_;
};

TEST(NativeFile, RowsComeWholeWhateverPiecesTheSourceGivesAndHoweverManyThreadsRead) {
  // Enough rows for many pieces read from the source, so that rows are cut at every
  // place between two pieces; a Cyrillic text in every seventh row.
  const std::vector<TLVNativeColumn> columns{
      kA, kS, {2, "X", "", TLVDataKind::dkContinuous, TLVDataStatus::dsUsable, dtFloat}};
  TRows rows;
  for (int i = 0; i < 30000; ++i) {
    rows.push_back({TLVValue::Integer(i),
                    i % 5 == 4   ? TLVValue::Null(dtString)
                    : i % 7 == 0 ? TLVValue::String("строка " + std::to_string(i))
                                 : TLVValue::String(std::string(static_cast<size_t>(i % 23), 'q')),
                    TLVValue::Float(i * 0.25)});
  }
  const std::string bytes = Encode(columns, rows);
  ASSERT_GT(bytes.size(), size_t{3} << 18);
  for (const bool inParts : {false, true}) {
    std::optional<TReadInParts> parts;
    if (inParts) parts.emplace();
    TLVNativeFileReader reader(std::make_unique<TTrickleSource>(bytes), TLVCodePage::cpWindows1251);
    reader.ReadHeader();
    TLVDataCache cache;
    cache.SetColumns(reader.CacheColumns());
    cache.SetRowBlockBytes(size_t{16} << 10);  // many blocks, each with texts of its own
    cache.Open();
    ASSERT_EQ(reader.ReadRows(cache, nullptr), 30000);
    ASSERT_EQ(cache.RowCount(), 30000);
    for (TLVRowIndex r = 0; r < cache.RowCount(); ++r) {
      for (int32_t c = 0; c < 3; ++c) {
        ASSERT_EQ(cache.GetValue(r, c), rows[static_cast<size_t>(r)][static_cast<size_t>(c)])
            << r << " " << c << (inParts ? " in parts" : "");
      }
    }
    EXPECT_EQ(reader.LongestTexts(), (std::vector<int32_t>{0, 22, 0}));
  }
}

// Cancelled while several threads read, the table keeps the rows from the first on
// without a gap, at least as many as were reported.
TEST(NativeFile, CancellingThreadsKeepAWholeRunOfRows) {
  TReadInParts parts;
  TRows rows;
  for (int i = 0; i < 40000; ++i)
    rows.push_back({TLVValue::Integer(i), TLVValue::String(std::to_string(i))});
  const std::string bytes = Encode({kA, kS}, rows);
  TLVNativeFileReader reader(NativeMemorySource(bytes), TLVCodePage::cpWindows1251);
  reader.ReadHeader();
  TLVDataCache cache;
  cache.SetColumns(reader.CacheColumns());
  cache.SetRowBlockBytes(size_t{8} << 10);
  cache.Open();
  test::TProgressLog cancel(TLVNativeFileReader::kProgressRows);
  const int64_t read = reader.ReadRows(cache, &cancel);
  EXPECT_EQ(read, cache.RowCount());
  EXPECT_GE(read, TLVNativeFileReader::kProgressRows);
  for (TLVRowIndex r = 0; r < cache.RowCount(); ++r) {
    ASSERT_EQ(cache.GetValue(r, 1), rows[static_cast<size_t>(r)][1]) << r;
  }
  const TLVRowIndex appended = cache.AppendRow();
  EXPECT_TRUE(cache.IsNull(appended, 0) && cache.IsNull(appended, 1));
}

// A file of one text column, every row "xyz", but for the damaged ones.
std::string TextRows(int rows, const std::vector<std::pair<int, std::string>>& damaged) {
  TBytes b;
  b.Raw("LVDATA").I32(1).I32(1).Column(0, "S", "", 2, 1, 5).I32(1).U8(5).I64(rows);
  for (int r = 0; r < rows; ++r) {
    const auto bad =
        std::find_if(damaged.begin(), damaged.end(), [&](auto& d) { return d.first == r; });
    if (bad == damaged.end()) {
      b.I32(17).U8(1).I32(13).I32(1).I32(3).Raw("xyz").U8(0);
    } else {
      b.Raw(bad->second);
    }
  }
  return b.data;
}

// Whatever thread meets a damaged row, the message is the one a reading from the start
// would give: the first damaged row of the file. The cache keeps only whole rows before it
// (the import node then closes the table).
TEST(NativeFile, ThreadsReportTheFirstDamagedRow) {
  TReadInParts parts;
  const std::string badOffset = TBytes().I32(17).U8(1).I32(9).I32(1).I32(3).Raw("xyz").U8(0).data;
  const std::string badSize = TBytes().I32(4).U8(1).I32(13).I32(1).I32(3).Raw("xyz").U8(0).data;
  auto message = [](const std::string& bytes, TLVRowIndex firstDamaged) {
    TLVNativeFileReader reader(NativeMemorySource(bytes), TLVCodePage::cpWindows1251);
    reader.ReadHeader();
    TLVDataCache cache;
    cache.SetColumns(reader.CacheColumns());
    cache.SetRowBlockBytes(1024);  // 64 rows a block
    cache.Open();
    std::string what = test::MessageOf([&] { reader.ReadRows(cache, nullptr); });
    EXPECT_LE(cache.RowCount(), firstDamaged);
    for (TLVRowIndex r = 0; r < cache.RowCount(); ++r) {
      EXPECT_EQ(cache.GetValue(r, 0), TLVValue::String("xyz")) << r;
    }
    return what;
  };
  auto badRow = [](int64_t row) { return std::string(ELVError("ErrNativeBadRow", {row}).what()); };
  // A text outside its row decoded late, a size below the fixed part met while taking
  // the rows, in either order.
  EXPECT_EQ(message(TextRows(3000, {{700, badOffset}, {2500, badSize}}), 700), badRow(701));
  EXPECT_EQ(message(TextRows(3000, {{700, badSize}, {2500, badOffset}}), 700), badRow(701));
  EXPECT_EQ(message(TextRows(3000, {{2999, badOffset}}), 2999), badRow(3000));
  const std::string cut = TextRows(3000, {{1000, badOffset}});
  EXPECT_EQ(message(cut.substr(0, cut.size() - 5), 1000), badRow(1001));
  EXPECT_EQ(message(TextRows(3000, {}).substr(0, 2000), 3000),
            std::string(ELVError("ErrNativeTruncated").what()));
}

TEST(NativeFile, RefusesForeignAndDamagedFiles) {
  const std::string good = SmallFile().data;
  EXPECT_EQ(KeyOf("LVDAT"), "ErrNativeSignature");
  EXPECT_EQ(KeyOf("lvdata" + good.substr(6)), "ErrNativeSignature");
  EXPECT_EQ(KeyOf(TBytes().Raw("LVDATA").I32(2).data + good.substr(10)), "ErrNativeVersion");
  EXPECT_EQ(KeyOf(TBytes().Raw("LVDATA").I32(0).data), "ErrNativeVersion");
  for (size_t n = 6; n < good.size(); ++n) {
    EXPECT_EQ(KeyOf(good.substr(0, n)), "ErrNativeTruncated") << n << " bytes";
  }

  // Counts and lengths that claim more than the file holds get a message without the
  // reader setting aside room for them.
  auto header = [](int64_t columns) { return TBytes().Raw("LVDATA").I32(1).I32(columns); };
  EXPECT_EQ(KeyOf(header(0x7FFFFFFF).data + good.substr(14)), "ErrNativeTruncated");
  EXPECT_EQ(KeyOf(header(-1).data), "ErrNativeBadColumnCount");
  EXPECT_EQ(KeyOf(header(1).I32(0).I32(0x7FFFFFF0).Raw(std::string(20, 'x')).data),
            "ErrNativeTruncated");
  EXPECT_EQ(KeyOf(header(1).I32(0).I32(-5).Raw(std::string(20, 'x')).data), "ErrNativeBadColumn");
  EXPECT_EQ(KeyOf(header(1).Column(0, "A", "", 1, 4, 9).I32(1).U8(9).I64(0).data),
            "ErrNativeBadColumn");
  EXPECT_EQ(KeyOf(header(1).Column(0, "A", "", 3, 4, 4).I32(1).U8(4).I64(0).data),
            "ErrNativeBadColumn");
  EXPECT_EQ(KeyOf(header(1).Column(0, "A", "", 1, 4, 4).I32(2).U8(4).U8(4).I64(0).data),
            "ErrNativeColumnMismatch");
  EXPECT_EQ(KeyOf(header(1).Column(0, "A", "", 1, 4, 4).I32(1).U8(3).I64(0).data),
            "ErrNativeColumnMismatch");
  auto oneInteger = [&](int64_t rowCount) {
    return header(1).Column(0, "A", "", 1, 4, 4).I32(1).U8(4).I64(rowCount);
  };
  EXPECT_EQ(KeyOf(oneInteger(0x7FFFFFFF).U8(1).I32(5).data), "ErrNativeTruncated");
  // Only the low 32 bits of the row count are used; whatever follows the rows is ignored.
  EXPECT_EQ(Decode(oneInteger((int64_t{1} << 32) + 1).U8(1).I32(5).Raw("tail").data).rows,
            (TRows{{TLVValue::Integer(5)}}));
  // N below 1 ends the header: the table has no rows, whatever follows.
  EXPECT_TRUE(Decode(header(1).Column(0, "A", "", 1, 4, 4).I32(-3).data).rows.empty());

  // Rows with texts: the total size and every item must lie inside the row.
  auto textRow = [&](int64_t total, int64_t offset, int64_t length) {
    TBytes b = header(1).Column(0, "S", "", 2, 1, 5).I32(1).U8(5).I64(1);
    return b.I32(total).U8(1).I32(offset).I32(1).I32(length).Raw("xyz").U8(0).data;
  };
  EXPECT_EQ(Decode(textRow(17, 13, 3)).rows, (TRows{{TLVValue::String("xyz")}}));
  EXPECT_EQ(KeyOf(textRow(0x7FFFFFFF, 13, 3)), "ErrNativeTruncated");
  EXPECT_EQ(KeyOf(textRow(4, 13, 3)), "ErrNativeBadRow");
  EXPECT_EQ(KeyOf(textRow(17, 9, 3)), "ErrNativeBadRow");
  EXPECT_EQ(KeyOf(textRow(17, 17, 3)), "ErrNativeBadRow");
  EXPECT_EQ(KeyOf(textRow(17, -13, 3)), "ErrNativeBadRow");
  EXPECT_EQ(KeyOf(textRow(17, 13, 4)), "ErrNativeBadRow");
  EXPECT_EQ(KeyOf(textRow(17, 13, -1)), "ErrNativeBadRow");
}

}  // namespace
}  // namespace lv
