// Start-up and shutdown of the core: registration of every core unit's text keys and
// the row cache's clean-up thread. Called once by the program (and by the tests)
// before anything else, and once at exit.
#pragma once

namespace lv {

void CoreStartup();
void CoreShutdown();

}  // namespace lv
