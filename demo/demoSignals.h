// demoSignals.h - how the demonstration program answers Ctrl-C and SIGTERM.
//
// The first Ctrl-C asks the program to stop: renders end after the band in
// progress, writers stop between rows, and the temporary file being written is
// removed. A second Ctrl-C ends the program at once, by SIGINT. SIGTERM
// removes the temporary file and exits with 128 + 15 = 143.
#ifndef VX_DEMO_SIGNALS_H
#define VX_DEMO_SIGNALS_H

#include <string>

constexpr int kInterruptedExit = 130;
constexpr int kTerminatedExit = 128 + 15;

void installSignalHandlers();
// Says on standard error that the program was interrupted and returns
// kInterruptedExit.
int interruptedExit();
// True once Ctrl-C has been pressed.
bool interruptRequested();

// The one temporary file a signal must remove, or none (empty path). The
// program writes one file at a time.
void setPendingFile(const std::string& path);

#endif
