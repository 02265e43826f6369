#pragma once

#include <cstdint>

// Ending early in good order. The first SIGINT, SIGTERM or SIGHUP only sets a flag, so that every unfinished output
// file is removed on the way out; a second one ends the process at once.
void installInterruptHandler();

bool interrupted();

// Not 0 once a signal has arrived: the stop flag of decodes.
const std::int32_t* interruptFlag();

// The longest time that a wait for a pipe may last before it looks for a signal again: the signal may arrive in another
// thread and then does not end the wait.
inline constexpr int kPauseMilliseconds = 200;

// Throws a CommandError with ExitCode::Interrupted when a signal has arrived.
void throwIfInterrupted();
