#include "Interrupt.h"

#include <csignal>

#include "CommandError.h"

namespace {

volatile std::sig_atomic_t s_signalArrived = 0;

} // namespace

extern "C" {
static void rememberSignal(int) {
    s_signalArrived = 1;
}
}

void installInterruptHandler() {
    struct sigaction action = {};
    action.sa_handler = rememberSignal;
    // The default action comes back with the first signal, so that a second one works whatever the command is doing.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    // A reader that goes away shows as an error of the write, with a message and an exit code of ours.
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
}

bool interrupted() {
    return s_signalArrived != 0;
}

void throwIfInterrupted() {
    if (interrupted())
        throw CommandError(ExitCode::Interrupted, "interrupted");
}
