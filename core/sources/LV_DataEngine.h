// Engines tie a handler's objects together: the tuned source that holds its settings
// over the parent's columns and the derived source that produces its output. The
// engine owns both and wires derived <- tuned <- parent.
//
// A process engine adds a processing phase (quantization, clustering...) that must
// run before any row can be read: reading its output earlier raises
// "ErrDataNotProcessed"; a change upstream makes it unprocessed again. The phase reports
// progress and stops on cancellation, leaving the engine unprocessed.
#pragma once

#include <memory>

#include "core/sources/LV_Component.h"
#include "core/sources/LV_DerivedDataSource.h"
#include "core/sources/LV_Progress.h"
#include "core/sources/LV_TunedDataSource.h"

namespace lv {

class TLVDataEngine : public TLVComponent {
 public:
  TLVDataEngine(std::shared_ptr<TLVTunedDataSource> tuned,
                std::shared_ptr<TLVDerivedDataSource> derived);
  ~TLVDataEngine() override;

  TLVTunedDataSource& TunedDataSource() { return *tuned_; }
  TLVDerivedDataSource& DerivedDataSource() { return *derived_; }

  // The parent of the whole handler.
  void SetDataSource(std::shared_ptr<ILVDataSource> parent) {
    tuned_->SetDataSource(std::move(parent));
  }
  ILVDataSource* GetDataSource() const { return tuned_->GetDataSource(); }

  std::shared_ptr<ILVDataSource> GetDataSourceIntf() override { return derived_; }
  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    SetDataSource(std::move(parent));
  }

 protected:
  std::shared_ptr<TLVTunedDataSource> tuned_;
  std::shared_ptr<TLVDerivedDataSource> derived_;
};

// What an unattended run calls to bring a handler up to date.
class ILVBatchProcess {
 public:
  virtual ~ILVBatchProcess() = default;
  virtual void Execute(ILVProgress* progress) = 0;
};

class TLVDataProcessEngine : public TLVDataEngine, private ILVDataSourceListener {
 public:
  TLVDataProcessEngine(std::shared_ptr<TLVTunedDataSource> tuned,
                       std::shared_ptr<TLVDerivedDataSource> derived);
  ~TLVDataProcessEngine() override;

  // Runs the processing phase; on failure or cancellation the engine stays unprocessed.
  void Process(ILVProgress* progress);
  bool Processed() const { return processed_; }
  // Forgets the result of the phase (after a change of the settings or the parent).
  void Unprocess();

  ILVBatchProcess& BatchProcess() { return batch_; }

  // Raises "ErrDataNotProcessed" unless the phase has run; derived sources of process
  // engines call it before reading.
  void CheckProcessed() const;

 protected:
  // The phase itself: reads the tuned source and prepares what the derived source needs.
  virtual void DoProcess(ILVProgress* progress) = 0;
  virtual void DoUnprocess() {}

 private:
  class TBatch : public ILVBatchProcess {
   public:
    explicit TBatch(TLVDataProcessEngine& engine) : engine_(engine) {}
    void Execute(ILVProgress* progress) override { engine_.Process(progress); }

   private:
    TLVDataProcessEngine& engine_;
  };

  void OnNotifyDataSource(ILVDataSourceInfo& sender, TLVNotifyReason reason) override;

  TBatch batch_{*this};
  bool processed_ = false;
};

void RegisterDataEngineTexts();

}  // namespace lv
