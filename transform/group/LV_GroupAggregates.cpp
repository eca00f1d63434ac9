#include "transform/group/LV_GroupAggregates.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

#include "core/text/LV_Localization.h"
#include "transform/formula/LV_CalcText.h"
#include "transform/sort/LV_SortKeys.h"

namespace lv {

void TLVGroupValues::Resize(size_t count) {
  valid.assign(count, 0);
  if (type == TLVDataType::dtInteger) {
    integers.assign(count, 0);
  } else if (type == TLVDataType::dtString) {
    texts.assign(count, std::string());
  } else {
    numbers.assign(count, 0);
  }
}

void TLVGroupValues::Read(size_t first, int32_t count, TLVBlock& out) const {
  out.Reset(type, count);
  const auto n = static_cast<size_t>(count);
  std::copy_n(valid.begin() + static_cast<ptrdiff_t>(first), n, out.Valid());
  if (type == TLVDataType::dtInteger) {
    std::copy_n(integers.begin() + static_cast<ptrdiff_t>(first), n, out.Integers());
  } else if (type == TLVDataType::dtString) {
    for (size_t i = 0; i < n; ++i) out.Strings()[i] = texts[first + i];
  } else {
    std::copy_n(numbers.begin() + static_cast<ptrdiff_t>(first), n, out.Numbers());
  }
}

namespace {

using F = TLVGroupDataFunction;

// The groups met so far, by their dimension codes: open addressing over a table of
// group numbers, the codes of group g at keys_[g * width] and its hash at hashes_[g].
class TGroupTable {
 public:
  explicit TGroupTable(size_t width) : width_(width), slots_(1024, -1) {}

  uint32_t FindOrAdd(const uint64_t* key) {
    const size_t mask = slots_.size() - 1;
    const size_t hash = Hash(key);
    for (size_t at = hash & mask;; at = (at + 1) & mask) {
      const int32_t slot = slots_[at];
      if (slot < 0) {
        const auto group = static_cast<int32_t>(count_++);
        keys_.insert(keys_.end(), key, key + width_);
        hashes_.push_back(hash);
        slots_[at] = group;
        if (count_ * 2 > slots_.size()) Grow();
        return static_cast<uint32_t>(group);
      }
      if (hashes_[static_cast<size_t>(slot)] == hash && Same(key, static_cast<size_t>(slot))) {
        return static_cast<uint32_t>(slot);
      }
    }
  }
  size_t Count() const { return count_; }
  uint64_t Code(size_t group, size_t dimension) const { return keys_[group * width_ + dimension]; }

 private:
  size_t Hash(const uint64_t* key) const {
    uint64_t h = 0x9E3779B97F4A7C15u;
    for (size_t k = 0; k < width_; ++k) {
      h = (h ^ key[k]) * 0xBF58476D1CE4E5B9u;
      h ^= h >> 31;
    }
    return static_cast<size_t>(h);
  }
  bool Same(const uint64_t* key, size_t group) const {
    const uint64_t* stored = keys_.data() + group * width_;
    for (size_t k = 0; k < width_; ++k) {
      if (stored[k] != key[k]) return false;
    }
    return true;
  }
  void Grow() {
    std::vector<int32_t> slots(slots_.size() * 2, -1);
    const size_t mask = slots.size() - 1;
    for (size_t g = 0; g < count_; ++g) {
      size_t at = hashes_[g] & mask;
      while (slots[at] >= 0) at = (at + 1) & mask;
      slots[at] = static_cast<int32_t>(g);
    }
    slots_.swap(slots);
  }

  size_t width_;
  size_t count_ = 0;
  std::vector<int32_t> slots_;
  std::vector<uint64_t> keys_;
  std::vector<size_t> hashes_;
};

double NumberOfCode(uint64_t code) {
  const uint64_t bits = (code >> 63) != 0 ? code & ~(uint64_t{1} << 63) : ~code;
  return std::bit_cast<double>(bits);
}

// A dimension column: codes of its values (texts by a dictionary), missing last.
struct TDimension {
  int32_t column = 0;
  TLVDataType type = TLVDataType::dtNone;
  TLVTextDictionary dictionary;

