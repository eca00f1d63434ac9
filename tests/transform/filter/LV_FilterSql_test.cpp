// The query texts run in a real SQLite database holding the same rows as the filter
// node's parent: every relation, both forms and both case modes must select exactly
// the rows the node keeps, missing values included.
//
// The database gets what the query text expects of it: dates stored as the text of
// their keys, Booleans as 0 and 1, case-sensitive LIKE (as PostgreSQL's), and an UPPER
// that maps Cyrillic like the node (SQLite's own knows only ASCII).
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cmath>

#include "core/text/LV_Errors.h"
#include "transform/filter/LV_FilterEvaluator.h"
#include "transform/filter/LV_FilterTestHelpers.h"

namespace lv {
namespace {

using enum TLVDataType;
using R = TLVRelationType;
using test::kFilterToday;

constexpr int kRows = 400;
constexpr const char* kColumns[] = {"ID",   "Q",        "Сумма, руб.",
                                    "Дата", "Оплачено", "Имя \"клиента\""};

void SqlUpper(sqlite3_context* context, int, sqlite3_value** args) {
  if (sqlite3_value_type(args[0]) == SQLITE_NULL) {
    sqlite3_result_null(context);
    return;
  }
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(args[0]));
  const std::string upper =
      FilterUpper(std::string_view(text, static_cast<size_t>(sqlite3_value_bytes(args[0]))));
  sqlite3_result_text(context, upper.data(), static_cast<int>(upper.size()), SQLITE_TRANSIENT);
}

class FilterSql : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    table_ = test::MakeFilterTable(kRows);
    ASSERT_EQ(sqlite3_open(":memory:", &db_), SQLITE_OK);
    ASSERT_EQ(sqlite3_create_function(db_, "upper", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                                      SqlUpper, nullptr, nullptr),
              SQLITE_OK);
    Exec("PRAGMA case_sensitive_like = ON");
    std::string create = "CREATE TABLE t(";
    const char* types[] = {"INTEGER", "INTEGER", "REAL", "TEXT", "INTEGER", "TEXT"};
    for (int c = 0; c < 6; ++c) {
      create += (c ? ", " : "") + FilterIdentifier(kColumns[c]) + " " + types[c];
    }
    Exec(create + ")");
    sqlite3_stmt* insert = nullptr;
    ASSERT_EQ(
        sqlite3_prepare_v2(db_, "INSERT INTO t VALUES (?, ?, ?, ?, ?, ?)", -1, &insert, nullptr),
        SQLITE_OK);
    Exec("BEGIN");
    for (TLVRowIndex r = 0; r < kRows; ++r) {
      for (int c = 0; c < 6; ++c) {
        const TLVValue v = table_->GetValue(r, c);
        const double key = c == 3 && !v.IsNull() ? FilterDateKey(v.AsDouble()) : 0;
        if (v.IsNull()) {
          sqlite3_bind_null(insert, c + 1);
        } else if (c == 3) {
          ASSERT_FALSE(std::isnan(key));
          const std::string text = FilterKeyText(key);
          sqlite3_bind_text(insert, c + 1, text.c_str(), -1, SQLITE_TRANSIENT);
        } else if (c == 5) {
          sqlite3_bind_text(insert, c + 1, v.AsText().data(), static_cast<int>(v.AsText().size()),
                            SQLITE_TRANSIENT);
        } else if (c == 2) {
          sqlite3_bind_double(insert, c + 1, v.AsDouble());
        } else {
          sqlite3_bind_int64(insert, c + 1, static_cast<int64_t>(v.AsDouble()));
        }
      }
      ASSERT_EQ(sqlite3_step(insert), SQLITE_DONE);
      sqlite3_reset(insert);
    }
    Exec("COMMIT");
    sqlite3_finalize(insert);
  }
  static void TearDownTestSuite() {
    sqlite3_close(db_);
    db_ = nullptr;
    table_.reset();
  }

  static void Exec(const std::string& sql) {
    char* error = nullptr;
    ASSERT_EQ(sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK)
        << sql << ": " << (error ? error : "");
  }

  static std::vector<int32_t> SqlRows(const std::string& where) {
    std::string sql = "SELECT \"ID\" FROM t";
    if (!where.empty()) sql += " WHERE " + where;
    sql += " ORDER BY \"ID\"";
    sqlite3_stmt* select = nullptr;
    std::vector<int32_t> ids;
    EXPECT_EQ(sqlite3_prepare_v2(db_, sql.c_str(), -1, &select, nullptr), SQLITE_OK)
        << sql << ": " << sqlite3_errmsg(db_);
    while (select && sqlite3_step(select) == SQLITE_ROW)
      ids.push_back(sqlite3_column_int(select, 0));
    sqlite3_finalize(select);
    return ids;
  }

  // Runs `list` through the node and through SQLite in both forms; counts the lists
  // that kept some rows but not all, so that a family cannot pass on empty answers.
  std::vector<int32_t> ExpectAgreement(const TLVFilterColumnCollection& list) {
    auto node = test::MakeFilterNode(Shared(), list);
    const std::vector<int32_t> kept = test::KeptIDs(*node);
    for (TLVQueryForm form : {TLVQueryForm::qfPlain, TLVQueryForm::qfNullSafe}) {
      const std::string where = node->Filter().QueryText(form, node->Filter().Context());
      EXPECT_EQ(SqlRows(where), kept) << where << "\n" << node->Filter().DisplayText();
    }
    informative_ += !kept.empty() && kept.size() < static_cast<size_t>(kRows);
    ++lists_;
    return kept;
  }

  // A missing value satisfies "пустой" and nothing else, negated relations included.
  static void ExpectNoMissing(int column, R relation, const std::vector<int32_t>& kept) {
    if (relation == R::rtIsNull) return;
    for (int32_t id : kept) EXPECT_FALSE(table_->IsNull(id, column)) << ValueName(relation);
  }

  // One condition, with the texts compared with and without regard to case.
  void Expect(int column, R relation, std::vector<TLVValue> values) {
    for (bool caseSensitive : {true, false}) {
      TLVFilterColumnCollection list;
      list.SetCaseSensitive(caseSensitive);
      list.AddCondition(kColumns[column], table_->Columns()[column].GetDataType(), relation,
                        values);
      ExpectNoMissing(column, relation, ExpectAgreement(list));
    }
  }

  void ExpectPeriod(R relation, TLVFilterPeriod period) {
    TLVFilterColumnCollection list;
    list.AddCondition("Дата", dtDateTime, relation).SetPeriod(period);
    ExpectNoMissing(3, relation, ExpectAgreement(list));
  }

  // Most lists of a family must keep some rows and drop others.
  void TearDown() override {
    EXPECT_GE(informative_ * 10, lists_ * 7) << informative_ << "/" << lists_;
  }

  static std::shared_ptr<test::TTestTable> Shared() { return table_; }

  // The `n`-th present date of the table, for comparisons that hit data exactly.
  static TLVValue PresentDate(int n) {
    for (TLVRowIndex r = 0; r < kRows; ++r) {
      TLVValue v = table_->GetValue(r, 3);
      if (!v.IsNull() && n-- == 0) return v;
    }
    return {};
  }

  static std::shared_ptr<test::TTestTable> table_;
  static sqlite3* db_;
  int informative_ = 0;
  int lists_ = 0;
};

