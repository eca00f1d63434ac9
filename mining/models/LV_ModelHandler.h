// The node of a model: it owns the tuned normalized source over its parent's table,
// the teach data source that splits it, the teacher, the kernel and the executor, and
// offers the executor's table to its children.
//
// A model kind is a kernel and a teacher (and a vendor that registers the node): the
// handler does the rest. Teach fits the normalizers to the data and trains a copy of
// the kernel; only a training that ends well replaces the model, so a cancelled or
// failed one leaves the previous kernel, normalizers and statistics as they were.
// Everything is saved in the node's section, the trained kernel included.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/sources/LV_Component.h"
#include "mining/executors/LV_DataExecutor.h"
#include "mining/teach/LV_TeachDataSource.h"
#include "mining/teachers/LV_Teacher.h"

namespace lv {

// A node whose training can be summed up in a line of the run log.
class ILVModelSummary {
 public:
  virtual ~ILVModelSummary() = default;
  virtual std::string TeachSummary() const = 0;
  // Further lines a model kind reports about its training (a table of results, say),
  // logged under the summary; none by default.
  virtual std::vector<std::string> TeachDetails() const { return {}; }
};

class TLVModelHandler : public TLVComponent, public ILVTeachable, public ILVModelSummary {
 public:
  struct TKind {
    std::function<std::shared_ptr<TLVAnalyticKernel>()> kernel;
    std::function<std::unique_ptr<TLVErrorCalcTeacher>()> teacher;
    // New linear normalizers of the model's columns map to [0, 1] (their range helper on).
    bool unitRange = false;
  };

  explicit TLVModelHandler(TKind kind);

  TLVTunedNormDataSource& TunedNormDataSource() { return *tuned_; }
  TLVTeachDataSource& TeachDataSource() { return *teach_; }
  TLVErrorCalcTeacher& Teacher() { return *teacher_; }
  const TLVErrorCalcTeacher& Teacher() const { return *teacher_; }
  const std::shared_ptr<TLVAnalyticKernel>& Kernel() const { return kernel_; }
  TLVDataExecutor& Executor() { return *executor_; }

  std::shared_ptr<ILVDataSource> GetDataSourceIntf() override { return executor_; }
  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    parent_ = parent;
    tuned_->SetDataSource(std::move(parent));
  }

  void Teach(ILVProgress* progress) override;
  // The result and the errors of both sets after the last training, for a line of the
  // run log under the node's own.
  std::string TeachSummary() const override;
  std::vector<std::string> TeachDetails() const override { return teacher_->TeachDetails(); }

  // "TunedNormDataSource", "TeachDataSource", "Teacher", "Kernel", "Executor".
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  // Reads the whole section before anything changes: a bad one leaves the node as it was.
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 private:
  void Attach(std::shared_ptr<TLVAnalyticKernel> kernel);

  TKind kind_;
  std::shared_ptr<ILVDataSource> parent_;
  std::shared_ptr<TLVTunedNormDataSource> tuned_;
  std::unique_ptr<TLVTeachDataSource> teach_;
  std::unique_ptr<TLVErrorCalcTeacher> teacher_;
  std::shared_ptr<TLVAnalyticKernel> kernel_;
  std::shared_ptr<TLVDataExecutor> executor_;
};

void RegisterModelHandlerTexts();

}  // namespace lv
