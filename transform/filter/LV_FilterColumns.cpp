#include "transform/filter/LV_FilterColumns.h"

#include <cmath>
#include <iterator>

#include "core/columns/LV_Convert.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
#include "env/LV_EnvVariables.h"

namespace lv {

namespace {

// The two query forms of each relation, in the order of TLVRelationType. The period
// relations test the half-open interval of their period.
struct TQueryForms {
  std::string_view plain;
  std::string_view nullSafe;
};

constexpr TQueryForms kQueryForms[] = {
    {"(%s < %s)", "((%0:s < %1:s) AND (%0:s IS NOT NULL))"},
    {"(%s <= %s)", "((%0:s <= %1:s) AND (%0:s IS NOT NULL))"},
    {"(%s > %s)", "(%s > %s)"},
    {"(%s >= %s)", "(%s >= %s)"},
    {"(%s = %s)", "(%s = %s)"},
    {"(%s <> %s)", "((%0:s <> %1:s) AND (%0:s IS NOT NULL))"},
    {"(%s IS NULL)", "(%s IS NULL)"},
    {"(%s IS NOT NULL)", "(%s IS NOT NULL)"},
    {"(%s BETWEEN %s AND %s)", "((%0:s >= %1:s) AND (%0:s <= %2:s))"},
    {"(%s NOT BETWEEN %s AND %s)",
     "(NOT ((%0:s >= %1:s) AND (%0:s <= %2:s)) AND (%0:s IS NOT NULL))"},
    {"(%s IN (%s))", "(%s IN (%s))"},
    {"(%s NOT IN (%s))", "(NOT (%0:s IN (%1:s)) AND (%0:s IS NOT NULL))"},
    {"(%s LIKE %s %s)", "(%s LIKE %s %s)"},
    {"(%s NOT LIKE %s %s)", "(NOT (%0:s LIKE %1:s %2:s) AND (%0:s IS NOT NULL))"},
    {"(%s LIKE %s %s)", "(%s LIKE %s %s)"},
    {"(%s NOT LIKE %s %s)", "(NOT (%0:s LIKE %1:s %2:s) AND (%0:s IS NOT NULL))"},
    {"(%s LIKE %s %s)", "(%s LIKE %s %s)"},
    {"(%s NOT LIKE %s %s)", "(NOT (%0:s LIKE %1:s %2:s) AND (%0:s IS NOT NULL))"},
    {"((%0:s >= %1:s) AND (%0:s < %2:s))", "((%0:s >= %1:s) AND (%0:s < %2:s))"},
    {"((%0:s < %1:s) OR (%0:s >= %2:s))",
     "(NOT ((%0:s >= %1:s) AND (%0:s < %2:s)) AND (%0:s IS NOT NULL))"},
    {"((%0:s >= %1:s) AND (%0:s < %2:s))", "((%0:s >= %1:s) AND (%0:s < %2:s))"},
    {"((%0:s < %1:s) OR (%0:s >= %2:s))",
     "(NOT ((%0:s >= %1:s) AND (%0:s < %2:s)) AND (%0:s IS NOT NULL))"},
    {"(%s <> 0)", "((%0:s <> 0) AND (%0:s IS NOT NULL))"},
    {"(%s = 0)", "(%s = 0)"},
};
static_assert(std::size(kQueryForms) == 24);

// The escape character of LIKE patterns; it escapes itself too, so that a backslash in
// a value stays a backslash.
constexpr char kLikeEscape = '\\';
constexpr std::string_view kEscapeClause = "ESCAPE '\\'";

bool IsPattern(TLVRelationType relation) {
  return relation >= TLVRelationType::rtLike && relation <= TLVRelationType::rtNotEndingWith;
}

bool IsLastPeriod(TLVRelationType relation) {
  return relation == TLVRelationType::rtLastPeriod || relation == TLVRelationType::rtNotLastPeriod;
}

bool IsNegatedPeriod(TLVRelationType relation) {
  return relation == TLVRelationType::rtNotFirstPeriod ||
         relation == TLVRelationType::rtNotLastPeriod;
}

// The LIKE pattern of a pattern relation's value, before quoting.
std::string LikePattern(TLVRelationType relation, std::string_view value) {
  using R = TLVRelationType;
  std::string pattern;
  const bool before = relation == R::rtLike || relation == R::rtNotLike ||
                      relation == R::rtEndingWith || relation == R::rtNotEndingWith;
  const bool after = relation == R::rtLike || relation == R::rtNotLike ||
                     relation == R::rtStartingWith || relation == R::rtNotStartingWith;
  if (before) pattern += '%';
  for (char c : value) {
    if (c == '%' || c == '_' || c == kLikeEscape) pattern += kLikeEscape;
    pattern += c;
  }
  if (after) pattern += '%';
  return pattern;
}

std::string Quoted(std::string_view text, char quote) {
  std::string result(1, quote);
  for (char c : text) {
    if (c == quote) result += quote;
    result += c;
  }
  result += quote;
  return result;
}

std::string KeyLiteral(double key) {
  return Quoted(FilterKeyText(key), '\'');
}

std::string Upper(std::string text) {
  return "UPPER(" + text + ")";
}

// The locale-independent text of a value, as compare values are stored.
std::string StoredText(const TLVValue& value) {
  if (value.IsNull()) throw ELVError("ErrFilterNoValue");
  switch (value.Type()) {
    case TLVDataType::dtString:
      return std::string(value.AsText());
    case TLVDataType::dtInteger:
      return std::to_string(value.AsInteger());
    case TLVDataType::dtBoolean:
      return TLVPropertyCodec<bool>::ToText(value.AsBoolean());
    case TLVDataType::dtDateTime: {
      const double key = FilterDateKey(value.AsDouble());
      if (std::isnan(key)) throw ELVError("ErrFilterNoValue");
      return FilterKeyText(key);
    }
    case TLVDataType::dtFloat:
      if (!std::isfinite(value.AsDouble())) throw ELVError("ErrFilterNoValue");
      return TLVPropertyCodec<double>::ToText(value.AsDouble());
    case TLVDataType::dtNone:
      break;
  }
  throw ELVError("ErrFilterNoValue");
}

// A value as the wizard shows it: texts in double quotes, the rest as the user writes
// them.
std::string ShownValue(const TLVValue& value) {
  if (value.Type() == TLVDataType::dtString) return Quoted(value.AsText(), '"');
  return ValueToText(value, DefaultFormatSettings());
}

std::string JoinTexts(const std::vector<std::string>& texts, std::string_view separator) {
  std::string result;
  for (size_t i = 0; i < texts.size(); ++i) {
    if (i > 0) result += separator;
    result += texts[i];
  }
  return result;
}

}  // namespace

std::string FilterLiteral(const TLVValue& value) {
  switch (value.Type()) {
    case TLVDataType::dtString:
      if (value.IsNull()) break;
      return Quoted(value.AsText(), '\'');
    case TLVDataType::dtBoolean:
      if (value.IsNull()) break;
      return value.AsBoolean() ? "1" : "0";
    case TLVDataType::dtDateTime:
      return Quoted(StoredText(value), '\'');
    default:
      return StoredText(value);
  }
  throw ELVError("ErrFilterNoValue");
}

std::string FilterIdentifier(std::string_view name) {
  return Quoted(name, '"');
}

// --- TLVCompareValueItem, TLVCompareValues ---

void TLVCompareValueItem::SetCompareValue(const std::string& value) {
  if (value == value_) return;
  value_ = value;
  Changed("CompareValue");
}

const TLVPropertyTable<TLVCompareValueItem>& TLVCompareValueItem::Properties() {
  static const auto table = [] {
    TLVPropertyTable<TLVCompareValueItem> t;
    t.Add("CompareValue", &TLVCompareValueItem::GetCompareValue,
          &TLVCompareValueItem::SetCompareValue, std::string());
    return t;
  }();
  return table;
}

TLVCompareValues::TLVCompareValues(TLVFilterColumnItem& owner) {
  SetObserver([&owner](TLVCollectionItem*, std::string_view) { owner.ValuesChanged(); });
}

void TLVCompareValues::SetTexts(const std::vector<std::string>& texts) {
  if (texts == Texts()) return;
  BeginUpdate();
  Clear();
  for (const std::string& text : texts) AddNew().SetCompareValue(text);
  MarkChanged();
  EndUpdate();
}

std::vector<std::string> TLVCompareValues::Texts() const {
  std::vector<std::string> texts;
  for (int32_t i = 0; i < Count(); ++i) texts.push_back((*this)[i].GetCompareValue());
  return texts;
}

// --- TLVFilterColumnItem ---

TLVFilterColumnItem::TLVFilterColumnItem() : values_(*this) {}

void TLVFilterColumnItem::SetDataType(TLVDataType value) {
  if (value == dataType_) return;
  dataType_ = value;
  Changed("DataType");
}

void TLVFilterColumnItem::SetBooleanJoinType(TLVBooleanJoinType value) {
  if (value == join_) return;
  join_ = value;
  Changed("BooleanJoinType");
}

void TLVFilterColumnItem::SetRelationType(TLVRelationType value) {
  if (value == relation_) return;
  relation_ = value;
  Changed("RelationType");
}

void TLVFilterColumnItem::SetBooleanJoinTypeName(const std::string& name) {
  auto value = EnumFromName<TLVBooleanJoinType>(name);
  if (!value) throw ELVError("ErrFilterUnknownJoin", {name});
  SetBooleanJoinType(*value);
}

void TLVFilterColumnItem::SetRelationTypeName(const std::string& name) {
  auto value = EnumFromName<TLVRelationType>(name);
  if (!value) throw ELVError("ErrFilterUnknownRelation", {name});
  SetRelationType(*value);
}

std::string TLVFilterColumnItem::GetCompareValueList() const {
  return JoinTexts(values_.Texts(), "\n");
}

void TLVFilterColumnItem::SetCompareValueList(const std::string& text) {
  std::vector<std::string> texts;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    texts.push_back(std::move(line));
    start = end + 1;
  }
  values_.SetTexts(texts);
}

