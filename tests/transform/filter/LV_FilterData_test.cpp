#include "transform/filter/LV_FilterData.h"

#include <gtest/gtest.h>

#include "LV_TestHelpers.h"
#include "core/platform/LV_RowParts.h"
#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "io/LV_TextTestHelpers.h"
#include "transform/filter/LV_FilterTestHelpers.h"

namespace lv {
namespace {

using enum TLVDataType;
using R = TLVRelationType;
using test::KeptIDs;
using test::MakeFilterNode;
using test::TTestTable;

TLVValue Text(std::string_view s) {
  return TLVValue::String(s);
}

// ID, N (float), S (text), D (date), B (Boolean): row 0 misses every value.
std::shared_ptr<TTestTable> SmallTable(const std::vector<std::string>& texts) {
  std::vector<std::vector<TLVValue>> rows;
  rows.push_back({TLVValue::Integer(0), TLVValue::Null(dtFloat), TLVValue::Null(dtString),
                  TLVValue::Null(dtDateTime), TLVValue::Null(dtBoolean)});
  for (size_t i = 0; i < texts.size(); ++i) {
    const auto n = static_cast<int32_t>(i + 1);
    rows.push_back({TLVValue::Integer(n), TLVValue::Float(n), Text(texts[i]),
                    TLVValue::DateTime(45400 + 10 * n), TLVValue::Boolean(n % 2 == 1)});
  }
  using C = TTestTable::TColumn;
  return std::make_shared<TTestTable>(
      std::vector<C>{C{"ID", dtInteger}, C{"N", dtFloat}, C{"S", dtString}, C{"D", dtDateTime},
                     C{"B", dtBoolean}},
      std::move(rows));
}

std::vector<int32_t> Kept(const std::shared_ptr<TTestTable>& table,
                          const TLVFilterColumnCollection& list) {
  auto node = MakeFilterNode(table, list);
  return KeptIDs(*node);
}

std::vector<int32_t> KeptBy(const std::shared_ptr<TTestTable>& table, std::string_view column,
                            TLVDataType type, R relation, const std::vector<TLVValue>& values,
                            bool caseSensitive = true) {
  TLVFilterColumnCollection list;
  list.SetCaseSensitive(caseSensitive);
  list.AddCondition(column, type, relation, values);
  return Kept(table, list);
}

using Ids = std::vector<int32_t>;

TEST(FilterData, CaseIsIgnoredForCyrillicToo) {
  // The database is given the same upper case (see LV_FilterSql_test), so this is where
  // the mapping itself is pinned.
  auto table = SmallTable({"abc", "Москва", "МОСКВА", "ёжик", "ЁЖИК", "straße"});
  EXPECT_EQ(KeptBy(table, "S", dtString, R::rtLike, {Text("B")}, false), (Ids{1}));
  EXPECT_EQ(KeptBy(table, "S", dtString, R::rtLike, {Text("B")}, true), (Ids{}));
  EXPECT_EQ(KeptBy(table, "S", dtString, R::rtEqual, {Text("москва")}, false), (Ids{2, 3}));
  EXPECT_EQ(KeptBy(table, "S", dtString, R::rtIn, {Text("Ёжик"), Text("x")}, false), (Ids{4, 5}));
  EXPECT_EQ(KeptBy(table, "S", dtString, R::rtEqual, {Text("STRASSE")}, false), (Ids{6}));
  EXPECT_EQ(FilterUpper("Съешь ещё этих мягких французских булок, да выпей чаю"),
            "СЪЕШЬ ЕЩЁ ЭТИХ МЯГКИХ ФРАНЦУЗСКИХ БУЛОК, ДА ВЫПЕЙ ЧАЮ");
  EXPECT_EQ(FilterUpper("ѐђѓєѕіїјљњћќѝўџ Ѣѣ ǆ"), "ЀЂЃЄЅІЇЈЉЊЋЌЍЎЏ ѢѢ Ǆ");
}

TEST(FilterData, PeriodsCountFromTheDataOrTheClock) {
  // Dates 45410, 45420 ... 45440: 2024-04-28, 05-08, 05-18, 05-28.
  auto table = SmallTable({"a", "b", "c", "d"});
  using U = TLVFirstLastDateListType;
  using B = TLVFirstLastBaseDateType;
  auto kept = [&](R relation, TLVFilterPeriod period) {
    TLVFilterColumnCollection list;
    list.AddCondition("D", dtDateTime, relation).SetPeriod(period);
    return Kept(table, list);
  };
  EXPECT_EQ(kept(R::rtLastPeriod, {1, U::fldMonth, B::bdtData}), (Ids{2, 3, 4}));
  EXPECT_EQ(kept(R::rtFirstPeriod, {1, U::fldMonth, B::bdtData}), (Ids{1}));
  EXPECT_EQ(kept(R::rtNotFirstPeriod, {2, U::fldWeek, B::bdtData}), (Ids{2, 3, 4}));
  // The clock says 2024-05-15, a Wednesday.
  EXPECT_EQ(kept(R::rtLastPeriod, {1, U::fldWeek, B::bdtCurrent}), (Ids{3}));
  EXPECT_EQ(kept(R::rtLastPeriod, {2, U::fldWeek, B::bdtCurrent}), (Ids{2, 3}));
  EXPECT_EQ(kept(R::rtFirstPeriod, {2, U::fldWeek, B::bdtCurrent}), (Ids{3}));
  EXPECT_EQ(kept(R::rtLastPeriod, {1, U::fldDay, B::bdtCustom, 45430.9}), (Ids{3}));

  // The latest date is remembered between opens only while the parent's rows stay.
  TLVFilterColumnCollection list;
  list.AddCondition("D", dtDateTime, R::rtLastPeriod).SetPeriod({1, U::fldDay, B::bdtData});
  auto node = MakeFilterNode(table, list);
  EXPECT_EQ(KeptIDs(*node), (Ids{4}));
  node->Filter()[0].SetRelationType(R::rtNotLastPeriod);
  EXPECT_EQ(KeptIDs(*node), (Ids{1, 2, 3}));
  table->SetRows({{TLVValue::Integer(7), TLVValue::Float(1), Text("x"), TLVValue::DateTime(45500),
                   TLVValue::Boolean(true)},
                  {TLVValue::Integer(8), TLVValue::Float(1), Text("x"), TLVValue::DateTime(45501.5),
                   TLVValue::Boolean(true)}});
  EXPECT_EQ(KeptIDs(*node), (Ids{7}));
}

TEST(FilterData, DatesCompareByTheirMillisecond) {
  // Values a few ulps around the half millisecond that rounds to a key, on both sides
  // of 1899-12-30; each relation must agree with a comparison of the keys themselves.
  const double keys[] = {FilterDateKey(45427.25), FilterDateKey(-3.75), FilterDateKey(0.5)};
  std::vector<std::vector<TLVValue>> rows;
  for (double key : keys) {
    for (double edge : {key - 0.5, key + 0.5}) {
      const double day = std::floor(edge / kLVMsPerDay);
      const double fraction = (edge - day * kLVMsPerDay) / kLVMsPerDay;
      double v = day < 0 ? day - fraction : day + fraction;
      for (int step = 0; step < 4; ++step) v = std::nextafter(v, -HUGE_VAL);
      for (int step = 0; step < 9; ++step, v = std::nextafter(v, HUGE_VAL)) {
        rows.push_back(
            {TLVValue::Integer(static_cast<int32_t>(rows.size())), TLVValue::DateTime(v)});
      }
    }
  }
  using C = TTestTable::TColumn;
  auto table =
      std::make_shared<TTestTable>(std::vector<C>{C{"ID", dtInteger}, C{"D", dtDateTime}}, rows);
  for (double key : keys) {
    for (R relation :
         {R::rtLess, R::rtLessOrEqual, R::rtMore, R::rtMoreOrEqual, R::rtEqual, R::rtNotEqual}) {
      Ids expected;
      for (const auto& row : rows) {
        const double k = FilterDateKey(row[1].AsDouble());
        const bool keep[] = {k<key, k <= key, k> key, k >= key, k == key, k != key};
        if (keep[static_cast<int>(relation)]) expected.push_back(row[0].AsInteger());
      }
      EXPECT_EQ(
          KeptBy(table, "D", dtDateTime, relation, {TLVValue::DateTime(FilterKeyToDays(key))}),
          expected)
          << FilterKeyText(key) << " " << ValueName(relation);
    }
  }
}

TEST(FilterData, OpensOnlyOverTheColumnsItWasMadeFor) {
  auto table = SmallTable({"a", "b"});
  TLVFilterColumnCollection list;
  list.AddCondition("N", dtInteger, R::rtEqual, {TLVValue::Integer(1)});
  auto node = MakeFilterNode(table, list);
  auto message = [&] { return test::MessageOf([&] { node->Open(); }); };
  EXPECT_EQ(message(), "У столбца \"N\" поменялся тип данных (необходим Целый).");
  node->Filter()[0].SetName("Y");
  EXPECT_EQ(message(), "Нет необходимого для фильтрации столбца \"Y\" в источнике данных");
  // Switched off, the list still names its columns, and they are still checked.
  node->Filter().SetFiltered(false);
  EXPECT_EQ(message(), "Нет необходимого для фильтрации столбца \"Y\" в источнике данных");
  node->Filter()[0].SetName("ID");
  EXPECT_EQ(message(), "no error");
  EXPECT_EQ(node->GetRowCount(), 3);
  EXPECT_EQ(node->GetColumnsInfo().GetColumnCount(), 5);
}

TEST(FilterData, ChangesCloseTheNodeAndReadsGatherTheKeptRows) {
  auto table = test::MakeFilterTable(3 * kLVBlockSize + 7);
  TLVFilterColumnCollection list;
  list.AddCondition("Q", dtInteger, R::rtMore, {TLVValue::Integer(0)});
  auto node = MakeFilterNode(table, list);
  test::TNotifyCounter counter(*node);
  const Ids first = KeptIDs(*node);
  ASSERT_FALSE(first.empty());
  EXPECT_TRUE(node->GetActive());

  node->Filter()[0].SetRelationType(R::rtLessOrEqual);
  EXPECT_FALSE(node->GetActive());
  EXPECT_EQ(counter.Count(TLVNotifyReason::nrDataChanged), 1u);
  const Ids second = KeptIDs(*node);
  EXPECT_EQ(first.size() + second.size() + KeptBy(table, "Q", dtInteger, R::rtIsNull, {}).size(),
            static_cast<size_t>(table->GetRowCount()));

  // Every column of a kept row is the parent's, by blocks and by gathers.
  for (int32_t column = 0; column < 6; ++column) {
    const std::vector<TLVValue> values = test::ReadColumn(*node, column);
    for (size_t i = 0; i < second.size(); ++i) {
      ASSERT_EQ(values[i], table->GetValue(second[i], column)) << column << " " << i;
    }
  }
  const TLVRowIndex rows[] = {static_cast<TLVRowIndex>(second.size()) - 1, 0};
  TLVBlock block;
  node->ReadRows(0, rows, std::min<int32_t>(2, kLVBlockSize), block);
  EXPECT_EQ(block.Integers()[0], second.back());

  node->Filter().SetFiltered(false);
  EXPECT_EQ(node->GetRowCount(), table->GetRowCount());
  EXPECT_EQ(counter.Count(TLVNotifyReason::nrDataChanged), 2u);
}

class TRecordedProgress : public ILVProgress {
 public:
  void Start(std::string_view caption, int64_t total) override {
    captions.emplace_back(caption);
    this->total = total;
  }
  void SetPosition(int64_t position) override { last = position; }
  bool Cancelled() const override { return false; }
  void Finish() override {}
  std::vector<std::string> captions;
  int64_t total = 0, last = 0;
};

TEST(FilterData, IsAKindOfNodeThatPersistsItsList) {
  TLVComponentVendor* vendor = LVComponentVendors().FindByID("FilterData");
  ASSERT_NE(vendor, nullptr);
  EXPECT_EQ(LVText(vendor->CaptionKey()), "Фильтр");
  auto made = std::dynamic_pointer_cast<TLVFilterData>(vendor->CreateComponent());
  ASSERT_NE(made, nullptr);

  auto table = SmallTable({"Юг", "Урал", "Север"});
  made->SetParentSource(table);
  made->SetClock([] { return test::kFilterToday; });
  made->Filter().AddCondition("S", dtString, R::rtIn, {Text("юг"), Text("урал")});
  made->Filter()
      .AddCondition("D", dtDateTime, R::rtLastPeriod, {}, TLVBooleanJoinType::jtOr)
      .SetPeriod({1, TLVFirstLastDateListType::fldDay, TLVFirstLastBaseDateType::bdtData});
  TRecordedProgress progress;
  made->SetProgress(&progress);
  EXPECT_EQ(KeptIDs(*made), (Ids{1, 2, 3}));
  EXPECT_EQ(progress.captions, std::vector<std::string>{"Выполнение операции фильтрации"});
  EXPECT_EQ(progress.last, 4);

  test::TMapSection section;
  made->SaveSettingsTo(section);
  const ILVSettingsSection* filter = section.FindSection("Filter");
  ASSERT_NE(filter, nullptr);
  // The stored query text counts from the data the node last read.
  EXPECT_EQ(filter->Get("QyeryText"),
            "(UPPER(\"S\") IN (UPPER('юг'), UPPER('урал'))) OR ((\"D\" >= '2024-05-18 "
            "00:00:00.000') AND (\"D\" < '2024-05-19 00:00:00.000'))");
  TLVFilterData loaded;
  loaded.LoadSettingsFrom(section);
  EXPECT_EQ(loaded.Filter().DisplayText(), made->Filter().DisplayText());

  // A damaged list is refused as a whole: the node keeps the one it had.
  auto* item = const_cast<ILVSettingsSection*>(
      filter->FindSection("FilterColumns")->Items("FilterColumnItem")[1]);
  item->Put("BooleanJoinType", "jtMaybe");
  EXPECT_THROW(loaded.LoadSettingsFrom(section), ELVError);
  EXPECT_EQ(loaded.Filter().Count(), 2);
  EXPECT_EQ(loaded.Filter()[1].GetBooleanJoinType(), TLVBooleanJoinType::jtOr);
  // A node without the section has an empty list.
  loaded.LoadSettingsFrom(test::TMapSection());
  EXPECT_EQ(loaded.Filter().Count(), 0);
}

}  // namespace
}  // namespace lv

