#include "gui/LV_MainWindow.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableView>
#include <QToolBar>
#include <QTreeView>

#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "env/LV_Logger.h"
#include "gui/LV_CatalogueDialog.h"
#include "gui/LV_GuiText.h"
#include "gui/LV_ProjectDialogs.h"
#include "gui/LV_SettingsDialog.h"

namespace lv {

namespace {

// Actions that change the project or read the engine, disabled while the worker runs.
constexpr const char* kEditingActions[] = {
    "actNew",    "actOpen", "actSave", "actSaveAs", "actAdd",      "actSettings", "actRename",
    "actDelete", "actMove", "actRun",  "actRunAll", "actTeachAll", "actStats"};
constexpr int kTabTable = 0;
constexpr int kTabStats = 1;
constexpr int kTabLog = 2;

}  // namespace

TLVMainWindow::TLVMainWindow(QSettings& settings, QWidget* parent)
    : QMainWindow(parent),
      scenario_(project_),
      recent_(settings),
      dialogs_(std::make_unique<TLVDialogProjectUI>(this)) {
  ui_ = dialogs_.get();
  BuildActions();
  BuildMenus();
  BuildViews();
  connect(&runner_, &TLVNodeRunner::NodeStarted, this, &TLVMainWindow::OnNodeStarted);
  connect(&runner_, &TLVNodeRunner::NodeFinished, this, &TLVMainWindow::OnNodeFinished);
  connect(&runner_, &TLVNodeRunner::Progress, this, &TLVMainWindow::OnProgress);
  connect(&runner_, &TLVNodeRunner::TaskFailed, this,
          [this](const QString& message) { AppendLog(message); });
  connect(&runner_, &TLVNodeRunner::Finished, this, &TLVMainWindow::OnFinished);
  // The engine's own log lines (a line of a file that could not be read, ...) come
  // from the worker; they are handed to the log pane on this thread.
  LVRunLog().SetOnEcho([this](const std::string& line) {
    QMetaObject::invokeMethod(
        log_, [this, text = ToQ(line)] { log_->appendPlainText(text); }, Qt::QueuedConnection);
  });
  UpdateTitle();
  UpdateActions();
  resize(1100, 680);
}

TLVMainWindow::~TLVMainWindow() {
  runner_.Cancel();
  runner_.Wait();
  LVRunLog().SetOnEcho({});
  table_.SetSource(nullptr);
}

QAction* TLVMainWindow::MakeAction(const char* name, const char* textKey,
                                   const QKeySequence& shortcut, void (TLVMainWindow::*slot)()) {
  auto* action = new QAction(GuiText(textKey), this);
  action->setObjectName(QString::fromLatin1(name));
  if (!shortcut.isEmpty()) action->setShortcut(shortcut);
  connect(action, &QAction::triggered, this, slot);
  actions_[action->objectName()] = action;
  return action;
}

void TLVMainWindow::BuildActions() {
  MakeAction("actNew", "SGuiActNew", QKeySequence::New, &TLVMainWindow::OnNew);
  MakeAction("actOpen", "SGuiActOpen", QKeySequence::Open, &TLVMainWindow::OnOpen);
  MakeAction("actSave", "SGuiActSave", QKeySequence::Save, &TLVMainWindow::OnSave);
  MakeAction("actSaveAs", "SGuiActSaveAs", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S),
             &TLVMainWindow::OnSaveAs);
  MakeAction("actQuit", "SGuiActQuit", QKeySequence(Qt::CTRL | Qt::Key_Q), &TLVMainWindow::OnQuit);
  MakeAction("actAdd", "SGuiActAdd", QKeySequence(Qt::Key_Insert), &TLVMainWindow::OnAddNode);
  MakeAction("actSettings", "SGuiActSettings", QKeySequence(Qt::CTRL | Qt::Key_Return),
             &TLVMainWindow::OnSettings);
  MakeAction("actRename", "SGuiActRename", QKeySequence(Qt::Key_F2), &TLVMainWindow::OnRename);
  MakeAction("actDelete", "SGuiActDelete", QKeySequence::Delete, &TLVMainWindow::OnDelete);
  MakeAction("actMove", "SGuiActMove", QKeySequence(Qt::CTRL | Qt::Key_M), &TLVMainWindow::OnMove);
  MakeAction("actRun", "SGuiActRun", QKeySequence(Qt::Key_F5), &TLVMainWindow::OnRunNode);
  MakeAction("actRunAll", "SGuiActRunAll", QKeySequence(Qt::CTRL | Qt::Key_F5),
             &TLVMainWindow::OnRunAll);
  MakeAction("actTeachAll", "SGuiActTeachAll", QKeySequence(Qt::SHIFT | Qt::Key_F5),
             &TLVMainWindow::OnTeachAll);
  MakeAction("actCancel", "SGuiActCancel", QKeySequence(Qt::Key_Escape), &TLVMainWindow::OnCancel);
  MakeAction("actStats", "SGuiActStats", QKeySequence(Qt::Key_F7), &TLVMainWindow::OnStats);
}

