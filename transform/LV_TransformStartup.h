// Start-up of the transformation node families: the formula language they share, then
// each family's text keys and node kinds, one registration call per family sub-folder.
// Called once by the program (and the transform tests) after CoreStartup and EnvStartup.
#pragma once

namespace lv {

void TransformStartup();

}  // namespace lv
