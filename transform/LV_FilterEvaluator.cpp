#include "transform/LV_FilterEvaluator.h"

#include <algorithm>
#include <cmath>

#include "core/LV_Errors.h"
#include "core/LV_Localization.h"
#include "env/LV_Logger.h"

namespace lv {

namespace {

// Sets up to this size are searched from end to end; larger ones are sorted and
// halved.
constexpr size_t kLinearSetSize = 8;

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

bool InTexts(const std::vector<std::string>& set, std::string_view v) {
  if (set.size() <= kLinearSetSize) {
    for (const std::string& c : set) {
      if (c.size() == v.size() && std::string_view(c) == v) return true;
    }
    return false;
  }
  return std::binary_search(set.begin(), set.end(), v,
                            [](std::string_view a, std::string_view b) { return a < b; });
}

// A value as a number the conditions compare: dates as keys, NaN for missing.
double NumberOf(const TLVValue& value) {
  return value.Type() == TLVDataType::dtDateTime ? FilterDateKey(value.AsDouble())
                                                 : value.AsDouble();
}

}  // namespace

struct TLVFilterEvaluator::TCondition {
  TLVRelationType relation = TLVRelationType::rtEqual;
  bool startsRun = true;  // the first condition, or one joined by OR
  int32_t slot = 0;       // in columns_
  bool text = false;      // compares texts (otherwise numbers)
  bool upper = false;     // texts compared in upper case
  double low = 0, high = 0;
  std::vector<double> numbers;
  std::string value;
  std::vector<std::string> texts;
};

struct TLVFilterEvaluator::TColumn {
  int32_t column = 0;
  TLVDataType type = TLVDataType::dtNone;
  bool read = false;      // the block holds this block's rows
  bool numbered = false;  // numbers holds them as numbers
  TLVBlock block;
  std::vector<double> numbers;
};

TLVFilterEvaluator::TLVFilterEvaluator(const TLVFilterColumnCollection& list,
                                       const ILVColumnsInfo& columns,
                                       const TLVFilterContext& context) {
  CheckFilterColumns(list, columns);
  if (!list.GetFiltered()) return;
  for (int32_t i = 0; i < list.Count(); ++i) {
    const TLVFilterColumnItem& item = list[i];
    item.Check();
    TCondition c;
    c.relation = item.GetRelationType();
    c.startsRun = i == 0 || item.GetBooleanJoinType() == TLVBooleanJoinType::jtOr;
    const int32_t column = columns.IndexOfColumn(item.GetName());
    auto slot = std::find_if(columns_.begin(), columns_.end(),
                             [&](const TColumn& s) { return s.column == column; });
    c.slot = static_cast<int32_t>(slot - columns_.begin());
    if (slot == columns_.end()) {
      TColumn& added = columns_.emplace_back();
      added.column = column;
      added.type = item.GetDataType();
    }
    c.text = item.GetDataType() == TLVDataType::dtString;
    c.upper = c.text && !list.GetCaseSensitive();
    if (RelationOperands(c.relation) == TLVRelationOperands::roPeriod) {
      const TLVKeyInterval keys = item.PeriodKeys(context);
      c.low = keys.from;
      c.high = keys.to;
    }
    const std::vector<TLVValue> values = item.Values();
    const bool list = RelationOperands(c.relation) == TLVRelationOperands::roList;
    if (c.text) {
      std::string buffer;
      for (const TLVValue& v : values) {
        c.texts.emplace_back(c.upper ? UpperView(v.AsText(), buffer) : v.AsText());
      }
      if (list) {
        std::sort(c.texts.begin(), c.texts.end());
        c.texts.erase(std::unique(c.texts.begin(), c.texts.end()), c.texts.end());
      } else if (!c.texts.empty()) {
        c.value = c.texts.front();
      }
    } else {
      for (const TLVValue& v : values) c.numbers.push_back(NumberOf(v));
      if (list) {
        std::sort(c.numbers.begin(), c.numbers.end());
      } else if (!c.numbers.empty()) {
        c.low = c.numbers.front();
        c.high = c.numbers.back();
      }
    }
    conditions_.push_back(std::move(c));
  }
}

TLVFilterEvaluator::~TLVFilterEvaluator() = default;

TLVFilterEvaluator::TColumn& TLVFilterEvaluator::Read(int32_t slot, bool numbers) {
  TColumn& c = columns_[static_cast<size_t>(slot)];
  if (!c.read) {
    source_->ReadBlock(c.column, first_, count_, c.block);
    c.read = true;
  }
  if (numbers && !c.numbered) {
    // One pass per block turns every numeric type into doubles with NaN for missing,
    // so that each relation is one loop whatever the column's type.
    c.numbers.resize(static_cast<size_t>(count_));
    double* x = c.numbers.data();
    const uint8_t* valid = c.block.Valid();
    const double nan = LVMissing();
    if (c.type == TLVDataType::dtInteger) {
      const int32_t* v = c.block.Integers();
      for (int32_t i = 0; i < count_; ++i) x[i] = valid[i] ? static_cast<double>(v[i]) : nan;
    } else if (c.type == TLVDataType::dtDateTime) {
      const double* v = c.block.Numbers();
      for (int32_t i = 0; i < count_; ++i) x[i] = valid[i] ? FilterDateKey(v[i]) : nan;
    } else {
      const double* v = c.block.Numbers();
      for (int32_t i = 0; i < count_; ++i) x[i] = valid[i] ? v[i] : nan;
    }
    c.numbered = true;
  }
  return c;
}

int32_t TLVFilterEvaluator::Keep(const TCondition& k, const int32_t* rows, int32_t count,
                                 int32_t* kept) {
  using R = TLVRelationType;
  if (!k.text) {
    const double* x = Read(k.slot, true).numbers.data();
    const double a = k.low, b = k.high;
    auto keep = [&](auto test) {
      return KeepRows(rows, count, kept, [&](int32_t r) { return test(x[r]); });
    };
    // NaN (missing) fails every comparison; the negated tests check for it themselves.
    switch (k.relation) {
      case R::rtLess:
        return keep([&](double v) { return v < a; });
      case R::rtLessOrEqual:
        return keep([&](double v) { return v <= a; });
      case R::rtMore:
        return keep([&](double v) { return v > a; });
      case R::rtMoreOrEqual:
        return keep([&](double v) { return v >= a; });
      case R::rtEqual:
        return keep([&](double v) { return v == a; });
      case R::rtNotEqual:
        return keep([&](double v) { return v == v && v != a; });
      case R::rtIsNull:
        return keep([&](double v) { return v != v; });
      case R::rtIsNotNull:
        return keep([&](double v) { return v == v; });
      case R::rtBetween:
        return keep([&](double v) { return v >= a && v <= b; });
      case R::rtNotBetween:
        return keep([&](double v) { return v == v && !(v >= a && v <= b); });
      case R::rtIn:
        return keep([&](double v) { return InNumbers(k.numbers, v); });
      case R::rtNotIn:
        return keep([&](double v) { return v == v && !InNumbers(k.numbers, v); });
      case R::rtFirstPeriod:
      case R::rtLastPeriod:
        return keep([&](double v) { return v >= a && v < b; });
      case R::rtNotFirstPeriod:
      case R::rtNotLastPeriod:
        return keep([&](double v) { return v == v && !(v >= a && v < b); });
      case R::rtIsTrue:
        return keep([&](double v) { return v == v && v != 0; });
      case R::rtIsFalse:
        return keep([&](double v) { return v == 0; });
      default:
        return 0;
    }
  }
  const TColumn& column = Read(k.slot, false);
  const std::string_view* s = column.block.Strings();
  const uint8_t* valid = column.block.Valid();
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
  source_ = &source;
  first_ = first;
  count_ = count;
  for (TColumn& c : columns_) c.read = c.numbered = false;
  uint8_t kept[kLVBlockSize] = {};
  int32_t alive[kLVBlockSize];
  int32_t keptCount = 0;
  size_t i = 0;
  while (i < conditions_.size() && keptCount < count) {
    // A run of AND-joined conditions sees the rows no earlier run has kept.
    int32_t n = 0;
    for (int32_t r = 0; r < count; ++r) {
      alive[n] = r;
      n += kept[r] ? 0 : 1;
    }
    do {
      if (n > 0) n = Keep(conditions_[i], alive, n, alive);
      ++i;
    } while (i < conditions_.size() && !conditions_[i].startsRun);
    for (int32_t r = 0; r < n; ++r) kept[alive[r]] = 1;
    keptCount += n;
  }
  for (int32_t r = 0; r < count; ++r) {
    if (kept[r]) selected.push_back(first + r);
  }
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
                                   double today) {
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
    const int32_t column = source.GetColumnsInfo().IndexOfColumn(item.GetName());
    if (column < 0) continue;
    double low = LVMissing(), high = LVMissing();
    TLVBlock block;
    const TLVRowIndex rows = source.GetRowCount();
    for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
      const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
      source.ReadBlock(column, first, count, block);
      if (block.Type() != TLVDataType::dtDateTime) break;
      for (int32_t r = 0; r < count; ++r) {
        const double key = block.Valid()[r] ? FilterDateKey(block.Numbers()[r]) : LVMissing();
        // fmin/fmax skip a NaN on either side.
        low = std::fmin(low, key);
        high = std::fmax(high, key);
      }
    }
    context.dataDates[item.GetName()] = {low, high};
  }
  return context;
}

std::string FilterUpper(std::string_view text) {
  std::string buffer;
  return std::string(UpperView(text, buffer));
}

}  // namespace lv
