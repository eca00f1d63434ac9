#include "transform/filter/LV_FilterEvaluator.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "core/platform/LV_RowParts.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "env/LV_Logger.h"

namespace lv {

namespace {

// Sets up to this size are searched from end to end; larger ones are sorted and
// halved.
constexpr size_t kLinearSetSize = 8;
// A column is gathered for the rows still alive when they are fewer than one in this
// many of the block; a gather costs a few times more per row than a block read.
constexpr int32_t kGatherRatio = 8;

// Upper case of ASCII letters and of the Cyrillic letters U+0400..U+045F, byte by byte
// (their upper case has the same length); false when the text holds any other
// non-ASCII character, which then goes through ICU.
bool FastUpper(std::string_view text, std::string& out) {
  out.resize(text.size());
  const size_t n = text.size();
  for (size_t i = 0; i < n; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) {
      out[i] = static_cast<char>(c >= 'a' && c <= 'z' ? c - 0x20 : c);
      continue;
    }
    if (i + 1 >= n) return false;
    const auto d = static_cast<unsigned char>(text[i + 1]);
    if (c == 0xD0 && d >= 0x80 && d <= 0xBF) {
      // U+0400..U+043F: upper case up to U+042F, then а..п.
      out[i] = static_cast<char>(c);
      out[i + 1] = static_cast<char>(d >= 0xB0 ? d - 0x20 : d);
    } else if (c == 0xD1 && d >= 0x80 && d <= 0x9F) {
      // U+0440..U+045F: р..я, then ѐ..џ.
      out[i] = static_cast<char>(0xD0);
      out[i + 1] = static_cast<char>(d >= 0x90 ? d - 0x10 : d + 0x20);
    } else {
      return false;
    }
    ++i;
  }
  return true;
}

// Whether upper-casing leaves the text as it is: ASCII without small letters.
bool AlreadyUpper(std::string_view text) {
  for (char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (c >= 0x80 || (c >= 'a' && c <= 'z')) return false;
  }
  return true;
}

std::string_view UpperView(std::string_view text, std::string& buffer) {
  if (AlreadyUpper(text)) return text;
  if (!FastUpper(text, buffer)) buffer = LVUpperCase(text);
  return buffer;
}

// Keeps the rows among `rows` for which `keep(row)` holds; `kept` may be `rows`.
template <class Keep>
int32_t KeepRows(const int32_t* rows, int32_t count, int32_t* kept, Keep keep) {
  int32_t n = 0;
  for (int32_t i = 0; i < count; ++i) {
    const int32_t row = rows[i];
    kept[n] = row;
    n += keep(row) ? 1 : 0;
  }
  return n;
}

bool InNumbers(const std::vector<double>& set, double v) {
  if (set.size() <= kLinearSetSize) {
    bool found = false;
    for (double c : set) found |= v == c;
    return found;
  }
  return std::binary_search(set.begin(), set.end(), v);
}

// Equality of texts of the same length. Texts of 8 to 16 bytes (most names) compare
// as their first and last eight bytes, without a call.
bool SameText(std::string_view a, std::string_view b) {
  const size_t n = a.size();
  if (n >= 8) {
    uint64_t a0, b0, a1, b1;
    std::memcpy(&a0, a.data(), 8);
    std::memcpy(&b0, b.data(), 8);
    std::memcpy(&a1, a.data() + n - 8, 8);
    std::memcpy(&b1, b.data() + n - 8, 8);
    if (a0 != b0 || a1 != b1) return false;
    return n <= 16 || std::memcmp(a.data() + 8, b.data() + 8, n - 16) == 0;
  }
  for (size_t i = 0; i < n; ++i) {
    if (a[i] != b[i]) return false;
  }
  return true;
}

bool InTexts(const std::vector<std::string>& set, std::string_view v) {
  if (set.size() <= kLinearSetSize) {
    for (const std::string& c : set) {
      if (c.size() == v.size() && SameText(c, v)) return true;
    }
    return false;
  }
  return std::binary_search(set.begin(), set.end(), v,
                            [](std::string_view a, std::string_view b) { return a < b; });
}

// Dates from 1899-12-30 up to 9999-12-31 (exclusive): their keys grow with them, so
// tests of keys can be tests of the values themselves, against thresholds.
constexpr double kFastDays = 2958465;

// The least date value in [0, kFastDays) whose key is at least `key`; kFastDays when
// there is none. A search over the bit patterns, which order non-negative doubles.
double RawThreshold(double key) {
  if (!(key > 0)) return 0;
  uint64_t low = 0, high = std::bit_cast<uint64_t>(kFastDays);
  while (low < high) {
    const uint64_t middle = low + (high - low) / 2;
    if (FilterDateKey(std::bit_cast<double>(middle)) >= key) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return std::bit_cast<double>(low);
}

// A value as a number the conditions compare: dates as keys, NaN for missing.
double NumberOf(const TLVValue& value) {
  return value.Type() == TLVDataType::dtDateTime ? FilterDateKey(value.AsDouble())
                                                 : value.AsDouble();
}

// Calls `visit(part, block, count)` for every block of `column` of `source`, the rows
// cut into `parts` parts, each read on a thread of its own (LV_RowParts.h).
template <class Visit>
void ForEachBlock(ILVDataSource& source, int32_t column, int parts, Visit visit) {
  std::vector<TLVBlock> blocks(static_cast<size_t>(parts));
  TLVProgressScope noProgress(nullptr, {}, 0);
  LVForBlocksInParts(parts, source.GetRowCount(), noProgress,
                     [&](int part, TLVRowIndex first, int32_t count) {
                       TLVBlock& block = blocks[static_cast<size_t>(part)];
                       source.ReadBlock(column, first, count, block);
                       visit(part, block, count);
                     });
}

// Widens [low, high] to the present values among `count`; two running pairs, so that
// the comparisons do not wait for each other.
void ExtendRange(const double* values, const uint8_t* valid, int32_t count, double& low,
                 double& high) {
  const double nan = LVMissing();
  double low0 = low, low1 = low, high0 = high, high1 = high;
  int32_t r = 0;
  for (; r + 2 <= count; r += 2) {
    const double x0 = valid[r] ? values[r] : nan;
    const double x1 = valid[r + 1] ? values[r + 1] : nan;
    // A NaN fails the comparison and leaves the bound.
    low0 = x0 < low0 ? x0 : low0;
    high0 = x0 > high0 ? x0 : high0;
    low1 = x1 < low1 ? x1 : low1;
    high1 = x1 > high1 ? x1 : high1;
  }
  if (r < count) {
    const double x = valid[r] ? values[r] : nan;
    low0 = x < low0 ? x : low0;
    high0 = x > high0 ? x : high0;
  }
  low = low0 < low1 ? low0 : low1;
  high = high0 > high1 ? high0 : high1;
}

// The keys of the earliest and latest date of a date column (NaN when it has none).
TLVKeyInterval DateRange(ILVDataSource& source, int32_t column) {
  if (source.GetColumnsInfo().GetColumnInfo(column)->GetDataType() != TLVDataType::dtDateTime) {
    return {LVMissing(), LVMissing()};
  }
  // Keys grow with the values from 1899-12-30 on, so for such dates the extreme values
  // give the extreme keys; dates before it need a key each. Each part of the rows has a
  // range of its own.
  const int parts = source.ConcurrentReads() ? LVRowPartCount(source.GetRowCount()) : 1;
  std::vector<double> lows(static_cast<size_t>(parts), HUGE_VAL);
  std::vector<double> highs(static_cast<size_t>(parts), -HUGE_VAL);
  ForEachBlock(source, column, parts, [&](int part, const TLVBlock& block, int32_t count) {
    const auto p = static_cast<size_t>(part);
    ExtendRange(block.Numbers(), block.Valid(), count, lows[p], highs[p]);
  });
  const double low = *std::min_element(lows.begin(), lows.end());
  const double high = *std::max_element(highs.begin(), highs.end());
  if (low > high) return {LVMissing(), LVMissing()};
  TLVKeyInterval keys{FilterDateKey(low), FilterDateKey(high)};
  if (low >= 0 && !std::isnan(keys.from) && !std::isnan(keys.to)) return keys;
  std::vector<TLVKeyInterval> partKeys(static_cast<size_t>(parts), {HUGE_VAL, -HUGE_VAL});
  ForEachBlock(source, column, parts, [&](int part, const TLVBlock& block, int32_t count) {
    TLVKeyInterval& k = partKeys[static_cast<size_t>(part)];
    for (int32_t r = 0; r < count; ++r) {
      const double key = block.Valid()[r] ? FilterDateKey(block.Numbers()[r]) : LVMissing();
      // A NaN key fails both comparisons.
      k.from = key < k.from ? key : k.from;
      k.to = key > k.to ? key : k.to;
    }
  });
  keys = {HUGE_VAL, -HUGE_VAL};
  for (const TLVKeyInterval& k : partKeys) {
    keys.from = std::min(keys.from, k.from);
    keys.to = std::max(keys.to, k.to);
  }
  if (keys.from > keys.to) return {LVMissing(), LVMissing()};
  return keys;
}

}  // namespace

struct TLVFilterEvaluator::TCondition {
  // What a numeric condition tests: every comparison, interval and period is a test
  // of one half-open interval, negated or not.
  enum class TTest : uint8_t { ttInterval, ttSet, ttNull, ttNotNull };