namespace lv {
namespace {

// After enough blocks the tests of a run are reordered by what they drop; the rows kept
// must stay exactly those of the list in its own order.
TEST(FilterData, ReorderedTestsAndPartsKeepTheSameRows) {
  using enum TLVDataType;
  const int rows = 150 * kLVBlockSize + 5;
  auto table = test::MakeFilterTable(rows, 11);
  TLVFilterColumnCollection list;
  list.AddCondition("Q", dtInteger, R::rtMoreOrEqual, {TLVValue::Integer(-2)});
  list.AddCondition("ID", dtInteger, R::rtLess, {TLVValue::Integer(rows - 100)});
  list.AddCondition("Q", dtInteger, R::rtEqual, {TLVValue::Integer(2)});
  list.AddCondition("Q", dtInteger, R::rtEqual, {TLVValue::Integer(-3)}, TLVBooleanJoinType::jtOr);
  auto node = MakeFilterNode(table, list);
  Ids expected;
  const auto q = test::ReadColumn(*table, 1);
  for (int i = 0; i < rows; ++i) {
    const bool present = !q[static_cast<size_t>(i)].IsNull();
    const int32_t v = present ? q[static_cast<size_t>(i)].AsInteger() : 0;
    if (present && ((v >= -2 && i < rows - 100 && v == 2) || v == -3)) expected.push_back(i);
  }
  EXPECT_EQ(KeptIDs(*node), expected);

  // The same over a table read in parts on several threads, each part with its own
  // compiled list and its own order of tests.
  const TLVRowIndex before = LVMinRowsPerPart();
  LVSetMinRowsPerPart(kLVBlockSize * 20);
  table->concurrentReads = true;
  node->Close();
  EXPECT_EQ(KeptIDs(*node), expected);

  // Periods counted from the data find the first and last dates of the whole table in
  // parts: dates rise with the rows, so the first part holds the earliest and the last
  // part the latest; once from before 1899-12-30 on, where dates need a key each.
  for (double start : {40000.0, -10.0}) {
    std::vector<std::vector<TLVValue>> dates;
    for (int i = 0; i < rows; ++i) {
      dates.push_back({TLVValue::Integer(i), TLVValue::DateTime(start + 0.01 * i)});
    }
    using C = TTestTable::TColumn;
    auto dated = std::make_shared<TTestTable>(
        std::vector<C>{C{"ID", dtInteger}, C{"D", dtDateTime}}, std::move(dates));
    using U = TLVFirstLastDateListType;
    using B = TLVFirstLastBaseDateType;
    auto ends = [&](bool parts) {
      dated->concurrentReads = parts;
      TLVFilterColumnCollection periods;
      periods.AddCondition("D", dtDateTime, R::rtLastPeriod).SetPeriod({3, U::fldDay, B::bdtData});
      periods.AddCondition("D", dtDateTime, R::rtFirstPeriod, {}, TLVBooleanJoinType::jtOr)
          .SetPeriod({2, U::fldDay, B::bdtData});
      return KeptIDs(*MakeFilterNode(dated, periods));
    };
    const Ids inParts = ends(true);
    ASSERT_FALSE(inParts.empty());
    EXPECT_EQ(inParts.front(), 0);
    EXPECT_EQ(inParts.back(), rows - 1);
    EXPECT_EQ(inParts, ends(false));
  }
  LVSetMinRowsPerPart(before);
}

}  // namespace
}  // namespace lv
