#include "core/cache/LV_DataCache.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "LV_TestHelpers.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {
namespace {

using enum TLVDataType;
using namespace std::chrono_literals;

template <class F>
std::string ErrorKey(F&& f) {
  return test::KeyOf<ELVDataError>(f);
}

// A clean-up buffer of the test's own whose thread never wakes by itself, so passes
// happen only when the test runs them.
struct TQuietBuffer {
  TLVDataCacheCleanupBuffer buffer;
  TQuietBuffer() {
    buffer.SetInterval(1h);
    buffer.SetTempFolder(std::filesystem::path(testing::TempDir()) / "lv_no_such_folder");
  }
};

std::string RowText(TLVRowIndex row) {
  return "row " + std::to_string(row);
}

TEST(DataCache, RoundTripsEveryTypeWithNulls) {
  TQuietBuffer quiet;
  TLVDataCache cache(quiet.buffer);
  cache.SetColumns({dtBoolean, dtInteger, dtFloat, dtDateTime, dtString});
  cache.Open();
  EXPECT_EQ(cache.RecordSize(), 2u + 5 + 9 + 9 + 9);
  ASSERT_EQ(cache.AppendRows(3), 0);
  ASSERT_EQ(cache.AppendRow(), 3);

  cache.SetBoolean(0, 0, true);
  cache.SetInteger(0, 1, -7);
  cache.SetFloat(0, 2, 2.5);
  cache.SetDateTime(0, 3, 45000.75);
  cache.SetString(0, 4, "Привет, мир");
  cache.SetBoolean(2, 0, false);
  cache.SetInteger(2, 1, INT32_MIN);
  cache.SetFloat(2, 2, -1e308);
  cache.SetDateTime(2, 3, -693593.0);
  cache.SetString(2, 4, "");

  bool b = true;
  int32_t i = 1;
  double d = 0;
  std::string_view s = "x";
  EXPECT_TRUE(cache.GetBoolean(0, 0, b) && b);
  EXPECT_TRUE(cache.GetInteger(0, 1, i) && i == -7);
  EXPECT_TRUE(cache.GetFloat(0, 2, d) && d == 2.5);
  EXPECT_TRUE(cache.GetDateTime(0, 3, d) && d == 45000.75);
  EXPECT_TRUE(cache.GetString(0, 4, s) && s == "Привет, мир");
  // Float reads convert every numeric column.
  EXPECT_TRUE(cache.GetFloat(0, 0, d) && d == 1.0);
  EXPECT_TRUE(cache.GetFloat(0, 1, d) && d == -7.0);
  EXPECT_TRUE(cache.GetFloat(0, 3, d) && d == 45000.75);
  EXPECT_TRUE(cache.GetFloat(2, 0, d) && d == 0.0);
  EXPECT_TRUE(cache.GetInteger(2, 1, i) && i == INT32_MIN);
  EXPECT_TRUE(cache.GetFloat(2, 2, d) && d == -1e308);

  // New rows are null throughout, and getters leave neutral values.
  for (int32_t c = 0; c < 5; ++c) EXPECT_TRUE(cache.IsNull(1, c)) << c;
  EXPECT_FALSE(cache.GetBoolean(1, 0, b) || b);
  EXPECT_FALSE(cache.GetInteger(1, 1, i) || i != 0);
  EXPECT_FALSE(cache.GetFloat(1, 2, d));
  EXPECT_TRUE(std::isnan(d));
  EXPECT_FALSE(cache.GetString(1, 4, s) || !s.empty());
  EXPECT_EQ(cache.GetValue(1, 3), TLVValue::Null(dtDateTime));

  // An empty text is a present value, not a null one.
  EXPECT_FALSE(cache.IsNull(2, 4));
  EXPECT_TRUE(cache.GetString(2, 4, s) && s.empty());
  EXPECT_EQ(cache.GetValue(2, 4), TLVValue::String(std::string_view{}));

  EXPECT_EQ(cache.GetValue(0, 0), TLVValue::Boolean(true));
  EXPECT_EQ(cache.GetValue(0, 1), TLVValue::Integer(-7));
  EXPECT_EQ(cache.GetValue(0, 2), TLVValue::Float(2.5));
  EXPECT_EQ(cache.GetValue(0, 3), TLVValue::DateTime(45000.75));
  EXPECT_EQ(cache.GetValue(0, 4), TLVValue::String("Привет, мир"));

  // Overwriting, nulling and SetValue, including a text larger than a text chunk.
  const std::string longText(TLVDataCache::kTextChunkBytes + 123, 'z');
  const size_t allocatedBefore = cache.AllocatedBytes();
  cache.SetString(0, 4, longText);
  EXPECT_GE(cache.AllocatedBytes(), allocatedBefore + longText.size());
  EXPECT_TRUE(cache.GetString(0, 4, s) && s == longText);
  cache.SetNull(0, 4);
  EXPECT_TRUE(cache.IsNull(0, 4));
  cache.SetValue(3, 4, TLVValue::String("через SetValue"));
  cache.SetValue(3, 2, TLVValue::Float(-0.5));
  cache.SetValue(3, 0, TLVValue::Boolean(true));
  cache.SetValue(0, 1, TLVValue());
  EXPECT_EQ(cache.GetValue(3, 4), TLVValue::String("через SetValue"));
  EXPECT_EQ(cache.GetValue(3, 2), TLVValue::Float(-0.5));
  EXPECT_EQ(cache.GetValue(3, 0), TLVValue::Boolean(true));
  EXPECT_TRUE(cache.IsNull(0, 1));
}

// Rows filled in place by two threads, a block each at a time, read like rows set cell
// by cell; the rows past the kept ones are null again when appended later.
TEST(DataCache, RowsFilledInPlaceFromTwoThreads) {
  TQuietBuffer quiet;
  TLVDataCache cache(quiet.buffer);
  cache.SetColumns({dtInteger, dtString, dtFloat});
  cache.SetRowBlockBytes(4 * 23);  // four rows per block
  cache.Open();
  cache.AppendRow();  // filling starts in the middle of a block
  constexpr TLVRowIndex kRows = 4 * 40;
  // Every tenth row has a text too long for the room, which gets pages of its own.
  auto FilledText = [](TLVRowIndex row) {
    return RowText(row) + std::string(row % 10 == 5 ? 20000 : row % 7 * 9, 'x');
  };
  // Far more text room than the texts take: what is left must go back.
  const TLVRowIndex first = cache.AppendRowsToFill(kRows, kRows * 32768);
  ASSERT_EQ(first, 1);
  auto fill = [&](TLVRowIndex from, TLVRowIndex to) {
    cache.PrepareFill(from, to - from, (to - from) * 64);
    for (TLVRowIndex row = from; row < to; ++row) {
      uint8_t* record = cache.RecordToFill(row);
      EXPECT_EQ(record[cache.SlotOffset(0)], 0) << "a new record is all missing";
      const auto value = static_cast<int32_t>(row);
      record[cache.SlotOffset(0)] = 1;
      std::memcpy(record + cache.SlotOffset(0) + 1, &value, sizeof value);
      const double x = static_cast<double>(row) * 1.5;
      record[cache.SlotOffset(2)] = row % 3 != 0;
      std::memcpy(record + cache.SlotOffset(2) + 1, &x, sizeof x);
      cache.SetNewString(row, record + cache.SlotOffset(1), FilledText(row));
    }
  };
  // Block b holds rows [4b, 4b + 4); odd blocks on one thread, even on the other.
  auto blocks = [&](TLVRowIndex parity) {
    for (TLVRowIndex b = parity; b * 4 < first + kRows; b += 2) {
      fill(std::max(first, b * 4), std::min(first + kRows, b * 4 + 4));
    }
  };
  std::thread other(blocks, 1);
  blocks(0);
  other.join();
  const TLVRowIndex kept = kRows - 6;  // ends inside a block, and drops whole blocks
  const size_t allocated = cache.AllocatedBytes();
  cache.EndFill(kept);
  EXPECT_LT(cache.AllocatedBytes(), allocated / 4) << "the text room left unused is given back";

  ASSERT_EQ(cache.RowCount(), first + kept);
  EXPECT_TRUE(cache.IsNull(0, 0));
  for (TLVRowIndex row = first; row < first + kept; ++row) {
    ASSERT_EQ(cache.GetValue(row, 0), TLVValue::Integer(static_cast<int32_t>(row)));
    ASSERT_EQ(cache.GetValue(row, 1), TLVValue::String(FilledText(row)));
    ASSERT_EQ(cache.IsNull(row, 2), row % 3 == 0);
  }
  for (int i = 0; i < 6; ++i) {
    const TLVRowIndex row = cache.AppendRow();
    EXPECT_TRUE(cache.IsNull(row, 0) && cache.IsNull(row, 1) && cache.IsNull(row, 2)) << row;
  }
}

// A fill that ends exactly where a block ends keeps that block whole and gives back
// every block after it; the next row appended starts a new block and is null.
TEST(DataCache, FillEndingOnABlockBoundary) {
  TQuietBuffer quiet;
  auto fourRowBlocks = [&](TLVDataCache& cache) {
    cache.SetColumns({dtInteger, dtFloat});
    cache.SetRowBlockBytes(4 * 14);
    cache.Open();
    ASSERT_EQ(cache.RowsPerBlock(), 4);
  };
  TLVDataCache twoBlocks(quiet.buffer);
  fourRowBlocks(twoBlocks);
  twoBlocks.AppendRows(8);

  TLVDataCache cache(quiet.buffer);
  fourRowBlocks(cache);
  ASSERT_EQ(cache.AppendRowsToFill(16, 0), 0);
  for (TLVRowIndex row = 0; row < 16; ++row) {
    uint8_t* record = cache.RecordToFill(row);
    const auto value = static_cast<int32_t>(row + 100);
    record[cache.SlotOffset(0)] = 1;
    std::memcpy(record + cache.SlotOffset(0) + 1, &value, sizeof value);
    record[cache.SlotOffset(1)] = 1;
  }
  cache.EndFill(8);
  ASSERT_EQ(cache.RowCount(), 8);
  EXPECT_EQ(cache.AllocatedBytes(), twoBlocks.AllocatedBytes());
  EXPECT_EQ(cache.GetValue(7, 0), TLVValue::Integer(107));
  EXPECT_EQ(cache.AppendRow(), 8);
  EXPECT_TRUE(cache.IsNull(8, 0));
  EXPECT_TRUE(cache.IsNull(8, 1));
  cache.SetInteger(8, 0, 5);
  EXPECT_EQ(cache.GetValue(8, 0), TLVValue::Integer(5));
  EXPECT_EQ(cache.GetValue(7, 0), TLVValue::Integer(107));
}

TEST(DataCache, RefusesStructuralChangeWhileOpen) {
  for (auto key : {"ErrDataCacheActive", "ErrDataCacheClosed", "ErrDataCacheColumns",
                   "ErrInvalidDataCacheColumn", "ErrDataCacheInvalidIndex"}) {
    EXPECT_TRUE(TLVLocalization::Instance().HasText(key)) << key;
  }
  TQuietBuffer quiet;
  TLVDataCache cache(quiet.buffer);
  EXPECT_EQ(ErrorKey([&] { cache.Open(); }), "ErrDataCacheColumns");
  EXPECT_EQ(ErrorKey([&] { cache.SetColumns({dtInteger, dtNone}); }), "ErrInvalidDataCacheColumn");
  EXPECT_TRUE(cache.Columns().empty());

  cache.SetColumns({dtInteger, dtString});
  TLVBlock block;
  EXPECT_EQ(ErrorKey([&] { cache.AppendRow(); }), "ErrDataCacheClosed");
  EXPECT_EQ(ErrorKey([&] { cache.AppendRows(2); }), "ErrDataCacheClosed");
  EXPECT_EQ(ErrorKey([&] { cache.SetInteger(0, 0, 1); }), "ErrDataCacheClosed");
  EXPECT_EQ(ErrorKey([&] { cache.GetValue(0, 0); }), "ErrDataCacheClosed");
  EXPECT_EQ(ErrorKey([&] { cache.ReadBlock(0, 0, 0, block); }), "ErrDataCacheClosed");

  cache.Open();
  cache.AppendRows(5);
  cache.SetInteger(4, 0, 44);
  EXPECT_EQ(ErrorKey([&] { cache.SetColumns({dtFloat}); }), "ErrDataCacheActive");
  EXPECT_EQ(ErrorKey([&] { cache.SetRowBlockBytes(128); }), "ErrDataCacheActive");
  EXPECT_EQ(cache.Columns(), (std::vector<TLVDataType>{dtInteger, dtString}));
  cache.Open();  // already open: nothing happens
  EXPECT_EQ(cache.RowCount(), 5);

  cache.Clear();
  EXPECT_TRUE(cache.Active());
  EXPECT_EQ(cache.RowCount(), 0);
  EXPECT_EQ(cache.AppendRow(), 0);
  EXPECT_TRUE(cache.IsNull(0, 0));

  cache.Close();
  EXPECT_FALSE(cache.Active());
  EXPECT_EQ(cache.RowCount(), 0);
  cache.SetColumns({dtFloat});
  cache.Open();
  EXPECT_EQ(cache.RowCount(), 0);
}

TEST(DataCache, RejectsBadIndexesAndTypesWithoutChange) {
  TQuietBuffer quiet;
  TLVDataCache cache(quiet.buffer);
  cache.SetColumns({dtInteger, dtString});
  cache.Open();
  cache.AppendRows(2);
  cache.SetInteger(0, 0, 5);
  cache.SetString(0, 1, "a");

  const std::string bad = "ErrDataCacheInvalidIndex";
  EXPECT_EQ(ErrorKey([&] { cache.SetInteger(2, 0, 9); }), bad);
  EXPECT_EQ(ErrorKey([&] { cache.SetInteger(-1, 0, 9); }), bad);
  EXPECT_EQ(ErrorKey([&] { cache.SetNull(0, 2); }), bad);
  EXPECT_EQ(ErrorKey([&] { cache.SetString(0, -1, "b"); }), bad);
  EXPECT_EQ(ErrorKey([&] { cache.IsNull(INT64_MIN, 0); }), bad);
  EXPECT_EQ(ErrorKey([&] { cache.AppendRows(-1); }), bad);

  const std::string wrongType = "ErrInvalidDataCacheColumn";
  EXPECT_EQ(ErrorKey([&] { cache.SetFloat(0, 0, 1.5); }), wrongType);
  EXPECT_EQ(ErrorKey([&] { cache.SetString(0, 0, "x"); }), wrongType);
  EXPECT_EQ(ErrorKey([&] { cache.SetInteger(0, 1, 3); }), wrongType);
  EXPECT_EQ(ErrorKey([&] { cache.SetValue(0, 0, TLVValue::Float(1)); }), wrongType);
  EXPECT_EQ(ErrorKey([&] { cache.SetValue(0, 1, TLVValue::Integer(1)); }), wrongType);
  std::string_view s;
  double d;
  bool flag;
  EXPECT_EQ(ErrorKey([&] { cache.GetString(0, 0, s); }), wrongType);
  EXPECT_EQ(ErrorKey([&] { cache.GetFloat(0, 1, d); }), wrongType);
  EXPECT_EQ(ErrorKey([&] { cache.GetBoolean(0, 0, flag); }), wrongType);

  TLVBlock block;
  const TLVRowIndex outside[] = {0, 2};
  const TLVRowIndex negative[] = {1, -1};
  EXPECT_EQ(ErrorKey([&] { cache.ReadBlock(0, 1, 2, block); }), bad);
  EXPECT_EQ(ErrorKey([&] { cache.ReadBlock(0, -1, 1, block); }), bad);
  EXPECT_EQ(ErrorKey([&] { cache.ReadBlock(2, 0, 1, block); }), bad);
  EXPECT_EQ(ErrorKey([&] { cache.ReadRows(1, outside, 2, block); }), bad);
  EXPECT_EQ(ErrorKey([&] { cache.ReadRows(0, negative, 2, block); }), bad);
  EXPECT_EQ(ErrorKey([&] { cache.ForEachRecordRun(1, 2, [](const uint8_t*, size_t) {}); }), bad);

  EXPECT_EQ(cache.RowCount(), 2);
  EXPECT_EQ(cache.GetValue(0, 0), TLVValue::Integer(5));
  EXPECT_EQ(cache.GetValue(0, 1), TLVValue::String("a"));
  EXPECT_TRUE(cache.IsNull(1, 0));
}

TEST(DataCache, BlockReadsMatchCellReadsAcrossBlockBoundaries) {
  TQuietBuffer quiet;
  TLVDataCache cache(quiet.buffer);
  const std::vector<TLVDataType> types = {dtBoolean, dtInteger, dtFloat, dtDateTime, dtString};
  cache.SetColumns(types);
  cache.SetRowBlockBytes(200);  // 38-byte records: 4 rows per block
  cache.Open();
  const TLVRowIndex rows = 1003;
  cache.AppendRows(rows);
  std::mt19937 random(20240611);
  for (TLVRowIndex r = 0; r < rows; ++r) {
    auto present = [&] { return random() % 5 != 0; };
    if (present()) cache.SetBoolean(r, 0, r % 3 == 0);
    if (present()) cache.SetInteger(r, 1, static_cast<int32_t>(random()));
    if (present()) cache.SetFloat(r, 2, std::ldexp(static_cast<double>(random()), -7));
    if (present()) cache.SetDateTime(r, 3, 40000.0 + static_cast<double>(r) / 8);
    if (present()) cache.SetString(r, 4, r % 11 == 0 ? std::string() : RowText(r));
  }

  auto expectMatches = [&](int32_t column, const TLVBlock& block, auto rowAt) {
    ASSERT_EQ(block.Type(), types[static_cast<size_t>(column)]);
    for (int32_t i = 0; i < block.Count(); ++i) {
      const TLVRowIndex r = rowAt(i);
      const TLVValue value = cache.GetValue(r, column);
      ASSERT_EQ(block.IsNull(i), value.IsNull()) << "row " << r << " column " << column;
      if (value.IsNull()) {
        if (block.Type() != dtInteger && block.Type() != dtString) {
          EXPECT_TRUE(std::isnan(block.NumberAt(i)));
        }
      } else if (block.Type() == dtString) {
        std::string_view cell;
        cache.GetString(r, column, cell);
        EXPECT_EQ(block.Strings()[i], cell);
        EXPECT_EQ(block.Strings()[i].data(), cell.data()) << "a view into the text item";
      } else {
        EXPECT_EQ(block.NumberAt(i), value.AsDouble()) << "row " << r;
      }
    }
  };

  TLVBlock block;
  for (int32_t column = 0; column < 5; ++column) {
    // Every row, starting at each offset within a block, in reads of the full size.
    for (TLVRowIndex start = 0; start < 5; ++start) {
      for (TLVRowIndex first = start; first < rows; first += kLVBlockSize) {
        const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
        cache.ReadBlock(column, first, count, block);
        ASSERT_EQ(block.Count(), count);
        expectMatches(column, block, [&](int32_t i) { return first + i; });
      }
    }
    cache.ReadBlock(column, rows, 0, block);
    EXPECT_EQ(block.Count(), 0);

    std::vector<TLVRowIndex> picked;
    for (int32_t i = 0; i < kLVBlockSize; ++i) picked.push_back(random() % rows);
    picked.front() = rows - 1;
    picked.back() = picked.front();
    cache.ReadRows(column, picked.data(), kLVBlockSize, block);
    expectMatches(column, block, [&](int32_t i) { return picked[static_cast<size_t>(i)]; });
  }

  // Raw record runs: never longer than a block, together exactly the rows asked for.
  TLVRowIndex covered = 0;
  const size_t offset = cache.SlotOffset(2);
  cache.ForEachRecordRun(3, rows - 3, [&](const uint8_t* records, size_t n) {
    EXPECT_LE(n, 4u);
    for (size_t i = 0; i < n; ++i) {
      const uint8_t* slot = records + i * cache.RecordSize() + offset;
      double stored = 0;
      double cell = 0;
      std::memcpy(&stored, slot + 1, sizeof(stored));
      ASSERT_EQ(slot[0] != 0, cache.GetFloat(3 + covered, 2, cell));
      if (slot[0] != 0) {
        EXPECT_EQ(stored, cell);
      }
      ++covered;
    }
  });
  EXPECT_EQ(covered, rows - 3);
}

TEST(DataCache, AllocatesLittleBeyondPayload) {
  TQuietBuffer quiet;
  TLVDataCache cache(quiet.buffer);
  cache.SetColumns({dtInteger, dtFloat, dtDateTime, dtString});
  cache.Open();
  // Two full default blocks of 32-byte records; texts of 8 and 9 characters take 16
  // and 20 bytes, so text chunks do not divide evenly.
  const TLVRowIndex rows = 2 * (TLVRowIndex{4} << 20) / 32;
  for (TLVRowIndex r = 0; r < rows; ++r) {
    cache.AppendRow();
    cache.SetInteger(r, 0, static_cast<int32_t>(r));
    cache.SetString(r, 3, r % 2 == 0 ? "abcdefgh" : "abcdefghi");
  }
  const size_t payload = static_cast<size_t>(rows) * 32 + static_cast<size_t>(rows / 2) * 36;
  EXPECT_EQ(cache.PayloadBytes(), payload);
  EXPECT_GE(cache.AllocatedBytes(), payload);
  EXPECT_LE(static_cast<double>(cache.AllocatedBytes()), 1.05 * static_cast<double>(payload));
  const size_t allocated = cache.AllocatedBytes();
  cache.Clear();
  EXPECT_EQ(cache.AllocatedBytes(), 0u);
  EXPECT_EQ(cache.PayloadBytes(), 0u);
  EXPECT_EQ(quiet.buffer.HeldBytes(), allocated);
}

// A cache of `blocks` blocks of 4 rows (integer, string) with a text in every row.
void FillTextBlocks(TLVDataCache& cache, int blocks) {
  cache.SetColumns({dtInteger, dtString});
  cache.SetRowBlockBytes(64);  // 14-byte records: 4 rows per block
  cache.Open();
  for (TLVRowIndex r = 0; r < 4 * blocks; ++r) {
    cache.AppendRow();
    cache.SetString(r, 1, RowText(r));
  }
}

TEST(DataCacheCleanup, ReferencedTextKeepsBlockAlive) {
  TQuietBuffer quiet;
  TLVDataCache cache(quiet.buffer);
  FillTextBlocks(cache, 3);
  TLVValue held = cache.GetValue(5, 1);  // block 1
  // Block 2 is kept only by a text no record points to any more.
  TLVValue replaced = cache.GetValue(9, 1);
  cache.SetString(9, 1, "новый текст");
  cache.Close();
  EXPECT_EQ(quiet.buffer.EntryCount(), 3u);

  quiet.buffer.RunPassNow();
  EXPECT_EQ(quiet.buffer.EntryCount(), 2u);
  for (int pass = 0; pass < 20; ++pass) quiet.buffer.RunPassNow();
  EXPECT_EQ(quiet.buffer.EntryCount(), 2u);
  EXPECT_EQ(held.AsText(), "row 5");
  EXPECT_EQ(replaced.AsText(), "row 9");

  replaced = TLVValue();
  quiet.buffer.RunPassNow();
  EXPECT_EQ(quiet.buffer.EntryCount(), 1u);

  TLVValue copy = held;
  held = TLVValue();
  quiet.buffer.RunPassNow();
  EXPECT_EQ(quiet.buffer.EntryCount(), 1u);
  EXPECT_EQ(copy.AsText(), "row 5");
  copy = TLVValue();
  quiet.buffer.RunPassNow();
  EXPECT_EQ(quiet.buffer.EntryCount(), 0u);
  EXPECT_EQ(quiet.buffer.HeldBytes(), 0u);
}

TEST(DataCacheCleanup, BlocksWithoutTextsAreFreedOnHandOver) {
  TQuietBuffer quiet;
  TLVDataCache numbers(quiet.buffer);
  numbers.SetColumns({dtFloat, dtInteger});
  numbers.Open();
  numbers.AppendRows(100000);
  numbers.Close();
  EXPECT_EQ(quiet.buffer.EntryCount(), 0u);

  // Only the block whose rows received a non-empty text has to wait.
  TLVDataCache mixed(quiet.buffer);
  mixed.SetColumns({dtInteger, dtString});
  mixed.SetRowBlockBytes(64);
  mixed.Open();
  mixed.AppendRows(12);
  mixed.SetString(1, 1, "");
  mixed.SetString(6, 1, "text");
  mixed.Clear();
  EXPECT_EQ(quiet.buffer.EntryCount(), 1u);
  EXPECT_GT(quiet.buffer.HeldBytes(), 0u);
}

TEST(DataCacheCleanup, BackgroundThreadFreesUnreferencedBlocks) {
  TLVDataCacheCleanupBuffer buffer;
  buffer.SetInterval(20ms);
  TLVDataCache cache(buffer);
  FillTextBlocks(cache, 2);
  cache.Close();
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (buffer.EntryCount() != 0 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(10ms);
  }
  EXPECT_EQ(buffer.EntryCount(), 0u);
}

// How long these shutdowns take is measured in bench/core/cache/LV_DataCache_bench.cpp; here
// only what they leave behind.
TEST(DataCacheCleanup, ShutdownDuringSlowPassStopsBetweenEntriesOrGivesUp) {
  auto startedPass = [](TLVDataCacheCleanupBuffer& buffer, std::chrono::milliseconds perEntry) {
    auto calls = std::make_shared<std::atomic<int>>(0);
    buffer.SetPassHookForTesting([calls, perEntry] {
      calls->fetch_add(1);
      std::this_thread::sleep_for(perEntry);
    });
    buffer.SetInterval(10ms);
    TLVDataCache cache(buffer);
    FillTextBlocks(cache, 10);
    cache.Close();
    while (calls->load() == 0) std::this_thread::sleep_for(1ms);
  };

  // A pass over many slow entries stops between entries, and everything is freed.
  {
    TLVDataCacheCleanupBuffer buffer;
    startedPass(buffer, 200ms);
    EXPECT_TRUE(buffer.Shutdown());
    EXPECT_EQ(buffer.EntryCount(), 0u);
  }
  // A pass stuck in one entry is given up on: the shutdown says so.
  {
    TLVDataCacheCleanupBuffer buffer;
    startedPass(buffer, 5000ms);
    EXPECT_FALSE(buffer.Shutdown());
  }
}

TEST(DataCacheCleanup, ShutdownDeletesTemporaryDataFiles) {
  const auto folder = std::filesystem::path(testing::TempDir()) /
                      ("lv_cache_files_" + std::to_string(std::random_device()()));
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder / "nested");
  for (auto name : {"a.lvd", "B.LVD", "keep.txt", "nested/c.lvd"})
    std::ofstream(folder / name) << "x";

  TLVDataCacheCleanupBuffer buffer;
  buffer.SetTempFolder(folder);
  EXPECT_TRUE(buffer.Shutdown());
  EXPECT_FALSE(std::filesystem::exists(folder / "a.lvd"));
  EXPECT_FALSE(std::filesystem::exists(folder / "B.LVD"));
  EXPECT_TRUE(std::filesystem::exists(folder / "keep.txt"));
  EXPECT_TRUE(std::filesystem::exists(folder / "nested/c.lvd"));
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace lv