QAction* TLVMainWindow::Action(const QString& name) const {
  auto found = actions_.find(name);
  return found == actions_.end() ? nullptr : found->second;
}

void TLVMainWindow::BuildMenus() {
  QMenu* file = menuBar()->addMenu(GuiText("SGuiMenuFile"));
  file->addActions({Action("actNew"), Action("actOpen"), Action("actSave"), Action("actSaveAs")});
  recentMenu_ = file->addMenu(GuiText("SGuiMenuRecent"));
  file->addSeparator();
  file->addAction(Action("actQuit"));
  QMenu* node = menuBar()->addMenu(GuiText("SGuiMenuNode"));
  node->addActions({Action("actAdd"), Action("actSettings"), Action("actRename"), Action("actMove"),
                    Action("actDelete")});
  QMenu* run = menuBar()->addMenu(GuiText("SGuiMenuRun"));
  run->addActions({Action("actRun"), Action("actRunAll"), Action("actTeachAll")});
  run->addSeparator();
  run->addAction(Action("actCancel"));
  QMenu* view = menuBar()->addMenu(GuiText("SGuiMenuView"));
  view->addAction(Action("actStats"));
  QToolBar* bar = addToolBar(GuiText("SGuiMenuFile"));
  bar->setObjectName(QStringLiteral("mainToolBar"));
  bar->addActions({Action("actOpen"), Action("actSave")});
  bar->addSeparator();
  bar->addActions({Action("actAdd"), Action("actSettings"), Action("actDelete")});
  bar->addSeparator();
  bar->addActions({Action("actRun"), Action("actRunAll"), Action("actCancel")});
  UpdateRecentMenu();
}

