// What running a scenario node means, shared by the unattended run and the desktop
// shell: a node with a processing phase processes, a node with work of its own (an
// export) executes it, and a node that offers a table reopens it, so that a rerun sees
// the data as it is now.
#pragma once

#include <optional>

#include "core/columns/LV_Block.h"
#include "core/sources/LV_Progress.h"
#include "project/LV_ModelTree.h"

namespace lv {

// Raises "ErrNodeNeedsSetup" while the node must be set up again before it runs.
void CheckNodeReady(const TModelTreeNode& node);

// Runs the node's work (see above) and returns its row count when it offers a table.
// Reports to `progress` and raises ELVAbort when it is cancelled.
std::optional<TLVRowIndex> RefreshNode(TModelTreeNode& node, ILVProgress* progress);

void RegisterNodeRunTexts();

}  // namespace lv
