#include "gui/LV_ScenarioModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>

#include "project/LV_ProjectTestHelpers.h"

namespace lv {
namespace {

using test::KeyOf;
using test::TRecordingUI;

// A model over an empty project, checked throughout by Qt's own model tester.
class ScenarioModelTest : public testing::Test {
 protected:
  TLVProject project;
  TLVScenarioModel model{project};
  QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(ScenarioModelTest, ShowsNodesWithCaptionDescriptionAndState) {
  const QModelIndex root = model.AddNode(nullptr, "TextFile");
  TModelTreeNode* import = model.NodeOf(root);
  const QModelIndex child = model.AddNode(import, "Calc");
  model.AddNode(import, "ExportStd");

  EXPECT_EQ(model.rowCount(), 1);
  EXPECT_EQ(model.rowCount(root), 2);
  EXPECT_EQ(model.parent(child), root);
  EXPECT_EQ(model.data(root).toString(), QString::fromUtf8("Текстовый файл"));
  EXPECT_EQ(model.data(child).toString(), QString::fromUtf8("Калькулятор"));
  // The tool tip is the kind's caption and its short description.
  EXPECT_TRUE(
      model.data(child, Qt::ToolTipRole).toString().startsWith(QString::fromUtf8("Калькулятор\n")));
  EXPECT_GT(model.data(child, Qt::ToolTipRole).toString().size(), 12);
  EXPECT_FALSE(model.data(root, Qt::DecorationRole).isNull());

  const QModelIndex state = child.siblingAtColumn(TLVScenarioModel::kColState);
  EXPECT_EQ(model.data(state).toString(), QString::fromUtf8("Не выполнялся"));
  model.SetState(*model.NodeOf(child), TLVNodeRunState::nrsFailed);
  EXPECT_EQ(model.data(state).toString(), QString::fromUtf8("Ошибка"));
  model.SetState(*import, TLVNodeRunState::nrsDone);
  model.ResetStates(*import);
  EXPECT_EQ(model.data(child, TLVScenarioModel::kStateRole).toInt(),
            static_cast<int>(TLVNodeRunState::nrsNotRun));
  EXPECT_EQ(model.data(root, TLVScenarioModel::kStateRole).toInt(),
            static_cast<int>(TLVNodeRunState::nrsNotRun));
}

TEST_F(ScenarioModelTest, RenamingChangesTheCaptionAndMarksTheProject) {
  const QModelIndex root = model.AddNode(nullptr, "TextFile");
  project.SetModified(false);
  EXPECT_TRUE(model.setData(root, QString::fromUtf8("  Продажи ")));
  EXPECT_EQ(model.data(root).toString(), QString::fromUtf8("Продажи"));
  EXPECT_TRUE(project.Modified());
  // An empty caption shows the kind's caption again.
  EXPECT_TRUE(model.setData(root, QString()));
  EXPECT_EQ(model.data(root).toString(), QString::fromUtf8("Текстовый файл"));
  EXPECT_FALSE(model.flags(root.siblingAtColumn(TLVScenarioModel::kColState)) & Qt::ItemIsEditable);
}

TEST_F(ScenarioModelTest, RefusedAdditionLeavesTheTreeAsItWas) {
  TModelTreeNode* import = model.NodeOf(model.AddNode(nullptr, "TextFile"));
  TModelTreeNode* exportNode = model.NodeOf(model.AddNode(import, "ExportStd"));
  // An export offers no table, so nothing can be placed under it.
  EXPECT_EQ(KeyOf([&] { model.AddNode(exportNode, "Calc"); }), "ErrNoDataSourceIntf");
  EXPECT_THROW(model.AddNode(import, "NoSuchKind"), ELVError);
  EXPECT_EQ(model.rowCount(model.IndexOf(exportNode)), 0);
  EXPECT_EQ(model.rowCount(model.IndexOf(import)), 1);
  EXPECT_EQ(project.NodeCount(), 2);
}

TEST_F(ScenarioModelTest, RemovesAndMovesBranchesOnlyWhenTheUserAgrees) {
  TModelTreeNode* first = model.NodeOf(model.AddNode(nullptr, "TextFile"));
  TModelTreeNode* second = model.NodeOf(model.AddNode(nullptr, "TextFile"));
  TModelTreeNode* calc = model.NodeOf(model.AddNode(first, "Calc"));
  model.SetState(*calc, TLVNodeRunState::nrsDone);

  TRecordingUI ui;
  ui.answer = false;
  EXPECT_FALSE(model.MoveNode(*calc, second, ui));
  EXPECT_FALSE(model.RemoveNode(*first, ui));
  EXPECT_EQ(project.NodeCount(), 3);
  EXPECT_EQ(ui.questions.size(), 2u);

  ui.answer = true;
  EXPECT_TRUE(model.MoveNode(*calc, second, ui));
  EXPECT_EQ(model.parent(model.IndexOf(calc)), model.IndexOf(second));
  // A moved node reads another table now: its result is gone.
  EXPECT_EQ(model.State(*calc), TLVNodeRunState::nrsNotRun);
  EXPECT_TRUE(model.RemoveNode(*second, ui));
  EXPECT_EQ(project.NodeCount(), 1);
  EXPECT_EQ(model.rowCount(), 1);
  EXPECT_EQ(model.NodeOf(model.index(0, 0)), first);
}

}  // namespace
}  // namespace lv