void TLVFilterColumnItem::SetValues(const std::vector<TLVValue>& values) {
  std::vector<std::string> texts;
  for (const TLVValue& value : values) texts.push_back(StoredText(value));
  values_.SetTexts(texts);
}

void TLVFilterColumnItem::RaiseRowError() const {
  throw ELVError("ErrFilterRow", {RowNumber()});
}

TLVValue TLVFilterColumnItem::ParseValue(const std::string& text) const {
  if (dataType_ == TLVDataType::dtString) return TLVValue::String(text);
  if (text.empty()) throw ELVError("ErrFilterNoValue");
  switch (dataType_) {
    case TLVDataType::dtInteger:
      if (auto v = TLVPropertyCodec<int32_t>::FromText(text)) return TLVValue::Integer(*v);
      break;
    case TLVDataType::dtFloat:
      if (auto v = TLVPropertyCodec<double>::FromText(text); v && std::isfinite(*v)) {
        return TLVValue::Float(*v);
      }
      break;
    case TLVDataType::dtBoolean:
      if (auto v = TLVPropertyCodec<bool>::FromText(text)) return TLVValue::Boolean(*v);
      break;
    case TLVDataType::dtDateTime:
      if (auto v = ParseFilterDate(text)) return TLVValue::DateTime(*v);
      break;
    default:
      break;
  }
  RaiseRowError();
}

