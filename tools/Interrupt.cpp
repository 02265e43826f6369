#include "Interrupt.h"

#include <csignal>
#include <ctime>
#include <string_view>

#include <unistd.h>

#include "CommandError.h"
#include "TemporaryFile.h"

namespace {

// Set in signal handlers and read by all threads.
std::int32_t s_signalArrived = 0;

timer_t s_timer;
bool s_hasTimer = false;

// Safe in a signal handler. A process that computes for long, or whose disk does not answer, sees no flag.
void startTimer() {
    struct itimerspec time = {};
    time.it_value.tv_nsec = kMaxEndMilliseconds * 1'000'000L;
    if (s_hasTimer)
        ::timer_settime(s_timer, 0, &time, nullptr);
}

} // namespace

extern "C" {
static void endAtOnce(int signal) {
    constexpr std::string_view kMessage = "ravelo: interrupted\n";
    removeTemporaryFiles();
    [[maybe_unused]] const ssize_t ignored = ::write(STDERR_FILENO, kMessage.data(), kMessage.size());
    const int first = interruptSignal();
    ::_exit(128 + (first != 0 ? first : signal));
}

static void rememberSignal(int signal) {
    std::int32_t none = 0;
    if (!__atomic_compare_exchange_n(&s_signalArrived, &none, signal, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED))
        endAtOnce(signal);
    startTimer();
}
}

void installInterruptHandler() {
    struct sigaction alarm = {};
    alarm.sa_handler = endAtOnce;
    sigaction(SIGALRM, &alarm, nullptr);
    struct sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    s_hasTimer = ::timer_create(CLOCK_MONOTONIC, &event, &s_timer) == 0;

    struct sigaction action = {};
    action.sa_handler = rememberSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // Under nohup the command outlives its terminal.
    struct sigaction hangUp = {};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN)
        sigaction(SIGHUP, &action, nullptr);

    // A closed pipe and a file at its size limit become errors of the write, with our own message and exit code.
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
    sigaction(SIGXFSZ, &ignore, nullptr);
}

int interruptSignal() {
    return __atomic_load_n(&s_signalArrived, __ATOMIC_RELAXED);
}

const std::int32_t* interruptFlag() {
    return &s_signalArrived;
}

void throwIfInterrupted() {
    if (interruptSignal() != 0)
        throw CommandError(ExitCode::Interrupted, "interrupted");
}