std::shared_ptr<test::TTestTable> FilterSql::table_;
sqlite3* FilterSql::db_ = nullptr;

TLVValue Text(std::string_view s) {
  return TLVValue::String(s);
}

TEST_F(FilterSql, Comparisons) {
  for (R relation :
       {R::rtLess, R::rtLessOrEqual, R::rtMore, R::rtMoreOrEqual, R::rtEqual, R::rtNotEqual}) {
    Expect(1, relation, {TLVValue::Integer(0)});
    Expect(1, relation, {TLVValue::Integer(-2)});
    Expect(2, relation, {TLVValue::Float(0.1)});
    Expect(2, relation, {TLVValue::Float(1.0 / 3)});
    Expect(2, relation, {TLVValue::Float(-7.25e-5)});
    Expect(3, relation, {PresentDate(0)});
    Expect(3, relation, {TLVValue::DateTime(-200.75)});
    Expect(4, relation, {TLVValue::Boolean(true)});
    Expect(5, relation, {Text("абв")});
    Expect(5, relation, {Text("Zeta")});
    Expect(5, relation, {Text("O'Brien")});
    Expect(5, relation, {Text("ЁЖ")});
  }
}

TEST_F(FilterSql, NullTestsAndTruth) {
  for (int column = 1; column < 6; ++column) {
    Expect(column, R::rtIsNull, {});
    Expect(column, R::rtIsNotNull, {});
  }
  for (int column : {1, 2, 4}) {
    Expect(column, R::rtIsTrue, {});
    Expect(column, R::rtIsFalse, {});
  }
}

TEST_F(FilterSql, Intervals) {
  for (R relation : {R::rtBetween, R::rtNotBetween}) {
    Expect(1, relation, {TLVValue::Integer(-1), TLVValue::Integer(2)});
    Expect(1, relation, {TLVValue::Integer(2), TLVValue::Integer(-1)});
    Expect(2, relation, {TLVValue::Float(0.1), TLVValue::Float(2.5)});
    Expect(3, relation, {TLVValue::DateTime(44800.5), TLVValue::DateTime(45100)});
    Expect(5, relation, {Text("a"), Text("zz")});
    Expect(5, relation, {Text("А"), Text("я")});
  }
}

TEST_F(FilterSql, Lists) {
  for (R relation : {R::rtIn, R::rtNotIn}) {
    Expect(1, relation, {TLVValue::Integer(0), TLVValue::Integer(2)});
    Expect(1, relation, {TLVValue::Integer(3)});
    Expect(2, relation, {TLVValue::Float(0.1), TLVValue::Float(1.0 / 3), TLVValue::Float(1e300)});
    Expect(3, relation, {PresentDate(1), PresentDate(2), TLVValue::DateTime(1)});
    Expect(4, relation, {TLVValue::Boolean(false)});
    std::vector<TLVValue> numbers;  // enough to be searched by halves
    for (double v : {-7.25e-5, -1.5, 2.5, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0}) {
      numbers.push_back(TLVValue::Float(v));
    }
    Expect(2, relation, numbers);
    Expect(5, relation, {Text("абв"), Text("ёж"), Text("zeta"), Text("O'Brien")});
    std::vector<TLVValue> many;
    for (const std::string& text : test::FilterTestTexts()) {
      if (text.size() % 2 == 0) many.push_back(Text(text));
    }
    Expect(5, relation, many);
  }
}

