// The unattended run of a project (/RUN, /TEACH).
//
// Every node is visited depth-first in tree order. With /TEACH a node with a model
// (ILVTeachable) is retrained; with /RUN a node is refreshed: a processing handler runs
// its processing phase, a node with work of its own (ILVExecutable, e.g. an export)
// executes it, and a node offering a table is reopened and its rows counted. A node
// that fails is written to the run log with its message; its descendants are skipped
// (they would read what failed) and its siblings go on. With a detailed log (/LOG)
// every node gets a line when it starts and one when it ends, with its rows and
// seconds.
//
// A cancellation (the progress says Cancelled, e.g. after a stop signal) interrupts the
// running node as its own cancel would; the log gets the node's interruption and a
// summary saying that the run was interrupted, and no further node starts.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/sources/LV_Progress.h"
#include "env/LV_Logger.h"
#include "project/LV_Project.h"

namespace lv {

struct TLVBatchOptions {
  bool run = true;
  bool teach = false;
  bool detailedLog = false;
};

struct TLVBatchResult {
  int32_t succeeded = 0;
  int32_t failed = 0;
  int32_t skipped = 0;  // not run: below a failed node, or left by an interruption
  int32_t trained = 0;  // models retrained with success
  bool interrupted = false;
  bool saveFailed = false;  // retrained models could not be saved to the project file
};

TLVBatchResult RunProjectBatch(TLVProject& project, TLVLogger& log, const TLVBatchOptions& options,
                               ILVProgress* progress = nullptr);

// Progress on a terminal: one line, rewritten in place, with the node, the stage and
// the percentage. Nested operations (a node's own stages) show under the node.
class TLVConsoleProgress : public ILVProgress {
 public:
  explicit TLVConsoleProgress(std::FILE* out) : out_(out) {}
  ~TLVConsoleProgress() override;
  void Start(std::string_view caption, int64_t total) override;
  void SetPosition(int64_t position) override;
  bool Cancelled() const override { return false; }
  void Finish() override;

 private:
  struct TStage {
    std::string caption;
    int64_t total;
    int32_t percent;
  };
  void Show();
  std::FILE* out_;
  std::vector<TStage> stages_;
  bool shown_ = false;
};

// The progress of an unattended run: shows itself on `display` (when there is one) and
// reports a cancellation once `stopSignal` returns a signal, writing to the log which
// signal stopped the run the first time it sees one.
class TLVStopProgress : public ILVProgress {
 public:
  TLVStopProgress(ILVProgress* display, TLVLogger& log, std::function<int()> stopSignal)
      : display_(display), log_(log), stopSignal_(std::move(stopSignal)) {}
  void Start(std::string_view caption, int64_t total) override;
  void SetPosition(int64_t position) override;
  bool Cancelled() const override;
  void Finish() override;

 private:
  ILVProgress* display_;
  TLVLogger& log_;
  std::function<int()> stopSignal_;
  mutable bool noted_ = false;
};

// What opening a project asks of an unattended run, answered without a user:
// warnings are logged, the question about a file without version information is
// logged and answered yes (the root element already identified the file as a project;
// a file that is not one then fails to read with its own message), and the password is
// the batch password of the application parameters, if any.
class TLVBatchProjectUI : public ILVProjectUI {
 public:
  TLVBatchProjectUI(TLVLogger& log, std::optional<std::string> password)
      : log_(log), password_(std::move(password)) {}
  void Warning(const std::string& message) override;
  bool Confirm(const std::string& question) override;
  std::optional<std::string> AskPassword(const std::string& prompt) override;

 private:
  TLVLogger& log_;
  std::optional<std::string> password_;
};

void RegisterBatchRunTexts();

}  // namespace lv
