// The signals that ask a run to stop (SIGTERM from a scheduler, SIGINT from Ctrl+C).
// The handlers only note the signal; the unattended run sees it through its progress
// and cancels the running node as a user's cancel would, so exports remove their
// temporary files and the run log gets its last lines. A second signal of the same
// kind ends the process at once, for a user who does not want to wait.
//
// The noted signal is one process-wide value, safe to read from any thread.
#pragma once

#include <string>

namespace lv {

// Installs the handlers; the program calls it once, before the run.
void InstallStopSignalHandlers();
// The first stop signal received, or 0.
int StopSignalReceived();
// Notes `signal` as if it had arrived (what the handler does).
void NoteStopSignal(int signal);
// Forgets a noted signal, for the next run in the same process.
void ClearStopSignal();
// "SIGTERM", "SIGINT", or the number for another signal.
std::string StopSignalName(int signal);

}  // namespace lv