void TLVMainWindow::BuildViews() {
  auto* splitter = new QSplitter(this);
  tree_ = new QTreeView(splitter);
  tree_->setModel(&scenario_);
  tree_->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked);
  tree_->header()->setSectionResizeMode(TLVScenarioModel::kColCaption, QHeaderView::Stretch);
  tree_->header()->setStretchLastSection(false);
  tree_->header()->setSectionResizeMode(TLVScenarioModel::kColState, QHeaderView::ResizeToContents);
  connect(tree_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] {
    UpdateActions();
    if (!Busy()) ShowSelected();
  });
  connect(tree_, &QTreeView::doubleClicked, this, [this] { OnSettings(); });
  // Captions edited in place change the project too.
  connect(&scenario_, &QAbstractItemModel::dataChanged, this, [this] { UpdateTitle(); });

  views_ = new QTabWidget(splitter);
  tablePage_ = new QStackedWidget(views_);
  tableNote_ = new QLabel(tablePage_);
  tableNote_->setAlignment(Qt::AlignCenter);
  tableNote_->setWordWrap(true);
  tableView_ = new QTableView(tablePage_);
  tableView_->setModel(&table_);
  tableView_->setSortingEnabled(true);
  tableView_->horizontalHeader()->setSortIndicatorShown(true);
  // Sorting starts only when the user clicks a header, not when the model is set.
  tableView_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
  tableView_->verticalHeader()->setDefaultSectionSize(tableView_->fontMetrics().height() + 6);
  tablePage_->addWidget(tableNote_);
  tablePage_->addWidget(tableView_);
  views_->insertTab(kTabTable, tablePage_, GuiText("SGuiTabTable"));
  statsView_ = new QTableView(views_);
  statsView_->setModel(&stats_);
  views_->insertTab(kTabStats, statsView_, GuiText("SGuiTabStats"));
  log_ = new QPlainTextEdit(views_);
  log_->setReadOnly(true);
  views_->insertTab(kTabLog, log_, GuiText("SGuiTabLog"));
  splitter->addWidget(tree_);
  splitter->addWidget(views_);
  splitter->setStretchFactor(1, 3);
  splitter->setSizes({430, 670});
  setCentralWidget(splitter);

  stage_ = new QLabel(this);
  progress_ = new QProgressBar(this);
  progress_->setMaximumWidth(220);
  cancel_ = new QPushButton(GuiText("SGuiActCancel"), this);
  connect(cancel_, &QPushButton::clicked, this, &TLVMainWindow::OnCancel);
  statusBar()->addWidget(stage_, 1);
  statusBar()->addPermanentWidget(progress_);
  statusBar()->addPermanentWidget(cancel_);
  progress_->hide();
  cancel_->hide();
  ShowSelected();
}

void TLVMainWindow::SetProjectUI(ILVProjectUI* ui) {
  ui_ = ui ? ui : dialogs_.get();
}

ILVProjectUI& TLVMainWindow::UI() {
  return *ui_;
}

void TLVMainWindow::UpdateTitle() {
  const QString file = project_.FileName().empty()
                           ? GuiText("SGuiUntitled")
                           : QFileInfo(ToQ(project_.FileName().string())).fileName();
  setWindowTitle(GuiText("SGuiWindowTitle", {FromQ(file)}) + QStringLiteral("[*]"));
  setWindowModified(project_.Modified());
}

void TLVMainWindow::UpdateActions() {
  const bool busy = Busy();
  TModelTreeNode* node = SelectedNode();
  for (const char* name : kEditingActions) Action(QString::fromLatin1(name))->setEnabled(!busy);
  if (!busy) {
    for (const char* name :
         {"actSettings", "actRename", "actDelete", "actMove", "actRun", "actStats"}) {
      Action(QString::fromLatin1(name))->setEnabled(node != nullptr);
    }
    Action(QStringLiteral("actRunAll"))->setEnabled(project_.RootCount() > 0);
    Action(QStringLiteral("actTeachAll"))->setEnabled(project_.RootCount() > 0);
  }
  Action(QStringLiteral("actCancel"))->setEnabled(busy);
  tree_->setEditTriggers(busy ? QAbstractItemView::NoEditTriggers
                              : QAbstractItemView::EditKeyPressed |
                                    QAbstractItemView::SelectedClicked);
}

void TLVMainWindow::UpdateRecentMenu() {
  recentMenu_->clear();
  for (const QString& file : recent_.Files()) {
    QAction* action = recentMenu_->addAction(QFileInfo(file).fileName());
    action->setToolTip(file);
    connect(action, &QAction::triggered, this, [this, file] {
      if (MaybeSave()) OpenProject(file);
    });
  }
  recentMenu_->setEnabled(!recent_.Files().isEmpty());
}

void TLVMainWindow::AppendLog(const QString& line) {
  log_->appendPlainText(
      QDateTime::currentDateTime().toString(QStringLiteral("dd.MM.yyyy hh:mm:ss")) +
      QStringLiteral("  ") + line);
}

TModelTreeNode* TLVMainWindow::SelectedNode() const {
  return scenario_.NodeOf(tree_->currentIndex());
}

void TLVMainWindow::SelectNode(const TModelTreeNode* node) {
  tree_->setCurrentIndex(scenario_.IndexOf(node));
}

