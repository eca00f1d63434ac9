// Registration of the grouping and ungrouping nodes under the transformation nodes of the
// catalogue, with the text keys of the units behind it.
#pragma once

namespace lv {

// Called once from TransformStartup(); a second call changes nothing.
void RegisterGroupDataVendors();

}  // namespace lv
