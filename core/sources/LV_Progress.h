// Progress and cancellation of long operations. Every long operation reports to an
// ILVProgress between blocks of work (never per row) and stops with ELVAbort when the
// user cancels. A null pointer means nobody is watching.
#pragma once

#include <cstdint>
#include <string_view>

namespace lv {

class ILVProgress {
 public:
  virtual ~ILVProgress() = default;
  // `total` is the number of steps, or -1 when unknown.
  virtual void Start(std::string_view caption, int64_t total) = 0;
  virtual void SetPosition(int64_t position) = 0;
  virtual bool Cancelled() const = 0;
  virtual void Finish() = 0;
};

// Reports `position` and raises ELVAbort when the user has cancelled.
void ReportProgress(ILVProgress* progress, int64_t position);

// Starts an operation on construction and finishes it on destruction, also when the
// operation fails.
class TLVProgressScope {
 public:
  TLVProgressScope(ILVProgress* progress, std::string_view caption, int64_t total)
      : progress_(progress) {
    if (progress_) progress_->Start(caption, total);
  }
  ~TLVProgressScope() {
    if (progress_) progress_->Finish();
  }
  TLVProgressScope(const TLVProgressScope&) = delete;
  TLVProgressScope& operator=(const TLVProgressScope&) = delete;
  void Step(int64_t position) { ReportProgress(progress_, position); }

 private:
  ILVProgress* progress_;
};

}  // namespace lv
