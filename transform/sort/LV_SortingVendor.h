// Registration of the sorting node under the transformation nodes of the catalogue,
// with the text keys of the units behind it.
#pragma once

namespace lv {

// Called once from TransformStartup(); a second call changes nothing.
void RegisterSortingVendors();

}  // namespace lv
