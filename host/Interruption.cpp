#include "host/Interruption.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace zelkor::host {

namespace {

// What a signal handler may use. The descriptor is never closed: a handler may still be running.
std::atomic<bool> interrupted = false;
std::atomic<int> exitCodeWhenStuck = 0;
int wakeup = -1;

constexpr unsigned graceSeconds = 3;

extern "C" void onInterrupt(int) {
    const int error = errno;
    interrupted = true;
    Interruption::wake();
    Interruption::endSoon();
    errno = error;
}

/// On whichever thread has a turn; all others may be stuck.
extern "C" void onGraceOver(int) {
    static constexpr char text[] = "zelkorlogin: something did not end in time; ended without it\n";
    pollfd errors{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&errors, 1, 0) == 1 && (errors.revents & POLLOUT) != 0) [[maybe_unused]]
        const auto written = ::write(STDERR_FILENO, text, sizeof text - 1);
    ::_exit(exitCodeWhenStuck);
}

void drain() noexcept {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto read = ::read(wakeup, &count, sizeof count);
}

} // namespace

Interruption::Interruption(ExitCode whenStuck) {
    exitCodeWhenStuck = static_cast<int>(whenStuck);
    if (wakeup < 0 && (wakeup = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    action.sa_flags = SA_RESTART | SA_RESETHAND;
    for (const int signal : {SIGINT, SIGTERM})
        ::sigaction(signal, &action, nullptr);
    action.sa_handler = onGraceOver;
    ::sigaction(SIGALRM, &action, nullptr); // stays: what is stuck may be what comes after
}

Interruption::~Interruption() {
    for (const int signal : {SIGINT, SIGTERM})
        ::signal(signal, SIG_DFL);
}

bool Interruption::came() noexcept {
    return interrupted;
}

void Interruption::wake() noexcept {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeup, &one, sizeof one); // full means awake
}

void Interruption::wait(std::optional<Time> until) noexcept {
    using std::chrono::milliseconds;
    int limit = -1;
    if (until) {
        const auto left = std::chrono::ceil<milliseconds>(*until - std::chrono::steady_clock::now());
        limit = static_cast<int>(std::clamp<milliseconds::rep>(left.count(), 0, 3'600'000));
    }
    pollfd ready{wakeup, POLLIN, 0};
    ::poll(&ready, 1, limit);
    drain();
}

bool Interruption::waitWritable(int descriptor) noexcept {
    while (!came()) {
        std::array<pollfd, 2> ready{pollfd{descriptor, POLLOUT, 0}, pollfd{wakeup, POLLIN, 0}};
        ::poll(ready.data(), ready.size(), -1);
        drain();
        if (ready[0].revents != 0)
            return true;
    }
    return false;
}

void Interruption::endSoon() noexcept {
    ::alarm(graceSeconds);
}

} // namespace zelkor::host