void TLVMainWindow::ShowSelected() {
  stats_.SetStats({});
  TModelTreeNode* node = SelectedNode();
  std::shared_ptr<ILVDataSource> source = node ? node->Handler().GetDataSourceIntf() : nullptr;
  // Only a node that has run is shown: opening one that has not would read its whole
  // input on this thread.
  if (!source || scenario_.State(*node) != TLVNodeRunState::nrsDone) {
    table_.SetSource(nullptr);
    tableNote_->setText(!node     ? GuiText("SGuiNoNodeSelected")
                        : !source ? GuiText("SGuiNodeHasNoTable")
                                  : GuiText("SGuiNodeNotRun"));
    tablePage_->setCurrentWidget(tableNote_);
    return;
  }
  try {
    table_.SetSource(source);
    tableView_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    // Sized by the rows on the screen only, so a long table costs nothing more.
    tableView_->resizeColumnsToContents();
    tablePage_->setCurrentWidget(tableView_);
  } catch (const std::exception& e) {
    tableNote_->setText(ToQ(e.what()));
    tablePage_->setCurrentWidget(tableNote_);
  }
}

void TLVMainWindow::SetBusy(bool busy) {
  busy_ = busy;
  if (busy) {
    // The worker is about to read the nodes; the views let go of them first.
    table_.SetSource(nullptr);
    tableNote_->setText(GuiText("SGuiRunning"));
    tablePage_->setCurrentWidget(tableNote_);
  }
  progress_->setVisible(busy);
  cancel_->setVisible(busy);
  if (!busy) stage_->clear();
  UpdateActions();
}

bool TLVMainWindow::MaybeSave() {
  if (!project_.Modified()) return true;
  const auto answer = QMessageBox::question(
      this, GuiText("SGuiAppTitle"),
      GuiText("SGuiSaveChanges", {FromQ(windowTitle().remove(QStringLiteral("[*]")))}),
      QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel);
  if (answer == QMessageBox::Cancel) return false;
  if (answer == QMessageBox::Save) return SaveProject();
  return true;
}

void TLVMainWindow::NewProject() {
  if (Busy()) return;
  table_.SetSource(nullptr);
  project_.Close();
  scenario_.Reload();
  UpdateTitle();
  UpdateActions();
  ShowSelected();
}

bool TLVMainWindow::OpenProject(const QString& file) {
  if (Busy()) return false;
  table_.SetSource(nullptr);
  bool opened = true;
  try {
    project_.Open(std::filesystem::path(FromQ(file)), UI());
    recent_.Add(file);
    AppendLog(GuiText("SGuiProjectOpened", {FromQ(file)}));
  } catch (const std::exception& e) {
    // Opening closes what failed to open; the message says why.
    UI().Warning(e.what());
    AppendLog(ToQ(e.what()));
    opened = false;
  }
  scenario_.Reload();
  tree_->expandAll();
  if (project_.RootCount() > 0) SelectNode(&project_.Root(0));
  UpdateRecentMenu();
  UpdateTitle();
  UpdateActions();
  ShowSelected();
  return opened;
}

bool TLVMainWindow::SaveProject(const QString& file) {
  if (Busy()) return false;
  if (file.isEmpty() && project_.FileName().empty()) {
    const QString chosen = QFileDialog::getSaveFileName(this, GuiText("SGuiActSaveAs"), {},
                                                        GuiText("SGuiProjectFilter"));
    if (chosen.isEmpty()) return false;
    return SaveProject(chosen);
  }
  try {
    project_.Save(std::filesystem::path(FromQ(file)));
  } catch (const std::exception& e) {
    UI().Warning(e.what());
    AppendLog(ToQ(e.what()));
    return false;
  }
  if (!file.isEmpty()) recent_.Add(file);
  UpdateRecentMenu();
  UpdateTitle();
  return true;
}

void TLVMainWindow::OnOpen() {
  if (!MaybeSave()) return;
  const QString file =
      QFileDialog::getOpenFileName(this, GuiText("SGuiActOpen"), {}, GuiText("SGuiProjectFilter"));
  if (!file.isEmpty()) OpenProject(file);
}

