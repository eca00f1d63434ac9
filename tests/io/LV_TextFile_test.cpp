#include "io/LV_TextFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "core/LV_TestTable.h"
#include "core/columns/LV_Convert.h"
#include "core/registry/LV_Vendor.h"
#include "env/LV_EnvVariables.h"
#include "io/LV_NativeTestHelpers.h"
#include "io/LV_TextTestHelpers.h"

namespace lv {
namespace {

using test::MessageOfFailure;
using test::ReadTable;
using TRows = std::vector<std::vector<TLVValue>>;
using TStore = std::map<std::string, std::string>;

TLVValue F(double x) {
  return TLVValue::Float(x);
}
TLVValue S(std::string_view s) {
  return TLVValue::String(s);
}
TLVValue Null(TLVDataType type) {
  return TLVValue::Null(type);
}

class TextFile : public testing::Test {
 protected:
  // The texts of these tests are UTF-8, like the source; the Cyrillic test switches
  // pages itself.
  void SetUp() override { SetAnsiCodePage(TLVCodePage::cpUTF8); }
  void TearDown() override { SetAnsiCodePage(TLVCodePage::cpWindows1251); }

  // A node over a file of `text` with ';' between columns.
  std::shared_ptr<TLVTextFile> Import(const std::string& text, const std::string& name = "t.csv") {
    test::WriteWholeFile(dir_ / name, text);
    auto node = std::make_shared<TLVTextFile>();
    node->SetFileName(dir_ / name);
    node->SetDelimiter(TLVDelimiterType::dtSemicolon);
    return node;
  }
  std::vector<TLVDataType> Types(const TLVTextFile& node) {
    std::vector<TLVDataType> types;
    for (int32_t i = 0; i < node.ColumnDefs().Count(); ++i) {
      types.push_back(node.ColumnDefs()[i].GetDataType());
    }
    return types;
  }
  TStore Save(const TLVComponent& node) {
    TStore store;
    node.SaveSettings([&](const std::string& k, const std::string& v) { store[k] = v; });
    return store;
  }
  void Load(TLVComponent& node, const TStore& store) {
    node.LoadSettings([&](const std::string& k) -> std::optional<std::string> {
      auto it = store.find(k);
      return it == store.end() ? std::nullopt : std::optional(it->second);
    });
  }