TEST_F(FilterSql, Patterns) {
  for (R relation : {R::rtLike, R::rtNotLike, R::rtStartingWith, R::rtNotStartingWith,
                     R::rtEndingWith, R::rtNotEndingWith}) {
    for (const char* value :
         {"%", "_", "a%", "%b", "\\", "a\\", "б", "Б", "О'", "ква", "STRA", ""}) {
      Expect(5, relation, {Text(value)});
    }
  }
  // '%' and '_' in a value are characters, not wildcards.
  TLVFilterColumnCollection list;
  list.SetCaseSensitive(true);
  list.AddCondition(kColumns[5], dtString, R::rtLike, {Text("_")});
  for (int32_t id : ExpectAgreement(list)) {
    EXPECT_NE(table_->GetValue(id, 5).AsText().find('_'), std::string_view::npos);
  }
}

TEST_F(FilterSql, Periods) {
  using U = TLVFirstLastDateListType;
  using B = TLVFirstLastBaseDateType;
  for (R relation : {R::rtFirstPeriod, R::rtNotFirstPeriod, R::rtLastPeriod, R::rtNotLastPeriod}) {
    for (U unit : {U::fldDay, U::fldWeek, U::fldMonth, U::fldQuarter, U::fldYear}) {
      for (int32_t count : {1, 3, 40}) {
        ExpectPeriod(relation, {count, unit, B::bdtCurrent});
        ExpectPeriod(relation, {count, unit, B::bdtData});
        ExpectPeriod(relation, {count, unit, B::bdtCustom, 44990.75});
        ExpectPeriod(relation, {count, unit, B::bdtCustom, -150.25});
      }
    }
  }
}

TEST_F(FilterSql, ChainsApplyAndBeforeOr) {
  using J = TLVBooleanJoinType;
  const J joins[][3] = {{J::jtAnd, J::jtAnd, J::jtAnd},
                        {J::jtOr, J::jtOr, J::jtOr},
                        {J::jtAnd, J::jtOr, J::jtAnd},
                        {J::jtOr, J::jtAnd, J::jtOr},
                        {J::jtOr, J::jtAnd, J::jtAnd}};
  for (const auto& join : joins) {
    TLVFilterColumnCollection list;
    list.AddCondition("Q", dtInteger, R::rtNotIn, {TLVValue::Integer(0), TLVValue::Integer(1)});
    list.AddCondition("Имя \"клиента\"", dtString, R::rtLike, {Text("б")}, join[0]);
    list.AddCondition("Сумма, руб.", dtFloat, R::rtLess, {TLVValue::Float(2)}, join[1]);
    list.AddCondition("Дата", dtDateTime, R::rtLastPeriod, {}, join[2])
        .SetPeriod({2, TLVFirstLastDateListType::fldQuarter, TLVFirstLastBaseDateType::bdtData});
    ExpectAgreement(list);
  }
  // Runs that keep few rows gather their columns for those rows only; a later run must
  // not take what an earlier one gathered for others.
  for (bool caseSensitive : {true, false}) {
    TLVFilterColumnCollection sparse;
    sparse.SetCaseSensitive(caseSensitive);
    sparse.AddCondition("ID", dtInteger, R::rtIn,
                        {TLVValue::Integer(3), TLVValue::Integer(7), TLVValue::Integer(300)});
    sparse.AddCondition("Q", dtInteger, R::rtMoreOrEqual, {TLVValue::Integer(0)});
    sparse.AddCondition("Имя \"клиента\"", dtString, R::rtNotEqual, {Text("юг")});
    sparse.AddCondition("ID", dtInteger, R::rtBetween,
                        {TLVValue::Integer(10), TLVValue::Integer(40)}, J::jtOr);
    sparse.AddCondition("Q", dtInteger, R::rtLessOrEqual, {TLVValue::Integer(0)});
    sparse.AddCondition("Имя \"клиента\"", dtString, R::rtLike, {Text("a")});
    ExpectAgreement(sparse);
  }
  // A list that is switched off keeps every row, and its query text is empty.
  TLVFilterColumnCollection off;
  off.AddCondition("Q", dtInteger, R::rtIsNull);
  off.SetFiltered(false);
  auto node = test::MakeFilterNode(Shared(), off);
  EXPECT_EQ(test::KeptIDs(*node).size(), static_cast<size_t>(kRows));
  EXPECT_EQ(off.QueryText(TLVQueryForm::qfNullSafe, {}), "");
  ++informative_;
  ++lists_;
}

}  // namespace
}  // namespace lv
