// The settings dialog of any node kind, generated from the kind's property table: a
// typed editor per flat property (check box, list of an enumeration's display texts,
// number with validation, character, text, a column picker over the parent's columns
// for properties that name a column) and an editable table per collection.
//
// "OK" applies what was edited through TLVNodeSettings; a refused value shows the
// setter's message in the dialog, its editor returns to the value the node kept, and
// the dialog stays open. "Cancel" takes back every change the dialog made. UI thread.
#pragma once

#include <QDialog>
#include <QString>
#include <map>
#include <string>
#include <vector>

#include "gui/LV_NodeSettings.h"

class QLabel;
class QTableWidget;
class QWidget;

namespace lv {

class TLVSettingsDialog : public QDialog {
  Q_OBJECT

 public:
  TLVSettingsDialog(TLVProject& project, TModelTreeNode& node, QWidget* parent = nullptr);

  TLVNodeSettings& Settings() { return settings_; }
  // The editor of a flat property (null for an unknown name), for tests and scripts.
  QWidget* Editor(const std::string& property) const;
  QTableWidget* CollectionTable(const std::string& section) const;
  // Applies the edits; false when one was refused, its message then shown.
  bool ApplyEdits();
  QString ErrorText() const;

  void accept() override;
  void reject() override;

 private:
  QWidget* MakeEditor(const TLVSettingsDescription::TProperty& property);
  QTableWidget* MakeTable(const TLVSettingsDescription::TSection& section);
  static QString EditorText(const QWidget* editor);
  static void ShowText(QWidget* editor, const QString& text);
  std::vector<TLVNodeSettings::TItem> TableItems(const TLVSettingsDescription::TSection& section,
                                                 const QTableWidget& table) const;
  void FillTable(const TLVSettingsDescription::TSection& section, QTableWidget& table);
  std::vector<QString> ParentColumns() const;

  TLVNodeSettings settings_;
  std::map<std::string, QWidget*> editors_;
  std::map<std::string, QTableWidget*> tables_;
  QLabel* error_ = nullptr;
};

void RegisterSettingsDialogTexts();

}  // namespace lv