  test::TTempDir dir_;
};

TEST_F(TextFile, NewNodeValuesPublishedDefaultsAndCaptions) {
  TLVTextFile node;
  EXPECT_EQ(node.GetFileName(), "");
  EXPECT_EQ(node.GetCharSet(), TLVFileCharSet::chrANSI);
  EXPECT_FALSE(node.GetFixedFormat());
  EXPECT_FALSE(node.GetInsertKey());
  EXPECT_EQ(node.GetDelimiter(), TLVDelimiterType::dtTab);
  EXPECT_EQ(node.GetDelimiterChar(), '\t');
  EXPECT_EQ(node.GetLimiterString(), '"');
  EXPECT_FALSE(node.GetManySeparatorToOne());
  // A new node takes the system's formats: the Russian ones.
  EXPECT_EQ(node.GetDecimalPoint(), ',');
  EXPECT_EQ(node.GetDateDelimiter(), '.');
  EXPECT_EQ(node.GetDateFormat(), "dd.mm.yyyy");
  EXPECT_EQ(node.GetTimeDelimiter(), ':');
  EXPECT_EQ(node.GetTimeFormat(), "hh:nn:ss");
  EXPECT_EQ(node.GetLineImport(), 1);
  EXPECT_TRUE(node.GetFirstLineTitle());
  EXPECT_EQ(node.GetValueTrue(), "true");
  EXPECT_EQ(node.GetValueFalse(), "false");
  EXPECT_EQ(node.GetValueNull(), "");

  std::vector<std::string> names;
  std::map<std::string, std::string> defaults;
  for (const auto& p : TLVTextFile::Properties().Items()) {
    names.push_back(p.Name());
    defaults[p.Name()] = p.DefaultText();
  }
  EXPECT_EQ(names, (std::vector<std::string>{
                       "FileName", "CharSet", "DetectUTF8", "FixedFormat", "InsertKey", "Delimiter",
                       "DelimiterChar", "LimiterString", "ManySeparatorToOne", "DecimalPoint",
                       "DateDelimiter", "DateFormat", "TimeDelimiter", "TimeFormat", "LineImport",
                       "FirstLineTitle", "ValueTrue", "ValueFalse", "ValueNull"}));
  // The published defaults differ from a new node's in the number separators.
  EXPECT_EQ(defaults["DecimalPoint"], ".");
  EXPECT_EQ(defaults["DateDelimiter"], ".");
  EXPECT_EQ(defaults["TimeDelimiter"], ":");
  EXPECT_EQ(defaults["DelimiterChar"], "\t");
  EXPECT_EQ(defaults["LimiterString"], "\"");
  EXPECT_EQ(defaults["Delimiter"], "dtTab");
  EXPECT_EQ(defaults["LineImport"], "1");
  EXPECT_EQ(defaults["FirstLineTitle"], "True");
  EXPECT_EQ(defaults["InsertKey"], "False");
  EXPECT_EQ(defaults["DetectUTF8"], "True");
  EXPECT_TRUE(node.GetDetectUTF8());

  EXPECT_EQ(TLVTextFile::PropertyCaption("DecimalPoint"),
            "Разделитель целой и дробной частей числа");
  EXPECT_EQ(TLVTextFile::PropertyCaption("FixedLen"), "Длина данных столбца");
  EXPECT_EQ(DisplayText(TLVFileCharSet::chrASCII), "ASCII (MS DOS)");
  EXPECT_EQ(DisplayText(TLVFileCharSet::chrANSI), "ANSI (Windows)");
}

TEST_F(TextFile, SettersDropTheColumnDefinitionsOrStorePlainly) {
  auto node = Import("a;b\n1;2\n");
  auto defineAgain = [&] {
    node->Open();
    ASSERT_EQ(node->ColumnDefs().Count(), node->GetInsertKey() ? 3 : 2);
  };
  auto dropped = [&] { return node->ColumnDefs().Count() == 0 && !node->GetActive(); };
  const std::vector<std::function<void()>> dropping = {
      [&] { node->SetInsertKey(true); },
      [&] { node->SetLimiterString('\''); },
      [&] { node->SetManySeparatorToOne(true); },
      [&] { node->SetDecimalPoint('.'); },
      [&] { node->SetDateDelimiter('/'); },
      [&] { node->SetDateFormat("yyyy/mm/dd"); },
      [&] { node->SetTimeDelimiter('.'); },
      [&] { node->SetTimeFormat("hh.nn"); },
      [&] { node->SetLineImport(1); },  // equal: must not drop
      [&] { node->SetFirstLineTitle(false); },
      [&] { node->SetValueTrue("да"); },
      [&] { node->SetValueFalse("нет"); },
  };
  for (size_t i = 0; i < dropping.size(); ++i) {
    defineAgain();
    test::TNotifyCounter counter(*node);
    dropping[i]();
    if (i == 8) {
      EXPECT_TRUE(node->GetActive());
      EXPECT_TRUE(counter.reasons.empty());
    } else {
      EXPECT_TRUE(dropped()) << i;
      EXPECT_EQ(node->GetColumnsInfo().GetColumnCount(), 0);
      EXPECT_GE(counter.Count(TLVNotifyReason::nrColumnsChanged), 1u) << i;
    }
  }
  node->SetFirstLineTitle(true);
  node->SetInsertKey(false);

  // Delimiter sets the character; dtOther keeps it, and only then does the character
  // decide the columns.
  node->SetDelimiter(TLVDelimiterType::dtComma);
  EXPECT_EQ(node->GetDelimiterChar(), ',');
  node->SetDelimiter(TLVDelimiterType::dtSemicolon);
  defineAgain();
  node->SetDelimiterChar('|');
  EXPECT_EQ(node->ColumnDefs().Count(), 2);
  EXPECT_EQ(node->EffectiveDelimiter(), ';');
  node->SetDelimiter(TLVDelimiterType::dtOther);
  EXPECT_EQ(node->GetDelimiterChar(), '|');
  node->SetDelimiterChar(';');
  defineAgain();
  node->SetDelimiterChar('|');
  EXPECT_TRUE(dropped());

  // ValueNull closes the node but keeps the definitions; CharSet and FixedFormat are
  // stored plainly.
  node->SetDelimiterChar(';');
  defineAgain();
  node->SetModified(false);
  {
    test::TNotifyCounter counter(*node);
    node->SetValueNull("NULL");
    EXPECT_FALSE(node->GetActive());
    EXPECT_EQ(node->ColumnDefs().Count(), 2);
    EXPECT_EQ(counter.Count(TLVNotifyReason::nrDataChanged), 1u);
    EXPECT_TRUE(node->GetModified());
  }
  defineAgain();
  node->SetModified(false);
  node->SetCharSet(TLVFileCharSet::chrASCII);
  node->SetFixedFormat(true);
  EXPECT_TRUE(node->GetActive());
  EXPECT_EQ(node->ColumnDefs().Count(), 2);
  EXPECT_FALSE(node->GetModified());

  // A file name drops the definitions only when it names another file once expanded.
  node->SetFixedFormat(false);
  LVEnvVariables().Put("TextDir", TLVEnvVarType::evtUser, dir_.Path().string());
  defineAgain();
  node->SetFileName("%TextDir%/t.csv");
  EXPECT_EQ(node->ColumnDefs().Count(), 2);
  EXPECT_EQ(node->ExpandedFileName(), dir_ / "t.csv");
  node->SetFileName("%TextDir%/other.csv");
  EXPECT_TRUE(dropped());
  LVEnvVariables().Remove("TextDir", TLVEnvVarType::evtUser);
}

TEST_F(TextFile, RefusedSettingsKeepTheirValue) {
  TLVTextFile node;
  EXPECT_EQ(MessageOfFailure([&] { node.SetDateFormat(""); }, "ErrTextDateFormatEmpty"),
            "Формат даты не может быть пустым");
  EXPECT_EQ(MessageOfFailure([&] { node.SetTimeFormat(""); }, "ErrTextTimeFormatEmpty"),
            "Формат времени не может быть пустым");
  EXPECT_EQ(MessageOfFailure([&] { node.SetValueTrue(""); }, "ErrTextValueTrueEmpty"),
            "Значение \"Истина\" не может быть пустым");
  EXPECT_EQ(MessageOfFailure([&] { node.SetValueFalse(""); }, "ErrTextValueFalseEmpty"),
            "Значение \"Ложь\" не может быть пустым");
  EXPECT_EQ(MessageOfFailure([&] { node.SetLineImport(0); }, "ErrTextLineImport"),
            "Импорт нельзя выполнить со строки 0");
  EXPECT_EQ(MessageOfFailure([&] { node.SetLineImport(-5); }, "ErrTextLineImport"),
            "Импорт нельзя выполнить со строки -5");
  EXPECT_EQ(node.GetDateFormat(), "dd.mm.yyyy");
  EXPECT_EQ(node.GetTimeFormat(), "hh:nn:ss");
  EXPECT_EQ(node.GetValueTrue(), "true");
  EXPECT_EQ(node.GetValueFalse(), "false");
  EXPECT_EQ(node.GetLineImport(), 1);
  EXPECT_FALSE(node.GetModified());
  // Loading goes through the same setters.
  EXPECT_THROW(Load(node, {{"LineImport", "0"}}), ELVError);
}

TEST_F(TextFile, SavingAndLoadingFollowTheProjectFileRules) {
  TLVTextFile node;
  node.SetFileName("%DATA%/sales.csv");
  node.SetDelimiter(TLVDelimiterType::dtOther);
  node.SetDelimiterChar('|');
  node.SetDecimalPoint('.');
  node.SetTimeDelimiter('-');
  node.SetLineImport(4);
  node.SetValueNull("NA");
  node.SetDetectUTF8(false);
  TStore store = Save(node);
  EXPECT_EQ(store.size(), 19u);
  EXPECT_EQ(store["DetectUTF8"], "False");
  EXPECT_EQ(store["DelimiterChar"], "|");
  EXPECT_EQ(store["Delimiter"], "dtOther");
  TLVTextFile copy;
  Load(copy, store);
  EXPECT_EQ(Save(copy), store);

  // DelimiterChar is kept only with dtOther, and read only then.
  copy.SetDelimiter(TLVDelimiterType::dtComma);
  store = Save(copy);
  EXPECT_EQ(store.count("DelimiterChar"), 0u);
  store["DelimiterChar"] = "|";
  TLVTextFile other;
  Load(other, store);
  EXPECT_EQ(other.GetDelimiterChar(), ',');

  // A missing TimeDelimiter keeps the current one; a missing or empty TimeFormat and
  // any other missing setting take their defaults.
  TLVTextFile partial;
  partial.SetTimeDelimiter('.');
  partial.SetTimeFormat("hh.nn");
  Load(partial, {{"TimeFormat", ""}});
  EXPECT_EQ(partial.GetTimeDelimiter(), '.');
  EXPECT_EQ(partial.GetTimeFormat(), "hh:nn:ss");
  EXPECT_EQ(partial.GetDecimalPoint(), '.');
  EXPECT_EQ(partial.GetDelimiter(), TLVDelimiterType::dtTab);
  EXPECT_TRUE(partial.GetDetectUTF8()) << "projects saved before the setting detect UTF-8";

  // In the project file the column definitions follow the settings, which would
  // otherwise drop them while loading.
  TLVTextFileColumn& column = node.ColumnDefs().AddDefinition();
  column.SetName("Qty");
  column.SetDataType(TLVDataType::dtInteger);
  column.SetFixedPos(5);
  column.SetFixedLen(3);
  test::TMapSection section;
  node.SaveSettingsTo(section);
  EXPECT_EQ(section.texts, Save(node));
  auto items = section.FindSection("Columns")->Items("Column");
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0]->Get("DataType"), "dtInteger");
  EXPECT_EQ(items[0]->Get("FixedPos"), "5");
  TLVTextFile loaded;
  loaded.LoadSettingsFrom(section);
  ASSERT_EQ(loaded.ColumnDefs().Count(), 1);
  EXPECT_EQ(loaded.ColumnDefs().Definition(0).GetFixedLen(), 3);
  EXPECT_EQ(loaded.GetColumnsInfo().GetColumnCount(), 1);
  EXPECT_EQ(loaded.GetLineImport(), 4);
  EXPECT_THROW(loaded.ColumnDefs().Definition(0).SetFixedPos(0), ELVError);
}

