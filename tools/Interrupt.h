#pragma once

#include <cstdint>

// Ending early in good order. The first SIGINT, SIGTERM or SIGHUP only sets a flag, so that the command ends where it
// can and every unfinished output file is removed on the way out. Where that takes too long, and with a second signal,
// the process ends at once; unfinished files are removed then too.
void installInterruptHandler();

// The number of the first signal; 0 before one arrives.
int interruptSignal();

// Not 0 once a signal has arrived: the stop flag of decodes.
const std::int32_t* interruptFlag();

// The longest time that a wait for a pipe may last before it looks for a signal again: the signal may arrive in another
// thread and then does not end the wait.
inline constexpr int kPauseMilliseconds = 200;

// The longest time from the first signal to the end of the process.
inline constexpr int kMaxEndMilliseconds = 700;

// Throws a CommandError with ExitCode::Interrupted when a signal has arrived.
void throwIfInterrupted();