std::vector<TLVValue> TLVFilterColumnItem::Values() const {
  size_t needed = 0;
  switch (RelationOperands(relation_)) {
    case TLVRelationOperands::roOne:
    case TLVRelationOperands::roList:
      needed = 1;
      break;
    case TLVRelationOperands::roTwo:
      needed = 2;
      break;
    default:
      return {};
  }
  std::vector<std::string> texts = values_.Texts();
  if (texts.size() < needed) throw ELVError("ErrFilterNoValue");
  if (RelationOperands(relation_) != TLVRelationOperands::roList) texts.resize(needed);
  std::vector<TLVValue> values;
  for (const std::string& text : texts) values.push_back(ParseValue(text));
  return values;
}

TLVFilterPeriod TLVFilterColumnItem::Period() const {
  const std::vector<std::string> texts = values_.Texts();
  if (texts.size() < 3) throw ELVError("ErrFilterNoValue");
  TLVFilterPeriod period;
  auto count = TLVPropertyCodec<int32_t>::FromText(texts[0]);
  auto unit = EnumFromName<TLVFirstLastDateListType>(texts[1]);
  auto base = EnumFromName<TLVFirstLastBaseDateType>(texts[2]);
  if (!count || *count < 1 || !unit || !base) RaiseRowError();
  period.count = *count;
  period.unit = *unit;
  period.base = *base;
  if (period.base == TLVFirstLastBaseDateType::bdtCustom) {
    if (texts.size() < 4 || texts[3].empty()) throw ELVError("ErrFilterNoValue");
    auto date = ParseFilterDate(texts[3]);
    if (!date) RaiseRowError();
    period.customDate = *date;
  }
  return period;
}