TEST_F(TextFile, DefinesColumnsFromTheTitleAndTheSampleLine) {
  auto node = Import(
      "skipped\n"
      "skipped too\n"
      "Id;Сумма руб;Day;Flag;Name;Empty;Id;Short\n"
      "1;12,5;01.02.2024 10:30;TRUE;abc;;7\n"
      "x;x;x;x;x;x;x;x\n");
  node->SetLineImport(3);
  node->SetInsertKey(true);
  EXPECT_EQ(node->DefineColumns(), 9);
  const TLVTextFileColumns& defs = node->ColumnDefs();
  EXPECT_EQ(defs[0].GetName(), "PRIMARYKEY");
  EXPECT_EQ(defs[0].GetDisplayName(), "PRIMARYKEY");
  EXPECT_EQ(defs[0].GetDataStatus(), TLVDataStatus::dsKey);
  EXPECT_EQ(defs[0].GetDataKind(), TLVDataKind::dkContinuous);
  using enum TLVDataType;
  // Whole numbers become floats; an empty sample field and one past the end of the
  // sample line become texts.
  EXPECT_EQ(Types(*node),
            (std::vector<TLVDataType>{dtInteger, dtFloat, dtFloat, dtDateTime, dtBoolean, dtString,
                                      dtString, dtFloat, dtString}));
  std::vector<std::string> names, captions;
  for (int32_t i = 1; i < defs.Count(); ++i) {
    names.push_back(defs[i].GetName());
    captions.push_back(defs[i].GetDisplayName());
    EXPECT_EQ(defs[i].GetDataStatus(), TLVDataStatus::dsInfo);
  }
  // A title that is not an identifier, or a name already taken, gives COL and the number.
  EXPECT_EQ(names, (std::vector<std::string>{"Id", "COL2", "Day", "Flag", "Name", "Empty", "COL7",
                                             "Short"}));
  EXPECT_EQ(captions[1], "Сумма руб");
  EXPECT_EQ(defs[2].GetDataKind(), TLVDataKind::dkContinuous);
  EXPECT_EQ(defs[4].GetDataKind(), TLVDataKind::dkDiscrete);
  EXPECT_EQ(node->GetColumnsInfo().GetColumnCount(), 9);

  // With "." as decimal point a day and month look like a number.
  auto dotted = Import("01.02;x\n", "dot.csv");
  dotted->SetFirstLineTitle(false);
  dotted->SetDecimalPoint('.');
  EXPECT_EQ(dotted->DefineColumns(), 2);
  EXPECT_EQ(Types(*dotted), (std::vector<TLVDataType>{dtFloat, dtString}));
  EXPECT_EQ(dotted->ColumnDefs()[0].GetName(), "COL1");

  auto missing = Import("", "empty.csv");
  EXPECT_EQ(MessageOfFailure([&] { missing->DefineColumns(); }, "ErrTextFileParse"),
            "Ошибка при разборе текстового файла");
  missing->SetFileName(dir_ / "none.csv");
  EXPECT_EQ(missing->DefineColumns(), 0);
  EXPECT_EQ(MessageOfFailure([&] { missing->Open(); }, "ErrTextFileNotFound"),
            "Файл \"" + (dir_ / "none.csv") + "\" не найден");
}

