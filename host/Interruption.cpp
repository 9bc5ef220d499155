#include "host/Interruption.h"

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
int wakeup = -1;

extern "C" void onInterrupt(int) {
    const int error = errno;
    interrupted = true;
    Interruption::wake();
    errno = error;
}

} // namespace

Interruption::Interruption() {
    if (wakeup < 0 && (wakeup = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    action.sa_flags = SA_RESTART | SA_RESETHAND;
    for (const int signal : {SIGINT, SIGTERM})
        ::sigaction(signal, &action, nullptr);
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

void Interruption::wait() noexcept {
    pollfd ready{wakeup, POLLIN, 0};
    ::poll(&ready, 1, -1);
    std::uint64_t count = 0;
    [[maybe_unused]] const auto read = ::read(wakeup, &count, sizeof count);
}

} // namespace zelkor::host
