#include "core/sources/LV_Progress.h"

#include "core/text/LV_Errors.h"

namespace lv {

void ReportProgress(ILVProgress* progress, int64_t position) {
  if (!progress) return;
  progress->SetPosition(position);
  if (progress->Cancelled()) throw ELVAbort();
}

}  // namespace lv
