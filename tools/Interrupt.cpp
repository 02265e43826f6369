#include "Interrupt.h"

#include <csignal>

#include "CommandError.h"

namespace {

// Set in signal handlers and read by all threads.
std::int32_t s_signalArrived = 0;

} // namespace

extern "C" {
static void rememberSignal(int) {
    __atomic_store_n(&s_signalArrived, 1, __ATOMIC_RELAXED);
}
}

void installInterruptHandler() {
    struct sigaction action = {};
    action.sa_handler = rememberSignal;
    // The default action comes back with the first signal, so that a second one works whatever the command is doing.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A user who has told the command to outlive the terminal is obeyed.
    struct sigaction hangUp = {};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN)
        sigaction(SIGHUP, &action, nullptr);

    // A reader that goes away and a file that reaches the limit of its size show as errors of the write, with a message
    // and an exit code of ours.
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
    sigaction(SIGXFSZ, &ignore, nullptr);
}

bool interrupted() {
    return __atomic_load_n(&s_signalArrived, __ATOMIC_RELAXED) != 0;
}

const std::int32_t* interruptFlag() {
    return &s_signalArrived;
}

void throwIfInterrupted() {
    if (interrupted())
        throw CommandError(ExitCode::Interrupted, "interrupted");
}
