#include "transform/sort/LV_SortKeys.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <numeric>

#include "core/columns/LV_Block.h"
#include "transform/formula/LV_CalcText.h"

namespace lv {

uint64_t NumberOrderCode(double value) {
  if (std::isnan(value)) return kMissingOrderCode;
  if (value == 0) value = 0;  // -0 joins 0
  const auto bits = std::bit_cast<uint64_t>(value);
  // Negative numbers order backwards by their bits: flip them all; positive ones only
  // need to come above the negative ones.
  return (bits >> 63) != 0 ? ~bits : bits | (uint64_t{1} << 63);
}

uint32_t TLVTextDictionary::Code(std::string_view text) {
  const uint64_t hash = std::hash<std::string_view>{}(text);
  const size_t mask = slots_.size() - 1;
  for (size_t at = hash & mask;; at = (at + 1) & mask) {
    const uint32_t slot = slots_[at];
    if (slot == 0) {
      const auto code = static_cast<uint32_t>(texts_.size());
      texts_.emplace_back(text);
      hashes_.push_back(hash);
      slots_[at] = code + 1;
      if (texts_.size() * 2 > slots_.size()) Grow();
      return code;
    }
    if (hashes_[slot - 1] == hash && texts_[slot - 1] == text) return slot - 1;
  }
}

void TLVTextDictionary::Grow() {
  std::vector<uint32_t> slots(slots_.size() * 2, 0);
  const size_t mask = slots.size() - 1;
  for (size_t code = 0; code < texts_.size(); ++code) {
    size_t at = hashes_[code] & mask;
    while (slots[at] != 0) at = (at + 1) & mask;
    slots[at] = static_cast<uint32_t>(code + 1);
  }
  slots_.swap(slots);
}

std::vector<uint32_t> TLVTextDictionary::Ranks(bool caseSensitive, uint32_t& distinct) const {
  std::vector<uint32_t> order(texts_.size());
  std::iota(order.begin(), order.end(), 0u);
  auto compare = [&](uint32_t a, uint32_t b) {
    return CompareTextOrder(texts_[a], texts_[b], caseSensitive);
  };
  std::sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) { return compare(a, b) < 0; });
  std::vector<uint32_t> ranks(texts_.size());
  distinct = 0;
  for (size_t i = 0; i < order.size(); ++i) {
    if (i > 0 && compare(order[i - 1], order[i]) != 0) ++distinct;
    ranks[order[i]] = distinct;
  }
  if (!order.empty()) ++distinct;
  return ranks;
}

int32_t BitsFor(uint64_t maxValue) {
  return std::max(1, 64 - std::countl_zero(maxValue));
}

void TLVKeyRecords::Put(size_t i, int32_t offset, int32_t width, uint64_t code) {
  uint64_t* record = Record(i);
  const int32_t word = offset / 64;
  const int32_t room = 64 - offset % 64;
  if (width <= room) {
    record[word] |= code << (room - width);
  } else {
    const int32_t spill = width - room;
    record[word] |= code >> spill;
    record[word + 1] |= code << (64 - spill);
  }
}

namespace {

// One counting pass of the radix sort on byte `shift` / 8 of word `word`.
template <int32_t W>
void RadixPass(const uint64_t* from, uint64_t* to, size_t count, int32_t words, int32_t word,
               int32_t shift) {
  const size_t width = W > 0 ? static_cast<size_t>(W) : static_cast<size_t>(words);
  std::array<size_t, 256> start{};
  for (size_t i = 0; i < count; ++i)
    ++start[(from[i * width + static_cast<size_t>(word)] >> shift) & 0xFF];
  size_t sum = 0;
  for (size_t& s : start) sum += std::exchange(s, sum);
  for (size_t i = 0; i < count; ++i) {
    const uint64_t* record = from + i * width;
    uint64_t* place = to + start[(record[word] >> shift) & 0xFF]++ * width;
    for (size_t k = 0; k < width; ++k) place[k] = record[k];
  }
}

}  // namespace

void TLVKeyRecords::Sort(int32_t sortedLowBits) {
  const size_t count = Count();
  if (count < 2) return;
  const auto words = static_cast<size_t>(words_);
  // Bits that differ between records; a byte where none does needs no pass.
  std::vector<uint64_t> anyOne(words, 0), allOne(words, ~uint64_t{0});
  for (size_t i = 0; i < count; ++i) {
    for (size_t k = 0; k < words; ++k) {
      anyOne[k] |= data_[i * words + k];
      allOne[k] &= data_[i * words + k];
    }
  }
  std::vector<uint64_t> other(data_.size());
  uint64_t* from = data_.data();
  uint64_t* to = other.data();
  for (int32_t word = words_ - 1; word >= 0; --word) {
    const uint64_t differs = anyOne[static_cast<size_t>(word)] ^ allOne[static_cast<size_t>(word)];
    for (int32_t shift = 0; shift < 64; shift += 8) {
      if (((differs >> shift) & 0xFF) == 0) continue;
      if (word == words_ - 1 && shift + 8 <= sortedLowBits) continue;
      switch (words_) {
        case 1:
          RadixPass<1>(from, to, count, words_, word, shift);
          break;
        case 2:
          RadixPass<2>(from, to, count, words_, word, shift);
          break;
        case 3:
          RadixPass<3>(from, to, count, words_, word, shift);
          break;
        default:
          RadixPass<0>(from, to, count, words_, word, shift);
          break;
      }
      std::swap(from, to);
    }
  }
  if (from != data_.data()) data_.swap(other);
}