TEST_F(TextFile, FixedWidthColumnsAreCutAndTrimmed) {
  auto node = Import(
      "Code  Name      Qty\n"
      "A1    Иван       12\n"
      "B22   Пётр Ильич  3\n");
  node->SetFixedFormat(true);
  ASSERT_EQ(node->DefineColumns({6, 16}), 3);
  const TLVTextFileColumns& defs = node->ColumnDefs();
  EXPECT_EQ(defs.Definition(0).GetFixedPos(), 1);
  EXPECT_EQ(defs.Definition(0).GetFixedLen(), 6);
  EXPECT_EQ(defs.Definition(1).GetFixedPos(), 7);
  EXPECT_EQ(defs.Definition(1).GetFixedLen(), 10);
  EXPECT_EQ(defs.Definition(2).GetFixedPos(), 17);
  EXPECT_EQ(defs.Definition(2).GetFixedLen(), 3);
  EXPECT_EQ(defs[2].GetName(), "Qty");
  EXPECT_EQ(defs[2].GetDataType(), TLVDataType::dtFloat);
  EXPECT_EQ(ReadTable(*node),
            (TRows{{S("A1"), S("Иван"), F(12)}, {S("B22"), S("Пётр Ильич"), F(3)}}));
}

TEST_F(TextFile, MissingValuesAndConversions) {
  auto node = Import(
      "Num;Day;Flag;Text;Whole\n"
      "1,5;31.12.2023;TRUE;;42\n"
      ";;;a b ;\n"
      "NULL;NULL;NULL;NULL;NULL\n"
      "-2e3;2023-12-31 06:00;0;\"x;y\";-7\n"
      "7\n");
  node->SetValueNull("NULL");
  node->DefineColumns();
  node->ColumnDefs()[4].SetDataType(TLVDataType::dtInteger);
  const double day = *EncodeDateTime(2023, 12, 31);
  using enum TLVDataType;
  // An empty field is missing except in a text column when the null text is set.
  EXPECT_EQ(
      ReadTable(*node),
      (TRows{
          {F(1.5), TLVValue::DateTime(day), TLVValue::Boolean(true), S(""), TLVValue::Integer(42)},
          {Null(dtFloat), Null(dtDateTime), Null(dtBoolean), S("a b "), Null(dtInteger)},
          {Null(dtFloat), Null(dtDateTime), Null(dtBoolean), Null(dtString), Null(dtInteger)},
          {F(-2000), TLVValue::DateTime(day + 0.25), TLVValue::Boolean(false), S("x;y"),
           TLVValue::Integer(-7)},
          {F(7), Null(dtDateTime), Null(dtBoolean), S(""), Null(dtInteger)},
      }));
  // With no null text an empty text is missing too.
  node->SetValueNull("");
  node->DefineColumns();
  EXPECT_TRUE(node->IsNull(0, 3));
  EXPECT_EQ(node->GetValue(2, 3), S("NULL"));
}

