#include "gui/LV_CatalogueDialog.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "core/registry/LV_Vendor.h"
#include "core/registry/LV_VendorTree.h"
#include "gui/LV_GuiText.h"
#include "project/LV_ModelTree.h"

namespace lv {

namespace {

constexpr int kIDRole = Qt::UserRole + 1;
constexpr int kHintRole = Qt::UserRole + 2;

}  // namespace

std::vector<const TLVVendorGroup*> CatalogueRootsFor(const TModelTreeNode* parent) {
  if (!parent) return {&LVVendorGroup<TLVVendorGroupImport>()};
  if (!parent->CanHaveChildren()) return {};
  return {&LVVendorGroup<TLVVendorGroupAnalytic>(), &LVVendorGroup<TLVVendorGroupExport>()};
}

TLVCatalogueDialog::TLVCatalogueDialog(const TModelTreeNode* parent, QWidget* owner)
    : QDialog(owner) {
  setWindowTitle(GuiText("SGuiCatalogueTitle"));
  auto* layout = new QVBoxLayout(this);
  tree_ = new QTreeWidget(this);
  tree_->setHeaderHidden(true);
  layout->addWidget(tree_);
  for (const TLVVendorGroup* root : CatalogueRootsFor(parent)) {
    TLVVendorComponentTree catalogue(LVComponentVendors(), *root);
    if (catalogue.Root().Count() == 0) continue;
    auto* item = new QTreeWidgetItem(tree_, {ToQ(root->Caption())});
    item->setData(0, kHintRole, ToQ(root->Description()));
    AddNodes(catalogue.Root(), item);
  }
  tree_->expandAll();
  description_ = new QLabel(this);
  description_->setWordWrap(true);
  description_->setMinimumHeight(48);
  layout->addWidget(description_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  buttons->button(QDialogButtonBox::Ok)->setText(GuiText("SGuiAdd"));
  buttons->button(QDialogButtonBox::Cancel)->setText(GuiText("SGuiCancel"));
  connect(buttons, &QDialogButtonBox::accepted, this, [this] {
    if (!SelectedVendorID().empty()) accept();
  });
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(tree_, &QTreeWidget::currentItemChanged, this, [this] { ShowDescription(); });
  connect(tree_, &QTreeWidget::itemDoubleClicked, this, [this] {
    if (!SelectedVendorID().empty()) accept();
  });
  layout->addWidget(buttons);
  resize(460, 420);
}

void TLVCatalogueDialog::AddNodes(const TLVVisualClassVendorTreeNode& node, QTreeWidgetItem* item) {
  for (int32_t i = 0; i < node.Count(); ++i) {
    const TLVVisualClassVendorTreeNode& child = node[i];
    auto* childItem = new QTreeWidgetItem(item, {ToQ(child.Caption())});
    if (TLVComponentVendor* vendor = TLVVendorComponentTree::ComponentVendor(child)) {
      childItem->setData(0, kIDRole, ToQ(vendor->Identifier()));
      childItem->setData(0, kHintRole, ToQ(vendor->Hint()));
      childItem->setToolTip(0, ToQ(vendor->Hint()));
    } else {
      childItem->setData(0, kHintRole, ToQ(child.Group()->Description()));
    }
    AddNodes(child, childItem);
  }
}

void TLVCatalogueDialog::ShowDescription() {
  QTreeWidgetItem* item = tree_->currentItem();
  description_->setText(item ? item->data(0, kHintRole).toString() : QString());
}

std::string TLVCatalogueDialog::SelectedVendorID() const {
  QTreeWidgetItem* item = tree_->currentItem();
  return item ? FromQ(item->data(0, kIDRole).toString()) : std::string();
}

bool TLVCatalogueDialog::SelectVendor(const std::string& identifier) {
  const QString id = ToQ(identifier);
  for (QTreeWidgetItemIterator it(tree_); *it; ++it) {
    if ((*it)->data(0, kIDRole).toString().compare(id, Qt::CaseInsensitive) == 0) {
      tree_->setCurrentItem(*it);
      return true;
    }
  }
  return false;
}

void RegisterCatalogueDialogTexts() {
  TLVLocalization::Instance().RegisterKeys({"SGuiCatalogueTitle", "SGuiAdd"});
}

}  // namespace lv
