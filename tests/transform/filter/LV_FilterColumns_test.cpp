#include "transform/filter/LV_FilterColumns.h"

#include <gtest/gtest.h>

#include "core/text/LV_Errors.h"
#include "io/LV_TextTestHelpers.h"

namespace lv {
namespace {

using enum TLVDataType;
using R = TLVRelationType;
using J = TLVBooleanJoinType;
using test::MessageOfFailure;

TLVValue Text(std::string_view s) {
  return TLVValue::String(s);
}

// The two query forms of a one-condition list.
struct TForms {
  std::string plain;
  std::string nullSafe;
};

TForms Forms(std::string_view column, TLVDataType type, R relation,
             const std::vector<TLVValue>& values, bool caseSensitive = true) {
  TLVFilterColumnCollection list;
  list.SetCaseSensitive(caseSensitive);
  list.AddCondition(column, type, relation, values);
  return {list.QueryText(TLVQueryForm::qfPlain, {}), list.QueryText(TLVQueryForm::qfNullSafe, {})};
}

void ExpectForms(const TForms& forms, std::string_view plain, std::string_view nullSafe) {
  EXPECT_EQ(forms.plain, plain);
  EXPECT_EQ(forms.nullSafe, nullSafe);
}

TEST(FilterQuery, ComparisonsAndTheirLiterals) {
  ExpectForms(Forms("Q", dtInteger, R::rtLess, {TLVValue::Integer(5)}), "(\"Q\" < 5)",
              "((\"Q\" < 5) AND (\"Q\" IS NOT NULL))");
  ExpectForms(Forms("X", dtFloat, R::rtNotEqual, {TLVValue::Float(0.1)}), "(\"X\" <> 0.1)",
              "((\"X\" <> 0.1) AND (\"X\" IS NOT NULL))");
  // Numbers are written in the shortest form that reads back to the same double.
  EXPECT_EQ(Forms("X", dtFloat, R::rtEqual, {TLVValue::Float(1e300)}).plain, "(\"X\" = 1e+300)");
  EXPECT_EQ(Forms("B", dtBoolean, R::rtEqual, {TLVValue::Boolean(true)}).plain, "(\"B\" = 1)");
  const double date = *ParseFilterDate("1812-09-07 12:30");
  EXPECT_EQ(Forms("D", dtDateTime, R::rtLessOrEqual, {TLVValue::DateTime(date)}).plain,
            "(\"D\" <= '1812-09-07 12:30:00.000')");
  // Quotes inside names and texts are doubled.
  ExpectForms(Forms("Имя \"клиента\"", dtString, R::rtMoreOrEqual, {Text("O'Brien")}),
              "(\"Имя \"\"клиента\"\"\" >= 'O''Brien')", "(\"Имя \"\"клиента\"\"\" >= 'O''Brien')");
  // Without regard to case both sides are upper-cased; only texts are.
  ExpectForms(Forms("S", dtString, R::rtLessOrEqual, {Text("ж")}, false),
              "(UPPER(\"S\") <= UPPER('ж'))",
              "((UPPER(\"S\") <= UPPER('ж')) AND (UPPER(\"S\") IS NOT NULL))");
  EXPECT_EQ(Forms("Q", dtInteger, R::rtEqual, {TLVValue::Integer(1)}, false).plain, "(\"Q\" = 1)");
}

TEST(FilterQuery, NullAndTruthTests) {
  // Without regard to case a null test still leaves its column bare.
  ExpectForms(Forms("S", dtString, R::rtIsNull, {}, false), "(\"S\" IS NULL)", "(\"S\" IS NULL)");
  ExpectForms(Forms("S", dtString, R::rtIsNotNull, {}), "(\"S\" IS NOT NULL)",
              "(\"S\" IS NOT NULL)");
  ExpectForms(Forms("B", dtBoolean, R::rtIsTrue, {}), "(\"B\" <> 0)",
              "((\"B\" <> 0) AND (\"B\" IS NOT NULL))");
  ExpectForms(Forms("B", dtBoolean, R::rtIsFalse, {}), "(\"B\" = 0)", "(\"B\" = 0)");
}

TEST(FilterQuery, IntervalsAndLists) {
  ExpectForms(Forms("X", dtFloat, R::rtBetween, {TLVValue::Float(1.5), TLVValue::Float(2)}),
              "(\"X\" BETWEEN 1.5 AND 2)", "((\"X\" >= 1.5) AND (\"X\" <= 2))");
  ExpectForms(Forms("X", dtFloat, R::rtNotBetween, {TLVValue::Float(1.5), TLVValue::Float(2)}),
              "(\"X\" NOT BETWEEN 1.5 AND 2)",
              "(NOT ((\"X\" >= 1.5) AND (\"X\" <= 2)) AND (\"X\" IS NOT NULL))");
  ExpectForms(Forms("Q", dtInteger, R::rtIn, {TLVValue::Integer(1), TLVValue::Integer(2)}),
              "(\"Q\" IN (1, 2))", "(\"Q\" IN (1, 2))");
  ExpectForms(Forms("S", dtString, R::rtNotIn, {Text("a"), Text("O'Brien")}, false),
              "(UPPER(\"S\") NOT IN (UPPER('a'), UPPER('O''Brien')))",
              "(NOT (UPPER(\"S\") IN (UPPER('a'), UPPER('O''Brien'))) AND (UPPER(\"S\") IS NOT "
              "NULL))");
}

TEST(FilterQuery, PatternsEscapeTheirWildcards) {
  ExpectForms(Forms("S", dtString, R::rtLike, {Text("50%_\\")}),
              "(\"S\" LIKE '%50\\%\\_\\\\%' ESCAPE '\\')",
              "(\"S\" LIKE '%50\\%\\_\\\\%' ESCAPE '\\')");
  ExpectForms(Forms("S", dtString, R::rtNotStartingWith, {Text("ab")}, false),
              "(UPPER(\"S\") NOT LIKE UPPER('ab%') ESCAPE '\\')",
              "(NOT (UPPER(\"S\") LIKE UPPER('ab%') ESCAPE '\\') AND (UPPER(\"S\") IS NOT NULL))");
  EXPECT_EQ(Forms("S", dtString, R::rtNotEndingWith, {Text("x")}).nullSafe,
            "(NOT (\"S\" LIKE '%x' ESCAPE '\\') AND (\"S\" IS NOT NULL))");
}

TEST(FilterQuery, PeriodsBecomeIntervalsAndChainsStayFlat) {
  TLVFilterColumnCollection list;
  const TLVFilterPeriod period{3, TLVFirstLastDateListType::fldMonth,
                               TLVFirstLastBaseDateType::bdtCustom, *ParseFilterDate("2024-05-15")};
  list.AddCondition("D", dtDateTime, R::rtLastPeriod).SetPeriod(period);
  list.AddCondition("D", dtDateTime, R::rtNotLastPeriod, {}, J::jtOr).SetPeriod(period);
  list.AddCondition("Q", dtInteger, R::rtIsNull, {}, J::jtAnd);
  EXPECT_EQ(list.QueryText(TLVQueryForm::qfPlain, {}),
            "((\"D\" >= '2024-03-01 00:00:00.000') AND (\"D\" < '2024-06-01 00:00:00.000'))"
            " OR ((\"D\" < '2024-03-01 00:00:00.000') OR (\"D\" >= '2024-06-01 00:00:00.000'))"
            " AND (\"Q\" IS NULL)");
  EXPECT_EQ(list[1].QueryText(TLVQueryForm::qfNullSafe, true, {}),
            "(NOT ((\"D\" >= '2024-03-01 00:00:00.000') AND (\"D\" < '2024-06-01 00:00:00.000'))"
            " AND (\"D\" IS NOT NULL))");

  // A period counted from the data needs the data's dates; a column without any has an
  // empty period.
  list[0].SetPeriod({1, TLVFirstLastDateListType::fldDay, TLVFirstLastBaseDateType::bdtData});
  EXPECT_EQ(
      MessageOfFailure([&] { list.QueryText(TLVQueryForm::qfPlain, {}); }, "ErrFilterNoValue"),
      "Сравниваемое значение не определено");
  EXPECT_EQ(list.GetQyeryText(), "");
  TLVFilterContext context;
  context.dataDates["D"] = {LVMissing(), LVMissing()};
  EXPECT_EQ(list[0].QueryText(TLVQueryForm::qfPlain, true, context),
            "((\"D\" >= '1899-12-30 00:00:00.000') AND (\"D\" < '1899-12-30 00:00:00.000'))");
  context.dataDates["D"] = {FilterDateKey(100.25), FilterDateKey(200.75)};
  list.SetContext(context);
  EXPECT_EQ(list[0].QueryText(TLVQueryForm::qfPlain, true, context),
            "((\"D\" >= '1900-07-18 00:00:00.000') AND (\"D\" < '1900-07-19 00:00:00.000'))");
  EXPECT_NE(list.GetQyeryText(), "");
  list.SetFiltered(false);
  EXPECT_EQ(list.GetQyeryText(), "");
}

TEST(FilterDisplay, EveryFamilyAsTheWizardShowsIt) {
  TLVFilterColumnCollection list;
  list.AddCondition("Q", dtInteger, R::rtLess, {TLVValue::Integer(5)});
  list.AddCondition("X", dtFloat, R::rtNotBetween, {TLVValue::Float(1.5), TLVValue::Float(2)},
                    J::jtOr);
  list.AddCondition("S", dtString, R::rtIn, {Text("a"), Text("O'Brien")});
  list.AddCondition("S", dtString, R::rtNotLike, {Text("ab")});
  list.AddCondition("S", dtString, R::rtIsNotNull);
  list.AddCondition("B", dtBoolean, R::rtIsFalse);
  list.AddCondition("D", dtDateTime, R::rtEqual,
                    {TLVValue::DateTime(*ParseFilterDate("2024-03-01 12:30"))});
  list.AddCondition("D", dtDateTime, R::rtLastPeriod)
      .SetPeriod({3, TLVFirstLastDateListType::fldMonth, TLVFirstLastBaseDateType::bdtCurrent});
  list.AddCondition("D", dtDateTime, R::rtNotFirstPeriod)
      .SetPeriod({1, TLVFirstLastDateListType::fldWeek, TLVFirstLastBaseDateType::bdtData});
  EXPECT_EQ(list.DisplayText(),
            "([Q] < 5) ИЛИ ([X] вне интервала [1,5..2]) И ([S] в списке (\"a\", \"O'Brien\")) И "
            "([S] не содержит \"ab\") И ([S] не пустой) И ([B] ложь) И ([D] = 01.03.2024 12:30:00) "
            "И ([D] последние 3 месяца от текущей даты) И ([D] не первая 1 неделя от имеющихся "
            "данных)");
  EXPECT_EQ(list[1].ValuesText(), "1,5 и 2");
  // An incomplete condition shows what was typed.
  list[0].CompareValues().SetTexts({"пять"});
  EXPECT_EQ(list[0].DisplayText(), "([Q] < пять)");
}

TEST(FilterColumns, IncompleteConditionsAreRefusedWithTheirRow) {
  TLVFilterColumnCollection list;
  EXPECT_EQ(MessageOfFailure([&] { list.Validate(); }, "ErrFilterNoConditions"),
            "Нет ни одного условия фильтрации.");
  list.AddCondition("Q", dtInteger, R::rtIsNull);
  TLVFilterColumnItem& second =
      list.AddCondition("Q", dtInteger, R::rtLike, {TLVValue::Integer(1)});
  const std::string noValue = "Сравниваемое значение не определено";
  const std::string rowError =
      "В строке 2 есть ошибка.\r\nПроверьте правильность заполнения условий.";
  EXPECT_EQ(MessageOfFailure([&] { list.Validate(); }, "ErrFilterRow"),
            rowError);  // a pattern on a number
  second.SetRelationType(R::rtBetween);
  EXPECT_EQ(MessageOfFailure([&] { list.Validate(); }, "ErrFilterNoValue"), noValue);
  second.CompareValues().SetTexts({"1", "два"});
  EXPECT_EQ(MessageOfFailure([&] { list.Validate(); }, "ErrFilterRow"), rowError);
  second.CompareValues().SetTexts({"1", ""});
  EXPECT_EQ(MessageOfFailure([&] { list.Validate(); }, "ErrFilterNoValue"), noValue);
  second.SetRelationType(R::rtLastPeriod);
  EXPECT_EQ(MessageOfFailure([&] { list.Validate(); }, "ErrFilterRow"),
            rowError);  // a period of a number
  second.SetDataType(dtDateTime);
  second.CompareValues().SetTexts({"0", "fldDay", "bdtCurrent"});
  EXPECT_EQ(MessageOfFailure([&] { list.Validate(); }, "ErrFilterRow"),
            rowError);  // no period of 0 days
  second.CompareValues().SetTexts({"2", "fldDay", "bdtCustom"});
  EXPECT_EQ(MessageOfFailure([&] { list.Validate(); }, "ErrFilterNoValue"), noValue);
  second.CompareValues().SetTexts({"2", "fldDay", "bdtCustom", "2024-01-01"});
  EXPECT_NO_THROW(list.Validate());

  // A missing value is refused before anything is stored.
  EXPECT_EQ(MessageOfFailure(
                [&] {
                  second.SetValues({TLVValue::Integer(1), TLVValue::Null(dtInteger)});
                },
                "ErrFilterNoValue"),
            noValue);
  EXPECT_EQ(second.CompareValues().Count(), 4);
  // Texts may be empty values; numbers may not.
  list.AddCondition("S", dtString, R::rtEqual, {Text("")});
  EXPECT_NO_THROW(list.Validate());
  list.AddCondition("", dtString, R::rtIsNull);
  EXPECT_EQ(MessageOfFailure([&] { list.Validate(); }, "ErrFilterRow"),
            "В строке 4 есть ошибка.\r\nПроверьте правильность заполнения условий.");
}

TEST(FilterColumns, ValuesKeepTheirTypeAndTheListForm) {
  TLVFilterColumnItem item;
  item.SetDataType(dtDateTime);
  item.SetRelationType(R::rtIn);
  const double noon = *ParseFilterDate("2024-02-29 12:00:00.250");
  item.SetValues({TLVValue::DateTime(noon), TLVValue::DateTime(-1.25)});
  EXPECT_EQ(item.GetCompareValueList(), "2024-02-29 12:00:00.250\n1899-12-29 06:00:00.000");
  EXPECT_EQ(item.Values()[1], TLVValue::DateTime(-1.25));
  item.SetCompareValueList("2024-01-01\r\n2024-01-02 10:00\n");
  ASSERT_EQ(item.CompareValues().Count(), 2);
  EXPECT_EQ(item.Values()[1], TLVValue::DateTime(*ParseFilterDate("2024-01-02 10:00")));

  item.SetDataType(dtFloat);
  item.SetValues({TLVValue::Float(-0.1)});
  EXPECT_EQ(item.GetCompareValueList(), "-0.1");
  EXPECT_EQ(
      MessageOfFailure([&] { item.SetValues({TLVValue::Float(HUGE_VAL)}); }, "ErrFilterNoValue"),
      "Сравниваемое значение не определено");
  item.SetDataType(dtBoolean);
  item.SetCompareValueList("false\nTrue\n1");
  EXPECT_EQ(item.Values(), (std::vector<TLVValue>{TLVValue::Boolean(false), TLVValue::Boolean(true),
                                                  TLVValue::Boolean(true)}));
}

TEST(FilterColumns, PersistByNamesAndRefuseUnknownOnes) {
  TLVFilterColumnCollection list;
  list.SetCaseSensitive(true);
  list.AddCondition("S", dtString, R::rtNotIn, {Text("a"), Text("b")});
  list.AddCondition("Q", dtInteger, R::rtIsNull, {}, J::jtOr);
  test::TMapSection section;
  TLVFilterColumnCollection::Properties().Save(list, section);
  EXPECT_EQ(section.Get("CaseSensitive"), "True");
  EXPECT_EQ(section.Get("Filtered"), "True");
  EXPECT_EQ(section.Get("QyeryText"), "(\"S\" NOT IN ('a', 'b')) OR (\"Q\" IS NULL)");
  auto items = section.FindSection("FilterColumns")->Items("FilterColumnItem");
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0]->Get("RelationType"), "rtNotIn");
  EXPECT_EQ(items[1]->Get("BooleanJoinType"), "jtOr");
  EXPECT_EQ(
      items[0]->FindSection("CompareValues")->Items("CompareValueItem")[1]->Get("CompareValue"),
      "b");