TEST_F(TextFile, BadValuesAreLoggedWithTheirLineNumbersAndTheRowIsKept) {
  test::TRunLogCapture log(dir_ / "run.log");
  auto node = Import(
      "first\n"
      "second\n"
      "Сумма;Дата;Flag;Qty\n"
      "1,5;01.01.2024;true;1\n"
      "abc;32.01.2024;maybe;1,5\n"
      "2;01.01.2024;false;x\n");
  node->SetLineImport(3);
  node->DefineColumns();
  node->ColumnDefs()[3].SetDataType(TLVDataType::dtInteger);
  node->Refresh();
  ASSERT_EQ(node->GetRowCount(), 3);
  EXPECT_TRUE(node->IsNull(1, 0));
  EXPECT_TRUE(node->IsNull(1, 1));
  EXPECT_TRUE(node->IsNull(1, 2));
  EXPECT_EQ(node->GetValue(2, 0), F(2));
  const std::string text = log.Text();
  EXPECT_NE(text.find("При разборе строки 5 возникла ошибка: \r\n"
                      "В колонке \"Сумма\" значение \"abc\" не удалось преобразовать к "
                      "вещественному числу.\r\n"
                      "В колонке \"Дата\" значение \"32.01.2024\" не удалось преобразовать к "
                      "дате/времени.\r\n"
                      "В колонке \"Flag\" значение \"maybe\" не удалось преобразовать к "
                      "логическому значению.\r\n"
                      "В колонке \"Qty\" значение \"1,5\" не удалось преобразовать к целому "
                      "числу."),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("При разборе строки 6 возникла ошибка: \r\nВ колонке \"Qty\" значение \"x\""),
            std::string::npos);
  EXPECT_EQ(text.find("строки 4 "), std::string::npos);
  EXPECT_NE(text.find("TLVTextFile: "), std::string::npos);
  EXPECT_EQ(log.sections,
            (std::vector<std::string>{"импорта из текстового файла \"" + (dir_ / "t.csv") + "\""}));
}

