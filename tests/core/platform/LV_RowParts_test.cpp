#include "core/platform/LV_RowParts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "core/LV_TestTable.h"
#include "core/text/LV_Errors.h"

namespace lv {
namespace {

using test::TCancelAt;

struct TCall {
  int part;
  TLVRowIndex first;
  int32_t count;
};

// Runs a job and returns its blocks, part by part in the order each part ran them.
std::vector<std::vector<TCall>> RunJob(int parts, TLVRowIndex total, TCancelAt& progress) {
  std::mutex mutex;
  std::vector<std::vector<TCall>> calls(static_cast<size_t>(parts));
  TLVProgressScope scope(&progress, "job", total);
  LVForBlocksInParts(parts, total, scope, [&](int part, TLVRowIndex first, int32_t count) {
    std::lock_guard lock(mutex);
    calls[static_cast<size_t>(part)].push_back({part, first, count});
  });
  return calls;
}

TEST(RowParts, EveryRowOnceInBlocksAndContiguousAscendingParts) {
  for (int parts : {1, 2, 3, 5}) {
    const TLVRowIndex block = kLVBlockSize;
    for (TLVRowIndex total : {TLVRowIndex{0}, TLVRowIndex{1}, block, block * 7 + 2, block * 40}) {
      SCOPED_TRACE(testing::Message() << parts << " parts, " << total << " rows");
      TCancelAt progress(-1);
      const auto calls = RunJob(parts, total, progress);
      // Joined part after part, the blocks run through the rows once, each whole (but
      // for the table's last) and starting on a block boundary.
      TLVRowIndex next = 0;
      for (const auto& part : calls) {
        for (const TCall& call : part) {
          EXPECT_EQ(call.first, next);
          EXPECT_EQ(call.first % kLVBlockSize, 0);
          EXPECT_TRUE(call.count == kLVBlockSize || call.first + call.count == total);
          next = call.first + call.count;
        }
      }
      EXPECT_EQ(next, total);
      EXPECT_EQ(progress.Position(), total);
    }
  }
}

TEST(RowParts, AFailedPartOrACancelStopsTheJobAndIsRaisedOnce) {
  const TLVRowIndex total = TLVRowIndex{kLVBlockSize} * 60;
  {
    // An error in a part of its own thread reaches the caller.
    TCancelAt progress(-1);
    TLVProgressScope scope(&progress, "job", total);
    EXPECT_THROW(LVForBlocksInParts(3, total, scope,
                                    [&](int part, TLVRowIndex, int32_t) {
                                      if (part == 2) throw ELVDataError("ErrDataCacheClosed");
                                    }),
                 ELVDataError);
  }
  {
    // So does an error of the caller's own part, with the other threads joined.
    TCancelAt progress(-1);
    TLVProgressScope scope(&progress, "job", total);
    EXPECT_THROW(LVForBlocksInParts(2, total, scope,
                                    [&](int part, TLVRowIndex first, int32_t) {
                                      if (part == 0 && first > 0) throw std::runtime_error("x");
                                    }),
                 std::runtime_error);
  }
  {
    // Cancelling stops every part before the table's end.
    TCancelAt progress(kLVBlockSize * 3);
    std::atomic<TLVRowIndex> rows{0};
    TLVProgressScope scope(&progress, "job", total);
    EXPECT_THROW(LVForBlocksInParts(2, total, scope,
                                    [&](int, TLVRowIndex, int32_t count) { rows += count; }),
                 ELVAbort);
    EXPECT_LT(rows.load(), total);
  }
}

TEST(RowParts, SmallTablesGetOnePart) {
  const TLVRowIndex before = LVMinRowsPerPart();
  LVSetMinRowsPerPart(1000);
  EXPECT_EQ(LVRowPartCount(0), 1);
  EXPECT_EQ(LVRowPartCount(1999), 1);
  const int many = LVRowPartCount(1'000'000);
  EXPECT_GE(many, 1);
  EXPECT_LE(many, static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
  LVSetMinRowsPerPart(before);
}

}  // namespace
}  // namespace lv
