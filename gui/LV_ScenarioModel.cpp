#include "gui/LV_ScenarioModel.h"

#include <QApplication>
#include <QStyle>

#include "core/registry/LV_Vendor.h"
#include "core/registry/LV_VendorGroups.h"
#include "gui/LV_GuiText.h"

namespace lv {

namespace {

constexpr std::string_view kStateKeys[] = {"SGuiStateNotRun", "SGuiStateRunning", "SGuiStateDone",
                                           "SGuiStateFailed"};

}  // namespace

QString RunStateText(TLVNodeRunState state) {
  return GuiText(kStateKeys[static_cast<size_t>(state)]);
}

TLVScenarioModel::TLVScenarioModel(TLVProject& project, QObject* parent)
    : QAbstractItemModel(parent), project_(project) {}

TModelTreeNode* TLVScenarioModel::NodeOf(const QModelIndex& index) const {
  return index.isValid() ? static_cast<TModelTreeNode*>(index.internalPointer()) : nullptr;
}

int32_t TLVScenarioModel::RowOf(const TModelTreeNode& node) const {
  if (node.Parent()) return node.Parent()->IndexOf(&node);
  for (int32_t i = 0; i < project_.RootCount(); ++i) {
    if (&project_.Root(i) == &node) return i;
  }
  return -1;
}

QModelIndex TLVScenarioModel::IndexOf(const TModelTreeNode* node, int column) const {
  if (!node) return {};
  const int32_t row = RowOf(*node);
  if (row < 0) return {};
  return createIndex(row, column, const_cast<TModelTreeNode*>(node));
}

TModelTreeNode& TLVScenarioModel::ChildOf(const TModelTreeNode* parent, int32_t row) const {
  return parent ? parent->Child(row) : project_.Root(row);
}

int32_t TLVScenarioModel::ChildCountOf(const TModelTreeNode* parent) const {
  return parent ? parent->ChildCount() : project_.RootCount();
}

QModelIndex TLVScenarioModel::index(int row, int column, const QModelIndex& parent) const {
  const TModelTreeNode* owner = NodeOf(parent);
  if (row < 0 || row >= ChildCountOf(owner) || column < 0 || column >= kColumnCount) return {};
  return createIndex(row, column, &ChildOf(owner, row));
}

QModelIndex TLVScenarioModel::parent(const QModelIndex& child) const {
  const TModelTreeNode* node = NodeOf(child);
  return node ? IndexOf(node->Parent()) : QModelIndex();
}

int TLVScenarioModel::rowCount(const QModelIndex& parent) const {
  if (parent.isValid() && parent.column() != kColCaption) return 0;
  return ChildCountOf(NodeOf(parent));
}

int TLVScenarioModel::columnCount(const QModelIndex&) const {
  return kColumnCount;
}

QIcon TLVScenarioModel::IconOf(const TModelTreeNode& node) const {
  // One standard icon per catalogue, so that imports, handlers and exports are told
  // apart at a glance without shipping pictures of our own.
  QStyle::StandardPixmap pixmap = QStyle::SP_FileIcon;
  switch (node.Vendor().ComponentType()) {
    case TLVComponentType::ctImport:
      pixmap = QStyle::SP_DialogOpenButton;
      break;
    case TLVComponentType::ctAnalytic:
      pixmap = QStyle::SP_FileDialogDetailedView;
      break;
    case TLVComponentType::ctExport:
      pixmap = QStyle::SP_DialogSaveButton;
      break;
    case TLVComponentType::ctView:
      pixmap = QStyle::SP_FileDialogInfoView;
      break;
    default:
      break;
  }
  return QApplication::style()->standardIcon(pixmap);
}

QVariant TLVScenarioModel::data(const QModelIndex& index, int role) const {
  const TModelTreeNode* node = NodeOf(index);
  if (!node) return {};
  const TLVNodeRunState state = State(*node);
  if (role == kStateRole) return static_cast<int>(state);
  if (index.column() == kColState) {
    if (role == Qt::DisplayRole) return RunStateText(state);
    return {};
  }
  switch (role) {
    case Qt::DisplayRole:
      return ToQ(node->DisplayCaption());
    case Qt::EditRole:
      return ToQ(node->GetCaption());
    case Qt::ToolTipRole:
      return ToQ(node->Vendor().Caption() + "\n" + node->Vendor().Hint());
    case Qt::DecorationRole:
      return IconOf(*node);
    default:
      return {};
  }
}

bool TLVScenarioModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  TModelTreeNode* node = NodeOf(index);
  if (!node || role != Qt::EditRole || index.column() != kColCaption) return false;
  const std::string caption = FromQ(value.toString().trimmed());
  if (caption == node->GetCaption()) return true;
  node->SetCaption(caption);
  project_.SetModified(true);
  emit dataChanged(index, index);
  return true;
}