void TLVFilterColumnItem::SetPeriod(const TLVFilterPeriod& period) {
  std::vector<std::string> texts{std::to_string(period.count), std::string(ValueName(period.unit)),
                                 std::string(ValueName(period.base))};
  if (period.base == TLVFirstLastBaseDateType::bdtCustom) {
    texts.push_back(StoredText(TLVValue::DateTime(period.customDate)));
  }
  values_.SetTexts(texts);
}

void TLVFilterColumnItem::Check() const {
  if (GetName().empty() || !RelationAllowed(relation_, dataType_)) RaiseRowError();
  if (RelationOperands(relation_) == TLVRelationOperands::roPeriod) {
    Period();
  } else {
    Values();
  }
}

TLVKeyInterval TLVFilterColumnItem::PeriodKeys(const TLVFilterContext& context) const {
  const TLVFilterPeriod period = Period();
  const bool last = IsLastPeriod(relation_);
  double base = LVMissing();
  switch (period.base) {
    case TLVFirstLastBaseDateType::bdtCurrent:
      base = FilterDateKey(std::isnan(context.today) ? LVLocalNow() : context.today);
      break;
    case TLVFirstLastBaseDateType::bdtData: {
      auto found = context.dataDates.find(GetName());
      if (found == context.dataDates.end()) throw ELVError("ErrFilterNoValue");
      // A column without dates has no period: nothing is in it.
      if (std::isnan(found->second.from)) return {};
      base = last ? found->second.to : found->second.from;
      break;
    }
    case TLVFirstLastBaseDateType::bdtCustom:
      base = FilterDateKey(period.customDate);
      break;
  }
  if (std::isnan(base)) RaiseRowError();
  return ResolvePeriod(period, last, base);
}

std::string TLVFilterColumnItem::QueryText(TLVQueryForm form, bool caseSensitive,
                                           const TLVFilterContext& context) const {
  Check();
  // Null tests compare nothing, so their column stays bare (and indexable).
  const bool upper = !caseSensitive && dataType_ == TLVDataType::dtString &&
                     RelationOperands(relation_) != TLVRelationOperands::roNone;
  auto literal = [&](const TLVValue& value) {
    return upper ? Upper(FilterLiteral(value)) : FilterLiteral(value);
  };
  const std::string column =
      upper ? Upper(FilterIdentifier(GetName())) : FilterIdentifier(GetName());
  const TQueryForms& forms = kQueryForms[static_cast<size_t>(relation_)];
  const std::string_view pattern = form == TLVQueryForm::qfPlain ? forms.plain : forms.nullSafe;
  switch (RelationOperands(relation_)) {
    case TLVRelationOperands::roNone:
      return Format(pattern, {column});
    case TLVRelationOperands::roOne: {
      const TLVValue value = Values().front();
      if (!IsPattern(relation_)) return Format(pattern, {column, literal(value)});
      const TLVValue like = TLVValue::String(LikePattern(relation_, value.AsText()));
      return Format(pattern, {column, literal(like), kEscapeClause});
    }
    case TLVRelationOperands::roTwo: {
      const std::vector<TLVValue> values = Values();
      return Format(pattern, {column, literal(values[0]), literal(values[1])});
    }
    case TLVRelationOperands::roList: {
      std::vector<std::string> literals;
      for (const TLVValue& value : Values()) literals.push_back(literal(value));
      return Format(pattern, {column, JoinTexts(literals, ", ")});
    }
    case TLVRelationOperands::roPeriod: {
      const TLVKeyInterval keys = PeriodKeys(context);
      return Format(pattern, {column, KeyLiteral(keys.from), KeyLiteral(keys.to)});
    }
  }
  return {};
}

