#include "platform/host/commands/LoginEvents.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zelkor::host {

namespace {

// What a signal handler may use. The descriptor is never closed: a handler may still be running.
std::atomic<bool> interrupted = false;
int wakeup = -1;

void wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeup, &one, sizeof one); // full means awake
}

extern "C" void onInterrupt(int) {
    const int error = errno;
    interrupted = true;
    wake();
    errno = error;
}

} // namespace

LoginEvents::LoginEvents() {
    if (wakeup < 0 && (wakeup = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    action.sa_flags = SA_RESTART | SA_RESETHAND; // a second one ends the program whatever it is at
    for (const int signal : {SIGINT, SIGTERM})
        ::sigaction(signal, &action, nullptr);
}

LoginEvents::~LoginEvents() {
    for (const int signal : {SIGINT, SIGTERM})
        ::signal(signal, SIG_DFL);
}

void LoginEvents::push(LoginEvent event) {
    {
        const foundation::MutexLock lock(mutex_);
        events_.push_back(std::move(event));
    }
    wake();
}

void LoginEvents::pushFirst(LoginEvent event) {
    {
        const foundation::MutexLock lock(mutex_);
        events_.push_front(std::move(event));
    }
    wake();
}

std::optional<LoginEvent> LoginEvents::pop() {
    const foundation::MutexLock lock(mutex_);
    if (events_.empty())
        return std::nullopt;
    auto event = std::move(events_.front());
    events_.pop_front();
    return event;
}

std::optional<LoginEvent> LoginEvents::wait() {
    while (!interrupted) {
        if (auto event = pop())
            return event;
        pollfd ready{wakeup, POLLIN, 0};
        ::poll(&ready, 1, -1);
        std::uint64_t count = 0;
        [[maybe_unused]] const auto read = ::read(wakeup, &count, sizeof count);
    }
    return std::nullopt;
}

} // namespace zelkor::host