  void Codes(const TLVBlock& block, uint64_t* codes) {
    const uint8_t* valid = block.Valid();
    for (int32_t i = 0; i < block.Count(); ++i) {
      if (!valid[i]) {
        codes[i] = kMissingOrderCode;
      } else if (type == TLVDataType::dtString) {
        codes[i] = dictionary.Code(block.Strings()[i]);
      } else if (type == TLVDataType::dtInteger) {
        codes[i] = static_cast<uint32_t>(block.Integers()[i]) ^ 0x80000000u;
      } else {
        codes[i] = NumberOrderCode(block.Numbers()[i]);
      }
    }
  }
  void Store(uint64_t code, TLVGroupValues& out, size_t at) const {
    out.valid[at] = code != kMissingOrderCode;
    if (!out.valid[at]) return;
    if (type == TLVDataType::dtString) {
      out.texts[at] = dictionary.Text(static_cast<uint32_t>(code));
    } else if (type == TLVDataType::dtInteger) {
      out.integers[at] = static_cast<int32_t>(static_cast<uint32_t>(code) ^ 0x80000000u);
    } else {
      out.numbers[at] = NumberOfCode(code);
    }
  }
};

// One fact's accumulators per group. Values travel as doubles: numbers as they are,
// texts as their dictionary codes.
struct TFact {
  TLVGroupFact definition;
  TLVDataType type = TLVDataType::dtNone;
  TLVTextDictionary dictionary;
  std::vector<double> a, b;  // sum, mean, min/max, first/last; M2 of the deviation
  std::vector<int64_t> n;    // values counted
  std::vector<std::pair<uint32_t, double>> values;  // medians and unique counts
  std::vector<double> x;                            // the block's values

  bool Text() const { return type == TLVDataType::dtString; }
  bool Below(double u, double v) const {
    if (!Text()) return u < v;
    return CompareTextOrder(dictionary.Text(static_cast<uint32_t>(u)),
                            dictionary.Text(static_cast<uint32_t>(v)), true) < 0;
  }

  void Accumulate(const TLVBlock& block, const uint32_t* group, size_t groups) {
    if (n.size() < groups) {
      a.resize(groups, 0);
      b.resize(groups, 0);
      n.resize(groups, 0);
    }
    const int32_t count = block.Count();
    const uint8_t* valid = block.Valid();
    // Counts need no values; the other functions see each present value with its group.
    if (definition.function == F::gdCount || definition.function == F::gdNullCount) {
      const int64_t counted = definition.function == F::gdCount ? 1 : 0;
      for (int32_t i = 0; i < count; ++i) n[group[i]] += (valid[i] != 0) == (counted != 0);
      return;
    }
    x.resize(static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
      const auto at = static_cast<size_t>(i);
      if (!valid[i]) continue;
      if (Text()) {
        x[at] = dictionary.Code(block.Strings()[i]);
      } else {
        x[at] = type == TLVDataType::dtInteger ? block.Integers()[i] : block.Numbers()[i];
      }
    }
    auto each = [&](auto f) {
      for (int32_t i = 0; i < count; ++i) {
        if (valid[i]) f(static_cast<size_t>(group[i]), x[static_cast<size_t>(i)]);
      }
    };
    switch (definition.function) {
      case F::gdSum:
      case F::gdAvg:
        each([&](size_t g, double v) { a[g] += v, ++n[g]; });
        break;
      case F::gdMin:
        each([&](size_t g, double v) {
          if (n[g]++ == 0 || Below(v, a[g])) a[g] = v;
        });
        break;
      case F::gdMax:
        each([&](size_t g, double v) {
          if (n[g]++ == 0 || Below(a[g], v)) a[g] = v;
        });
        break;
      case F::gdFirst:
        each([&](size_t g, double v) {
          if (n[g]++ == 0) a[g] = v;
        });
        break;
      case F::gdLast:
        each([&](size_t g, double v) { a[g] = v, n[g] = 1; });
        break;
      case F::gdStdDev:
        each([&](size_t g, double v) {
          const double d = v - a[g];
          a[g] += d / static_cast<double>(++n[g]);
          b[g] += d * (v - a[g]);
        });
        break;
      default:  // medians and unique counts keep their values
        each([&](size_t g, double v) { values.emplace_back(static_cast<uint32_t>(g), v); });
        break;
    }
  }

  // The values kept per group, in order; medians and unique counts from them.
  void FinishKeptValues(size_t groups) {
    std::sort(values.begin(), values.end());
    a.assign(groups, 0);
    n.assign(groups, 0);
    for (size_t i = 0; i < values.size();) {
      size_t j = i;
      while (j < values.size() && values[j].first == values[i].first) ++j;
      const size_t g = values[i].first, m = j - i;
      if (definition.function == F::gdMedian) {
        const double upper = values[i + m / 2].second;
        a[g] = m % 2 == 1 ? upper : (values[i + m / 2 - 1].second + upper) / 2;
        n[g] = static_cast<int64_t>(m);
      } else {
        for (size_t k = i; k < j; ++k) n[g] += k == i || values[k].second != values[k - 1].second;
      }
      i = j;
    }
    std::vector<std::pair<uint32_t, double>>().swap(values);
  }

