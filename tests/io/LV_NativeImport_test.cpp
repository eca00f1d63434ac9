#include "io/LV_NativeImport.h"

#include <gtest/gtest.h>

#include <map>

#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Localization.h"
#include "env/LV_EnvVariables.h"
#include "io/LV_NativeExport.h"
#include "io/LV_NativeFile.h"
#include "io/LV_NativeTestHelpers.h"

namespace lv {
namespace {

using enum TLVDataType;
using test::ReadColumn;
using test::TTempDir;
using test::TTestTable;

// Every type, with captions, purposes and missing values; `rows` rows.
std::shared_ptr<TTestTable> MixedTable(int rows) {
  std::vector<std::vector<TLVValue>> values;
  for (int i = 0; i < rows; ++i) {
    const bool gap = i % 10 == 9;
    values.push_back({TLVValue::Integer(i),
                      gap ? TLVValue::Null(dtFloat) : TLVValue::Float(i * 0.5),
                      TLVValue::DateTime(45000 + i),
                      gap ? TLVValue::Null(dtBoolean) : TLVValue::Boolean(i % 3 == 0), TLVValue(),
                      gap ? TLVValue::Null(dtString)
                          : TLVValue::String(i % 4 ? "строка " + std::to_string(i) : "")});
  }
  using C = TTestTable::TColumn;
  auto table = std::make_shared<TTestTable>(
      std::vector<C>{C{"ID", dtInteger}, C{"X", dtFloat}, C{"D", dtDateTime}, C{"B", dtBoolean},
                     C{"N", dtNone}, C{"NAME", dtString}},
      std::move(values));
  table->Columns()[0].SetDataStatus(TLVDataStatus::dsKey);
  table->Columns()[1].SetDisplayName("Икс");
  table->Columns()[1].SetDataStatus(TLVDataStatus::dsInput);
  table->Columns()[2].SetDataKind(TLVDataKind::dkDiscrete);
  table->Columns()[5].SetDataStatus(TLVDataStatus::dsOutput);
  return table;
}

void Export(const std::shared_ptr<ILVDataSource>& source, const std::string& fileName) {
  TLVNativeExport node;
  node.SetDataSource(source);
  node.SetExportedAllFields(true);
  node.SetFileName(fileName);
  node.Execute(nullptr);
}

TEST(NativeImport, ReadsBackWhatTheExportWrote) {
  TTempDir dir;
  LVEnvVariables().Put("LvNativeDir", TLVEnvVarType::evtUser, dir.Path().string());
  auto table = MixedTable(1500);
  Export(table, "%LvNativeDir%/mixed.lvd");

  auto imported = std::make_shared<TLVNativeImport>();
  test::TNotifyCounter notified(*imported);
  imported->SetFileName("%LvNativeDir%/mixed.lvd");
  EXPECT_EQ(notified.Count(TLVNotifyReason::nrColumnsChanged), 1u);
  EXPECT_FALSE(imported->GetActive()) << "the descriptions come from the header alone";
  ASSERT_EQ(imported->Columns().Count(), 6);
  for (int32_t c = 0; c < 6; ++c) {
    const TLVColumnInfo& read = imported->Columns()[c];
    const TLVColumnInfo& written = table->Columns()[c];
    EXPECT_EQ(read.GetName(), written.GetName());
    EXPECT_EQ(read.StoredDisplayName(), written.StoredDisplayName());
    EXPECT_EQ(read.GetDataType(), written.GetDataType());
    EXPECT_EQ(read.GetDataKind(), written.GetDataKind()) << c;
    EXPECT_EQ(read.GetDataStatus(), written.GetDataStatus());
  }

  imported->Refresh();
  LVEnvVariables().Remove("LvNativeDir", TLVEnvVarType::evtUser);
  ASSERT_EQ(imported->GetRowCount(), 1500);
  for (int32_t c = 0; c < 6; ++c) EXPECT_EQ(ReadColumn(*imported, c), ReadColumn(*table, c)) << c;
  EXPECT_EQ(imported->GetValue(3, 4), TLVValue::Null(dtNone));
  EXPECT_EQ(imported->Columns()[5].GetDataSize(), 11) << "the longest text, \"строка 1499\"";
  TLVBlock block;
  imported->ReadRows(4, std::vector<TLVRowIndex>{7, 1}.data(), 2, block);
  EXPECT_EQ(block.Type(), dtNone);
  EXPECT_TRUE(block.IsNull(0) && block.IsNull(1));
}

TEST(NativeImport, FailuresNameTheFileAndCloseTheTable) {
  TTempDir dir;
  TLVNativeImport imported;
  EXPECT_EQ(test::MessageOfFailure([&] { imported.Open(); }, "ErrNativeBadFileName"),
            "Не верно указано имя файла");
  const std::string path = dir / "t.lvd";
  imported.SetFileName(path);
  EXPECT_EQ(imported.Columns().Count(), 0);
  EXPECT_EQ(test::MessageOfFailure([&] { imported.Open(); }, "ErrNativeFileNotFound"),
            "Файл \"" + path + "\" не найден");

  const std::string good = [&] {
    Export(MixedTable(3), path);
    return test::ReadWholeFile(path);
  }();
  const std::pair<std::string, std::string> damaged[] = {
      {"LVDATX" + good.substr(6), "Не соответсвие сигнатуры"},
      {good.substr(0, 6) + std::string("\2\0\0\0", 4) + good.substr(10), "Не корректная версия"},
      {good.substr(0, good.size() - 1), LVText("ErrNativeTruncated")}};
  for (const auto& [bytes, cause] : damaged) {
    test::WriteWholeFile(path, bytes);
    try {
      imported.Refresh();
      FAIL();
    } catch (const ELVNativeFileError& e) {
      // The reason follows the general message, so that the run log shows it.
      EXPECT_EQ(std::string(e.what()),
                "Файл \"" + path + "\" не является Lumivera Data файлом: " + cause);
      EXPECT_EQ(e.Key(), "ErrNativeNotLvd");
      EXPECT_EQ(e.CauseMessage(), cause);
    }
    EXPECT_FALSE(imported.GetActive());
  }
  test::WriteWholeFile(path, good);
  EXPECT_EQ(imported.GetRowCount(), 3);
}

TEST(NativeImport, CancellingKeepsTheRowsRead) {
  TTempDir dir;
  const std::string path = dir / "long.lvd";
  const int rows = 2 * TLVNativeFileReader::kProgressRows + 5;
  Export(MixedTable(rows), path);
  TLVNativeImport imported;
  imported.SetFileName(path);
  test::TProgressLog progress(TLVNativeFileReader::kProgressRows);
  imported.Refresh(&progress);
  EXPECT_EQ(progress.caption, "Импортирование данных");
  EXPECT_EQ(progress.total, rows);
  EXPECT_EQ(progress.finished, 1);
  ASSERT_TRUE(imported.GetActive());
  ASSERT_EQ(imported.GetRowCount(), TLVNativeFileReader::kProgressRows);
  const TLVRowIndex last = imported.GetRowCount() - 1;
  EXPECT_EQ(imported.GetValue(last, 0), TLVValue::Integer(static_cast<int32_t>(last)));
  EXPECT_EQ(imported.GetValue(last, 5), TLVValue::String("строка " + std::to_string(last)));

  imported.Refresh();  // the progress is used for that refresh only
  EXPECT_EQ(imported.GetRowCount(), rows);
}

TEST(NativeImport, UserSettingsOfColumnsLastUntilTheFileChangesShape) {
  TTempDir dir;
  const std::string path = dir / "t.lvd";
  Export(MixedTable(2), path);
  auto imported = std::make_shared<TLVNativeImport>();
  imported->SetFileName(path);
  imported->Columns()[1].SetDataStatus(TLVDataStatus::dsOutput);
  imported->Refresh();
  EXPECT_EQ(imported->Columns()[1].GetDataStatus(), TLVDataStatus::dsOutput);

  Export(test::MakeNumbers(4), path);
  test::TNotifyCounter notified(*imported);
  imported->Refresh();
  EXPECT_GE(notified.Count(TLVNotifyReason::nrColumnsChanged), 1u);
  ASSERT_EQ(imported->Columns().Count(), 3);
  EXPECT_EQ(imported->Columns()[1].GetName(), "X");
  EXPECT_EQ(imported->Columns()[1].GetDataStatus(), TLVDataStatus::dsUsable);
  EXPECT_EQ(imported->GetRowCount(), 4);

  // Settings persist through the property table; the kind is in the catalogue.
  std::map<std::string, std::string> store;
  imported->SaveSettings([&](const std::string& k, const std::string& v) { store[k] = v; });
  EXPECT_EQ(store, (std::map<std::string, std::string>{{"FileName", path}}));
  auto created = LVComponentVendors().CreateComponent("NativeImport");
  auto* loaded = dynamic_cast<TLVNativeImport*>(created.get());
  ASSERT_NE(loaded, nullptr);
  loaded->LoadSettings(
      [&](const std::string& k) -> std::optional<std::string> { return store[k]; });
  EXPECT_EQ(loaded->GetRowCount(), 4);
  EXPECT_TRUE(LVComponentVendors()
                  .VendorByID("NativeImport")
                  .Group()
                  .IsWithin(LVVendorGroup<TLVVendorGroupImportFile>()));
  EXPECT_EQ(LVComponentVendors().VendorByID("NativeImport").Caption(), "Lumivera Data файл");
}

}  // namespace
}  // namespace lv
