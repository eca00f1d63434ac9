// The main window: the scenario tree of the open project on the left; the selected
// node's table, its column statistics and the run log on the right; the progress of a
// run with its stage and a cancel button in the status bar.
//
// Everything a user does is an action (menus, tool bar, shortcuts) and is also callable
// here, so that tests drive the window as a user would. Nodes run on the runner's
// worker thread; while it works, the editing actions are disabled and the views are
// detached from the engine, so that only the worker touches the nodes. Questions and
// password prompts go through an ILVProjectUI (dialogs unless a test supplies its own).
// UI thread only.
#pragma once

#include <QMainWindow>
#include <QString>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gui/LV_NodeRunner.h"
#include "gui/LV_RecentProjects.h"
#include "gui/LV_ScenarioModel.h"
#include "gui/LV_StatsModel.h"
#include "gui/LV_TableModel.h"
#include "project/LV_Project.h"

class QAction;
class QLabel;
class QMenu;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QSettings;
class QStackedWidget;
class QTabWidget;
class QTableView;
class QTreeView;

namespace lv {

class TLVMainWindow : public QMainWindow {
  Q_OBJECT

 public:
  // `settings` keeps the recent projects (not owned; must outlive the window).
  explicit TLVMainWindow(QSettings& settings, QWidget* parent = nullptr);
  ~TLVMainWindow() override;

  TLVProject& Project() { return project_; }
  TLVScenarioModel& Scenario() { return scenario_; }
  TLVTableModel& Table() { return table_; }
  TLVStatsModel& Stats() { return stats_; }
  TLVNodeRunner& Runner() { return runner_; }
  QTreeView* Tree() const { return tree_; }
  QTabWidget* Views() const { return views_; }
  QPlainTextEdit* Log() const { return log_; }
  const TLVRecentProjects& Recent() const { return recent_; }
  // The action called `name` (its object name: "actSave", "actRun", ...).
  QAction* Action(const QString& name) const;
  // Replaces the dialogs that ask questions and passwords (tests); null restores them.
  void SetProjectUI(ILVProjectUI* ui);

  bool OpenProject(const QString& file);
  bool SaveProject(const QString& file = {});
  void NewProject();
  TModelTreeNode* SelectedNode() const;
  void SelectNode(const TModelTreeNode* node);
  // A node of kind `vendorID` under the selected node (a root when none is selected);
  // the new node is selected. Null, with the message shown, when it cannot be added.
  TModelTreeNode* AddNode(const std::string& vendorID);
  bool RunSelected();
  bool RunAll(bool teach = false);
  // Shows the selected node's column statistics, computed on the worker.
  bool ComputeStats();
  bool Busy() const { return runner_.Running() || busy_; }

 signals:
  // A run or a statistics task ended and the window is ready again.
  void Idle();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  QAction* MakeAction(const char* name, const char* textKey, const QKeySequence& shortcut,
                      void (TLVMainWindow::*slot)());
  void BuildActions();
  void BuildMenus();
  void BuildViews();
  void UpdateTitle();
  void UpdateActions();
  void UpdateRecentMenu();
  void ShowSelected();
  void SetBusy(bool busy);
  bool StartRun(std::vector<TModelTreeNode*> branches, bool teach);
  void AppendLog(const QString& line);
  // Asks whether to save unsaved changes; false when the user cancelled.
  bool MaybeSave();
  ILVProjectUI& UI();

  void OnNew() {
    if (MaybeSave()) NewProject();
  }
  void OnQuit() { close(); }
  void OnOpen();
  void OnSave();
  void OnSaveAs();
  void OnAddNode();
  void OnSettings();
  void OnRename();
  void OnDelete();
  void OnMove();
  void OnRunNode() { RunSelected(); }
  void OnRunAll() { RunAll(false); }
  void OnTeachAll() { RunAll(true); }
  void OnCancel() { runner_.Cancel(); }
  void OnStats() { ComputeStats(); }
  void OnNodeStarted(TModelTreeNode* node);
  void OnNodeFinished(TModelTreeNode* node, bool succeeded, const QString& message, qint64 rows);
  void OnProgress(const QString& caption, int percent);
  void OnFinished(bool cancelled);

  TLVProject project_;
  TLVScenarioModel scenario_;
  TLVTableModel table_;
  TLVStatsModel stats_;
  TLVNodeRunner runner_;
  TLVRecentProjects recent_;
  std::unique_ptr<ILVProjectUI> dialogs_;
  ILVProjectUI* ui_ = nullptr;
  std::map<QString, QAction*> actions_;
  QMenu* recentMenu_ = nullptr;
  QTreeView* tree_ = nullptr;
  QTabWidget* views_ = nullptr;
  QStackedWidget* tablePage_ = nullptr;
  QLabel* tableNote_ = nullptr;
  QTableView* tableView_ = nullptr;
  QTableView* statsView_ = nullptr;
  QPlainTextEdit* log_ = nullptr;
  QProgressBar* progress_ = nullptr;
  QLabel* stage_ = nullptr;
  QPushButton* cancel_ = nullptr;
  bool busy_ = false;
  // Statistics computed by the worker, taken over when it finishes.
  std::shared_ptr<std::vector<TLVStatsModel::TColumnStats>> pendingStats_;
};

void RegisterMainWindowTexts();

}  // namespace lv
