#include "app/LV_BatchRun.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <new>

#include "app/LV_StopSignals.h"
#include "core/registry/LV_Vendor.h"
#include "core/sources/LV_DataEngine.h"
#include "core/sources/LV_DataIntf.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
#include "core/text/LV_SystemError.h"
#include "mining/models/LV_ModelHandler.h"
#include "project/LV_NodeRun.h"

namespace lv {

namespace {

std::string Text(std::string_view key, std::initializer_list<TLVFormatArg> args) {
  return Format(LVText(key), args);
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// What a failure says to the user: our own errors carry Russian messages; the library's
// exceptions are rare and carry English ones, so they get a Russian line first.
std::string FailureText(const std::exception& error) {
  if (dynamic_cast<const ELVError*>(&error)) return error.what();
  if (dynamic_cast<const std::bad_alloc*>(&error)) return LVSystemErrorText(ENOMEM);
  return Text("SBatchInternalError", {std::string_view(error.what())});
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
    } catch (const ELVAbort&) {
      result.interrupted = true;
      log_.Log(nullptr, Text("SBatchNodeInterrupted", {label}), 0, level, 0, false, true,
               kLogCategoryMarked);
      return;
    } catch (const std::exception& e) {
      ++result.failed;
      log_.Log(nullptr, Text("SBatchNodeFailed", {label, FailureText(e)}), 0, level, 0, false, true,
               kLogCategoryMarked);
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
    for (int32_t i = 0; i < node.ChildCount() && !Stopping(); ++i) Visit(node.Child(i), level + 1);
  }

  // Whether no further node may start; a cancellation between nodes counts as one.
  bool Stopping() {
    if (!result.interrupted && progress_ && progress_->Cancelled()) result.interrupted = true;
    return result.interrupted;
  }

  TLVBatchResult result;

 private:
  // The node's work; its row count when it offers a table.
  std::optional<TLVRowIndex> Execute(TModelTreeNode& node, int32_t level) {
    CheckNodeReady(node);
    TLVComponent& handler = node.Handler();
    if (options_.teach) {
      if (auto* teachable = dynamic_cast<ILVTeachable*>(&handler)) {
        teachable->Teach(progress_);
        ++result.trained;
        // A model's training and test errors go to the log whatever its detail.
        if (auto* model = dynamic_cast<ILVModelSummary*>(&handler)) {
          log_.Log(nullptr, model->TeachSummary(), 0, level + 1);
          for (const std::string& line : model->TeachDetails()) {
            log_.Log(nullptr, line, 0, level + 2);
          }
        }
      }
    }
    if (!options_.run) return std::nullopt;
    return RefreshNode(node, progress_);
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
  int32_t total = 0;
  for (int32_t i = 0; i < project.RootCount(); ++i) total += project.Root(i).CountWithDescendants();
  for (int32_t i = 0; i < project.RootCount() && !runner.Stopping(); ++i) {
    runner.Visit(project.Root(i), 1);
  }
  TLVBatchResult& result = runner.result;
  if (result.interrupted) {
    // Everything that neither succeeded nor failed was left, the interrupted node too.
    result.skipped = total - result.succeeded - result.failed;
  }
  // A retraining is only worth its night when the models are kept: the project is
  // saved, in place and as it was protected, once a whole run has finished.
  if (options.teach && result.trained > 0 && !result.interrupted) {
    try {
      project.Save();
      log.Log(nullptr, Text("SBatchProjectSaved", {project.FileName().string()}));
    } catch (const ELVError& e) {
      result.saveFailed = true;
      log.Log(nullptr, Text("SBatchProjectNotSaved", {std::string_view(e.what())}), 0, 0, 0, false,
              true, kLogCategoryMarked);
    }
  }
  log.Log(nullptr, Text(result.interrupted ? "SBatchInterrupted" : "SBatchDone",
                        {result.succeeded, result.failed, result.skipped, SecondsSince(start)}));
  return result;
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

// --- stop signals ---

void TLVStopProgress::Start(std::string_view caption, int64_t total) {
  if (display_) display_->Start(caption, total);
}

void TLVStopProgress::SetPosition(int64_t position) {
  if (display_) display_->SetPosition(position);
}

bool TLVStopProgress::Cancelled() const {
  const int signal = stopSignal_ ? stopSignal_() : 0;
  if (signal != 0 && !noted_) {
    noted_ = true;
    log_.Log(nullptr, Text("SBatchStopSignal", {StopSignalName(signal)}));
  }
  return signal != 0 || (display_ && display_->Cancelled());
}

void TLVStopProgress::Finish() {
  if (display_) display_->Finish();
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
       "SBatchDone", "SBatchNodeInterrupted", "SBatchInterrupted", "SBatchStopSignal",
       "SBatchInternalError", "SBatchQuestion", "SBatchWarning", "SBatchProjectSaved",
       "SBatchProjectNotSaved"});
}

}  // namespace lv
