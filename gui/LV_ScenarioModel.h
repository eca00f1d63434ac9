// The scenario tree of an open project as a Qt item model: one row per node with its
// caption (editable: renaming), its kind's short description as the tool tip, an icon
// by the kind's catalogue, and a second column with the node's run state.
//
// The model refers to the project and its nodes; every change of the tree's shape must
// go through the model (AddNode, RemoveNode, MoveNode, Reload) so that views stay in
// step. Node states are kept here, not in the engine: they describe runs the shell
// started. UI thread only.
#pragma once

#include <QAbstractItemModel>
#include <QIcon>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "project/LV_Project.h"

namespace lv {

enum class TLVNodeRunState : uint8_t { nrsNotRun, nrsRunning, nrsDone, nrsFailed };

class TLVScenarioModel : public QAbstractItemModel {
  Q_OBJECT

 public:
  enum TColumn : int32_t { kColCaption, kColState, kColumnCount };
  // The node's TLVNodeRunState as an int.
  static constexpr int kStateRole = Qt::UserRole + 1;

  explicit TLVScenarioModel(TLVProject& project, QObject* parent = nullptr);

  TLVProject& Project() const { return project_; }
  TModelTreeNode* NodeOf(const QModelIndex& index) const;
  QModelIndex IndexOf(const TModelTreeNode* node, int column = kColCaption) const;

  // A new node of kind `vendorID` under `parent` (a root when null). Raises the
  // engine's message (the parent offers no table) and changes nothing then.
  QModelIndex AddNode(TModelTreeNode* parent, std::string_view vendorID);
  // Closes the node and its descendants after the project asked `ui`.
  bool RemoveNode(TModelTreeNode& node, ILVProjectUI& ui);
  // Moves the branch of `node` under `newParent` (a root when null) after asking `ui`.
  bool MoveNode(TModelTreeNode& node, TModelTreeNode* newParent, ILVProjectUI& ui);
  // After the project was opened or closed: everything is read anew, states reset.
  void Reload();

  TLVNodeRunState State(const TModelTreeNode& node) const;
  void SetState(const TModelTreeNode& node, TLVNodeRunState state);
  // Back to "not run" for `node` and its descendants (their tables are out of date).
  void ResetStates(TModelTreeNode& node);

  // QAbstractItemModel
  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;

 private:
  TModelTreeNode& ChildOf(const TModelTreeNode* parent, int32_t row) const;
  int32_t ChildCountOf(const TModelTreeNode* parent) const;
  int32_t RowOf(const TModelTreeNode& node) const;
  QIcon IconOf(const TModelTreeNode& node) const;

  TLVProject& project_;
  std::unordered_map<const TModelTreeNode*, TLVNodeRunState> states_;
};

// The text of a run state ("Не выполнялся", ...).
QString RunStateText(TLVNodeRunState state);

void RegisterScenarioModelTexts();

}  // namespace lv