TEST_F(TextFile, LinesAfterTheEndOfFileMarkAreNotRead) {
  auto node = Import("A;B\n1;x\n\x1A\n2;y\n");
  node->SetInsertKey(true);
  EXPECT_EQ(ReadTable(*node), (TRows{{TLVValue::Integer(1), F(1), S("x")}}));
  // The mark as the first line of a batch of lines, and as the first line of all.
  std::string text = "A\n";
  for (int i = 0; i < 1024; ++i) text += "1\n";
  node = Import(text + "\x1A\n2\n");
  EXPECT_EQ(node->GetRowCount(), 1024);
  node = Import("A\n\x1A\n2\n");
  EXPECT_EQ(node->GetRowCount(), 0);
  // Only a line holding the mark alone ends the import.
  node = Import("A;B\n1;x\x1A\n2;y\r\n\x1A\r\n3;z\n");
  EXPECT_EQ(ReadTable(*node), (TRows{{F(1), S("x\x1A")}, {F(2), S("y")}}));
}

TEST_F(TextFile, CyrillicInEveryCodePage) {
  SetAnsiCodePage(TLVCodePage::cpWindows1251);
  const TRows expected{{S("Москва"), F(1.5)}, {S("Ёжик"), F(2)}};
  // "Город;Число" then the rows, in Windows-1251 ...
  auto ansi = Import(
      "\xC3\xEE\xF0\xEE\xE4;\xD7\xE8\xF1\xEB\xEE\n\xCC\xEE\xF1\xEA\xE2\xE0;1,5\n"
      "\xA8\xE6\xE8\xEA;2\n",
      "ansi.csv");
  EXPECT_EQ(ReadTable(*ansi), expected);
  EXPECT_EQ(ansi->ColumnDefs()[0].GetDisplayName(), "Город");
  // ... in CP866 ...
  auto oem = Import(
      "\x83\xAE\xE0\xAE\xA4;\x97\xA8\xE1\xAB\xAE\n\x8C\xAE\xE1\xAA\xA2\xA0;1,5\n"
      "\xF0\xA6\xA8\xAA;2\n",
      "oem.csv");
  oem->SetCharSet(TLVFileCharSet::chrASCII);
  EXPECT_EQ(ReadTable(*oem), expected);
  EXPECT_EQ(oem->Preview()[0], "Город;Число");
  // ... and in UTF-8 with a byte-order mark, whatever the setting says.
  auto bom = Import("\xEF\xBB\xBFГород;Число\nМосква;1,5\nЁжик;2\n", "bom.csv");
  bom->SetCharSet(TLVFileCharSet::chrASCII);
  EXPECT_EQ(ReadTable(*bom), expected);
  // Without a mark UTF-8 is read when it is the application's ANSI page.
  auto utf8 = Import("Город;Число\nМосква;1,5\nЁжик;2\n", "utf8.csv");
  SetAnsiCodePage(TLVCodePage::cpUTF8);
  EXPECT_EQ(ReadTable(*utf8), expected);
  SetAnsiCodePage(TLVCodePage::cpWindows1251);
}

