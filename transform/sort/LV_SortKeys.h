// Ordering rows by keys: the order codes of values, the dictionary that ranks texts,
// and the sort of rows by packed key records that the sorting and grouping nodes share.
//
// Every value of a key becomes an unsigned code whose order is the key's order: texts
// their rank in the alphabetical order of CompareTextOrder (LV_CalcText.h), integers
// their value shifted to unsigned, reals, dates and Booleans their bits made
// order-preserving. A missing value gets the code above every present one, in either
// direction, so missing values come last. The codes of a row's keys are packed, most
// significant first, into one record of 64-bit words with the row number in the lowest
// bits, and the records are put in order by a least-significant-digit radix sort, which
// is stable: rows with equal keys keep their order. Single-threaded.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/sources/LV_DataIntf.h"

namespace lv {

// The order code of a real (missing: every NaN): -0 and 0 share one code.
inline constexpr uint64_t kMissingOrderCode = ~uint64_t{0};
uint64_t NumberOrderCode(double value);

// The distinct texts met, each with a code in the order met.
class TLVTextDictionary {
 public:
  uint32_t Code(std::string_view text);
  uint32_t Count() const { return static_cast<uint32_t>(texts_.size()); }
  const std::string& Text(uint32_t code) const { return texts_[code]; }
  // Rank of every code in the text order; texts equal in that order share a rank.
  // `distinct` receives the number of ranks.
  std::vector<uint32_t> Ranks(bool caseSensitive, uint32_t& distinct) const;

 private:
  void Grow();

  // Open addressing: each slot holds a code + 1 (0 is empty); the hash of every text is
  // kept so that a probe compares texts only when their hashes agree.
  std::vector<uint32_t> slots_ = std::vector<uint32_t>(64, 0);
  std::vector<uint64_t> hashes_;
  std::vector<std::string> texts_;
};

// Records of `words` 64-bit words each, compared word by word as unsigned numbers.
// Fields are written from the top bit of the first word down.
class TLVKeyRecords {
 public:
  TLVKeyRecords(size_t count, int32_t words)
      : words_(words), data_(count * static_cast<size_t>(words), 0) {}
  int32_t Words() const { return words_; }
  size_t Count() const { return data_.size() / static_cast<size_t>(words_); }
  uint64_t* Record(size_t i) { return data_.data() + i * static_cast<size_t>(words_); }
  const uint64_t* Record(size_t i) const { return data_.data() + i * static_cast<size_t>(words_); }
  // Ors `code` (< 2^width, width 1..64) into the bits [offset, offset + width) of record i.
  void Put(size_t i, int32_t offset, int32_t width, uint64_t code);
  // Puts the records in ascending order, stably. The lowest `sortedLowBits` bits are
  // taken as already in order (the row numbers the records were made with, ascending).
  void Sort(int32_t sortedLowBits);

 private:
  int32_t words_;
  std::vector<uint64_t> data_;
};

// Bits needed for the values 0..maxValue.
int32_t BitsFor(uint64_t maxValue);

// One key of a row order.
struct TLVSortKey {
  int32_t column = 0;
  bool descending = false;
  bool caseSensitive = false;
};

// The row numbers of `source` (opened and locked by the caller) in the order of `keys`,
// the first the most significant; stable, missing values last.
std::vector<TLVRowIndex> LVSortedRows(ILVDataSource& source, std::span<const TLVSortKey> keys);

}  // namespace lv
