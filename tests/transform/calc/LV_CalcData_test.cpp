// The calculator node: columns, open-time checks, caching, the data-context
// functions and persistence.
#include "transform/calc/LV_CalcData.h"

#include <gtest/gtest.h>

#include "LV_TestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

using test::MakeNumbers;
using test::ReadColumn;

std::shared_ptr<TLVCalcData> CalcOver(std::shared_ptr<ILVDataSource> parent) {
  auto calc = std::make_shared<TLVCalcData>();
  calc->SetDataSource(std::move(parent));
  return calc;
}

std::string OpenError(TLVCalcData& calc) {
  return test::MessageOf([&] { calc.Open(); });
}

TEST(CalcData, AppendsOneColumnPerExpressionAfterTheParents) {
  auto calc = CalcOver(MakeNumbers(20));
  calc->ExprColumns().AddExpression("DOUBLE", "X * 2", TLVDataType::dtFloat);
  calc->ExprColumns().AddExpression("LABEL", "NAME + \":\" + Str(ID)", TLVDataType::dtString);
  calc->ExprColumns().AddExpression("EVEN", "Mod(ID; 2) = 0", TLVDataType::dtBoolean);
  calc->ExprColumns().AddExpression("HALF", "ID / 2", TLVDataType::dtInteger);
  const ILVColumnsInfo& columns = calc->GetColumnsInfo();
  ASSERT_EQ(columns.GetColumnCount(), 7);
  EXPECT_EQ(columns.GetColumnInfo(3)->GetName(), "DOUBLE");
  EXPECT_EQ(columns.GetColumnInfo(6)->GetDataType(), TLVDataType::dtInteger);
  calc->Open();
  auto doubled = ReadColumn(*calc, 3);
  EXPECT_DOUBLE_EQ(doubled[4].AsDouble(), 4.0);
  EXPECT_TRUE(doubled[3].IsNull());  // X is missing in row 3
  auto labels = ReadColumn(*calc, 4);
  EXPECT_EQ(labels[12].AsText(), "n12:12");
  auto even = ReadColumn(*calc, 5);
  EXPECT_TRUE(even[6].AsBoolean());
  EXPECT_FALSE(even[7].AsBoolean());
  auto half = ReadColumn(*calc, 6);
  EXPECT_EQ(half[5].AsInteger(), 3);                  // halves round away from zero
  EXPECT_EQ(ReadColumn(*calc, 2)[9].AsText(), "n9");  // passed through
}

TEST(CalcData, OpenChecksTheSetUp) {
  auto table = MakeNumbers(5);
  auto calc = CalcOver(table);
  EXPECT_EQ(OpenError(*calc), "Нет ни одного выражения");

  calc->ExprColumns().AddExpression("S", "NAME", TLVDataType::dtFloat);
  EXPECT_EQ(OpenError(*calc), "Выражение \"S\" строкового типа.");

  calc->ExprColumns()[0].SetExpression("X +");
  calc->RedefineColumns();
  EXPECT_EQ(OpenError(*calc), "Неправильное выражение: \"X+\"");

  calc->ExprColumns()[0].SetExpression("X + 1");
  calc->ExprColumns()[0].SetName("ID");
  calc->RedefineColumns();
  EXPECT_NE(OpenError(*calc).find("\"ID\""), std::string::npos);

  calc->ExprColumns()[0].SetName("Y");
  calc->RedefineColumns();
  calc->Variables()[1].SetDisplayName("Икс");
  calc->Variables()[1].SetDataType(TLVDataType::dtInteger);
  EXPECT_EQ(OpenError(*calc),
            "Столбец \"X\" (\"Икс\") в исходном источнике данных имеет другие параметры");
  calc->Variables()[1].SetName("GONE");
  EXPECT_EQ(OpenError(*calc),
            "Столбец \"GONE\" (\"Икс\") должен существовать в исходном источнике данных");
}

TEST(CalcData, CachedColumnsAreComputedOnce) {
  auto calc = CalcOver(MakeNumbers(50));
  calc->ExprColumns().AddExpression("R", "Random()", TLVDataType::dtFloat).SetCached(true);
  calc->ExprColumns().AddExpression("RU", "Random()", TLVDataType::dtFloat);
  calc->Open();
  auto first = ReadColumn(*calc, 3);
  auto again = ReadColumn(*calc, 3);
  auto uncached = ReadColumn(*calc, 4);
  auto uncachedAgain = ReadColumn(*calc, 4);
  int differences = 0;
  for (size_t i = 0; i < first.size(); ++i) {
    EXPECT_EQ(first[i].AsDouble(), again[i].AsDouble());
    differences += uncached[i].AsDouble() != uncachedAgain[i].AsDouble();
  }
  EXPECT_GT(differences, 40);
}

