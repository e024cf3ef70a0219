#include "core/signals.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <poll.h>
#include <string_view>
#include <unistd.h>

#include "common/signals.h"
#include "mail/under_way.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr int LAST_SIGNAL = 29;

// Logging is not safe in a handler: it only counts, and the main thread logs.
std::atomic<unsigned> pendingUsr1{0};
static_assert(std::atomic<unsigned>::is_always_lock_free);

// A handler has begun to end the process.
std::atomic<bool> ending{false};
static_assert(std::atomic<bool>::is_always_lock_free);

struct Fault {
    int sig;
    std::string_view line;
};

constexpr Fault faults[] = {
    {SIGSEGV, "pm: ended by a fault: SIGSEGV (invalid memory access)\n"},
    {SIGBUS, "pm: ended by a fault: SIGBUS (bad memory access)\n"},
    {SIGFPE, "pm: ended by a fault: SIGFPE (arithmetic error)\n"},
    {SIGILL, "pm: ended by a fault: SIGILL (illegal instruction)\n"},
    {SIGABRT, "pm: ended by a fault: SIGABRT (aborted)\n"},
};

void reportFault(int sig) {
    for (const Fault& fault : faults) {
        if (fault.sig == sig && write(STDERR_FILENO, fault.line.data(), fault.line.size()) < 0)
            return; // a failed report cannot be reported
    }
}

// Mails that end with pm. Without snprintf, which is not safe here; and not into a pipe
// that is full, where it would hold the end.
void reportMailsUnderWay() {
    constexpr std::string_view before = "pm: ended with mails under way: ";
    char line[64];
    char* end = std::copy(before.begin(), before.end(), line);
    char* const number = end;
    for (unsigned left = mailsUnderWay; left > 0; left /= 10)
        *end++ = static_cast<char>('0' + left % 10);
    std::reverse(number, end);
    pollfd room = {STDERR_FILENO, POLLOUT, 0};
    if (end == number || poll(&room, 1, 0) != 1 || (room.revents & POLLOUT) == 0)
        return;
    *end++ = '\n';
    if (write(STDERR_FILENO, line, static_cast<size_t>(end - line)) < 0)
        return; // a failed report cannot be reported
}

time_t monotonicSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

// Logs each SIGUSR1 that sigHandler has counted since the last call.
void logReceivedSignals() {
    for (unsigned left = pendingUsr1.exchange(0); left > 0; --left)
        PM_LOG_AS("sigHandler", "received SIGUSR1 signal\n");
}

} // namespace

void sigHandler(int sig) {
    const int savedErrno = errno;
    switch (sig) {
    case SIGPIPE:
        signal(SIGPIPE, SIG_IGN);
        break;
    case SIGCHLD:
        break;
    case SIGUSR1:
        pendingUsr1.fetch_add(1);
        break;
    default:
        // The report blocks if standard error is full and nobody reads it. The next signal,
        // that of the alarm at the latest, then ends pm without a report.
        if (ending.exchange(true))
            _exit(1);
        alarm(1);
        reportFault(sig);
        reportMailsUnderWay();
        // exit would run the libraries' exit handlers, which is not safe here. Standard output
        // is line-buffered, so that nothing of it is lost.
        _exit(1);
    }
    errno = savedErrno;
}

void installSignalHandler() {
    for (int sig = 0; sig <= LAST_SIGNAL; ++sig)
        signal(sig, sigHandler);
}

void sleepThroughSignals(unsigned seconds) {
    // sleep returns only the whole seconds that are left; with these alone, a burst of
    // signals would shorten the sleep.
    const time_t end = monotonicSeconds() + seconds;
    while (sleep(seconds) > 0) {
        logReceivedSignals();
        seconds = static_cast<unsigned>(std::max<time_t>(end - monotonicSeconds(), 0));
    }
    logReceivedSignals();
}

void sleepForever() {
    // pause would miss a signal that arrives between the test of the count and the sleep.
    // So signals are blocked there, and sigsuspend unblocks them while it sleeps.
    const sigset_t blocked = allButFaults();
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    for (;;) {
        // Unblocked for logging, which can hang if nobody reads the log: a signal must still
        // be able to end pm.
        while (pendingUsr1 > 0) {
            pthread_sigmask(SIG_SETMASK, &before, nullptr);
            logReceivedSignals();
            pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
        }
        sigsuspend(&before);
    }
}

} // namespace pm