void TLVMainWindow::OnSave() {
  SaveProject();
}

void TLVMainWindow::OnSaveAs() {
  const QString file =
      QFileDialog::getSaveFileName(this, GuiText("SGuiActSaveAs"),
                                   ToQ(project_.FileName().string()), GuiText("SGuiProjectFilter"));
  if (!file.isEmpty()) SaveProject(file);
}

TModelTreeNode* TLVMainWindow::AddNode(const std::string& vendorID) {
  if (Busy()) return nullptr;
  TModelTreeNode* parent = SelectedNode();
  try {
    const QModelIndex added = scenario_.AddNode(parent, vendorID);
    tree_->expand(added.parent());
    tree_->setCurrentIndex(added);
  } catch (const std::exception& e) {
    UI().Warning(e.what());
    return nullptr;
  }
  UpdateTitle();
  return SelectedNode();
}

void TLVMainWindow::OnAddNode() {
  TLVCatalogueDialog catalogue(SelectedNode(), this);
  if (catalogue.exec() != QDialog::Accepted) return;
  TModelTreeNode* node = AddNode(catalogue.SelectedVendorID());
  if (node) OnSettings();
}

void TLVMainWindow::OnSettings() {
  TModelTreeNode* node = SelectedNode();
  if (!node || Busy()) return;
  TLVSettingsDialog dialog(project_, *node, this);
  if (dialog.exec() == QDialog::Accepted && dialog.Settings().Changes() > 0) {
    // The node's table and those below it are out of date now.
    scenario_.ResetStates(*node);
    ShowSelected();
  }
  UpdateTitle();
}

void TLVMainWindow::OnRename() {
  if (!Busy()) tree_->edit(tree_->currentIndex().siblingAtColumn(TLVScenarioModel::kColCaption));
}

void TLVMainWindow::OnDelete() {
  TModelTreeNode* node = SelectedNode();
  if (!node || Busy()) return;
  table_.SetSource(nullptr);
  scenario_.RemoveNode(*node, UI());
  UpdateTitle();
  UpdateActions();
  ShowSelected();
}

void TLVMainWindow::OnMove() {
  TModelTreeNode* node = SelectedNode();
  if (!node || Busy()) return;
  // The possible new parents: the root level and every node outside the branch that
  // offers a table.
  std::vector<TModelTreeNode*> targets{nullptr};
  QStringList names{GuiText("SGuiMoveToRoot")};
  std::vector<const TModelTreeNode*> branch;
  node->ForEach([&branch](TModelTreeNode& n) { branch.push_back(&n); });
  project_.ForEachNode([&](TModelTreeNode& n) {
    if (std::find(branch.begin(), branch.end(), &n) != branch.end() || !n.CanHaveChildren()) return;
    targets.push_back(&n);
    names << ToQ(n.DisplayCaption());
  });
  bool chosen = false;
  const QString target = QInputDialog::getItem(this, GuiText("SGuiActMove"), GuiText("SGuiMoveTo"),
                                               names, 0, false, &chosen);
  if (!chosen) return;
  table_.SetSource(nullptr);
  try {
    scenario_.MoveNode(*node, targets.at(static_cast<size_t>(names.indexOf(target))), UI());
  } catch (const std::exception& e) {
    UI().Warning(e.what());
  }
  tree_->expandAll();
  SelectNode(node);
  UpdateTitle();
}

bool TLVMainWindow::StartRun(std::vector<TModelTreeNode*> branches, bool teach) {
  if (Busy() || branches.empty()) return false;
  SetBusy(true);
  views_->setCurrentIndex(kTabLog);
  if (!runner_.Start(std::move(branches), teach)) {
    SetBusy(false);
    return false;
  }
  return true;
}

bool TLVMainWindow::RunSelected() {
  TModelTreeNode* node = SelectedNode();
  return node && StartRun({node}, false);
}

bool TLVMainWindow::RunAll(bool teach) {
  std::vector<TModelTreeNode*> roots;
  for (int32_t i = 0; i < project_.RootCount(); ++i) roots.push_back(&project_.Root(i));
  return StartRun(std::move(roots), teach);
}

