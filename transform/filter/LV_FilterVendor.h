// Registration of the filter node under the transformation nodes of the catalogue,
// with the text keys of the units behind it.
#pragma once

namespace lv {

// Called once from TransformStartup(); a second call changes nothing.
void RegisterFilterVendors();

}  // namespace lv
