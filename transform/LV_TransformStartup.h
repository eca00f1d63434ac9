// Start-up of the transformation units: their text keys, the built-in functions of the
// formula language and their node kinds in the catalogue. Called once by the program
// (and the transform tests) after CoreStartup and EnvStartup.
#pragma once

namespace lv {

void TransformStartup();

}  // namespace lv
