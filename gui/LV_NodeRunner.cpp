#include "gui/LV_NodeRunner.h"

#include <string>

#include <algorithm>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "gui/LV_GuiText.h"
#include "project/LV_NodeRun.h"

namespace lv {

std::optional<TLVRowIndex> RunScenarioNode(TModelTreeNode& node, ILVProgress* progress,
                                           bool teach) {
  CheckNodeReady(node);
  if (teach) {
    if (auto* teachable = dynamic_cast<ILVTeachable*>(&node.Handler())) teachable->Teach(progress);
  }
  return RefreshNode(node, progress);
}

// Forwards the engine's stages to the window: only when the caption or the whole
// percentage changes, so that a fast loop cannot flood the UI thread's queue.
class TLVNodeRunner::TProgress : public ILVProgress {
 public:
  TProgress(TLVNodeRunner& runner) : runner_(runner) {}

  void Start(std::string_view caption, int64_t total) override {
    stages_.push_back({std::string(caption), total});
    Report(0);
  }
  void SetPosition(int64_t position) override { Report(position); }
  bool Cancelled() const override { return runner_.cancelled_; }
  void Finish() override {
    if (!stages_.empty()) stages_.pop_back();
    shown_ = -2;
  }

 private:
  struct TStage {
    std::string caption;
    int64_t total;
  };
  void Report(int64_t position) {
    if (stages_.empty()) return;
    const TStage& stage = stages_.back();
    const int percent = stage.total > 0
                            ? static_cast<int>(std::min<int64_t>(100, position * 100 / stage.total))
                            : -1;
    if (percent == shown_ && stage.caption == shownCaption_) return;
    shown_ = percent;
    shownCaption_ = stage.caption;
    emit runner_.Progress(ToQ(stage.caption), percent);
  }

  TLVNodeRunner& runner_;
  std::vector<TStage> stages_;
  int shown_ = -2;
  std::string shownCaption_;
};

TLVNodeRunner::TLVNodeRunner(QObject* parent) : QObject(parent) {}

TLVNodeRunner::~TLVNodeRunner() {
  Cancel();
  Wait();
}

void TLVNodeRunner::Wait() {
  if (worker_.joinable()) worker_.join();
}

bool TLVNodeRunner::Start(std::vector<TModelTreeNode*> branches, bool teach) {
  return StartTask([this, branches = std::move(branches), teach](ILVProgress& progress) {
    for (TModelTreeNode* node : branches) {
      if (!RunBranch(*node, progress, teach)) throw ELVAbort();
    }
  });
}

bool TLVNodeRunner::StartTask(std::function<void(ILVProgress&)> task) {
  if (running_) return false;
  Wait();
  cancelled_ = false;
  running_ = true;
  worker_ = std::thread([this, task = std::move(task)] {
    TProgress progress(*this);
    bool cancelled = false;
    try {
      task(progress);
    } catch (const ELVAbort&) {
      cancelled = true;
    } catch (const std::exception& e) {
      emit TaskFailed(ToQ(e.what()));
    }
    running_ = false;
    emit Finished(cancelled);
  });
  return true;
}

bool TLVNodeRunner::RunBranch(TModelTreeNode& node, ILVProgress& progress, bool teach) {
  if (cancelled_) return false;
  emit NodeStarted(&node);
  std::optional<TLVRowIndex> rows;
  try {
    TLVProgressScope scope(&progress, node.DisplayCaption(), -1);
    rows = RunScenarioNode(node, &progress, teach);
  } catch (const ELVAbort&) {
    emit NodeFinished(&node, false, GuiText("SGuiRunCancelled"), -1);
    return false;
  } catch (const std::exception& e) {
    emit NodeFinished(&node, false, ToQ(e.what()), -1);
    return true;
  }
  emit NodeFinished(&node, true, QString(), rows ? static_cast<qint64>(*rows) : -1);
  for (int32_t i = 0; i < node.ChildCount(); ++i) {
    if (!RunBranch(node.Child(i), progress, teach)) return false;
  }
  return true;
}

void RegisterNodeRunnerTexts() {
  TLVLocalization::Instance().RegisterKeys({"SGuiRunCancelled"});
}

}  // namespace lv
