// The condition list: conditions on columns chained by AND/OR, the reusable part of
// every node that selects rows (the filter node, later views and database imports).
//
// A condition (TLVFilterColumnItem) names a column (Name), records the column's type
// when it was made (DataType), its join to the conditions before it, its relation and
// its compared values. Compare values are kept as texts in a form that does not depend
// on the locale, as the project file stores them: numbers with '.', Booleans as
// True/False, dates as "yyyy-mm-dd hh:nn:ss.zzz", texts as they are; a first/last
// period as its count, unit and base by value name and, for bdtCustom, the date.
// Values(), Period() and the query and display texts read them; a value that is not
// of the condition's type raises "В строке %d есть ошибка..." and a missing one
// "Сравниваемое значение не определено" when the condition is used, not when it is
// stored, so a list can be edited through incomplete states.
//
// The list renders itself as a query text in two forms (QueryText):
//   - plain: for SQL databases, whose three-valued logic already excludes a missing
//     value from every test but IS NULL;
//   - null-safe: for engines with two-valued logic, where "not in the list" would
//     otherwise pass a missing value. The in-memory filter (LV_FilterEvaluator) follows
//     this form's semantics, so both forms select the same rows as the node.
// Column names are written as quoted identifiers, texts as '...' with quotes doubled,
// dates as '...' text of their key (LV_FilterDates.h), Booleans as 1 and 0, numbers in
// the shortest form that reads back exactly. Without CaseSensitive, text columns and
// their values are both wrapped in UPPER(...).
//
// Changes of any condition, value or setting are reported to the list's observer
// (the owning node). Single-threaded.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/registry/LV_Collection.h"
#include "core/registry/LV_Properties.h"
#include "transform/filter/LV_FilterDates.h"
#include "transform/filter/LV_FilterTypes.h"

namespace lv {

class TLVFilterColumnItem;

class TLVCompareValueItem : public TLVCollectionItem {
 public:
  const std::string& GetCompareValue() const { return value_; }
  void SetCompareValue(const std::string& value);

  // "CompareValue".
  static const TLVPropertyTable<TLVCompareValueItem>& Properties();

 private:
  std::string value_;
};

// The compared values of one condition; changes are reported to the condition.
class TLVCompareValues : public TLVCollectionOf<TLVCompareValueItem> {
 public:
  explicit TLVCompareValues(TLVFilterColumnItem& owner);
  // Replaces the values with `texts`.
  void SetTexts(const std::vector<std::string>& texts);
  std::vector<std::string> Texts() const;
};

// What a query text or the in-memory filter needs to know beyond the conditions: the
// current date and, per column counted from its data (bdtData), the keys of its
// earliest and latest date (none when the column has no date at all).
struct TLVFilterContext {
  double today = LVMissing();
  std::map<std::string, TLVKeyInterval, std::less<>> dataDates;
};

enum class TLVQueryForm : uint8_t { qfPlain, qfNullSafe };

class TLVFilterColumnItem : public TLVCollectionItem {
 public:
  TLVFilterColumnItem();

  TLVDataType GetDataType() const { return dataType_; }
  void SetDataType(TLVDataType value);
  TLVBooleanJoinType GetBooleanJoinType() const { return join_; }
  void SetBooleanJoinType(TLVBooleanJoinType value);
  TLVRelationType GetRelationType() const { return relation_; }
  void SetRelationType(TLVRelationType value);

  // The persisted forms of the two enumerations; an unknown name raises
  // "Появился новый тип логического оператора: %s" or "Появилась новая функция: %s".
  std::string GetBooleanJoinTypeName() const { return std::string(ValueName(join_)); }
  void SetBooleanJoinTypeName(const std::string& name);
  std::string GetRelationTypeName() const { return std::string(ValueName(relation_)); }
  void SetRelationTypeName(const std::string& name);

  TLVCompareValues& CompareValues() { return values_; }
  const TLVCompareValues& CompareValues() const { return values_; }
  // The list form: the stored texts one per line.
  std::string GetCompareValueList() const;
  void SetCompareValueList(const std::string& text);

