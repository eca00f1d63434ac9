#include "gui/LV_SettingsDialog.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QTableWidget>

#include "LV_TestHelpers.h"
#include "core/registry/LV_Vendor.h"
#include "gui/LV_NodeSettings.h"

namespace lv {
namespace {

using test::KeyOf;

TEST(NodeSettings, RefusedValueChangesNothingAndChangesUndoInReverse) {
  TLVProject project;
  TModelTreeNode& node = project.AddNode(nullptr, "GuiRows");
  project.SetModified(false);
  TLVNodeSettings settings(project, node);
  ASSERT_EQ(settings.Description().properties.size(), 1u);
  EXPECT_EQ(settings.Value("Rows"), "10");

  EXPECT_EQ(KeyOf([&] { settings.Set("Rows", "-5"); }), "ErrPropertyValue");
  EXPECT_EQ(KeyOf([&] { settings.Set("Rows", "много"); }), "ErrPropertyValue");
  EXPECT_EQ(settings.Value("Rows"), "10");
  EXPECT_FALSE(settings.CanUndo());
  EXPECT_FALSE(project.Modified());

  settings.Set("Rows", "10");  // the same value is no change
  EXPECT_EQ(settings.Changes(), 0u);
  settings.Set("Rows", "25");
  settings.Set("Rows", "40");
  EXPECT_TRUE(project.Modified());
  EXPECT_EQ(settings.Changes(), 2u);
  settings.Undo();
  EXPECT_EQ(settings.Value("Rows"), "25");
  settings.Undo();
  EXPECT_EQ(settings.Value("Rows"), "10");
  EXPECT_FALSE(settings.CanUndo());
}

TEST(NodeSettings, CollectionsAreReplacedWhole) {
  TLVProject project;
  TModelTreeNode& node = project.AddNode(nullptr, "TextFile");
  TLVNodeSettings settings(project, node);
  EXPECT_TRUE(settings.Items("Columns").empty());
  settings.SetItems("Columns", {{{"Name", "Сумма"}, {"DataType", "dtFloat"}},
                                {{"Name", "Дата"}, {"DataType", "dtDateTime"}}});
  auto items = settings.Items("Columns");
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[1]["Name"], "Дата");
  EXPECT_EQ(items[1]["DataType"], "dtDateTime");
  // A bad item refuses the whole list.
  EXPECT_THROW(settings.SetItems("Columns", {{{"Name", "x"}, {"DataType", "dtNoSuchType"}}}),
               ELVError);
  EXPECT_EQ(settings.Items("Columns").size(), 2u);
  settings.Undo();
  EXPECT_TRUE(settings.Items("Columns").empty());
}

TEST(SettingsDialog, RefusesABadValueShowingItsMessageAndKeepingTheOldOne) {
  TLVProject project;
  TModelTreeNode& node = project.AddNode(nullptr, "GuiRows");
  TLVSettingsDialog dialog(project, node);
  auto* rows = qobject_cast<QLineEdit*>(dialog.Editor("Rows"));
  ASSERT_NE(rows, nullptr);
  EXPECT_EQ(rows->text(), QStringLiteral("10"));
  // The editor's validator lets no letters in; the setter refuses what it lets through.
  QString letters = QStringLiteral("abc");
  int at = 0;
  EXPECT_NE(rows->validator()->validate(letters, at), QValidator::Acceptable);
  rows->setText(QStringLiteral("-5"));
  EXPECT_FALSE(dialog.ApplyEdits());
  EXPECT_TRUE(dialog.ErrorText().contains(QStringLiteral("Rows")))
      << dialog.ErrorText().toStdString();
  EXPECT_EQ(rows->text(), QStringLiteral("10"));
  EXPECT_EQ(dialog.Settings().Value("Rows"), "10");

  rows->setText(QStringLiteral("12"));
  EXPECT_TRUE(dialog.ApplyEdits());
  EXPECT_TRUE(dialog.ErrorText().isEmpty());
  EXPECT_EQ(dialog.Settings().Value("Rows"), "12");
  // Cancel takes back what the dialog applied.
  dialog.reject();
  EXPECT_EQ(TLVNodeSettings(project, node).Value("Rows"), "10");
}

TEST(SettingsDialog, TypedEditorsShowTheNodesValues) {
  TLVProject project;
  TModelTreeNode& node = project.AddNode(nullptr, "TextFile");
  TLVNodeSettings(project, node).Set("Delimiter", "dtComma");
  TLVSettingsDialog dialog(project, node);
  auto* delimiter = qobject_cast<QComboBox*>(dialog.Editor("Delimiter"));
  ASSERT_NE(delimiter, nullptr);
  EXPECT_EQ(delimiter->currentText(), QString::fromUtf8("Запятая"));
  EXPECT_NE(qobject_cast<QCheckBox*>(dialog.Editor("FirstLineTitle")), nullptr);
  auto* decimal = qobject_cast<QLineEdit*>(dialog.Editor("DecimalPoint"));
  ASSERT_NE(decimal, nullptr);
  EXPECT_EQ(decimal->maxLength(), 1);
  ASSERT_NE(dialog.CollectionTable("Columns"), nullptr);
  EXPECT_EQ(dialog.windowTitle(), QString::fromUtf8("Настройка узла «Текстовый файл»"));

  delimiter->setCurrentIndex(delimiter->findText(QString::fromUtf8("Табуляция")));
  QTableWidget* columns = dialog.CollectionTable("Columns");
  columns->setRowCount(1);
  columns->setItem(0, 0, new QTableWidgetItem(QStringLiteral("x")));
  EXPECT_TRUE(dialog.ApplyEdits()) << dialog.ErrorText().toStdString();
  EXPECT_EQ(dialog.Settings().Value("Delimiter"), "dtTab");
  EXPECT_EQ(dialog.Settings().Items("Columns").size(), 1u);
}

TEST(SettingsDialog, EveryRegisteredKindGetsAnEditorPerSetting) {
  TLVProject project;
  const TLVComponentVendorList& vendors = LVComponentVendors();
  for (int32_t i = 0; i < vendors.Count(); ++i) {
    std::optional<TLVSettingsDescription> description = vendors[i].DescribeSettings();
    if (!description) continue;
    TModelTreeNode& node = project.AddNode(nullptr, vendors[i].Identifier());
    TLVSettingsDialog dialog(project, node);
    for (const auto& property : description->properties) {
      EXPECT_NE(dialog.Editor(property.name), nullptr)
          << vendors[i].Identifier() << "." << property.name;
    }
    // Applying what the dialog shows changes nothing.
    EXPECT_TRUE(dialog.ApplyEdits())
        << vendors[i].Identifier() << ": " << dialog.ErrorText().toStdString();
    EXPECT_EQ(dialog.Settings().Changes(), 0u) << vendors[i].Identifier();
  }
}

}  // namespace
}  // namespace lv