TEST_F(TextFile, Utf8WithoutAMarkIsRecognisedUnlessTheNodeForcesItsPage) {
  SetAnsiCodePage(TLVCodePage::cpWindows1251);
  test::TRunLogCapture log(dir_ / "run.log");
  const std::string text = "Город;Число\nМосква;1,5\nЁжик;2\n";
  auto detected = Import(text, "utf8.csv");
  EXPECT_EQ(ReadTable(*detected), (TRows{{S("Москва"), F(1.5)}, {S("Ёжик"), F(2)}}));
  EXPECT_EQ(detected->ColumnDefs()[0].GetDisplayName(), "Город");
  EXPECT_EQ(detected->Preview()[1], "Москва;1,5");
  EXPECT_NE(log.Text().find("TLVTextFile: Файл \"" + (dir_ / "utf8.csv") +
                            "\" прочитан в кодировке UTF-8"),
            std::string::npos)
      << log.Text();
  EXPECT_TRUE(log.sections.empty()) << "a note, not an error of the import";

  // Forced, the node reads its own page, as it did before the detection existed.
  auto forced = Import(text, "utf8.csv");
  forced->SetDetectUTF8(false);
  const TLVCodePageDecoder ansi(TLVCodePage::cpWindows1251);
  EXPECT_EQ(ReadTable(*forced)[0][0], S(ansi.Decode("Москва")));
  EXPECT_EQ(forced->ColumnDefs()[0].GetDisplayName(), ansi.Decode("Город"));

  // Text that is ASCII in its first block decides nothing: the page stands.
  auto late = Import("A\n" + std::string(5000, 'x') + "\nЁж\n", "late.csv");
  EXPECT_EQ(ReadTable(*late)[1][0], S(ansi.Decode("Ёж")));
  const std::string lines = log.Text();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
}

TEST_F(TextFile, MalformedUtf8IsReplacedAndItsLineReported) {
  test::TRunLogCapture log(dir_ / "run.log");
  auto node = Import("Имя;N\nok;1\n\xF8\x88\x80;2\nЁж\xD0;x\n");
  const TRows rows = ReadTable(*node);
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[1][0], S("\uFFFD\uFFFD\uFFFD"));
  EXPECT_EQ(rows[2][0], S("Ёж\uFFFD"));
  EXPECT_TRUE(IsValidUtf8(rows[2][0].AsText()));
  const std::string text = log.Text();
  const std::string malformed =
      "Строка содержит байты, недопустимые в кодировке UTF-8; они заменены знаком \"\uFFFD\".";
  EXPECT_NE(text.find("При разборе строки 3 возникла ошибка: \r\n" + malformed), std::string::npos)
      << text;
  // The line's own fault comes before those of its values.
  EXPECT_NE(text.find("При разборе строки 4 возникла ошибка: \r\n" + malformed +
                      "\r\nВ колонке \"N\" значение \"x\""),
            std::string::npos)
      << text;
  EXPECT_EQ(text.find("строки 2 "), std::string::npos);
}