  TLVRelationType relation = TLVRelationType::rtEqual;
  int32_t slot = 0;    // in columns_
  bool text = false;   // compares texts (otherwise numbers)
  bool upper = false;  // texts compared in upper case
  // Numbers.
  TTest test = TTest::ttInterval;
  bool negated = false;
  bool date = false;
  double from = -HUGE_VAL, to = LVMissing();        // [from, to); a NaN `to` has no bound
  double keyFrom = -HUGE_VAL, keyTo = LVMissing();  // dates: the same over keys
  std::vector<double> numbers;                      // sets, sorted (dates as keys)
  // Texts.
  std::string value;
  std::vector<std::string> texts;
  // Rows the test has seen and kept so far.
  int64_t tested = 0;
  int64_t passed = 0;

  // The order of evaluation within a run before anything is known of the data: numbers
  // and dates first (a date is compared over thresholds of its raw value, as cheap as a
  // number), then texts, so that the dearest tests see the fewest rows.
  int Cost() const;
  // Cost per row dropped, from what the test has kept so far; lower goes first.
  double Rank() const {
    const double keptShare = tested > 0 ? static_cast<double>(passed) / static_cast<double>(tested) : 0.5;
    return (Cost() + 1) / std::max(0.01, 1 - keptShare);
  }
};

struct TLVFilterEvaluator::TColumn {
  // What the arrays hold for the current block.
  enum class TState : uint8_t {
    csNone,
    csRun,    // the rows gathered for the current run
    csBlock,  // every row of the block
  };
  int32_t column = 0;
  TLVDataType type = TLVDataType::dtNone;
  TState state = TState::csNone;
  TLVBlock block;
  // By row of the block: numbers (NaN for missing, dates as keys), or texts and their
  // flags.
  std::vector<double> numbers;
  std::vector<std::string_view> texts;
  std::vector<uint8_t> valid;
};

int TLVFilterEvaluator::TCondition::Cost() const {
  if (text) return upper ? 3 : 2;
  return 0;
}

TLVFilterEvaluator::TLVFilterEvaluator(const TLVFilterColumnCollection& list,
                                       const ILVColumnsInfo& columns,
                                       const TLVFilterContext& context) {
  CheckFilterColumns(list, columns);
  if (!list.GetFiltered()) return;
  for (int32_t i = 0; i < list.Count(); ++i) {
    const TLVFilterColumnItem& item = list[i];
    item.Check();
    if (i == 0 || item.GetBooleanJoinType() == TLVBooleanJoinType::jtOr) {
      runs_.push_back(conditions_.size());
    }
    TCondition c;
    c.relation = item.GetRelationType();
    const int32_t column = columns.IndexOfColumn(item.GetName());
    auto slot = std::find_if(columns_.begin(), columns_.end(),
                             [&](const TColumn& s) { return s.column == column; });
    c.slot = static_cast<int32_t>(slot - columns_.begin());
    if (slot == columns_.end()) {
      TColumn& added = columns_.emplace_back();
      added.column = column;
      added.type = item.GetDataType();
      added.numbers.resize(kLVBlockSize);
      added.texts.resize(kLVBlockSize);
      added.valid.resize(kLVBlockSize);
    }
    c.text = item.GetDataType() == TLVDataType::dtString;
    c.upper = c.text && !list.GetCaseSensitive();
    const std::vector<TLVValue> values = item.Values();
    if (c.text) {
      std::string buffer;
      for (const TLVValue& v : values) {
        c.texts.emplace_back(c.upper ? UpperView(v.AsText(), buffer) : v.AsText());
      }
      if (RelationOperands(c.relation) == TLVRelationOperands::roList) {
        std::sort(c.texts.begin(), c.texts.end());
        c.texts.erase(std::unique(c.texts.begin(), c.texts.end()), c.texts.end());
      } else if (!c.texts.empty()) {
        c.value = c.texts.front();
      }
    } else {
      CompileNumbers(c, item, values, context);
    }
    conditions_.push_back(std::move(c));
  }
  // AND is commutative: each run is evaluated cheapest test first.
  runs_.push_back(conditions_.size());
  for (size_t r = 0; r + 1 < runs_.size(); ++r) {
    std::stable_sort(conditions_.begin() + static_cast<std::ptrdiff_t>(runs_[r]),
                     conditions_.begin() + static_cast<std::ptrdiff_t>(runs_[r + 1]),
                     [](const TCondition& a, const TCondition& b) { return a.Cost() < b.Cost(); });
  }
}

void TLVFilterEvaluator::ReorderRuns() {
  for (size_t r = 0; r + 1 < runs_.size(); ++r) {
    std::stable_sort(conditions_.begin() + static_cast<std::ptrdiff_t>(runs_[r]),
                     conditions_.begin() + static_cast<std::ptrdiff_t>(runs_[r + 1]),
                     [](const TCondition& a, const TCondition& b) { return a.Rank() < b.Rank(); });
  }
}

TLVFilterEvaluator::~TLVFilterEvaluator() = default;

void TLVFilterEvaluator::CompileNumbers(TCondition& c, const TLVFilterColumnItem& item,
                                        const std::vector<TLVValue>& values,
                                        const TLVFilterContext& context) {
  using R = TLVRelationType;
  using T = TCondition::TTest;
  c.date = item.GetDataType() == TLVDataType::dtDateTime;
  // The least value above `v`: the next double, or the next millisecond of a key.
  auto above = [&](double v) { return c.date ? v + 1 : std::nextafter(v, HUGE_VAL); };
  for (const TLVValue& v : values) c.numbers.push_back(NumberOf(v));
  const double v0 = c.numbers.empty() ? 0 : c.numbers.front();
  // "истина" is the negation of "ложь": any present value but zero.
  c.negated = RelationNegated(c.relation) || c.relation == R::rtIsTrue;
  switch (c.relation) {
    case R::rtLess:
      c.keyTo = v0;
      break;
    case R::rtLessOrEqual:
      c.keyTo = above(v0);
      break;
    case R::rtMore:
      c.keyFrom = above(v0);
      break;
    case R::rtMoreOrEqual:
      c.keyFrom = v0;
      break;
    case R::rtEqual:
    case R::rtNotEqual:
      c.keyFrom = v0;
      c.keyTo = above(v0);
      break;
    case R::rtBetween:
    case R::rtNotBetween:
      c.keyFrom = v0;
      c.keyTo = above(c.numbers.back());
      break;
    case R::rtIsTrue:
    case R::rtIsFalse:
      c.keyFrom = 0;
      c.keyTo = above(0);
      break;
    case R::rtIsNull:
      c.test = T::ttNull;
      break;
    case R::rtIsNotNull:
      c.test = T::ttNotNull;
      break;
    case R::rtIn:
    case R::rtNotIn:
      c.test = T::ttSet;
      std::sort(c.numbers.begin(), c.numbers.end());
      break;
    default: {
      const TLVKeyInterval keys = item.PeriodKeys(context);
      c.keyFrom = keys.from;
      c.keyTo = keys.to;
      break;
    }
  }
  c.from = c.date ? RawThreshold(c.keyFrom) : c.keyFrom;
  c.to = c.date && !std::isnan(c.keyTo) ? RawThreshold(c.keyTo) : c.keyTo;
}

TLVFilterEvaluator::TColumn& TLVFilterEvaluator::Read(int32_t slot, const int32_t* rows,
                                                      int32_t count) {
  TColumn& c = columns_[static_cast<size_t>(slot)];
  if (c.state != TColumn::TState::csNone) return c;
  // Few rows left alive are gathered; otherwise the whole block is read at once.
  const bool gather = count * kGatherRatio < count_;
  if (gather) {
    for (int32_t i = 0; i < count; ++i) gathered_[static_cast<size_t>(i)] = first_ + rows[i];
    source_->ReadRows(c.column, gathered_.data(), count, c.block);
    c.state = TColumn::TState::csRun;
  } else {
    source_->ReadBlock(c.column, first_, count_, c.block);
    c.state = TColumn::TState::csBlock;
    count = count_;
  }
  // One pass puts the values at their rows of the block, every numeric type as
  // doubles with NaN for missing, so that each test is one loop whatever the type.
  // Dates stay as they are: their tests compare keys only where values do not.
  const uint8_t* valid = c.block.Valid();
  // The values are loaded before the flag chooses, so that the loop has no branch.
  auto store = [&](auto put) {
    if (gather) {
      for (int32_t i = 0; i < count; ++i) put(rows[i], i);
    } else {
      for (int32_t i = 0; i < count; ++i) put(i, i);
    }
  };
  double* x = c.numbers.data();
  const double nan = LVMissing();
  switch (c.type) {
    case TLVDataType::dtString: {
      const std::string_view* v = c.block.Strings();
      store([&](int32_t at, int32_t i) {
        c.texts[static_cast<size_t>(at)] = v[i];
        c.valid[static_cast<size_t>(at)] = valid[i];
      });
      break;
    }
    case TLVDataType::dtInteger: {
      const int32_t* v = c.block.Integers();
      store([&](int32_t at, int32_t i) {
        const auto value = static_cast<double>(v[i]);
        x[at] = valid[i] ? value : nan;
      });
      break;
    }
    default: {
      const double* v = c.block.Numbers();
      store([&](int32_t at, int32_t i) {
        const double value = v[i];
        x[at] = valid[i] ? value : nan;
      });
      break;
    }
  }
  return c;
}

int32_t TLVFilterEvaluator::KeepInterval(const TCondition& k, const double* x,
                                         int32_t* kept) const {
  // Every row of the block is alive (a run's first test, mostly): one pass that the
  // compiler vectorizes marks the rows, a second lists them. Dates outside the range
  // whose values order like their keys are marked again by key.
  const double a = k.from, b = k.to;
  const int32_t count = count_;
  uint8_t mark[kLVBlockSize];
  uint8_t outside = 0;
  if (k.negated) {
    for (int32_t i = 0; i < count; ++i) {
      const double v = x[i];
      mark[i] = static_cast<uint8_t>((v == v) & !((v >= a) & !(v >= b)));
    }
  } else {
    for (int32_t i = 0; i < count; ++i) {
      const double v = x[i];
      mark[i] = static_cast<uint8_t>((v >= a) & !(v >= b));
    }
  }
  if (k.date) {
    for (int32_t i = 0; i < count; ++i) {
      const double v = x[i];
      outside |= static_cast<uint8_t>((v < 0) | (v >= kFastDays));
    }
  }
  if (outside) {
    for (int32_t i = 0; i < count; ++i) {
      const double v = x[i];
      if (v < 0 || v >= kFastDays) {
        const double key = FilterDateKey(v);
        mark[i] = static_cast<uint8_t>(key == key &&
                                       (key >= k.keyFrom && !(key >= k.keyTo)) != k.negated);
      }
    }
  }
  int32_t n = 0;
  for (int32_t i = 0; i < count; ++i) {
    kept[n] = i;
    n += mark[i];
  }
  return n;
}

int32_t TLVFilterEvaluator::Keep(const TCondition& k, const int32_t* rows, int32_t count,
                                 int32_t* kept) {
  using R = TLVRelationType;
  if (!k.text) {
    using T = TCondition::TTest;
    const double* x = Read(k.slot, rows, count).numbers.data();
    auto keep = [&](auto test) {
      return KeepRows(rows, count, kept, [&](int32_t r) { return test(x[r]); });
    };
    const bool negated = k.negated;
    switch (k.test) {
      case T::ttNull:
        return keep([](double v) { return v != v; });
      case T::ttNotNull:
        return keep([](double v) { return v == v; });
      case T::ttSet:
        return keep([&](double v) {
          const double n = k.date ? FilterDateKey(v) : v;
          return n == n && InNumbers(k.numbers, n) != negated;
        });
      case T::ttInterval:
        break;
    }
    // A NaN (missing) fails both sides of `v >= a && !(v >= b)`; a NaN b is no bound.
    const double a = k.from, b = k.to, ka = k.keyFrom, kb = k.keyTo;
    auto byKey = [&](double v) {
      const double key = FilterDateKey(v);
      return key == key && (key >= ka && !(key >= kb)) != negated;
    };
    if (count == count_) return KeepInterval(k, x, kept);
    if (!k.date) return keep([&](double v) { return v == v && (v >= a && !(v >= b)) != negated; });
    return keep([&](double v) {
      if (v >= 0 && v < kFastDays) return (v >= a && !(v >= b)) != negated;
      return byKey(v);
    });
  }
  const TColumn& column = Read(k.slot, rows, count);
  const std::string_view* s = column.texts.data();
  const uint8_t* valid = column.valid.data();
  if (k.relation == R::rtIsNull)
    return KeepRows(rows, count, kept, [&](int32_t r) { return !valid[r]; });
  if (k.relation == R::rtIsNotNull)
    return KeepRows(rows, count, kept, [&](int32_t r) { return valid[r] != 0; });
  const std::string_view a = k.value;
  const std::string_view low = k.texts.empty() ? std::string_view() : k.texts.front();
  const std::string_view high = k.texts.size() < 2 ? std::string_view() : k.texts[1];
  auto keep = [&](auto test) {
    return KeepRows(rows, count, kept, [&](int32_t r) {
      return valid[r] != 0 && test(k.upper ? UpperView(s[r], upper_) : s[r]);
    });
  };
  switch (k.relation) {
    case R::rtLess:
      return keep([&](std::string_view v) { return v < a; });
    case R::rtLessOrEqual:
      return keep([&](std::string_view v) { return v <= a; });
    case R::rtMore:
      return keep([&](std::string_view v) { return v > a; });
    case R::rtMoreOrEqual:
      return keep([&](std::string_view v) { return v >= a; });
    case R::rtEqual:
      return keep([&](std::string_view v) { return v == a; });
    case R::rtNotEqual:
      return keep([&](std::string_view v) { return v != a; });
    case R::rtBetween:
      return keep([&](std::string_view v) { return v >= low && v <= high; });
    case R::rtNotBetween:
      return keep([&](std::string_view v) { return !(v >= low && v <= high); });
    case R::rtIn:
      return keep([&](std::string_view v) { return InTexts(k.texts, v); });
    case R::rtNotIn:
      return keep([&](std::string_view v) { return !InTexts(k.texts, v); });
    case R::rtLike:
      return keep([&](std::string_view v) { return v.find(a) != std::string_view::npos; });
    case R::rtNotLike:
      return keep([&](std::string_view v) { return v.find(a) == std::string_view::npos; });
    case R::rtStartingWith:
      return keep([&](std::string_view v) { return v.starts_with(a); });
    case R::rtNotStartingWith:
      return keep([&](std::string_view v) { return !v.starts_with(a); });
    case R::rtEndingWith:
      return keep([&](std::string_view v) { return v.ends_with(a); });
    case R::rtNotEndingWith:
      return keep([&](std::string_view v) { return !v.ends_with(a); });
    default:
      return 0;
  }
}

void TLVFilterEvaluator::SelectRows(ILVDataSource& source, TLVRowIndex first, int32_t count,
                                    std::vector<TLVRowIndex>& selected) {
  if (conditions_.empty()) {
    for (int32_t i = 0; i < count; ++i) selected.push_back(first + i);
    return;
  }
  // The data decides the order of the tests once enough of it has been seen, and again
  // now and then in case it changes along the table.
  constexpr int32_t kBlocksBetweenReorders = 64;
  if (++blocksSinceReorder_ == kBlocksBetweenReorders) {
    ReorderRuns();
    blocksSinceReorder_ = 0;
  }
  source_ = &source;
  first_ = first;
  count_ = count;
  for (TColumn& c : columns_) c.state = TColumn::TState::csNone;
  uint8_t kept[kLVBlockSize] = {};
  int32_t alive[kLVBlockSize];
  int32_t keptCount = 0;
  const size_t runCount = runs_.size() - 1;
  for (size_t run = 0; run < runCount && keptCount < count; ++run) {
    // A run of AND-joined conditions sees the rows no earlier run has kept.
    int32_t n = 0;
    for (int32_t r = 0; r < count; ++r) {
      alive[n] = r;
      n += kept[r] ? 0 : 1;
    }
    for (size_t i = runs_[run]; i < runs_[run + 1] && n > 0; ++i) {
      TCondition& condition = conditions_[i];
      condition.tested += n;
      n = Keep(condition, alive, n, alive);
      condition.passed += n;
    }
    if (runCount == 1) {
      // One run: its rows are the answer, already in order.
      for (int32_t r = 0; r < n; ++r) selected.push_back(first + alive[r]);
      return;
    }
    for (int32_t r = 0; r < n; ++r) kept[alive[r]] = 1;
    keptCount += n;
    // What a run gathered covers only its own rows.
    for (TColumn& c : columns_) {
      if (c.state == TColumn::TState::csRun) c.state = TColumn::TState::csNone;
    }
  }
  int32_t n = 0;
  for (int32_t r = 0; r < count; ++r) {
    alive[n] = r;
    n += kept[r];
  }
  for (int32_t r = 0; r < n; ++r) selected.push_back(first + alive[r]);
}

void CheckFilterColumns(const TLVFilterColumnCollection& list, const ILVColumnsInfo& columns) {
  for (int32_t i = 0; i < list.Count(); ++i) {
    const TLVFilterColumnItem& item = list[i];
    auto column = columns.FindColumnInfo(item.GetName());
    if (!column) throw ELVDataError("ErrFilterNoColumn", {item.GetName()});
    if (column->GetDataType() != item.GetDataType()) {
      throw ELVDataError("ErrFilterColumnType", {item.GetName(), DisplayText(item.GetDataType())});
    }
  }
}

TLVFilterContext MakeFilterContext(const TLVFilterColumnCollection& list, ILVDataSource& source,
                                   double today, const TLVFilterContext* known) {
  TLVFilterContext context;
  context.today = today;
  if (!list.GetFiltered()) return context;
  for (int32_t i = 0; i < list.Count(); ++i) {
    const TLVFilterColumnItem& item = list[i];
    if (RelationOperands(item.GetRelationType()) != TLVRelationOperands::roPeriod ||
        context.dataDates.contains(item.GetName())) {
      continue;
    }
    try {
      if (item.Period().base != TLVFirstLastBaseDateType::bdtData) continue;
    } catch (const ELVError&) {
      continue;  // the evaluator reports the incomplete condition
    }
    if (known) {
      if (auto found = known->dataDates.find(item.GetName()); found != known->dataDates.end()) {
        context.dataDates.insert(*found);
        continue;
      }
    }
    const int32_t column = source.GetColumnsInfo().IndexOfColumn(item.GetName());
    if (column < 0) continue;
    context.dataDates[item.GetName()] = DateRange(source, column);
  }
  return context;
}

std::string FilterUpper(std::string_view text) {
  std::string buffer;
  return std::string(UpperView(text, buffer));
}

}  // namespace lv
