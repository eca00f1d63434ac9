// Runs scenario nodes on one worker thread while the window stays responsive.
//
// A run takes a list of branches: each branch's node is run, then its children in tree
// order; a node that fails skips its descendants (they would read what failed), its
// siblings go on. Running a node is what an unattended run does to it: a node with a
// processing phase processes, a node with work of its own executes it, a node that
// offers a table reopens it and counts its rows; with teaching, a node with a model
// retrains it first.
//
// Threads: Start, Cancel and Running are called on the UI thread; the signals are
// emitted from the worker and reach UI-thread receivers queued. While a run goes on the
// caller must not touch the project (the shell disables editing and detaches views);
// the nodes are the worker's until Finished. Cancel is honoured at the engine's next
// progress report, which comes between blocks.
#pragma once

#include <QObject>
#include <QString>
#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

#include "core/columns/LV_Block.h"
#include "core/sources/LV_Progress.h"
#include "project/LV_ModelTree.h"

namespace lv {

// The work of one node (see above): retraining when asked, then the refresh of
// LV_NodeRun.h; its row count when it offers a table.
std::optional<TLVRowIndex> RunScenarioNode(TModelTreeNode& node, ILVProgress* progress, bool teach);

class TLVNodeRunner : public QObject {
  Q_OBJECT

 public:
  explicit TLVNodeRunner(QObject* parent = nullptr);
  ~TLVNodeRunner() override;

  // Starts running `branches`; false (and nothing starts) while a run goes on.
  bool Start(std::vector<TModelTreeNode*> branches, bool teach = false);
  // Starts any other long reading of the engine (statistics) on the worker, with the
  // same progress and cancellation; a failure is reported by TaskFailed. False while
  // a run goes on.
  bool StartTask(std::function<void(ILVProgress&)> task);
  void Cancel() { cancelled_ = true; }
  bool Running() const { return running_; }
  // Waits for the worker (the UI thread, after Finished, or on shutdown).
  void Wait();

 signals:
  void NodeStarted(lv::TModelTreeNode* node);
  // `rows` is -1 when the node offers no table; `message` is empty on success.
  void NodeFinished(lv::TModelTreeNode* node, bool succeeded, QString message, qint64 rows);
  // The innermost stage running and its percentage (-1 when its length is unknown).
  void Progress(QString caption, int percent);
  void TaskFailed(QString message);
  void Finished(bool cancelled);

 private:
  class TProgress;
  // False when the run was cancelled.
  bool RunBranch(TModelTreeNode& node, ILVProgress& progress, bool teach);

  std::thread worker_;
  std::atomic<bool> cancelled_{false};
  std::atomic<bool> running_{false};
};

void RegisterNodeRunnerTexts();

}  // namespace lv

Q_DECLARE_METATYPE(lv::TModelTreeNode*)
