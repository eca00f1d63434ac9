#include "io/LV_NativeExport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "core/registry/LV_Vendor.h"
#include "io/LV_NativeFile.h"
#include "io/LV_NativeImport.h"
#include "io/LV_NativeTestHelpers.h"

namespace lv {
namespace {

using test::TTempDir;

size_t FilesIn(const TTempDir& dir) {
  return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(dir.Path()),
                                           std::filesystem::directory_iterator()));
}

TEST(NativeExport, WritesTheMarkedColumnsInSourceOrder) {
  TTempDir dir;
  TLVNativeExport node;
  node.SetFileName(dir / "out.lvd");
  EXPECT_EQ(node.GetDescription(), "Экспорт в Lumivera Data файл [" + (dir / "out.lvd") + "]");
  node.SetDataSource(test::MakeNumbers(5));
  EXPECT_EQ(test::MessageOfFailure([&] { node.Execute(nullptr); }, "ErrNativeNoFields"),
            "Не выбрано ни одного поля для экспорта");
  node.SetFieldExported("NAME", true);
  node.SetFieldExported("ID", true);
  node.SetFieldExported("Q", true);
  test::MessageOfFailure([&] { node.Execute(nullptr); }, "ErrParentColumnNotFound");
  EXPECT_EQ(FilesIn(dir), 0u);
  node.SetFieldExported("Q", false);
  node.Execute(nullptr);

  TLVNativeImport imported;
  imported.SetFileName(dir / "out.lvd");
  ASSERT_EQ(imported.Columns().Count(), 2);
  EXPECT_EQ(imported.Columns()[0].GetName(), "ID");
  EXPECT_EQ(imported.Columns()[1].GetName(), "NAME");
  EXPECT_EQ(imported.GetValue(4, 1), TLVValue::String("n4"));
  // A column that shows its name still has its caption written in full, for readers
  // that take the caption as it stands.
  TLVNativeFileReader reader(OpenNativeFileSource(dir / "out.lvd"), AnsiCodePage());
  const auto header = reader.ReadHeader();
  ASSERT_EQ(header.columns.size(), 2u);
  EXPECT_EQ(header.columns[0].caption, "ID");
  EXPECT_EQ(header.columns[1].caption, "NAME");
  EXPECT_EQ(imported.Columns()[0].GetDisplayName(), "ID");
}

TEST(NativeExport, FailureOrCancellationLeavesTheOldFile) {
  TTempDir dir;
  const std::string path = dir / "out.lvd";
  test::WriteWholeFile(path, "old");
  std::vector<std::vector<TLVValue>> rows;
  for (int i = 0; i < 1000; ++i) rows.push_back({TLVValue::String(i == 700 ? "漢字" : "ок")});
  auto table = std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"Текст", TLVDataType::dtString}}, rows);
  TLVNativeExport node;
  node.SetDataSource(table);
  node.SetExportedAllFields(true);
  node.SetFileName(path);
  EXPECT_EQ(test::MessageOfFailure([&] { node.Execute(nullptr); }, "ErrNativeCellText"),
            "Текст в столбце \"Текст\" строки 701 содержит символы, которых нет в кодовой "
            "странице ANSI");
  EXPECT_EQ(test::ReadWholeFile(path), "old");
  EXPECT_EQ(FilesIn(dir), 1u) << "no temporary file is left";

  rows[700][0] = TLVValue::String("ок");
  table->SetRows(rows);
  test::TProgressLog cancel(1);
  EXPECT_THROW(node.Execute(&cancel), ELVAbort);
  EXPECT_EQ(cancel.caption, node.GetDescription());
  EXPECT_EQ(test::ReadWholeFile(path), "old");
  EXPECT_EQ(FilesIn(dir), 1u);

  node.Execute(nullptr);
  EXPECT_EQ(test::ReadWholeFile(path).substr(0, 6), "LVDATA");
  EXPECT_EQ(FilesIn(dir), 1u);
  EXPECT_FALSE(table->Locked()) << "the source is unlocked after the run";
}

TEST(NativeExport, SettingsPersistThroughThePropertyTable) {
  TLVNativeExport node;
  node.SetFileName("%DATA%\\out.lvd");
  node.SetExportedAllFields(true);
  node.SetExportedFields({"A", "с \"кавычкой\", запятой", "A", ""});
  std::map<std::string, std::string> store;
  node.SaveSettings([&](const std::string& k, const std::string& v) { store[k] = v; });
  EXPECT_EQ(store, (std::map<std::string, std::string>{
                       {"FileName", "%DATA%\\out.lvd"},
                       {"ExportedAllFields", "True"},
                       {"ExportedFields", R"("A","с ""кавычкой"", запятой","")"}}));

  auto created = LVComponentVendors().CreateComponent("NativeExport");
  auto* loaded = dynamic_cast<TLVNativeExport*>(created.get());
  ASSERT_NE(loaded, nullptr);
  auto get = [&](const std::string& k) -> std::optional<std::string> { return store[k]; };
  loaded->LoadSettings(get);
  EXPECT_EQ(loaded->GetFileName(), node.GetFileName());
  EXPECT_TRUE(loaded->GetExportedAllFields());
  EXPECT_EQ(loaded->GetExportedFields(), node.GetExportedFields());
  for (const char* bad : {"A", "\"A", "\"A\",", "\"A\" ,\"B\""}) {
    store["ExportedFields"] = bad;
    test::MessageOfFailure([&] { loaded->LoadSettings(get); }, "ErrPropertyValue");
  }
  const auto& vendor = LVComponentVendors().VendorByID("NativeExport");
  EXPECT_TRUE(vendor.Group().IsWithin(LVVendorGroup<TLVVendorGroupExportFile>()));
  EXPECT_EQ(vendor.Caption(), "Экспорт в Lumivera Data файл");
}

}  // namespace
}  // namespace lv