  void Store(size_t g, TLVGroupValues& out) const {
    const int64_t count = g < n.size() ? n[g] : 0;
    switch (definition.function) {
      case F::gdCount:
      case F::gdNullCount:
      case F::gdUniqueCount:
        out.valid[g] = 1;
        out.integers[g] = static_cast<int32_t>(count);
        return;
      case F::gdAvg:
        out.valid[g] = count > 0;
        if (count > 0) out.numbers[g] = a[g] / static_cast<double>(count);
        return;
      case F::gdStdDev:
        out.valid[g] = count > 1;
        if (count > 1) out.numbers[g] = std::sqrt(b[g] / static_cast<double>(count - 1));
        return;
      default:
        break;
    }
    out.valid[g] = count > 0;
    if (count == 0) return;
    if (out.type == TLVDataType::dtString) {
      out.texts[g] = dictionary.Text(static_cast<uint32_t>(a[g]));
    } else if (out.type == TLVDataType::dtInteger) {
      out.integers[g] = static_cast<int32_t>(a[g]);
    } else {
      out.numbers[g] = a[g];
    }
  }
};

void Reorder(TLVGroupValues& column, const std::vector<uint32_t>& order) {
  TLVGroupValues sorted;
  sorted.type = column.type;
  sorted.Resize(order.size());
  for (size_t i = 0; i < order.size(); ++i) {
    const size_t from = order[i];
    sorted.valid[i] = column.valid[from];
    if (column.type == TLVDataType::dtInteger) {
      sorted.integers[i] = column.integers[from];
    } else if (column.type == TLVDataType::dtString) {
      sorted.texts[i] = std::move(column.texts[from]);
    } else {
      sorted.numbers[i] = column.numbers[from];
    }
  }
  column = std::move(sorted);
}

// The group of each row of a block, found in (or added to) the table.
class TBlockGroups {
 public:
  explicit TBlockGroups(size_t dims) : codes_(dims * kLVBlockSize), key_(dims) {}
  const uint32_t* Find(ILVDataSource& source, std::vector<TDimension>& dims, TGroupTable& table,
                       TLVRowIndex first, int32_t count, TLVBlock& block) {
    for (size_t d = 0; d < dims.size(); ++d) {
      source.ReadBlock(dims[d].column, first, count, block);
      dims[d].Codes(block, codes_.data() + d * kLVBlockSize);
    }
    for (int32_t i = 0; i < count; ++i) {
      for (size_t d = 0; d < dims.size(); ++d) {
        key_[d] = codes_[d * kLVBlockSize + static_cast<size_t>(i)];
      }
      group_[i] = table.FindOrAdd(key_.data());
    }
    return group_;
  }

