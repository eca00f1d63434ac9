#include "app/LV_StopSignals.h"

#include <csignal>

namespace lv {

namespace {

volatile std::sig_atomic_t gStopSignal = 0;

extern "C" void OnStopSignal(int signal) {
  NoteStopSignal(signal);
}

}  // namespace

void InstallStopSignalHandlers() {
  struct sigaction action {};
  action.sa_handler = OnStopSignal;
  sigemptyset(&action.sa_mask);
  // Interrupted system calls resume; the handler runs once, and the next signal of the
  // kind has its default effect.
  action.sa_flags = SA_RESTART | SA_RESETHAND;
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
}

int StopSignalReceived() {
  return gStopSignal;
}

void NoteStopSignal(int signal) {
  if (gStopSignal == 0) gStopSignal = signal;
}

void ClearStopSignal() {
  gStopSignal = 0;
}

std::string StopSignalName(int signal) {
  switch (signal) {
    case SIGTERM:
      return "SIGTERM";
    case SIGINT:
      return "SIGINT";
    default:
      return std::to_string(signal);
  }
}

}  // namespace lv
