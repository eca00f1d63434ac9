#include "transform/sort/LV_Sorting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

#include "LV_TestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "transform/LV_TransformStartup.h"
#include "transform/formula/LV_CalcText.h"

namespace lv {
namespace {

using enum TLVDataType;
using test::ReadColumn;
using test::TTestTable;
using O = TLVSortDefOrder;
using Ids = std::vector<int32_t>;

// ID (the parent's row number), then one column per given type.
std::shared_ptr<TTestTable> Table(const std::vector<std::vector<TLVValue>>& keyRows,
                                  std::vector<TTestTable::TColumn> keyColumns) {
  std::vector<TTestTable::TColumn> columns{{"ID", dtInteger}};
  columns.insert(columns.end(), keyColumns.begin(), keyColumns.end());
  std::vector<std::vector<TLVValue>> rows;
  for (size_t i = 0; i < keyRows.size(); ++i) {
    rows.push_back({TLVValue::Integer(static_cast<int32_t>(i))});
    rows.back().insert(rows.back().end(), keyRows[i].begin(), keyRows[i].end());
  }
  return std::make_shared<TTestTable>(std::move(columns), std::move(rows));
}

Ids SortedIds(ILVDataSource& node) {
  Ids ids;
  for (const TLVValue& v : ReadColumn(node, 0)) ids.push_back(v.AsInteger());
  return ids;
}

std::shared_ptr<TLVSorting> Sorting(std::shared_ptr<ILVDataSource> parent) {
  auto node = std::make_shared<TLVSorting>();
  node->SetDataSource(std::move(parent));
  return node;
}

Ids SortTexts(const std::vector<std::string>& texts, bool caseSensitive, O order = O::soAscending) {
  std::vector<std::vector<TLVValue>> rows;
  for (const auto& t : texts) rows.push_back({TLVValue::String(t)});
  auto node = Sorting(Table(rows, {{"S", dtString}}));
  node->SortDefs().AddKey("S", order, caseSensitive);
  return SortedIds(*node);
}

TEST(TextOrder, RussianAlphabetWithYoBesideYe) {
  // Each text is strictly below the next one, with case taken into account.
  const std::vector<std::string> ascending{"",  "10", "9", "Zeta", "zz", "а",  "А", "аб", "Аб", "б",
                                           "е", "ё",  "Ё", "ёж",   "ж",  "жа", "я", "Я",  "яя"};
  for (size_t i = 0; i + 1 < ascending.size(); ++i) {
    EXPECT_LT(CompareTextOrder(ascending[i], ascending[i + 1], true), 0)
        << ascending[i] << " / " << ascending[i + 1];
    EXPECT_GT(CompareTextOrder(ascending[i + 1], ascending[i], true), 0);
  }
  EXPECT_EQ(CompareTextOrder("Москва", "МОСКВА", false), 0);
  EXPECT_LT(CompareTextOrder("москва", "Москва", true), 0);
  EXPECT_GT(CompareTextOrder("Ёлка", "елки", false), 0);  // Ё is a letter after Е
  EXPECT_LT(CompareTextOrder("ЕЖ", "ёа", false), 0);      // Е before Ё decides first
  EXPECT_EQ(CompareTextOrder("ёж", "ЁЖ", false), 0);
}

TEST(Sorting, TextsInAlphabeticalOrderAndStableWithoutCase) {
  const std::vector<std::string> texts{"Юг",     "москва", "ёж",  "Москва", "елка",
                                       "МОСКВА", "жук",    "Абв", "абв",    "Zeta"};
  // Without case the three spellings of Москва keep the parent's order.
  EXPECT_EQ(SortTexts(texts, false), (Ids{9, 7, 8, 4, 2, 6, 1, 3, 5, 0}));
  EXPECT_EQ(SortTexts(texts, true), (Ids{9, 8, 7, 4, 2, 6, 1, 3, 5, 0}));
  // Descending reverses the groups but not the order within them.
  EXPECT_EQ(SortTexts(texts, false, O::soDescending), (Ids{0, 1, 3, 5, 6, 2, 4, 7, 8, 9}));
}

// The reference order: a comparison of the values themselves, stable, missing last.
Ids ReferenceOrder(const std::vector<std::vector<TLVValue>>& rows, const std::vector<bool>& down) {
  Ids ids(rows.size());
  std::iota(ids.begin(), ids.end(), 0);
  auto compare = [&](const TLVValue& a, const TLVValue& b) {
    if (a.IsNull() || b.IsNull()) return a.IsNull() == b.IsNull() ? 0 : (a.IsNull() ? 1 : -1);
    if (a.Type() == dtString) return CompareTextOrder(a.AsText(), b.AsText(), false);
    return a.AsDouble() < b.AsDouble() ? -1 : (a.AsDouble() > b.AsDouble() ? 1 : 0);
  };
  std::stable_sort(ids.begin(), ids.end(), [&](int32_t x, int32_t y) {
    for (size_t k = 0; k < down.size(); ++k) {
      const TLVValue& a = rows[static_cast<size_t>(x)][k];
      const TLVValue& b = rows[static_cast<size_t>(y)][k];
      int c = compare(a, b);
      if (c != 0 && down[k] && !a.IsNull() && !b.IsNull()) c = -c;
      if (c != 0) return c < 0;
    }
    return false;
  });
  return ids;
}

TEST(Sorting, SeveralKeysOfEveryTypeStableMissingLastInBothDirections) {
  std::mt19937 random(11);
  auto pick = [&](int n) { return static_cast<int>(random() % static_cast<uint32_t>(n)); };
  const double reals[] = {-1e300,
                          -2.5,
                          -0.0,
                          0.0,
                          1e-300,
                          3,
                          std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity()};
  const int32_t integers[] = {std::numeric_limits<int32_t>::min(), -1, 0, 7,
                              std::numeric_limits<int32_t>::max()};
  const char* texts[] = {"Ёж", "ель", "Ель", "жук", "10", "9", ""};
  std::vector<std::vector<TLVValue>> rows;
  for (int i = 0; i < 300; ++i) {
    auto gap = [&] { return pick(6) == 0; };
    rows.push_back({gap() ? TLVValue::Null(dtString) : TLVValue::String(texts[pick(7)]),
                    gap() ? TLVValue::Null(dtFloat) : TLVValue::Float(reals[pick(8)]),
                    gap() ? TLVValue::Null(dtInteger) : TLVValue::Integer(integers[pick(5)]),
                    gap() ? TLVValue::Null(dtDateTime) : TLVValue::DateTime(45000 + pick(3) * 0.5),
                    gap() ? TLVValue::Null(dtBoolean) : TLVValue::Boolean(pick(2) == 0)});
  }
  auto table = Table(
      rows,
      {{"S", dtString}, {"F", dtFloat}, {"I", dtInteger}, {"D", dtDateTime}, {"B", dtBoolean}});
  // Records of one to four words: {2} packs into one, {1, 3, 0} into three.
  const std::vector<std::vector<int32_t>> keySets{{0, 1}, {2},       {2, 3},      {4, 0, 2},
                                                  {1},    {1, 3, 0}, {3, 4, 1, 2}};
  for (const auto& keySet : keySets) {
    for (bool firstDown : {false, true}) {
      auto node = Sorting(table);
      std::vector<std::vector<TLVValue>> keyRows(rows.size());
      std::vector<bool> down;
      for (size_t k = 0; k < keySet.size(); ++k) {
        const bool d = (k == 0) == firstDown;
        down.push_back(d);
        const auto c = static_cast<size_t>(keySet[k]);
        node->SortDefs().AddKey(table->Columns()[keySet[k] + 1].GetName(),
                                d ? O::soDescending : O::soAscending);
        for (size_t r = 0; r < rows.size(); ++r) keyRows[r].push_back(rows[r][c]);
      }
      EXPECT_EQ(SortedIds(*node), ReferenceOrder(keyRows, down))
          << "keys from " << keySet[0] << (firstDown ? " descending" : " ascending");
    }
  }
}

TEST(Sorting, ReadsGatherAllColumnsAndFollowChanges) {
  auto table = Table({{TLVValue::Float(2), TLVValue::String("б")},
                      {TLVValue::Null(dtFloat), TLVValue::String("в")},
                      {TLVValue::Float(1), TLVValue::String("а")}},
                     {{"N", dtFloat}, {"S", dtString}});
  auto node = Sorting(table);
  node->SortDefs().AddKey("N");
  EXPECT_EQ(SortedIds(*node), (Ids{2, 0, 1}));
  EXPECT_EQ(node->GetValue(1, 2).AsText(), "б");
  ASSERT_TRUE(node->GetActive());
  // A change of a key closes the node; the next read sorts again.
  node->SortDefs()[0].SetSortOrder(O::soDescending);
  EXPECT_FALSE(node->GetActive());
  EXPECT_EQ(SortedIds(*node), (Ids{0, 2, 1}));
  // New parent rows are sorted on the next read.
  table->SetRows({{TLVValue::Integer(5), TLVValue::Float(0), TLVValue::String("x")},
                  {TLVValue::Integer(6), TLVValue::Float(9), TLVValue::String("y")}});
  EXPECT_EQ(SortedIds(*node), (Ids{6, 5}));
  // An empty parent gives an empty table.
  table->SetRows({});
  EXPECT_EQ(node->GetRowCount(), 0);
}

TEST(Sorting, RefusesMissingKeysAndLostColumnsAndStaysClosed) {
  auto table = Table({{TLVValue::Float(1)}}, {{"N", dtFloat}});
  auto node = Sorting(table);
  EXPECT_EQ(test::MessageOfFailure([&] { node->Open(); }, "ErrSortNoColumns"),
            "Не указаны столбцы для сортировки");
  node->SortDefs().AddKey("N");
  node->SortDefs().AddKey("");
  EXPECT_EQ(test::MessageOfFailure([&] { node->Open(); }, "ErrSortRowNoColumn"),
            "Ошибка в строке 2\rНе указан столбец для сортировки");
  node->SortDefs()[1].SetName("Цена");
  EXPECT_EQ(test::MessageOfFailure([&] { node->Open(); }, "ErrParentColumnNotFound"),
            "В источнике данных не найден столбец \"Цена\"");
  EXPECT_FALSE(node->GetActive());
  node->SortDefs().Delete(1);
  EXPECT_EQ(node->GetRowCount(), 1);
}

TEST(Sorting, PersistsKeysAndDescribesThem) {
  TransformStartup();
  auto made = std::make_shared<TLVSorting>();
  made->SortDefs().AddKey("region");
  made->SortDefs().AddKey("price", O::soDescending, true);
  EXPECT_EQ(made->ShortDescription(), "Сортировка: region, price");
  EXPECT_EQ(DisplayText(O::soDescending), "По убыванию");

  test::TMapSection section;
  made->SaveSettingsTo(section);
  const ILVSettingsSection* defs = section.FindSection("SortDefs");
  ASSERT_NE(defs, nullptr);
  ASSERT_EQ(defs->Items("SortDef").size(), 2u);
  EXPECT_EQ(defs->Items("SortDef")[1]->Get("SortOrder"), "soDescending");

  TLVSorting loaded;
  loaded.LoadSettingsFrom(section);
  ASSERT_EQ(loaded.SortDefs().Count(), 2);
  EXPECT_EQ(loaded.SortDefs()[1].GetName(), "price");
  EXPECT_EQ(loaded.SortDefs()[1].GetSortOrder(), O::soDescending);
  EXPECT_TRUE(loaded.SortDefs()[1].GetCaseSensitive());

  // A damaged key is refused as a whole: the node keeps its list.
  auto* item = const_cast<ILVSettingsSection*>(defs->Items("SortDef")[0]);
  item->Put("SortOrder", "soSideways");
  EXPECT_THROW(loaded.LoadSettingsFrom(section), ELVError);
  EXPECT_EQ(loaded.SortDefs().Count(), 2);

  const TLVComponentVendor* vendor = LVComponentVendors().FindByID("Sorting");
  ASSERT_NE(vendor, nullptr);
  EXPECT_EQ(vendor->Caption(), "Сортировка");
}

}  // namespace
}  // namespace lv
