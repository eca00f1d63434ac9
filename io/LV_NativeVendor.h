// Registration of the native data file's node kinds: the import under the file imports,
// the export under the file exports, with the text keys of the units behind them.
#pragma once

namespace lv {

// Called once from IoStartup(); a second call changes nothing.
void RegisterNativeFileVendors();

}  // namespace lv
