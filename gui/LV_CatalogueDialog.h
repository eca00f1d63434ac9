// The catalogue of node kinds offered to add under a node: the imports for a new root,
// the handlers and the exports under a node that offers a table. Kinds appear under
// their groups, with their captions and, for the one selected, their description;
// hidden kinds are not offered. Built from the registry, so a new kind appears here
// without a change to the shell. UI thread.
#pragma once

#include <QDialog>
#include <QString>
#include <string>
#include <vector>

#include "core/registry/LV_VendorGroups.h"

class QLabel;
class QTreeWidget;
class QTreeWidgetItem;

namespace lv {

class TModelTreeNode;
class TLVVisualClassVendorTreeNode;

// The catalogue roots offered under `parent` (null: a new root).
std::vector<const TLVVendorGroup*> CatalogueRootsFor(const TModelTreeNode* parent);

class TLVCatalogueDialog : public QDialog {
  Q_OBJECT

 public:
  TLVCatalogueDialog(const TModelTreeNode* parent, QWidget* owner = nullptr);

  QTreeWidget* Tree() const { return tree_; }
  // The identifier of the kind selected, empty when a group (or nothing) is.
  std::string SelectedVendorID() const;
  // Selects the kind `identifier`; false when the catalogue does not offer it.
  bool SelectVendor(const std::string& identifier);

 private:
  void AddNodes(const TLVVisualClassVendorTreeNode& node, QTreeWidgetItem* item);
  void ShowDescription();

  QTreeWidget* tree_ = nullptr;
  QLabel* description_ = nullptr;
};

void RegisterCatalogueDialogTexts();

}  // namespace lv