 private:
  std::vector<uint64_t> codes_;
  std::vector<uint64_t> key_;
  uint32_t group_[kLVBlockSize];
};

std::vector<TDimension> MakeDimensions(const ILVColumnsInfo& columns,
                                       const std::vector<int32_t>& dimensions) {
  std::vector<TDimension> dims(dimensions.size());
  for (size_t d = 0; d < dims.size(); ++d) {
    dims[d].column = dimensions[d];
    dims[d].type = columns.GetColumnInfo(dimensions[d])->GetDataType();
  }
  return dims;
}

// The groups in the ascending order of their dimension values.
std::vector<uint32_t> GroupOrder(const TGroupTable& table, const std::vector<TDimension>& dims) {
  const size_t groups = table.Count();
  std::vector<std::vector<uint64_t>> keys(dims.size(), std::vector<uint64_t>(groups));
  for (size_t d = 0; d < dims.size(); ++d) {
    std::vector<uint32_t> ranks;
    if (dims[d].type == TLVDataType::dtString) {
      uint32_t distinct = 0;
      ranks = dims[d].dictionary.Ranks(true, distinct);
    }
    for (size_t g = 0; g < groups; ++g) {
      const uint64_t code = table.Code(g, d);
      keys[d][g] = ranks.empty() || code == kMissingOrderCode ? code : ranks[code];
    }
  }
  std::vector<uint32_t> order(groups);
  std::iota(order.begin(), order.end(), 0u);
  std::sort(order.begin(), order.end(), [&](uint32_t x, uint32_t y) {
    for (const auto& key : keys) {
      if (key[x] != key[y]) return key[x] < key[y];
    }
    return x < y;
  });
  return order;
}

int32_t BlockAt(TLVRowIndex first, TLVRowIndex rows) {
  return static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
}

}  // namespace

TLVGroupResult LVGroupRows(ILVDataSource& source, const std::vector<int32_t>& dimensions,
                           const std::vector<TLVGroupFact>& facts, ILVProgress* progress) {
  const ILVColumnsInfo& columns = source.GetColumnsInfo();
  std::vector<TDimension> dims = MakeDimensions(columns, dimensions);
  std::vector<TFact> accumulators(facts.size());
  for (size_t f = 0; f < facts.size(); ++f) {
    accumulators[f].definition = facts[f];
    accumulators[f].type = columns.GetColumnInfo(facts[f].column)->GetDataType();
  }

  TGroupTable table(dims.size());
  const TLVRowIndex rows = source.GetRowCount();
  {
    TLVProgressScope scope(progress, LVText("SGroupFillCache"), rows);
    TLVBlock block;
    TBlockGroups finder(dims.size());
    for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
      const int32_t count = BlockAt(first, rows);
      const uint32_t* group = finder.Find(source, dims, table, first, count, block);
      for (TFact& fact : accumulators) {
        source.ReadBlock(fact.definition.column, first, count, block);
        fact.Accumulate(block, group, table.Count());
      }
      scope.Step(first + count);
    }
  }

  const size_t groups = table.Count();
  TLVGroupResult result;
  result.groups = groups;
  result.columns.resize(dims.size() + facts.size());
  auto isKept = [](const TFact& fact) {
    return fact.definition.function == F::gdMedian || fact.definition.function == F::gdUniqueCount;
  };
  auto storeFact = [&](size_t f) {
    TLVGroupValues& out = result.columns[dims.size() + f];
    out.type = GroupFunctionResultType(facts[f].function, accumulators[f].type);
    out.Resize(groups);
    for (size_t g = 0; g < groups; ++g) accumulators[f].Store(g, out);
  };
  {
    TLVProgressScope scope(progress, LVText("SGroupAggregate"), static_cast<int64_t>(facts.size()));
    for (size_t d = 0; d < dims.size(); ++d) {
      TLVGroupValues& out = result.columns[d];
      out.type = dims[d].type;
      out.Resize(groups);
      for (size_t g = 0; g < groups; ++g) dims[d].Store(table.Code(g, d), out, g);
    }
    for (size_t f = 0; f < facts.size(); ++f) {
      if (!isKept(accumulators[f])) storeFact(f);
      scope.Step(static_cast<int64_t>(f + 1));
    }
  }
  if (std::any_of(accumulators.begin(), accumulators.end(), isKept)) {
    TLVProgressScope scope(progress, LVText("SGroupMedian"), static_cast<int64_t>(facts.size()));
    for (size_t f = 0; f < facts.size(); ++f) {
      if (isKept(accumulators[f])) {
        accumulators[f].FinishKeptValues(groups);
        storeFact(f);
      }
      scope.Step(static_cast<int64_t>(f + 1));
    }
  }
  {
    TLVProgressScope scope(progress, LVText("SGroupOutput"), static_cast<int64_t>(groups));
    const std::vector<uint32_t> order = GroupOrder(table, dims);
    for (TLVGroupValues& column : result.columns) Reorder(column, order);
    scope.Step(static_cast<int64_t>(groups));
  }
  return result;
}

std::vector<uint32_t> LVGroupNumbers(ILVDataSource& source,
                                     const std::vector<int32_t>& dimensions) {
  std::vector<TDimension> dims = MakeDimensions(source.GetColumnsInfo(), dimensions);
  TGroupTable table(dims.size());
  TBlockGroups finder(dims.size());
  TLVBlock block;
  const TLVRowIndex rows = source.GetRowCount();
  std::vector<uint32_t> numbers(static_cast<size_t>(rows));
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    const int32_t count = BlockAt(first, rows);
    const uint32_t* group = finder.Find(source, dims, table, first, count, block);
    std::copy_n(group, count, numbers.begin() + first);
  }
  return numbers;
}

void RegisterGroupAggregatesTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"SGroupFillCache", "SGroupAggregate", "SGroupMedian", "SGroupOutput"});
}

}  // namespace lv
