#include "app/LV_BatchRun.h"

#include <algorithm>
#include <chrono>
#include <exception>

#include "core/LV_DataEngine.h"
#include "core/LV_DataIntf.h"
#include "core/LV_Errors.h"
#include "core/LV_Format.h"
#include "core/LV_Localization.h"
#include "core/LV_Vendor.h"
#include "mining/models/LV_ModelHandler.h"

namespace lv {

namespace {

std::string Text(std::string_view key, std::initializer_list<TLVFormatArg> args) {
  return Format(LVText(key), args);
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string NodeLabel(const TModelTreeNode& node) {
  return node.GetCaption().empty() ? node.Vendor().Caption() : node.GetCaption();
}

class TRunner {
 public:
  TRunner(TLVLogger& log, const TLVBatchOptions& options, ILVProgress* progress)
      : log_(log), options_(options), progress_(progress) {}

  void Visit(TModelTreeNode& node, int32_t level) {
    auto start = std::chrono::steady_clock::now();
    std::string label = NodeLabel(node);
    if (options_.detailedLog) {
      log_.Log(nullptr, Text("SBatchNodeStart", {label, node.Vendor().Identifier()}), 0, level);
    }
    std::optional<TLVRowIndex> rows;
    try {
      TLVProgressScope scope(progress_, label, -1);
      rows = Execute(node, level);
    } catch (const std::exception& e) {
      ++result.failed;
      log_.Log(nullptr, Text("SBatchNodeFailed", {label, std::string_view(e.what())}), 0, level, 0,
               false, true, kLogCategoryMarked);
      int32_t below = node.CountWithDescendants() - 1;
      if (below > 0) {
        result.skipped += below;
        log_.Log(nullptr, Text("SBatchSubtreeSkipped", {label, below}), 0, level);
      }
      return;
    }
    ++result.succeeded;
    if (options_.detailedLog) {
      double seconds = SecondsSince(start);
      log_.Log(nullptr,
               rows ? Text("SBatchNodeDone", {label, *rows, seconds})
                    : Text("SBatchNodeDoneNoRows", {label, seconds}),
               0, level);
    }
    for (int32_t i = 0; i < node.ChildCount(); ++i) Visit(node.Child(i), level + 1);
  }

  TLVBatchResult result;

 private:
  // The node's work; its row count when it offers a table.
  std::optional<TLVRowIndex> Execute(TModelTreeNode& node, int32_t level) {
    if (node.GetNeedsSetup()) throw ELVError("ErrNodeNeedsSetup", {NodeLabel(node)});
    TLVComponent& handler = node.Handler();
    if (options_.teach) {
      if (auto* teachable = dynamic_cast<ILVTeachable*>(&handler)) {
        teachable->Teach(progress_);
        // A model's training and test errors go to the log whatever its detail.
        if (auto* model = dynamic_cast<ILVModelSummary*>(&handler)) {
          log_.Log(nullptr, model->TeachSummary(), 0, level + 1);
        }
      }
    }
    if (!options_.run) return std::nullopt;
    if (auto* engine = dynamic_cast<TLVDataProcessEngine*>(&handler)) {
      engine->BatchProcess().Execute(progress_);
    }
    if (auto* executable = dynamic_cast<ILVExecutable*>(&handler)) executable->Execute(progress_);
    std::shared_ptr<ILVDataSource> source = handler.GetDataSourceIntf();
    if (!source) return std::nullopt;
    // Refreshing reads the table anew, so a rerun sees the data as it is now.
    source->Close();
    source->Open();
    return source->GetRowCount();
  }

  TLVLogger& log_;
  const TLVBatchOptions& options_;
  ILVProgress* progress_;
};

}  // namespace

TLVBatchResult RunProjectBatch(TLVProject& project, TLVLogger& log, const TLVBatchOptions& options,
                               ILVProgress* progress) {
  auto start = std::chrono::steady_clock::now();
  std::string mode = LVText(options.run && options.teach ? "SBatchModeBoth"
                            : options.teach              ? "SBatchModeTeach"
                                                         : "SBatchModeRun");
  log.Log(nullptr, Text("SBatchStart", {project.FileName().string(), LumiveraVersion(), mode}));
  TRunner runner(log, options, progress);
  for (int32_t i = 0; i < project.RootCount(); ++i) runner.Visit(project.Root(i), 1);
  log.Log(nullptr, Text("SBatchDone", {runner.result.succeeded, runner.result.failed,
                                       runner.result.skipped, SecondsSince(start)}));
  return runner.result;
}

// --- console progress ---

TLVConsoleProgress::~TLVConsoleProgress() {
  if (shown_) std::fputs("\r\033[K", out_);
}

void TLVConsoleProgress::Start(std::string_view caption, int64_t total) {
  stages_.push_back({std::string(caption), total, -1});
  Show();
}

void TLVConsoleProgress::SetPosition(int64_t position) {
  if (stages_.empty()) return;
  TStage& stage = stages_.back();
  if (stage.total <= 0) return;
  int32_t percent = static_cast<int32_t>(std::min<int64_t>(100, position * 100 / stage.total));
  if (percent == stage.percent) return;
  stage.percent = percent;
  Show();
}

void TLVConsoleProgress::Finish() {
  if (!stages_.empty()) stages_.pop_back();
  if (stages_.empty() && shown_) {
    std::fputs("\r\033[K", out_);
    std::fflush(out_);
    shown_ = false;
  }
}

void TLVConsoleProgress::Show() {
  std::string line;
  for (const TStage& stage : stages_) {
    if (!line.empty()) line += " - ";
    line += stage.caption;
    if (stage.percent >= 0) {
      line += ' ';
      line += std::to_string(stage.percent);
      line += '%';
    }
  }
  std::fprintf(out_, "\r\033[K%s", line.c_str());
  std::fflush(out_);
  shown_ = true;
}

// --- unattended answers ---

void TLVBatchProjectUI::Warning(const std::string& message) {
  log_.Log(nullptr, Text("SBatchWarning", {message}));
}

bool TLVBatchProjectUI::Confirm(const std::string& question) {
  log_.Log(nullptr, Text("SBatchQuestion", {question}));
  return true;
}

std::optional<std::string> TLVBatchProjectUI::AskPassword(const std::string&) {
  return password_;
}

void RegisterBatchRunTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"SBatchStart", "SBatchModeRun", "SBatchModeTeach", "SBatchModeBoth", "SBatchNodeStart",
       "SBatchNodeDone", "SBatchNodeDoneNoRows", "SBatchNodeFailed", "SBatchSubtreeSkipped",
       "SBatchDone", "ErrNodeNeedsSetup", "SBatchQuestion", "SBatchWarning"});
}

}  // namespace lv