namespace {

// How one key is turned into codes: its width, and for texts the rank of each row.
struct TKeyPlan {
  TLVSortKey key;
  TLVDataType type = TLVDataType::dtNone;
  int32_t width = 0;
  int32_t offset = 0;
  std::vector<uint32_t> textCodes;  // per row, texts only; UINT32_MAX when missing
  std::vector<uint32_t> ranks;      // per dictionary code
  uint32_t distinct = 0;
};

template <class F>
void ForEachBlock(ILVDataSource& source, int32_t column, TLVRowIndex rows, TLVBlock& block, F f) {
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
    source.ReadBlock(column, first, count, block);
    f(first, count);
  }
}

void RankTexts(ILVDataSource& source, TLVRowIndex rows, TKeyPlan& plan, TLVBlock& block) {
  TLVTextDictionary dictionary;
  plan.textCodes.resize(static_cast<size_t>(rows));
  ForEachBlock(source, plan.key.column, rows, block, [&](TLVRowIndex first, int32_t count) {
    const std::string_view* texts = block.Strings();
    const uint8_t* valid = block.Valid();
    uint32_t* codes = plan.textCodes.data() + first;
    for (int32_t i = 0; i < count; ++i)
      codes[i] = valid[i] ? dictionary.Code(texts[i]) : UINT32_MAX;
  });
  plan.ranks = dictionary.Ranks(plan.key.caseSensitive, plan.distinct);
  plan.width = BitsFor(plan.distinct);  // ranks 0..distinct-1 and the missing code
}

void PackKey(ILVDataSource& source, TLVRowIndex rows, const TKeyPlan& plan, TLVKeyRecords& records,
             TLVBlock& block) {
  const bool down = plan.key.descending;
  auto put = [&](TLVRowIndex row, uint64_t code) {
    records.Put(static_cast<size_t>(row), plan.offset, plan.width, code);
  };
  if (plan.type == TLVDataType::dtString) {
    const uint64_t missing = plan.distinct;
    for (TLVRowIndex row = 0; row < rows; ++row) {
      const uint32_t code = plan.textCodes[static_cast<size_t>(row)];
      if (code == UINT32_MAX) {
        put(row, missing);
      } else {
        const uint32_t rank = plan.ranks[code];
        put(row, down ? plan.distinct - 1 - rank : rank);
      }
    }
    return;
  }
  ForEachBlock(source, plan.key.column, rows, block, [&](TLVRowIndex first, int32_t count) {
    const uint8_t* valid = block.Valid();
    if (plan.type == TLVDataType::dtInteger) {
      const int32_t* values = block.Integers();
      for (int32_t i = 0; i < count; ++i) {
        const uint64_t code = static_cast<uint32_t>(values[i]) ^ 0x80000000u;
        put(first + i, !valid[i] ? uint64_t{1} << 32 : (down ? 0xFFFFFFFFu - code : code));
      }
    } else {
      const double* values = block.Numbers();
      for (int32_t i = 0; i < count; ++i) {
        const uint64_t code = valid[i] ? NumberOrderCode(values[i]) : kMissingOrderCode;
        put(first + i, code == kMissingOrderCode || !down ? code : ~code);
      }
    }
  });
}

}  // namespace

std::vector<TLVRowIndex> LVSortedRows(ILVDataSource& source, std::span<const TLVSortKey> keys) {
  const TLVRowIndex rows = source.GetRowCount();
  TLVBlock block;
  std::vector<TKeyPlan> plans(keys.size());
  int32_t bits = 0;
  for (size_t k = 0; k < keys.size(); ++k) {
    TKeyPlan& plan = plans[k];
    plan.key = keys[k];
    plan.type = source.GetColumnsInfo().GetColumnInfo(plan.key.column)->GetDataType();
    if (plan.type == TLVDataType::dtString) {
      RankTexts(source, rows, plan, block);
    } else {
      plan.width = plan.type == TLVDataType::dtInteger ? 33 : 64;
    }
    plan.offset = bits;
    bits += plan.width;
  }
  const int32_t rowBits = BitsFor(static_cast<uint64_t>(std::max<TLVRowIndex>(rows - 1, 0)));
  TLVKeyRecords records(static_cast<size_t>(rows), (bits + rowBits + 63) / 64);
  for (TKeyPlan& plan : plans) {
    PackKey(source, rows, plan, records, block);
    std::vector<uint32_t>().swap(plan.textCodes);
  }
  const size_t last = static_cast<size_t>(records.Words()) - 1;
  for (TLVRowIndex row = 0; row < rows; ++row) {
    records.Record(static_cast<size_t>(row))[last] |= static_cast<uint64_t>(row);
  }
  records.Sort(rowBits);
  std::vector<TLVRowIndex> sorted(static_cast<size_t>(rows));
  const uint64_t rowMask = rowBits == 64 ? ~uint64_t{0} : (uint64_t{1} << rowBits) - 1;
  for (size_t i = 0; i < sorted.size(); ++i) {
    sorted[i] = static_cast<TLVRowIndex>(records.Record(i)[last] & rowMask);
  }
  return sorted;
}

}  // namespace lv