Qt::ItemFlags TLVScenarioModel::flags(const QModelIndex& index) const {
  if (!index.isValid()) return Qt::NoItemFlags;
  Qt::ItemFlags result = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
  if (index.column() == kColCaption) result |= Qt::ItemIsEditable;
  return result;
}

QVariant TLVScenarioModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  return GuiText(section == kColCaption ? "SGuiColumnNode" : "SGuiColumnState");
}

QModelIndex TLVScenarioModel::AddNode(TModelTreeNode* parent, std::string_view vendorID) {
  // What the project would refuse is refused before the model announces a row that
  // would never come: an unknown kind, a parent that offers no table.
  LVComponentVendors().VendorByID(vendorID);
  if (parent && !parent->CanHaveChildren()) RequireDataSource(parent->Handler());
  const int32_t row = ChildCountOf(parent);
  beginInsertRows(IndexOf(parent), row, row);
  TModelTreeNode* node = nullptr;
  try {
    node = &project_.AddNode(parent, vendorID);
  } catch (...) {
    endInsertRows();
    throw;
  }
  endInsertRows();
  return IndexOf(node);
}

bool TLVScenarioModel::RemoveNode(TModelTreeNode& node, ILVProjectUI& ui) {
  std::vector<const TModelTreeNode*> gone;
  node.ForEach([&gone](TModelTreeNode& n) { gone.push_back(&n); });
  // The project asks its question inside the bracket; the tree it shows meanwhile is
  // still the old one, which is what the model answers until the bracket closes.
  beginResetModel();
  bool closed = false;
  try {
    closed = project_.CloseNode(node, ui);
  } catch (...) {
    endResetModel();
    throw;
  }
  if (closed) {
    for (const TModelTreeNode* n : gone) states_.erase(n);
  }
  endResetModel();
  return closed;
}

bool TLVScenarioModel::MoveNode(TModelTreeNode& node, TModelTreeNode* newParent, ILVProjectUI& ui) {
  beginResetModel();
  bool moved = false;
  try {
    moved = project_.MoveBranch(node, newParent, ui);
  } catch (...) {
    endResetModel();
    throw;
  }
  endResetModel();
  if (moved) ResetStates(node);
  return moved;
}

void TLVScenarioModel::Reload() {
  beginResetModel();
  states_.clear();
  endResetModel();
}

TLVNodeRunState TLVScenarioModel::State(const TModelTreeNode& node) const {
  auto it = states_.find(&node);
  return it == states_.end() ? TLVNodeRunState::nrsNotRun : it->second;
}

void TLVScenarioModel::SetState(const TModelTreeNode& node, TLVNodeRunState state) {
  states_[&node] = state;
  const QModelIndex first = IndexOf(&node, kColCaption);
  emit dataChanged(first, IndexOf(&node, kColState));
}

void TLVScenarioModel::ResetStates(TModelTreeNode& node) {
  node.ForEach([this](TModelTreeNode& n) { SetState(n, TLVNodeRunState::nrsNotRun); });
}

void RegisterScenarioModelTexts() {
  TLVLocalization::Instance().RegisterKeys({"SGuiStateNotRun", "SGuiStateRunning", "SGuiStateDone",
                                            "SGuiStateFailed", "SGuiColumnNode",
                                            "SGuiColumnState"});
}

}  // namespace lv
