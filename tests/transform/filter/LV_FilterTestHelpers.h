// Helpers of the filter tests: a table of every type with missing values, texts that
// test case and LIKE escaping, dates on both sides of 1899-12-30; and a filter node
// run over it, returning the IDs of the rows it keeps.
#pragma once

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/LV_TestTable.h"
#include "transform/filter/LV_FilterData.h"

namespace lv::test {

// The fixed "today" of filter tests: 2024-05-15 10:30.
inline constexpr double kFilterToday = 45427.4375;

inline const std::vector<std::string>& FilterTestTexts() {
  static const std::vector<std::string> texts{
      "абв", "АБВ", "Абв",  "ёж",   "ЁЖ",     "a%b",     "a_b",    "axb",    "a\\b",   "%",
      "_",   "",    "zeta", "Zeta", "straße", "O'Brien", "Москва", "МОСКВА", "москва", "Юг"};
  return texts;
}

// `rows` rows of ID (integer, the row number), Q (integer), "Сумма, руб." (float), Дата,
// Оплачено (Boolean) and `Имя "клиента"` (text); every column but ID misses about one
// value in seven.
inline std::shared_ptr<TTestTable> MakeFilterTable(int rows, uint32_t seed = 7) {
  using enum TLVDataType;
  std::mt19937 random(seed);
  auto pick = [&](int n) { return static_cast<int>(random() % static_cast<uint32_t>(n)); };
  const double floats[] = {-1.5, 0, 0.1, 1.0 / 3, 2, 2.5, 1e300, -7.25e-5};
  std::vector<std::vector<TLVValue>> values;
  for (int i = 0; i < rows; ++i) {
    auto gap = [&] { return pick(7) == 0; };
    double day = 45000 + pick(900) - 450;
    if (pick(20) == 0) day = -pick(400) - 1;  // before 1899-12-30
    // Whole milliseconds, some of them off by less than half a millisecond either way.
    double time = pick(3) == 0 ? 0 : (pick(86400000) + (pick(3) - 1) * 0.4) / 86400000.0;
    values.push_back({
        TLVValue::Integer(i),
        gap() ? TLVValue::Null(dtInteger) : TLVValue::Integer(pick(7) - 3),
        gap() ? TLVValue::Null(dtFloat) : TLVValue::Float(floats[pick(8)]),
        gap() ? TLVValue::Null(dtDateTime) : TLVValue::DateTime(day < 0 ? day - time : day + time),
        gap() ? TLVValue::Null(dtBoolean) : TLVValue::Boolean(pick(2) == 0),
        gap() ? TLVValue::Null(dtString)
              : TLVValue::String(FilterTestTexts()[static_cast<size_t>(
                    pick(static_cast<int>(FilterTestTexts().size())))]),
    });
  }
  using C = TTestTable::TColumn;
  return std::make_shared<TTestTable>(
      std::vector<C>{C{"ID", dtInteger}, C{"Q", dtInteger}, C{"Сумма, руб.", dtFloat},
                     C{"Дата", dtDateTime}, C{"Оплачено", dtBoolean},
                     C{"Имя \"клиента\"", dtString}},
      std::move(values));
}

// A filter node over `parent` with a copy of `list`, its clock fixed at kFilterToday.
inline std::shared_ptr<TLVFilterData> MakeFilterNode(std::shared_ptr<ILVDataSource> parent,
                                                     const TLVFilterColumnCollection& list) {
  auto node = std::make_shared<TLVFilterData>();
  node->SetClock([] { return kFilterToday; });
  node->SetDataSource(std::move(parent));
  node->Filter().Assign(list);
  return node;
}

// The IDs (column 0) of the rows `node` offers, read by blocks.
inline std::vector<int32_t> KeptIDs(ILVDataSource& node) {
  std::vector<int32_t> ids;
  for (const TLVValue& v : ReadColumn(node, 0)) ids.push_back(v.AsInteger());
  return ids;
}

}  // namespace lv::test
