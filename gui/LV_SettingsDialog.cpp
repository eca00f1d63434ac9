#include "gui/LV_SettingsDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "core/columns/LV_Types.h"
#include "core/registry/LV_Vendor.h"
#include "core/sources/LV_DataIntf.h"
#include "gui/LV_GuiText.h"

namespace lv {

namespace {

// Properties that name one of the parent's columns get a picker of those columns.
bool NamesColumn(std::string_view property) {
  return property.ends_with("Column") || property.ends_with("ColumnName");
}

// Numbers as the project file writes them, with a comma accepted for the point.
QString StoredNumber(QString text) {
  return text.trimmed().replace(QLatin1Char(','), '.');
}

}  // namespace

TLVSettingsDialog::TLVSettingsDialog(TLVProject& project, TModelTreeNode& node, QWidget* parent)
    : QDialog(parent), settings_(project, node) {
  setWindowTitle(GuiText("SGuiSettingsTitle", {node.DisplayCaption()}));
  auto* layout = new QVBoxLayout(this);
  auto* hint = new QLabel(ToQ(node.Vendor().Hint()), this);
  hint->setWordWrap(true);
  layout->addWidget(hint);
  auto* form = new QFormLayout();
  const TLVSettingsDescription& description = settings_.Description();
  for (const auto& property : description.properties) {
    QWidget* editor = MakeEditor(property);
    editors_[property.name] = editor;
    ShowText(editor, ToQ(settings_.Value(property.name)));
    form->addRow(ToQ(PropertyCaption(node, property.name)), editor);
  }
  layout->addLayout(form);
  for (const auto& section : description.sections) {
    if (section.itemName.empty()) continue;
    layout->addWidget(new QLabel(ToQ(PropertyCaption(node, section.name)), this));
    QTableWidget* table = MakeTable(section);
    tables_[section.name] = table;
    layout->addWidget(table);
  }
  if (description.properties.empty() && tables_.empty()) {
    layout->addWidget(new QLabel(GuiText("SGuiNoSettings"), this));
  }
  error_ = new QLabel(this);
  error_->setWordWrap(true);
  error_->setStyleSheet(QStringLiteral("color: #b00020;"));
  error_->hide();
  layout->addWidget(error_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  buttons->button(QDialogButtonBox::Ok)->setText(GuiText("SGuiOk"));
  buttons->button(QDialogButtonBox::Cancel)->setText(GuiText("SGuiCancel"));
  connect(buttons, &QDialogButtonBox::accepted, this, &TLVSettingsDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &TLVSettingsDialog::reject);
  layout->addWidget(buttons);
  // Wide enough for a file name with its folder.
  resize(std::max(width(), 640), height());
}

std::vector<QString> TLVSettingsDialog::ParentColumns() const {
  std::vector<QString> names;
  TModelTreeNode* parent = settings_.Node().Parent();
  std::shared_ptr<ILVDataSource> source = parent ? parent->Handler().GetDataSourceIntf() : nullptr;
  if (!source) return names;
  const ILVColumnsInfo& columns = source->GetColumnsInfo();
  for (int32_t i = 0; i < columns.GetColumnCount(); ++i) {
    names.push_back(ToQ(columns.GetColumnInfo(i)->GetName()));
  }
  return names;
}

QWidget* TLVSettingsDialog::MakeEditor(const TLVSettingsDescription::TProperty& property) {
  switch (property.type) {
    case TLVPropertyType::ptBoolean:
      return new QCheckBox(this);
    case TLVPropertyType::ptEnum: {
      auto* box = new QComboBox(this);
      const TLVEnumDescriptor& e = *property.enumeration;
      for (size_t i = 0; i < e.valueNames.size(); ++i) {
        box->addItem(ToQ(EnumDisplayText(e, i)), ToQ(e.valueNames[i]));
      }
      return box;
    }
    case TLVPropertyType::ptInteger:
    case TLVPropertyType::ptFloat: {
      auto* edit = new QLineEdit(this);
      const QString pattern = property.type == TLVPropertyType::ptInteger
                                  ? QStringLiteral("-?\\d{0,10}")
                                  : QStringLiteral("-?\\d*([.,]\\d*)?([eE][-+]?\\d{0,3})?");
      edit->setValidator(new QRegularExpressionValidator(QRegularExpression(pattern), edit));
      return edit;
    }
    case TLVPropertyType::ptChar: {
      auto* edit = new QLineEdit(this);
      edit->setMaxLength(1);
      return edit;
    }
    default:
      break;
  }
  if (NamesColumn(property.name)) {
    auto* box = new QComboBox(this);
    box->setEditable(true);
    for (const QString& name : ParentColumns()) box->addItem(name, name);
    return box;
  }
  auto* edit = new QLineEdit(this);
  if (property.name == "FileName") {
    // A file name gets a browse button beside it.
    auto* row = new QWidget(this);
    auto* rowLayout = new QHBoxLayout(row);
    rowLayout->setContentsMargins(0, 0, 0, 0);
    edit->setParent(row);
    rowLayout->addWidget(edit);
    auto* browse = new QToolButton(row);
    browse->setText(QStringLiteral("…"));
    browse->setToolTip(GuiText("SGuiBrowse"));
    connect(browse, &QToolButton::clicked, this, [this, edit] {
      QString chosen = QFileDialog::getOpenFileName(this, GuiText("SGuiBrowse"), edit->text());
      if (!chosen.isEmpty()) edit->setText(chosen);
    });
    rowLayout->addWidget(browse);
    edit->setObjectName(QStringLiteral("value"));
    return row;
  }
  return edit;
}

QString TLVSettingsDialog::EditorText(const QWidget* editor) {
  if (auto* check = qobject_cast<const QCheckBox*>(editor)) {
    return check->isChecked() ? QStringLiteral("True") : QStringLiteral("False");
  }
  if (auto* box = qobject_cast<const QComboBox*>(editor)) {
    if (box->isEditable()) return box->currentText();
    return box->currentData().toString();
  }
  if (auto* edit = qobject_cast<const QLineEdit*>(editor)) {
    if (edit->validator()) return StoredNumber(edit->text());
    return edit->text();
  }
  return editor->findChild<QLineEdit*>(QStringLiteral("value"))->text();
}

void TLVSettingsDialog::ShowText(QWidget* editor, const QString& text) {
  if (auto* check = qobject_cast<QCheckBox*>(editor)) {
    check->setChecked(text == QStringLiteral("True"));
  } else if (auto* box = qobject_cast<QComboBox*>(editor)) {
    const int at = box->findData(text);
    if (at >= 0) {
      box->setCurrentIndex(at);
    } else if (box->isEditable()) {
      box->setEditText(text);
    }
  } else if (auto* edit = qobject_cast<QLineEdit*>(editor)) {
    edit->setText(text);
  } else {
    editor->findChild<QLineEdit*>(QStringLiteral("value"))->setText(text);
  }
}

QTableWidget* TLVSettingsDialog::MakeTable(const TLVSettingsDescription::TSection& section) {
  const auto& columns = section.content->properties;
  auto* table = new QTableWidget(0, static_cast<int>(columns.size()), this);
  QStringList headers;
  for (const auto& p : columns) headers << ToQ(PropertyCaption(settings_.Node(), p.name));
  table->setHorizontalHeaderLabels(headers);
  table->horizontalHeader()->setStretchLastSection(true);
  table->setMinimumHeight(140);
  FillTable(section, *table);
  return table;
}

void TLVSettingsDialog::FillTable(const TLVSettingsDescription::TSection& section,
                                  QTableWidget& table) {
  const auto& columns = section.content->properties;
  const auto items = settings_.Items(section.name);
  table.setRowCount(static_cast<int>(items.size()));
  for (size_t r = 0; r < items.size(); ++r) {
    for (size_t c = 0; c < columns.size(); ++c) {
      auto found = items[r].find(columns[c].name);
      const QString text = found == items[r].end() ? QString() : ToQ(found->second);
      table.setItem(static_cast<int>(r), static_cast<int>(c), new QTableWidgetItem(text));
    }
  }
}

std::vector<TLVNodeSettings::TItem> TLVSettingsDialog::TableItems(
    const TLVSettingsDescription::TSection& section, const QTableWidget& table) const {
  const auto& columns = section.content->properties;
  std::vector<TLVNodeSettings::TItem> items(static_cast<size_t>(table.rowCount()));
  for (int r = 0; r < table.rowCount(); ++r) {
    for (size_t c = 0; c < columns.size(); ++c) {
      // An empty cell leaves the setting at its default.
      const QTableWidgetItem* cell = table.item(r, static_cast<int>(c));
      if (cell && !cell->text().isEmpty())
        items[static_cast<size_t>(r)][columns[c].name] = FromQ(cell->text());
    }
  }
  return items;
}

QWidget* TLVSettingsDialog::Editor(const std::string& property) const {
  auto found = editors_.find(property);
  return found == editors_.end() ? nullptr : found->second;
}

QTableWidget* TLVSettingsDialog::CollectionTable(const std::string& section) const {
  auto found = tables_.find(section);
  return found == tables_.end() ? nullptr : found->second;
}

QString TLVSettingsDialog::ErrorText() const {
  return error_->isHidden() ? QString() : error_->text();
}

bool TLVSettingsDialog::ApplyEdits() {
  error_->hide();
  const TLVSettingsDescription& description = settings_.Description();
  for (const auto& property : description.properties) {
    QWidget* editor = editors_.at(property.name);
    try {
      settings_.Set(property.name, FromQ(EditorText(editor)));
    } catch (const std::exception& e) {
      error_->setText(
          GuiText("SGuiSettingRefused",
                  {PropertyCaption(settings_.Node(), property.name), std::string_view(e.what())}));
      error_->show();
      ShowText(editor, ToQ(settings_.Value(property.name)));
      editor->setFocus();
      return false;
    }
  }
  for (const auto& section : description.sections) {
    QTableWidget* table = CollectionTable(section.name);
    if (!table) continue;
    const auto items = TableItems(section, *table);
    if (items == settings_.Items(section.name)) continue;
    try {
      settings_.SetItems(section.name, items);
    } catch (const std::exception& e) {
      error_->setText(
          GuiText("SGuiSettingRefused",
                  {PropertyCaption(settings_.Node(), section.name), std::string_view(e.what())}));
      error_->show();
      FillTable(section, *table);
      return false;
    }
  }
  return true;
}

void TLVSettingsDialog::accept() {
  if (ApplyEdits()) QDialog::accept();
}

void TLVSettingsDialog::reject() {
  while (settings_.CanUndo()) settings_.Undo();
  QDialog::reject();
}

void RegisterSettingsDialogTexts() {
  TLVLocalization::Instance().RegisterKeys({"SGuiSettingsTitle", "SGuiNoSettings", "SGuiOk",
                                            "SGuiCancel", "SGuiBrowse", "SGuiSettingRefused"});
}

}  // namespace lv