std::string TLVFilterColumnItem::ValuesText() const {
  std::vector<std::string> shown;
  try {
    if (RelationOperands(relation_) == TLVRelationOperands::roPeriod) {
      return DescribePeriod(Period(), IsLastPeriod(relation_));
    }
    for (const TLVValue& value : Values()) shown.push_back(ShownValue(value));
  } catch (const ELVError&) {
    // The wizard shows an incomplete condition as it was typed.
    shown = values_.Texts();
  }
  if (RelationOperands(relation_) == TLVRelationOperands::roTwo && shown.size() >= 2) {
    return Format(LVText("SFilterInterval"), {shown[0], shown[1]});
  }
  return JoinTexts(shown, ", ");
}

std::string TLVFilterColumnItem::DisplayText() const {
  const std::string pattern = LVText("SFilterDisplay." + std::string(ValueName(relation_)));
  const std::string& name = GetName();
  switch (RelationOperands(relation_)) {
    case TLVRelationOperands::roNone:
      return Format(pattern, {name});
    case TLVRelationOperands::roTwo: {
      std::vector<std::string> shown;
      try {
        for (const TLVValue& value : Values()) shown.push_back(ShownValue(value));
      } catch (const ELVError&) {
        shown = values_.Texts();
      }
      shown.resize(2);
      return Format(pattern, {name, shown[0], shown[1]});
    }
    case TLVRelationOperands::roPeriod:
      if (IsNegatedPeriod(relation_)) return Format(pattern, {name, ValuesText()});
      return Format(pattern, {name, ValuesText(), ""});
    default:
      // Patterns have a trailing place that nothing fills in this version.
      if (IsPattern(relation_)) return Format(pattern, {name, ValuesText(), ""});
      return Format(pattern, {name, ValuesText()});
  }
}

void TLVFilterColumnItem::Assign(const TLVFilterColumnItem& source) {
  SetName(source.GetName());
  SetDataType(source.dataType_);
  SetBooleanJoinType(source.join_);
  SetRelationType(source.relation_);
  values_.SetTexts(source.values_.Texts());
}

const TLVPropertyTable<TLVFilterColumnItem>& TLVFilterColumnItem::Properties() {
  static const auto table = [] {
    using I = TLVFilterColumnItem;
    TLVPropertyTable<I> t;
    t.Add("Name", &I::GetName, &I::SetName, std::string())
        .Add("DataType", &I::GetDataType, &I::SetDataType, TLVDataType::dtString)
        .Add("BooleanJoinType", &I::GetBooleanJoinTypeName, &I::SetBooleanJoinTypeName,
             std::string("jtAnd"))
        .Add("RelationType", &I::GetRelationTypeName, &I::SetRelationTypeName,
             std::string("rtEqual"))
        .AddCollection(
            "CompareValues", "CompareValueItem",
            [](auto& item) -> auto& { return item.CompareValues(); },
            TLVCompareValueItem::Properties());
    return t;
  }();
  return table;
}

// --- TLVFilterColumnCollection ---

void TLVFilterColumnCollection::SetCaseSensitive(bool value) {
  if (value == caseSensitive_) return;
  caseSensitive_ = value;
  MarkChanged();
}

