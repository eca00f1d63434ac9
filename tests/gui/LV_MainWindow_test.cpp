#include "gui/LV_MainWindow.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSettings>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTest>
#include <QTreeView>
#include <fstream>

#include "gui/LV_SettingsDialog.h"
#include "project/LV_ProjectTestHelpers.h"

namespace lv {
namespace {

using test::TRecordingUI;
using test::TTempFolder;

// A window as the program makes it, with its settings in the test's folder and its
// questions answered by script.
class MainWindowTest : public testing::Test {
 protected:
  MainWindowTest()
      : settings_(QString::fromStdString((folder_.Path() / "settings.ini").string()),
                  QSettings::IniFormat),
        window_(settings_) {
    window_.SetProjectUI(&ui_);
  }

  // Runs what `start` starts and waits until the window is ready again.
  void RunAndWait(const std::function<bool()>& start) {
    QSignalSpy idle(&window_, &TLVMainWindow::Idle);
    ASSERT_TRUE(start());
    EXPECT_TRUE(window_.Busy());
    ASSERT_TRUE(idle.wait(60000));
    EXPECT_FALSE(window_.Busy());
  }

  TLVNodeRunState State(const TModelTreeNode* node) { return window_.Scenario().State(*node); }

  TTempFolder folder_;
  QSettings settings_;
  TRecordingUI ui_;
  TLVMainWindow window_;
};

TEST_F(MainWindowTest, BuildsRunsAndShowsAScenarioAsAUserWould) {
  const auto csv = folder_.Path() / "sales.csv";
  std::ofstream(csv) << "Item;Amount\nчай;10,5\nкофе;\nсахар;3\n";

  TModelTreeNode* import = window_.AddNode("TextFile");
  ASSERT_NE(import, nullptr);
  {
    TLVSettingsDialog dialog(window_.Project(), *import);
    dialog.Editor("FileName")
        ->findChild<QLineEdit*>()
        ->setText(QString::fromStdString(csv.string()));
    auto* delimiter = qobject_cast<QComboBox*>(dialog.Editor("Delimiter"));
    delimiter->setCurrentIndex(delimiter->findData(QStringLiteral("dtSemicolon")));
    ASSERT_TRUE(dialog.ApplyEdits()) << dialog.ErrorText().toStdString();
  }
  TModelTreeNode* calc = window_.AddNode("Calc");
  ASSERT_NE(calc, nullptr);
  EXPECT_EQ(calc->Parent(), import);
  {
    // The calculator's expressions are a collection: one row of its table.
    TLVSettingsDialog dialog(window_.Project(), *calc);
    QTableWidget* expressions = dialog.CollectionTable("Expressions");
    ASSERT_NE(expressions, nullptr);
    expressions->setRowCount(1);
    for (int c = 0; c < expressions->columnCount(); ++c) {
      const QString header = expressions->horizontalHeaderItem(c)->text();
      if (header == QStringLiteral("Name"))
        expressions->setItem(0, c, new QTableWidgetItem("Twice"));
      if (header == QStringLiteral("Expression")) {
        expressions->setItem(0, c, new QTableWidgetItem(QStringLiteral("Amount*2")));
      }
    }
    ASSERT_TRUE(dialog.ApplyEdits()) << dialog.ErrorText().toStdString();
  }
  EXPECT_TRUE(window_.Project().Modified());
  EXPECT_TRUE(window_.isWindowModified());

  window_.SelectNode(import);
  RunAndWait([&] { return window_.RunAll(); });
  EXPECT_EQ(State(import), TLVNodeRunState::nrsDone);
  EXPECT_EQ(State(calc), TLVNodeRunState::nrsDone) << window_.Log()->toPlainText().toStdString();
  EXPECT_TRUE(window_.Log()->toPlainText().contains(QString::fromUtf8("строк: 3")));

  // The selected node's table is shown once the run is over.
  TLVTableModel& table = window_.Table();
  ASSERT_EQ(table.rowCount(), 3);
  EXPECT_EQ(table.headerData(1, Qt::Horizontal).toString(), QStringLiteral("Amount"));
  EXPECT_EQ(table.data(table.index(0, 0)).toString(), QString::fromUtf8("чай"));
  EXPECT_EQ(table.data(table.index(0, 1)).toString(), QString::fromUtf8("10,5"));
  EXPECT_TRUE(table.data(table.index(1, 1), TLVTableModel::kIsNullRole).toBool());

  window_.SelectNode(calc);
  ASSERT_EQ(table.columnCount(), 3);
  EXPECT_EQ(table.data(table.index(0, 2)).toString(), QStringLiteral("21"));

  window_.SelectNode(import);
  RunAndWait([&] { return window_.ComputeStats(); });
  TLVStatsModel& stats = window_.Stats();
  ASSERT_EQ(stats.rowCount(), 2);
  EXPECT_EQ(stats.data(stats.index(1, 0)).toString(), QStringLiteral("Amount"));
  EXPECT_EQ(stats.data(stats.index(1, 2)).toString(), QStringLiteral("3"));        // values
  EXPECT_EQ(stats.data(stats.index(1, 3)).toString(), QStringLiteral("1"));        // missing
  EXPECT_EQ(stats.data(stats.index(1, 6)).toString(), QString::fromUtf8("10,5"));  // maximum
  EXPECT_TRUE(stats.data(stats.index(0, 6)).toString().isEmpty());  // a text has none
}

TEST_F(MainWindowTest, AFailedNodeIsMarkedAndItsChildrenSkipped) {
  TModelTreeNode* import = window_.AddNode("TextFile");
  TLVNodeSettings(window_.Project(), *import)
      .Set("FileName", (folder_.Path() / "missing.csv").string());
  TModelTreeNode* calc = window_.AddNode("Calc");
  window_.SelectNode(import);
  RunAndWait([&] { return window_.RunSelected(); });
  EXPECT_EQ(State(import), TLVNodeRunState::nrsFailed);
  EXPECT_EQ(State(calc), TLVNodeRunState::nrsNotRun);
  const QString log = window_.Log()->toPlainText();
  EXPECT_TRUE(log.contains(QString::fromUtf8("Узел «Текстовый файл»: ошибка.")))
      << log.toStdString();
  EXPECT_TRUE(log.contains(QStringLiteral("missing.csv"))) << log.toStdString();
  EXPECT_EQ(window_.Table().rowCount(), 0);
}

TEST_F(MainWindowTest, CancelStopsARunningNodeAndTheWindowComesBack) {
  window_.AddNode("GuiRows");
  TModelTreeNode* endless = window_.AddNode("GuiEndless");
  QSignalSpy idle(&window_, &TLVMainWindow::Idle);
  ASSERT_TRUE(window_.RunSelected());
  // Editing is off while the worker owns the nodes.
  EXPECT_FALSE(window_.Action(QStringLiteral("actSave"))->isEnabled());
  EXPECT_FALSE(window_.Action(QStringLiteral("actDelete"))->isEnabled());
  EXPECT_TRUE(window_.Action(QStringLiteral("actCancel"))->isEnabled());
  EXPECT_EQ(window_.AddNode("GuiRows"), nullptr);
  // The worker may have started the node before this thread looks.
  ASSERT_TRUE(
      QTest::qWaitFor([&] { return State(endless) == TLVNodeRunState::nrsRunning; }, 10000));
  window_.Action(QStringLiteral("actCancel"))->trigger();
  ASSERT_TRUE(idle.wait(10000));
  EXPECT_EQ(State(endless), TLVNodeRunState::nrsFailed);
  EXPECT_TRUE(window_.Log()->toPlainText().contains(QString::fromUtf8("прервано")));
  EXPECT_TRUE(window_.Action(QStringLiteral("actSave"))->isEnabled());
}

TEST_F(MainWindowTest, SavesReopensAndRemembersRecentProjects) {
  window_.AddNode("GuiRows");
  window_.Tree()->model()->setData(window_.Tree()->currentIndex(), QString::fromUtf8("Строки"));
  const QString file = QString::fromStdString((folder_.Path() / "проект.lvp").string());
  ASSERT_TRUE(window_.SaveProject(file));
  EXPECT_FALSE(window_.isWindowModified());
  EXPECT_TRUE(window_.windowTitle().contains(QString::fromUtf8("проект.lvp")));

  window_.NewProject();
  EXPECT_EQ(window_.Project().RootCount(), 0);
  ASSERT_TRUE(window_.OpenProject(file));
  ASSERT_EQ(window_.Project().RootCount(), 1);
  EXPECT_EQ(window_.Project().Root(0).GetCaption(), "Строки");
  EXPECT_EQ(window_.SelectedNode(), &window_.Project().Root(0));
  ASSERT_FALSE(window_.Recent().Files().isEmpty());
  EXPECT_TRUE(window_.Recent().Files().front().endsWith(QString::fromUtf8("проект.lvp")));

  // A file that is not a project is refused with the engine's message; the window
  // is left with an empty project rather than half of one.
  const auto bad = folder_.Path() / "bad.lvp";
  std::ofstream(bad) << "не проект";
  EXPECT_FALSE(window_.OpenProject(QString::fromStdString(bad.string())));
  ASSERT_FALSE(ui_.warnings.empty());
  EXPECT_EQ(window_.Project().RootCount(), 0);
}

TEST_F(MainWindowTest, ShortcutsAreThoseUsersExpect) {
  EXPECT_EQ(window_.Action(QStringLiteral("actSave"))->shortcut(),
            QKeySequence(QKeySequence::Save));
  EXPECT_EQ(window_.Action(QStringLiteral("actOpen"))->shortcut(),
            QKeySequence(QKeySequence::Open));
  EXPECT_EQ(window_.Action(QStringLiteral("actRun"))->shortcut(), QKeySequence(Qt::Key_F5));
  EXPECT_EQ(window_.Action(QStringLiteral("actDelete"))->shortcut(),
            QKeySequence(QKeySequence::Delete));
  // Node actions wait for a node to act on.
  EXPECT_FALSE(window_.Action(QStringLiteral("actRun"))->isEnabled());
  window_.AddNode("GuiRows");
  EXPECT_TRUE(window_.Action(QStringLiteral("actRun"))->isEnabled());
}

}  // namespace
}  // namespace lv