TEST(CalcData, DataContextFunctions) {
  std::vector<std::vector<TLVValue>> rows;
  const char* groups[] = {"a", "a", "b", "a", "b", "b"};
  const double values[] = {1, 2, 10, 3, 20, 30};
  for (int i = 0; i < 6; ++i) {
    rows.push_back({TLVValue::String(groups[i]),
                    i == 1 ? TLVValue::Null(TLVDataType::dtFloat) : TLVValue::Float(values[i])});
  }
  auto table = std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"G", TLVDataType::dtString},
                                             {"V", TLVDataType::dtFloat}},
      std::move(rows));
  auto calc = CalcOver(table);
  auto add = [&](const char* name, const char* formula, TLVDataType type = TLVDataType::dtFloat) {
    calc->ExprColumns().AddExpression(name, formula, type);
  };
  add("N", "RowNum()");
  add("PREV", "Data(\"V\"; RowNum() - 1)");
  add("PREVG", "Data(\"G\"; RowNum() - 1)", TLVDataType::dtString);
  add("CUM", "CumulativeSum(\"V\")");
  add("CUMG", "CumulativeSum(\"V\"; \"G\")");
  add("TREND", "LinearTrend(\"V\"; \"G\")");
  add("MAX", "Stat(\"V\"; \"max\") + Stat(\"V\"; \"NullCount\")");
  add("ME", "GetFieldInfo(\"Name\") + GetFieldInfo(\"DataType\")", TLVDataType::dtString);
  add("SAFE", "IFF(RowNum() > 100; Data(\"NOPE\"; 1); 0)");
  calc->Open();
  auto col = [&](int c) { return ReadColumn(*calc, c); };
  EXPECT_EQ(col(2)[5].AsDouble(), 6);
  EXPECT_TRUE(col(3)[0].IsNull());
  EXPECT_EQ(col(3)[3].AsDouble(), 10);
  EXPECT_EQ(col(4)[3].AsText(), "b");
  EXPECT_EQ(col(5)[5].AsDouble(), 64);
  EXPECT_EQ(col(6)[3].AsDouble(), 4);   // a: 1 + (missing) + 3
  EXPECT_EQ(col(6)[5].AsDouble(), 60);  // b: 10 + 20 + 30
  // Group b: 10, 20, 30 at rows 3, 5, 6 (from 1): slope 45/7, through (14/3, 20).
  EXPECT_NEAR(col(7)[4].AsDouble(), 20 + 15.0 / 7, 1e-9);
  EXPECT_EQ(col(8)[0].AsDouble(), 31);
  EXPECT_EQ(col(9)[0].AsText(), "MEdtString");
  EXPECT_EQ(col(10)[0].AsDouble(), 0);  // the branch that would fail is never taken

  calc->Close();
  calc->ExprColumns().AddExpression("BAD", "Stat(\"V\"; \"Median\")", TLVDataType::dtFloat);
  calc->Open();
  EXPECT_THROW(ReadColumn(*calc, 11), ELVDataError);
}

TEST(CalcData, SettingsSurviveSaveAndLoad) {
  auto calc = CalcOver(MakeNumbers(3));
  auto& item = calc->ExprColumns().AddExpression("Z", "ID *\r\n 3", TLVDataType::dtFloat);
  item.SetDisplayName("Зет");
  item.SetDescription("утроенный номер");
  item.SetCached(true);
  calc->CaptureVariables();
  test::TMapSection section;
  calc->SaveSettingsTo(section);

  auto loaded = CalcOver(MakeNumbers(3));
  loaded->LoadSettingsFrom(section);
  ASSERT_EQ(loaded->ExprColumns().Count(), 1);
  const TLVCalcExprColumnItem& back = loaded->ExprColumns()[0];
  EXPECT_EQ(back.GetExpression(), "ID *\r\n 3");
  EXPECT_EQ(back.GetDisplayName(), "Зет");
  EXPECT_EQ(back.GetDescription(), "утроенный номер");
  EXPECT_TRUE(back.GetCached());
  ASSERT_EQ(loaded->Variables().Count(), 3);
  EXPECT_EQ(loaded->Variables()[2].GetDataType(), TLVDataType::dtString);
  loaded->Open();
  EXPECT_EQ(ReadColumn(*loaded, 3)[2].AsDouble(), 6);
}

// A column written by hand without a kind takes the one its type gives; only a kind
// the type forbids is refused.
TEST(CalcData, AnExpressionWithoutAKindTakesItFromItsType) {
  test::TMapSection section;
  ILVSettingsSection& list = section.AddSection("Expressions");
  auto add = [&](const char* type, const char* kind) {
    ILVSettingsSection& item = list.AddItem("Expression");
    item.Put("Name", type);
    item.Put("DataType", type);
    if (kind) item.Put("DataKind", kind);
    item.Put("Expression", "1");
  };
  add("dtString", nullptr);
  add("dtFloat", nullptr);
  add("dtInteger", "dkDiscrete");
  auto calc = CalcOver(MakeNumbers(1));
  calc->LoadSettingsFrom(section);
  ASSERT_EQ(calc->ExprColumns().Count(), 3);
  EXPECT_EQ(calc->ExprColumns()[0].GetDataKind(), TLVDataKind::dkDiscrete);
  EXPECT_EQ(calc->ExprColumns()[1].GetDataKind(), TLVDataKind::dkContinuous);
  EXPECT_EQ(calc->ExprColumns()[2].GetDataKind(), TLVDataKind::dkDiscrete);

  add("dtBoolean", "dkContinuous");
  auto refused = CalcOver(MakeNumbers(1));
  try {
    refused->LoadSettingsFrom(section);
    FAIL() << "a continuous Boolean column was accepted";
  } catch (const ELVError& e) {
    EXPECT_EQ(e.Key(), "ErrColumnCantBeContinuous");
  }
}

}  // namespace
}  // namespace lv