bool TLVMainWindow::ComputeStats() {
  TModelTreeNode* node = SelectedNode();
  if (!node || Busy() || scenario_.State(*node) != TLVNodeRunState::nrsDone) return false;
  std::shared_ptr<ILVDataSource> source = node->Handler().GetDataSourceIntf();
  if (!source) return false;
  SetBusy(true);
  auto result = std::make_shared<std::vector<TLVStatsModel::TColumnStats>>();
  pendingStats_ = result;
  return runner_.StartTask([source, result](ILVProgress& progress) {
    *result = TLVStatsModel::Compute(*source, progress);
  });
}

void TLVMainWindow::OnNodeStarted(TModelTreeNode* node) {
  scenario_.SetState(*node, TLVNodeRunState::nrsRunning);
  AppendLog(GuiText("SGuiNodeStarted", {node->DisplayCaption()}));
}

void TLVMainWindow::OnNodeFinished(TModelTreeNode* node, bool succeeded, const QString& message,
                                   qint64 rows) {
  scenario_.SetState(*node, succeeded ? TLVNodeRunState::nrsDone : TLVNodeRunState::nrsFailed);
  if (succeeded) {
    AppendLog(rows >= 0 ? GuiText("SGuiNodeDoneRows", {node->DisplayCaption(), rows})
                        : GuiText("SGuiNodeDone", {node->DisplayCaption()}));
    return;
  }
  const QString text = GuiText("SGuiNodeFailed", {node->DisplayCaption(), FromQ(message)});
  AppendLog(text);
  stage_->setText(text);
}

void TLVMainWindow::OnProgress(const QString& caption, int percent) {
  stage_->setText(caption);
  if (percent < 0) {
    progress_->setRange(0, 0);
  } else {
    progress_->setRange(0, 100);
    progress_->setValue(percent);
  }
}

void TLVMainWindow::OnFinished(bool cancelled) {
  runner_.Wait();
  SetBusy(false);
  if (cancelled) {
    AppendLog(GuiText("SGuiRunCancelled"));
    pendingStats_.reset();
  }
  ShowSelected();
  if (pendingStats_) {
    stats_.SetStats(std::move(*pendingStats_));
    pendingStats_.reset();
    statsView_->resizeColumnsToContents();
    views_->setCurrentIndex(kTabStats);
  } else if (!cancelled && table_.Source()) {
    views_->setCurrentIndex(kTabTable);
  }
  emit Idle();
}

void TLVMainWindow::closeEvent(QCloseEvent* event) {
  if (runner_.Running()) {
    runner_.Cancel();
    runner_.Wait();
  }
  if (!MaybeSave()) {
    event->ignore();
    return;
  }
  event->accept();
}

void RegisterMainWindowTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"SGuiActNew",      "SGuiActOpen",        "SGuiActSave",        "SGuiActSaveAs",
       "SGuiActQuit",     "SGuiActAdd",         "SGuiActSettings",    "SGuiActRename",
       "SGuiActDelete",   "SGuiActMove",        "SGuiActRun",         "SGuiActRunAll",
       "SGuiActTeachAll", "SGuiActCancel",      "SGuiActStats",       "SGuiMenuFile",
       "SGuiMenuRecent",  "SGuiMenuNode",       "SGuiMenuRun",        "SGuiMenuView",
       "SGuiTabTable",    "SGuiTabStats",       "SGuiTabLog",         "SGuiUntitled",
       "SGuiWindowTitle", "SGuiNoNodeSelected", "SGuiNodeHasNoTable", "SGuiNodeNotRun",
       "SGuiRunning",     "SGuiSaveChanges",    "SGuiProjectOpened",  "SGuiProjectFilter",
       "SGuiMoveToRoot",  "SGuiMoveTo",         "SGuiNodeStarted",    "SGuiNodeDoneRows",
       "SGuiNodeDone",    "SGuiNodeFailed"});
}

}  // namespace lv