  TLVFilterColumnCollection loaded;
  TLVFilterColumnCollection::Properties().Load(loaded, section);
  EXPECT_EQ(loaded.QueryText(TLVQueryForm::qfNullSafe, {}),
            list.QueryText(TLVQueryForm::qfNullSafe, {}));

  auto& stored = const_cast<ILVSettingsSection&>(*items[1]);
  stored.Put("RelationType", "rtSoundsLike");
  EXPECT_EQ(MessageOfFailure([&] { TLVFilterColumnCollection::Properties().Load(loaded, section); },
                             "ErrFilterUnknownRelation"),
            "Появилась новая функция: rtSoundsLike");
  stored.Put("RelationType", "rtIsNull");
  stored.Put("BooleanJoinType", "jtXor");
  EXPECT_EQ(MessageOfFailure([&] { TLVFilterColumnCollection::Properties().Load(loaded, section); },
                             "ErrFilterUnknownJoin"),
            "Появился новый тип логического оператора: jtXor");
}

TEST(FilterColumns, ChangesReachTheListObserver) {
  TLVFilterColumnCollection list;
  int changes = 0;
  list.SetObserver([&](TLVCollectionItem*, std::string_view) { ++changes; });
  TLVFilterColumnItem& item = list.AddCondition("Q", dtInteger, R::rtIn, {TLVValue::Integer(1)});
  EXPECT_EQ(changes, 1);
  item.SetValues({TLVValue::Integer(1)});
  list.SetFiltered(true);
  item.SetRelationType(R::rtIn);
  EXPECT_EQ(changes, 1);  // equal values change nothing
  item.CompareValues()[0].SetCompareValue("2");
  item.SetCompareValueList("2\n3");
  list.SetCaseSensitive(true);
  item.SetBooleanJoinType(J::jtOr);
  EXPECT_EQ(changes, 5);
}

}  // namespace
}  // namespace lv
