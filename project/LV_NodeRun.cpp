#include "project/LV_NodeRun.h"

#include "core/sources/LV_DataEngine.h"
#include "core/sources/LV_DataIntf.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

void CheckNodeReady(const TModelTreeNode& node) {
  if (node.GetNeedsSetup()) throw ELVError("ErrNodeNeedsSetup", {node.DisplayCaption()});
}

std::optional<TLVRowIndex> RefreshNode(TModelTreeNode& node, ILVProgress* progress) {
  TLVComponent& handler = node.Handler();
  if (auto* engine = dynamic_cast<TLVDataProcessEngine*>(&handler)) {
    engine->BatchProcess().Execute(progress);
  }
  if (auto* executable = dynamic_cast<ILVExecutable*>(&handler)) executable->Execute(progress);
  std::shared_ptr<ILVDataSource> source = handler.GetDataSourceIntf();
  if (!source) return std::nullopt;
  source->Close();
  source->Open();
  return source->GetRowCount();
}

void RegisterNodeRunTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrNodeNeedsSetup"});
}

}  // namespace lv