TEST_F(TextFile, WideTitleLinesGetDistinctNames) {
  // Titles repeat, differ only in case, or take the name a later column would get.
  std::string titles = "a;A;a;COL2";
  std::string values = "1;2;3;4";
  for (int c = 5; c <= 3000; ++c) {
    titles += ";t" + std::to_string(c % 1000);
    values += ";" + std::to_string(c);
  }
  auto node = Import(titles + "\n" + values + "\n");
  node->SetInsertKey(true);
  ASSERT_EQ(node->DefineColumns(), 3001);
  std::vector<std::string> names;
  std::set<std::string> lower;
  for (int32_t i = 0; i < node->ColumnDefs().Count(); ++i) {
    names.push_back(node->ColumnDefs()[i].GetName());
    std::string name = names.back();
    for (char& ch : name) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    lower.insert(name);
  }
  EXPECT_EQ(lower.size(), names.size());
  EXPECT_EQ(std::vector<std::string>(names.begin(), names.begin() + 5),
            (std::vector<std::string>{"PRIMARYKEY", "a", "COL2", "COL3", "COL4"}));
  EXPECT_EQ(names[999], "t999");
  EXPECT_EQ(names[1000], "t0");
  EXPECT_EQ(names[1005], "COL1005");  // t5 is taken by column 5
  EXPECT_EQ(node->ColumnDefs()[4].GetDisplayName(), "COL2");
  EXPECT_EQ(node->GetValue(0, 3000), F(3000));
  // A title that only differs from the key column in case is renamed too.
  node = Import("primarykey;x\n1;2\n");
  node->SetInsertKey(true);
  node->DefineColumns();
  EXPECT_EQ(node->ColumnDefs()[1].GetName(), "COL1");
}

TEST_F(TextFile, PreviewStartsAtTheGivenLine) {
  std::string text;
  for (int i = 1; i <= 30; ++i) text += "line " + std::to_string(i) + "\r\n";
  auto node = Import(text);
  auto lines = node->Preview(5);
  ASSERT_EQ(lines.size(), 21u);
  EXPECT_EQ(lines.front(), "line 5");
  EXPECT_EQ(lines.back(), "line 25");
  EXPECT_EQ(node->Preview(28).size(), 3u);
}

TEST_F(TextFile, ProgressCancellationAndTheProcessFormats) {
  const TLVFormatSettings before = DefaultFormatSettings();
  std::string text = "Day;Num\n";
  for (int i = 0; i < 5000; ++i) text += "2024-01-02;1.5\n";
  auto node = Import(text);
  node->SetDateFormat("yyyy-mm-dd");
  node->SetDateDelimiter('-');
  node->SetDecimalPoint('.');
  test::TProgressLog watch;
  node->Refresh(&watch);
  EXPECT_EQ(node->GetRowCount(), 5000);
  EXPECT_EQ(node->GetValue(4999, 1), F(1.5));
  EXPECT_EQ(watch.caption, "Импорт из текстового файла");
  EXPECT_EQ(watch.total, static_cast<int64_t>(text.size()));
  EXPECT_EQ(watch.positions.back(), static_cast<int64_t>(text.size()));
  EXPECT_GT(watch.positions.size(), 2u);  // between batches, not once per row or once at all
  EXPECT_EQ(watch.finished, 1);

  test::TProgressLog cancel(1);
  EXPECT_THROW(node->Refresh(&cancel), ELVAbort);
  EXPECT_FALSE(node->GetActive());
  EXPECT_EQ(cancel.finished, 1);
  // The node's formats never reach the process, neither on success nor on failure.
  const TLVFormatSettings& after = DefaultFormatSettings();
  EXPECT_EQ(after.decimalSeparator, before.decimalSeparator);
  EXPECT_EQ(after.dateSeparator, before.dateSeparator);
  EXPECT_EQ(after.shortDateFormat, before.shortDateFormat);
  EXPECT_EQ(after.trueText, before.trueText);
  // Once reopened without a watcher the import reads again.
  EXPECT_EQ(node->GetRowCount(), 5000);
}

TEST_F(TextFile, BothNodeKindsAreInTheCatalogue) {
  TLVComponentVendor& import = LVComponentVendors().VendorByID("TextFile");
  EXPECT_EQ(&import.Group(), &LVVendorGroup<TLVVendorGroupImportFile>());
  EXPECT_NE(std::dynamic_pointer_cast<TLVTextFile>(import.CreateComponent()), nullptr);
  EXPECT_EQ(import.Caption(), "Текстовый файл");
  TLVComponentVendor& exportVendor = LVComponentVendors().VendorByID("ExportStd");
  EXPECT_EQ(&exportVendor.Group(), &LVVendorGroup<TLVVendorGroupExportFile>());
  EXPECT_EQ(exportVendor.ClassName(), "TLVExportStd");
  // An import offers a table; an export does not.
  EXPECT_NE(import.CreateComponent()->GetDataSourceIntf(), nullptr);
  EXPECT_EQ(exportVendor.CreateComponent()->GetDataSourceIntf(), nullptr);
}

}  // namespace
}  // namespace lv
