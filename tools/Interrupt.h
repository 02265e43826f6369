#pragma once

#include <cstdint>

// Installs the handlers of SIGINT, SIGTERM and SIGHUP. The first signal sets a flag, so that the command can end in
// order and remove every unfinished output file. If that takes too long, or a second signal arrives, the process ends
// at once; unfinished files are removed then too.
void installInterruptHandler();

// The number of the first signal; 0 before one arrives.
int interruptSignal();

// Not 0 after a signal has arrived: the stop flag of decodes.
const std::int32_t* interruptFlag();

// The longest time that a wait for a pipe lasts before the command checks for a signal again: the signal may arrive in
// another thread, which does not end the wait.
inline constexpr int kPauseMilliseconds = 200;

// The longest time from the first signal to the end of the process.
inline constexpr int kMaxEndMilliseconds = 700;

// Throws a CommandError with ExitCode::Interrupted if a signal has arrived.
void throwIfInterrupted();
