#include "io/LV_ExportStd.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "core/LV_TestTable.h"
#include "core/columns/LV_Convert.h"
#include "io/LV_NativeTestHelpers.h"
#include "io/LV_TextFile.h"
#include "io/LV_TextTestHelpers.h"

namespace lv {
namespace {

using test::MessageOfFailure;
using test::ReadTable;
using test::TTestTable;
using TRows = std::vector<std::vector<TLVValue>>;

std::shared_ptr<TTestTable> MixedTable() {
  using enum TLVDataType;
  const double day = *EncodeDateTime(2024, 2, 29);
  auto n = [](TLVDataType t) { return TLVValue::Null(t); };
  return std::make_shared<TTestTable>(
      std::vector<TTestTable::TColumn>{{"Id", dtInteger},
                                       {"Amount", dtFloat},
                                       {"Day", dtDateTime},
                                       {"Flag", dtBoolean},
                                       {"Name", dtString}},
      TRows{
          {TLVValue::Integer(1), TLVValue::Float(0.1 + 0.2), TLVValue::DateTime(day),
           TLVValue::Boolean(true), TLVValue::String("Ёлка; \"зелёная\"")},
          {TLVValue::Integer(-2147483647 - 1), TLVValue::Float(-0.0),
           TLVValue::DateTime(*EncodeDateTime(1999, 12, 31, 23, 59, 58, 7)),
           TLVValue::Boolean(false), TLVValue::String("\"starts with a quote")},
          {n(dtInteger), n(dtFloat), n(dtDateTime), n(dtBoolean), n(dtString)},
          {TLVValue::Integer(0), TLVValue::Float(1e300), TLVValue::DateTime(day + 0.5),
           n(dtBoolean), TLVValue::String("  blanks kept  ")},
          {TLVValue::Integer(7), TLVValue::Float(-1.25e-7), n(dtDateTime), TLVValue::Boolean(true),
           TLVValue::String("\x1A")},
          {TLVValue::Integer(8), TLVValue::Float(std::numeric_limits<double>::infinity()),
           TLVValue::DateTime(0), TLVValue::Boolean(false), TLVValue::String("")},
      });
}

class ExportStd : public testing::Test {
 protected:
  std::shared_ptr<TLVExportStd> Exporter(std::shared_ptr<ILVDataSource> source,
                                         const std::string& name) {
    auto node = std::make_shared<TLVExportStd>();
    node->SetDataSource(std::move(source));
    node->SetFileName(dir_ / name);
    node->SetDelimiter(TLVDelimiterType::dtSemicolon);
    return node;
  }
  // Files in the folder besides `keep`: a failed export must leave none.
  std::vector<std::string> Leftovers() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir_.Path())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  test::TTempDir dir_;
};

TEST_F(ExportStd, ImportingTheExportGivesBackTheSameTable) {
  auto table = MixedTable();
  const TRows expected = ReadTable(*table);
  for (TLVCodePage ansi : {TLVCodePage::cpWindows1251, TLVCodePage::cpUTF8}) {
    for (TLVDelimiterType delimiter : {TLVDelimiterType::dtSemicolon, TLVDelimiterType::dtComma}) {
      SetAnsiCodePage(ansi);
      auto exporter = Exporter(table, "round.csv");
      exporter->SetDelimiter(delimiter);
      exporter->SetValueNull("NULL");
      exporter->SetValueTrue("Да");
      exporter->SetValueFalse("Нет");
      exporter->Execute();

      TLVTextFile import;
      import.SetFileName(exporter->GetFileName());
      import.SetDelimiter(delimiter);
      import.SetValueNull("NULL");
      import.SetValueTrue("Да");
      import.SetValueFalse("Нет");
      for (int32_t i = 0; i < table->Columns().Count(); ++i) {
        AssignColumnInfo(import.ColumnDefs().AddDefinition(), table->Columns()[i]);
      }
      EXPECT_EQ(ReadTable(import), expected) << static_cast<int>(ansi);
      EXPECT_TRUE(std::signbit(import.GetNumber(1, 1)));
      EXPECT_EQ(import.ColumnDefs()[4].GetName(), "Name");
    }
  }
  SetAnsiCodePage(TLVCodePage::cpWindows1251);

  // Defining the columns from the exported file finds the same names and, integers
  // aside, the same types.
  Exporter(table, "auto.csv")->Execute();
  TLVTextFile import;
  import.SetFileName(dir_ / "auto.csv");
  import.SetDelimiter(TLVDelimiterType::dtSemicolon);
  ASSERT_EQ(import.DefineColumns(), 5);
  using enum TLVDataType;
  std::vector<TLVDataType> types;
  for (int32_t i = 0; i < 5; ++i) types.push_back(import.ColumnDefs()[i].GetDataType());
  EXPECT_EQ(types, (std::vector<TLVDataType>{dtFloat, dtFloat, dtDateTime, dtBoolean, dtString}));
  EXPECT_EQ(import.GetValue(1, 4), TLVValue::String("\"starts with a quote"));
}

TEST_F(ExportStd, FieldsAreQualifiedOnlyWhenTheyHaveTo) {
  using enum TLVDataType;
  auto table = std::make_shared<TTestTable>(
      std::vector<TTestTable::TColumn>{{"Text", dtString}, {"Num", dtFloat}},
      TRows{{TLVValue::String("a,b"), TLVValue::Float(1.5)},
            {TLVValue::String("say \"hi\""), TLVValue::Float(2)},
            {TLVValue::String("two\nlines\r"), TLVValue::Null(dtFloat)},
            {TLVValue::String("line\nfeed"), TLVValue::Float(3)}});
  auto exporter = Exporter(table, "q.csv");
  exporter->SetDelimiter(TLVDelimiterType::dtComma);
  exporter->Execute();
  // The decimal comma is the separator here, so numbers with a fraction are qualified.
  // A line feed alone needs the qualifier as much as one after a carriage return.
  EXPECT_EQ(test::ReadWholeFile(dir_ / "q.csv"),
            "Text,Num\r\n\"a,b\",\"1,5\"\r\n\"say \"\"hi\"\"\",2\r\n\"two\nlines\r\",\r\n"
            "\"line\nfeed\",3\r\n");

  exporter->SetFirstLineTitle(false);
  exporter->SetDelimiter(TLVDelimiterType::dtTab);
  exporter->SetLimiterString('\'');
  exporter->SetDecimalPoint('.');
  exporter->ExportColumns().AddColumn("Num");
  exporter->ExportColumns().AddColumn("Text");
  SetAnsiCodePage(TLVCodePage::cpUTF8);
  exporter->Execute();
  SetAnsiCodePage(TLVCodePage::cpWindows1251);
  EXPECT_EQ(test::ReadWholeFile(dir_ / "q.csv"),
            "\xEF\xBB\xBF"
            "1.5\ta,b\r\n2\tsay \"hi\"\r\n\t'two\nlines\r'\r\n3\t'line\nfeed'\r\n");

  exporter->ExportColumns().AddColumn("Missing");
  EXPECT_EQ(MessageOfFailure([&] { exporter->Execute(); }, "ErrParentColumnNotFound"),
            "В источнике данных не найден столбец \"Missing\"");
  TLVExportStd orphan;
  orphan.SetComponentName("Выгрузка");
  EXPECT_EQ(MessageOfFailure([&] { orphan.Execute(); }, "ErrDataSourceNoParent"),
            "У набора данных \"Выгрузка\" не задан источник данных");
}

TEST_F(ExportStd, TitleLineHoldsCaptionsUnlessNamesAreAsked) {
  using enum TLVDataType;
  auto table = std::make_shared<TTestTable>(
      std::vector<TTestTable::TColumn>{{"COL1", dtString}, {"Qty", dtFloat}, {"COL3", dtFloat}},
      TRows{{TLVValue::String("x"), TLVValue::Float(1), TLVValue::Float(2)}});
  table->Columns()[0].SetDisplayName("Город");
  table->Columns()[2].SetDisplayName("Сумма; руб");
  auto exporter = Exporter(table, "t.csv");
  EXPECT_EQ(exporter->GetTitleKind(), TLVTitleKind::tkCaption);
  SetAnsiCodePage(TLVCodePage::cpUTF8);
  exporter->Execute();
  // A column without a caption shows its name; a caption holding the separator is
  // qualified like any text.
  EXPECT_EQ(test::ReadWholeFile(dir_ / "t.csv"),
            "\xEF\xBB\xBFГород;Qty;\"Сумма; руб\"\r\nx;1;2\r\n");
  // Imported again, the captions come back and the names are made from them.
  TLVTextFile import;
  import.SetFileName(dir_ / "t.csv");
  import.SetDelimiter(TLVDelimiterType::dtSemicolon);
  ASSERT_EQ(import.DefineColumns(), 3);
  EXPECT_EQ(import.ColumnDefs()[0].GetDisplayName(), "Город");
  EXPECT_EQ(import.ColumnDefs()[2].GetDisplayName(), "Сумма; руб");

  exporter->SetTitleKind(TLVTitleKind::tkName);
  exporter->Execute();
  SetAnsiCodePage(TLVCodePage::cpWindows1251);
  EXPECT_EQ(test::ReadWholeFile(dir_ / "t.csv"),
            "\xEF\xBB\xBF"
            "COL1;Qty;COL3\r\nx;1;2\r\n");
  EXPECT_EQ(DisplayText(TLVTitleKind::tkCaption), "Метки столбцов");
  EXPECT_EQ(DisplayText(TLVTitleKind::tkName), "Имена столбцов");
}

// Values of every kind that take different paths through the formatting: the shortest
// decimals, numbers that only the exponent form writes short, dates with and without a
// time, days outside the years a date can show, texts in the file's code page and texts
// that need qualifiers.
std::shared_ptr<TTestTable> AwkwardTable() {
  using enum TLVDataType;
  const double inf = std::numeric_limits<double>::infinity();
  const double floats[] = {0.0,
                           -0.0,
                           0.001,
                           0.0001,
                           1e-7,
                           123456.789,
                           1e6,
                           100.0,
                           1e15,
                           1e16,
                           1e21,
                           0.1 + 0.2,
                           1.0 / 3,
                           5e-324,
                           1e300,
                           -1.25,
                           2.5,
                           123456789012.0625,
                           inf,
                           -inf,
                           1e22,
                           -98765.4321,
                           4503599627370497.0};
  const double days[] = {0,
                         *EncodeDateTime(2024, 2, 29),
                         45000.5,
                         45000.0 + 1.0 / 86400000,
                         -1.25,
                         1e7,
                         -700000,
                         2958465.9999999,
                         36526.25,
                         *EncodeDateTime(1, 1, 1),
                         *EncodeDateTime(9999, 12, 31, 23, 59, 59, 999)};
  const char* texts[] = {"", "plain", "a;b", "say \"hi\"", "Ёлка", "line\r\nbreak", "\x1A", "NULL"};
  const int32_t integers[] = {0, -2147483647 - 1, 2147483647, 42, -1, 1000000, 7};
  TRows rows;
  for (size_t i = 0; i < std::size(floats); ++i) {
    auto maybe = [&](TLVDataType type, TLVValue value) {
      return i % 6 == 5 ? TLVValue::Null(type) : value;
    };
    rows.push_back(
        {maybe(dtInteger, TLVValue::Integer(integers[i % std::size(integers)])),
         TLVValue::Float(floats[i]),
         maybe(dtDateTime, TLVValue::DateTime(days[i % std::size(days)])),
         maybe(dtBoolean, TLVValue::Boolean(i % 2 == 0)),
         i % 9 == 8 ? TLVValue::Null(dtString) : TLVValue::String(texts[i % std::size(texts)])});
  }
  return std::make_shared<TTestTable>(std::vector<TTestTable::TColumn>{{"Id", dtInteger},
                                                                       {"X", dtFloat},
                                                                       {"Day", dtDateTime},
                                                                       {"Flag", dtBoolean},
                                                                       {"T", dtString}},
                                      rows);
}

TEST_F(ExportStd, AwkwardValuesToTheByte) {
  auto exporter = Exporter(AwkwardTable(), "awkward.csv");
  exporter->SetValueNull("NULL");
  exporter->SetValueTrue("Да");
  exporter->Execute();
  // "Да" and "Ёлка" in Windows-1251.
  EXPECT_EQ(test::ReadWholeFile(dir_ / "awkward.csv"),
            "Id;X;Day;Flag;T\r\n"
            "0;0;30.12.1899;\xC4\xE0;\r\n"
            "-2147483648;-0;29.02.2024;false;plain\r\n"
            "2147483647;0,001;15.03.2023 12:00:00;\xC4\xE0;\"a;b\"\r\n"
            "42;1e-04;15.03.2023 00:00:00.001;false;\"say \"\"hi\"\"\"\r\n"
            "-1;1e-07;29.12.1899 06:00:00;\xC4\xE0;\xA8\xEB\xEA\xE0\r\n"
            "NULL;123456,789;NULL;NULL;\"line\r\n"
            "break\"\r\n"
            "7;1e+06;-7e+05;\xC4\xE0;\"\x1A\"\r\n"
            "0;100;31.12.9999 23:59:59.991;false;NULL\r\n"
            "-2147483648;1e+15;01.01.2000 06:00:00;\xC4\xE0;NULL\r\n"
            "2147483647;1e+16;01.01.0001;false;plain\r\n"
            "42;1e+21;31.12.9999 23:59:59.999;\xC4\xE0;\"a;b\"\r\n"
            "NULL;0,30000000000000004;NULL;NULL;\"say \"\"hi\"\"\"\r\n"
            "1000000;0,3333333333333333;29.02.2024;\xC4\xE0;\xA8\xEB\xEA\xE0\r\n"
            "7;5e-324;15.03.2023 12:00:00;false;\"line\r\n"
            "break\"\r\n"
            "0;1e+300;15.03.2023 00:00:00.001;\xC4\xE0;\"\x1A\"\r\n"
            "-2147483648;-1,25;29.12.1899 06:00:00;false;NULL\r\n"
            "2147483647;2,5;1e+07;\xC4\xE0;\r\n"
            "NULL;123456789012,0625;NULL;NULL;NULL\r\n"
            "-1;inf;31.12.9999 23:59:59.991;\xC4\xE0;\"a;b\"\r\n"
            "1000000;-inf;01.01.2000 06:00:00;false;\"say \"\"hi\"\"\"\r\n"
            "7;1e+22;01.01.0001;\xC4\xE0;\xA8\xEB\xEA\xE0\r\n"
            "0;-98765,4321;31.12.9999 23:59:59.999;false;\"line\r\n"
            "break\"\r\n"
            "-2147483648;4503599627370497;30.12.1899;\xC4\xE0;\"\x1A\"\r\n");
  // A comma as the separator and as the decimal point, and a date format of variable width.
  exporter->SetDelimiter(TLVDelimiterType::dtComma);
  exporter->SetDateFormat("d/m/yy");
  exporter->SetDateDelimiter('-');
  exporter->SetTimeFormat("h:nn");
  exporter->SetValueNull("");
  exporter->Execute();
  EXPECT_EQ(test::ReadWholeFile(dir_ / "awkward.csv"),
            "Id,X,Day,Flag,T\r\n"
            "0,0,30-12-99,\xC4\xE0,\r\n"
            "-2147483648,-0,29-2-24,false,plain\r\n"
            "2147483647,\"0,001\",15-3-23 12:00,\xC4\xE0,a;b\r\n"
            "42,1e-04,15-3-23 0:00.001,false,\"say \"\"hi\"\"\"\r\n"
            "-1,1e-07,29-12-99 6:00,\xC4\xE0,\xA8\xEB\xEA\xE0\r\n"
            ",\"123456,789\",,,\"line\r\n"
            "break\"\r\n"
            "7,1e+06,-7e+05,\xC4\xE0,\"\x1A\"\r\n"
            "0,100,31-12-99 23:59.991,false,NULL\r\n"
            "-2147483648,1e+15,1-1-00 6:00,\xC4\xE0,\r\n"
            "2147483647,1e+16,1-1-01,false,plain\r\n"
            "42,1e+21,31-12-99 23:59.999,\xC4\xE0,a;b\r\n"
            ",\"0,30000000000000004\",,,\"say \"\"hi\"\"\"\r\n"
            "1000000,\"0,3333333333333333\",29-2-24,\xC4\xE0,\xA8\xEB\xEA\xE0\r\n"
            "7,5e-324,15-3-23 12:00,false,\"line\r\n"
            "break\"\r\n"
            "0,1e+300,15-3-23 0:00.001,\xC4\xE0,\"\x1A\"\r\n"
            "-2147483648,\"-1,25\",29-12-99 6:00,false,NULL\r\n"
            "2147483647,\"2,5\",1e+07,\xC4\xE0,\r\n"
            ",\"123456789012,0625\",,,\r\n"
            "-1,inf,31-12-99 23:59.991,\xC4\xE0,a;b\r\n"
            "1000000,-inf,1-1-00 6:00,false,\"say \"\"hi\"\"\"\r\n"
            "7,1e+22,1-1-01,\xC4\xE0,\xA8\xEB\xEA\xE0\r\n"
            "0,\"-98765,4321\",31-12-99 23:59.999,false,\"line\r\n"
            "break\"\r\n"
            "-2147483648,4503599627370497,30-12-99,\xC4\xE0,\"\x1A\"\r\n");
}

TEST_F(ExportStd, FailuresLeaveThePreviousFileAndNoPartialOne) {
  const std::string previous = "the previous contents\r\n";
  test::WriteWholeFile(dir_ / "out.csv", previous);
  using enum TLVDataType;
  TRows rows;
  for (int i = 0; i < 3000; ++i) rows.push_back({TLVValue::String(i == 2500 ? "€uro" : "Ёж")});
  auto table =
      std::make_shared<TTestTable>(std::vector<TTestTable::TColumn>{{"Name", dtString}}, rows);

  // CP866 has Ё but no euro sign: the export stops and names the column and the row.
  auto exporter = Exporter(table, "out.csv");
  exporter->SetCharSet(TLVFileCharSet::chrASCII);
  EXPECT_EQ(MessageOfFailure([&] { exporter->Execute(); }, "ErrExportCharSet"),
            "Значение колонки \"Name\" в строке 2501 содержит символы, которых нет в кодировке "
            "\"ASCII (MS DOS)\"");
  EXPECT_EQ(test::ReadWholeFile(dir_ / "out.csv"), previous);
  EXPECT_EQ(Leftovers(), std::vector<std::string>{"out.csv"});

  // Cancelled after the first block.
  exporter->SetCharSet(TLVFileCharSet::chrANSI);
  SetAnsiCodePage(TLVCodePage::cpUTF8);
  test::TProgressLog cancel(1);
  EXPECT_THROW(exporter->Execute(&cancel), ELVAbort);
  EXPECT_EQ(cancel.caption, "Экспорт в текстовый файл");
  EXPECT_EQ(cancel.total, 3000);
  EXPECT_EQ(test::ReadWholeFile(dir_ / "out.csv"), previous);
  EXPECT_EQ(Leftovers(), std::vector<std::string>{"out.csv"});

  // Without a qualifier a separator inside a value cannot be written.
  exporter->SetLimiterString('\0');
  exporter->SetDelimiter(TLVDelimiterType::dtOther);
  exporter->SetDelimiterChar(static_cast<char>(0xB6));  // the last byte of "Ёж" in UTF-8
  EXPECT_EQ(MessageOfFailure([&] { exporter->Execute(); }, "ErrExportNoQualifier"),
            "Значение колонки \"Name\" в строке 1 содержит разделитель столбцов или перевод "
            "строки, а ограничитель строк не задан");
  SetAnsiCodePage(TLVCodePage::cpWindows1251);

  // Success replaces the file.
  exporter->SetDelimiter(TLVDelimiterType::dtSemicolon);
  exporter->SetCharSet(TLVFileCharSet::chrASCII);
  exporter->SetFirstLineTitle(false);
  table->SetRows({{TLVValue::String("Ёж")}});
  exporter->Execute();
  EXPECT_EQ(test::ReadWholeFile(dir_ / "out.csv"), "\xF0\xA6\r\n");
  EXPECT_EQ(Leftovers(), std::vector<std::string>{"out.csv"});
}

TEST_F(ExportStd, SettingsPersistThroughThePropertyTable) {
  TLVExportStd node;
  node.SetFileName("%OUT%/report.txt");
  node.SetCharSet(TLVFileCharSet::chrASCII);
  node.SetDelimiter(TLVDelimiterType::dtOther);
  node.SetDelimiterChar('|');
  node.SetValueNull("-");
  node.ExportColumns().AddColumn("B");
  node.ExportColumns().AddColumn("A");
  node.SetTitleKind(TLVTitleKind::tkName);
  test::TMapSection section;
  node.SaveSettingsTo(section);
  EXPECT_EQ(section.texts.size(), 15u);
  EXPECT_EQ(section.texts["CharSet"], "chrASCII");
  EXPECT_EQ(section.texts["TitleKind"], "tkName");
  ASSERT_EQ(section.FindSection("Columns")->Items("Column").size(), 2u);
  TLVExportStd copy;
  copy.LoadSettingsFrom(section);
  ASSERT_EQ(copy.ExportColumns().Count(), 2);
  EXPECT_EQ(copy.ExportColumns()[0].GetName(), "B");
  EXPECT_EQ(copy.GetDelimiterChar(), '|');
  EXPECT_EQ(copy.GetValueNull(), "-");
  EXPECT_EQ(copy.GetFileName(), "%OUT%/report.txt");
  EXPECT_EQ(copy.GetTitleKind(), TLVTitleKind::tkName);
  EXPECT_THROW(copy.SetDateFormat(""), ELVError);
  // A project saved before the title could be chosen gets the captions.
  section.texts.erase("TitleKind");
  TLVExportStd older;
  older.LoadSettingsFrom(section);
  EXPECT_EQ(older.GetTitleKind(), TLVTitleKind::tkCaption);
}

}  // namespace
}  // namespace lv
