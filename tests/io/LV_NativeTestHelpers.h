// Helpers of the native file node tests: a progress that records what it is told and
// cancels at a chosen position, and the message of an expected failure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/LV_TestTable.h"
#include "core/sources/LV_Progress.h"
#include "env/LV_EnvTestHelpers.h"

namespace lv::test {

class TProgressLog : public ILVProgress {
 public:
  // Cancels once the position reaches `cancelAt` (never when negative).
  explicit TProgressLog(int64_t cancelAt = -1) : cancelAt_(cancelAt) {}
  void Start(std::string_view caption, int64_t total) override {
    this->caption = caption;
    this->total = total;
  }
  void SetPosition(int64_t position) override { positions.push_back(position); }
  bool Cancelled() const override {
    return cancelAt_ >= 0 && !positions.empty() && positions.back() >= cancelAt_;
  }
  void Finish() override { ++finished; }

  std::string caption;
  int64_t total = -2;
  std::vector<int64_t> positions;
  int finished = 0;

 private:
  int64_t cancelAt_;
};

}  // namespace lv::test
