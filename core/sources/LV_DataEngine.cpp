#include "core/sources/LV_DataEngine.h"

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

TLVDataEngine::TLVDataEngine(std::shared_ptr<TLVTunedDataSource> tuned,
                             std::shared_ptr<TLVDerivedDataSource> derived)
    : tuned_(std::move(tuned)), derived_(std::move(derived)) {
  derived_->SetDataSource(tuned_);
}

TLVDataEngine::~TLVDataEngine() = default;

TLVDataProcessEngine::TLVDataProcessEngine(std::shared_ptr<TLVTunedDataSource> tuned,
                                           std::shared_ptr<TLVDerivedDataSource> derived)
    : TLVDataEngine(std::move(tuned), std::move(derived)) {
  tuned_->AddListener(this);
}

TLVDataProcessEngine::~TLVDataProcessEngine() {
  tuned_->RemoveListener(this);
}

void TLVDataProcessEngine::Process(ILVProgress* progress) {
  Unprocess();
  TLVLockGuard lock(*tuned_);
  DoProcess(progress);
  processed_ = true;
}

void TLVDataProcessEngine::Unprocess() {
  if (!processed_) return;
  processed_ = false;
  derived_->Close();
  DoUnprocess();
}

void TLVDataProcessEngine::CheckProcessed() const {
  if (!processed_) throw ELVDataError("ErrDataNotProcessed", {GetComponentName()});
}

void TLVDataProcessEngine::OnNotifyDataSource(ILVDataSourceInfo&, TLVNotifyReason reason) {
  if (reason != TLVNotifyReason::nrActiveChanged) Unprocess();
}

void RegisterDataEngineTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrDataNotProcessed"});
}

}  // namespace lv
