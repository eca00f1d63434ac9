// Start-up of the environment library: registration of its text keys and the filling
// of the process's prepared variables (the operating system's and the application's).
// Called once by the program after CoreStartup(), before a project opens or a
// variables file is loaded. Calling it again refreshes the prepared variables.
#pragma once

namespace lv {

void EnvStartup();

}  // namespace lv