void TLVFilterColumnCollection::SetFiltered(bool value) {
  if (value == filtered_) return;
  filtered_ = value;
  MarkChanged();
}

std::string TLVFilterColumnCollection::GetQyeryText() const {
  try {
    return QueryText(TLVQueryForm::qfPlain, context_);
  } catch (const ELVError&) {
    return {};
  }
}

TLVFilterColumnItem& TLVFilterColumnCollection::AddCondition(std::string_view column,
                                                             TLVDataType type,
                                                             TLVRelationType relation,
                                                             const std::vector<TLVValue>& values,
                                                             TLVBooleanJoinType join) {
  auto item = std::make_shared<TLVFilterColumnItem>();
  item->SetName(column);
  item->SetDataType(type);
  item->SetRelationType(relation);
  item->SetBooleanJoinType(join);
  item->SetValues(values);
  TLVFilterColumnItem& added = *item;
  Add(std::move(item));
  return added;
}

std::string TLVFilterColumnCollection::QueryText(TLVQueryForm form,
                                                 const TLVFilterContext& context) const {
  if (!filtered_) return {};
  std::string text;
  for (int32_t i = 0; i < Count(); ++i) {
    const TLVFilterColumnItem& item = (*this)[i];
    if (i > 0) text += item.GetBooleanJoinType() == TLVBooleanJoinType::jtOr ? " OR " : " AND ";
    text += item.QueryText(form, caseSensitive_, context);
  }
  return text;
}

std::string TLVFilterColumnCollection::DisplayText() const {
  std::string text;
  for (int32_t i = 0; i < Count(); ++i) {
    const TLVFilterColumnItem& item = (*this)[i];
    if (i > 0) text += ' ' + lv::DisplayText(item.GetBooleanJoinType()) + ' ';
    text += item.DisplayText();
  }
  return text;
}

void TLVFilterColumnCollection::Validate() const {
  if (Count() == 0) throw ELVError("ErrFilterNoConditions");
  for (int32_t i = 0; i < Count(); ++i) (*this)[i].Check();
}

void TLVFilterColumnCollection::Assign(const TLVFilterColumnCollection& source) {
  BeginUpdate();
  try {
    Clear();
    for (int32_t i = 0; i < source.Count(); ++i) {
      auto item = std::make_shared<TLVFilterColumnItem>();
      item->Assign(source[i]);
      Add(std::move(item));
    }
  } catch (...) {
    EndUpdate();
    throw;
  }
  caseSensitive_ = source.caseSensitive_;
  filtered_ = source.filtered_;
  context_ = source.context_;
  MarkChanged();
  EndUpdate();
}

const TLVPropertyTable<TLVFilterColumnCollection>& TLVFilterColumnCollection::Properties() {
  static const auto table = [] {
    using C = TLVFilterColumnCollection;
    TLVPropertyTable<C> t;
    t.Add("CaseSensitive", &C::GetCaseSensitive, &C::SetCaseSensitive, false)
        .Add("Filtered", &C::GetFiltered, &C::SetFiltered, true)
        .Add("QyeryText", &C::GetQyeryText, &C::SetQyeryText, std::string())
        .AddCollection(
            "FilterColumns", "FilterColumnItem", [](auto& list) -> auto& { return list; },
            TLVFilterColumnItem::Properties());
    return t;
  }();
  return table;
}

void RegisterFilterColumnsTexts() {
  auto& table = TLVLocalization::Instance();
  table.RegisterKeys({"ErrFilterNoConditions", "ErrFilterRow", "ErrFilterNoValue",
                      "ErrFilterUnknownJoin", "ErrFilterUnknownRelation", "SFilterClearConfirm",
                      "SFilterInterval", "TLVFilterColumnCollection.CaseSensitive",
                      "TLVFilterColumnCollection.Filtered"});
  for (std::string_view relation : DescribeEnum(TLVRelationType{}).valueNames) {
    table.RegisterKey("SFilterDisplay." + std::string(relation));
  }
}

}  // namespace lv
