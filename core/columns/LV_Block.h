// A block: one column's values for a run of rows, the unit of every hot path.
//
// A block is owned by its caller and reused from read to read, so reading a column
// allocates nothing per row. Booleans, dates and floats are held as doubles, integers
// as int32, texts as views. A view stays valid until the block is read into again or
// the source it came from changes (it points either into the block's own arena or
// into the source's row storage, which a lock keeps in place).
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "core/columns/LV_Types.h"

#ifndef LV_BLOCK_SIZE
#define LV_BLOCK_SIZE 512
#endif

namespace lv {

// Row numbers and row counts of every table.
using TLVRowIndex = int64_t;

// Whether any of `count` row indexes lies outside [0, total): one pass without
// branches, so that checking a gather's indexes costs next to nothing when all are
// good (the caller then looks for the bad one to report it). An index outside has the
// top bit set either in itself (negative) or in total - 1 minus it (too large), which
// is plain 64-bit arithmetic that the compiler vectorizes.
inline bool AnyRowOutside(const TLVRowIndex* rows, int32_t count, TLVRowIndex total) {
  const auto last = static_cast<uint64_t>(total) - 1;
  uint64_t signs = total > 0 ? 0 : ~uint64_t{0};
  for (int32_t i = 0; i < count; ++i) {
    const auto row = static_cast<uint64_t>(rows[i]);
    signs |= row | (last - row);
  }
  return count > 0 && (signs >> 63) != 0;
}

// The position of the first of `count` row indexes outside [0, total), or -1 when all
// lie inside; the search runs only after the branch-free pass has found one.
inline int32_t FindRowOutside(const TLVRowIndex* rows, int32_t count, TLVRowIndex total) {
  if (!AnyRowOutside(rows, count, total)) return -1;
  for (int32_t i = 0; i < count; ++i) {
    if (static_cast<uint64_t>(rows[i]) >= static_cast<uint64_t>(total)) return i;
  }
  return -1;
}

// Rows per block read. Set from CMake (LV_BLOCK_SIZE); one test build uses 2 or 3 so
// that every boundary bug shows.
inline constexpr int32_t kLVBlockSize = LV_BLOCK_SIZE;

// Texts a source had to make up for a block (converted or computed values). Freed all
// at once when the block is reset.
class TLVBlockArena {
 public:
  std::string_view Store(std::string_view text);
  void Clear();

 private:
  std::vector<std::unique_ptr<char[]>> chunks_;
  size_t used_ = 0;
  size_t capacity_ = 0;
};

class TLVBlock {
 public:
  TLVBlock() = default;
  TLVBlock(const TLVBlock&) = delete;
  TLVBlock& operator=(const TLVBlock&) = delete;
  TLVBlock(TLVBlock&&) = default;
  TLVBlock& operator=(TLVBlock&&) = default;

  // Prepares the block for `count` (<= kLVBlockSize) values of `type`; the previous
  // contents and the arena's texts are dropped.
  void Reset(TLVDataType type, int32_t count);

  TLVDataType Type() const { return type_; }
  int32_t Count() const { return count_; }

  // dtBoolean, dtDateTime and dtFloat.
  double* Numbers() { return numbers_.get(); }
  const double* Numbers() const { return numbers_.get(); }
  // dtInteger.
  int32_t* Integers() { return integers_.get(); }
  const int32_t* Integers() const { return integers_.get(); }
  // dtString.
  std::string_view* Strings() { return strings_.get(); }
  const std::string_view* Strings() const { return strings_.get(); }
  // One byte per row: 0 is a missing value, anything else a present one.
  uint8_t* Valid() { return valid_.get(); }
  const uint8_t* Valid() const { return valid_.get(); }
  bool IsNull(int32_t i) const { return valid_[static_cast<size_t>(i)] == 0; }

  // Any value as a double (integers converted; texts and missing values give NaN).
  double NumberAt(int32_t i) const;

  TLVBlockArena& Arena() { return arena_; }

 private:
  TLVDataType type_ = TLVDataType::dtNone;
  int32_t count_ = 0;
  std::unique_ptr<double[]> numbers_;
  std::unique_ptr<int32_t[]> integers_;
  std::unique_ptr<std::string_view[]> strings_;
  std::unique_ptr<uint8_t[]> valid_;
  TLVBlockArena arena_;
};

}  // namespace lv
