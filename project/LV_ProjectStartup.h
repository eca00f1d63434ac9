// Start-up of the project library: its text keys and the configuration vendors.
// Called once by the program (and the project tests) after CoreStartup, EnvStartup and
// the start-up of the node libraries (IoStartup...), before a project opens.
#pragma once

namespace lv {

void ProjectStartup();

// The start-up of every engine library in order, this one last: what a program needs
// before its own part (the command line's texts, the desktop shell's).
void EngineStartup();

}  // namespace lv