  // Stores values of the condition's type (a missing one raises "Сравниваемое значение
  // не определено").
  void SetValues(const std::vector<TLVValue>& values);
  // The values the relation takes, of the condition's type; raises when one is
  // missing or is not of the type. Empty for roNone and roPeriod.
  std::vector<TLVValue> Values() const;
  // The stored period of a first/last relation (raises as Values does).
  TLVFilterPeriod Period() const;
  void SetPeriod(const TLVFilterPeriod& period);

  // Raises the first problem of the condition: a relation that does not apply to the
  // type, a value missing or not of the type.
  void Check() const;

  // The condition in the query form, or as the wizard shows it.
  std::string QueryText(TLVQueryForm form, bool caseSensitive,
                        const TLVFilterContext& context) const;
  std::string DisplayText() const;
  // The values as the wizard's value cell shows them: one value, "%s и %s" for an
  // interval, the list joined with ", ", or the period's wording.
  std::string ValuesText() const;

  // The keys of a first/last condition's period in `context` (empty when the period
  // counts from the data and the column has no date).
  TLVKeyInterval PeriodKeys(const TLVFilterContext& context) const;

  void Assign(const TLVFilterColumnItem& source);

  // "Name", "DataType", "BooleanJoinType", "RelationType", then the collection
  // "CompareValues" of "CompareValueItem".
  static const TLVPropertyTable<TLVFilterColumnItem>& Properties();

 private:
  friend class TLVCompareValues;
  void ValuesChanged() { Changed("CompareValues"); }
  // Row number (from 1) for messages.
  int32_t RowNumber() const { return GetIndex() + 1; }
  [[noreturn]] void RaiseRowError() const;
  TLVValue ParseValue(const std::string& text) const;

  TLVDataType dataType_ = TLVDataType::dtString;
  TLVBooleanJoinType join_ = TLVBooleanJoinType::jtAnd;
  TLVRelationType relation_ = TLVRelationType::rtEqual;
  TLVCompareValues values_;
};

class TLVFilterColumnCollection : public TLVCollectionOf<TLVFilterColumnItem> {
 public:
  // "Учитывать регистр": texts are compared as they are; otherwise in upper case.
  bool GetCaseSensitive() const { return caseSensitive_; }
  void SetCaseSensitive(bool value);
  // "Фильтровать": without it the list selects every row.
  bool GetFiltered() const { return filtered_; }
  void SetFiltered(bool value);

  // The plain query text in the context the list was last used in (SetContext), for
  // readers of the project file; empty when the list cannot be rendered (an incomplete
  // condition, or a period counted from data not yet seen). Derived: what is stored
  // is never read back.
  std::string GetQyeryText() const;
  void SetQyeryText(const std::string&) {}
  const TLVFilterContext& Context() const { return context_; }
  void SetContext(TLVFilterContext context) { context_ = std::move(context); }

  TLVFilterColumnItem& AddCondition(std::string_view column, TLVDataType type,
                                    TLVRelationType relation,
                                    const std::vector<TLVValue>& values = {},
                                    TLVBooleanJoinType join = TLVBooleanJoinType::jtAnd);

  // The whole list as a query text; empty when it selects every row (not Filtered, or
  // no condition). Raises the first incomplete condition.
  std::string QueryText(TLVQueryForm form, const TLVFilterContext& context) const;
  // The conditions as the wizard shows them, joined with their "И"/"ИЛИ".
  std::string DisplayText() const;
  // The wizard's check before it closes: "Нет ни одного условия фильтрации." or the
  // first incomplete condition.
  void Validate() const;

  void Assign(const TLVFilterColumnCollection& source);

  // "CaseSensitive", "Filtered", "QyeryText", then the collection "FilterColumns" of
  // "FilterColumnItem".
  static const TLVPropertyTable<TLVFilterColumnCollection>& Properties();

 private:
  bool caseSensitive_ = false;
  bool filtered_ = true;
  TLVFilterContext context_;
};

// The literal of a value in query texts (see the list's comment); raises "Сравниваемое
// значение не определено" for a missing value or a number that is not finite.
std::string FilterLiteral(const TLVValue& value);
// A quoted identifier.
std::string FilterIdentifier(std::string_view name);

void RegisterFilterColumnsTexts();

}  // namespace lv
