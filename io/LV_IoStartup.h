// Start-up of the import and export units: their text keys and their node kinds in the
// catalogue. Called once by the program (and the io tests) after CoreStartup and
// EnvStartup.
#pragma once

namespace lv {

void IoStartup();

}  // namespace lv
