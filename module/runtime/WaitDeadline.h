#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>

namespace agent::spf::cppmsclientutils {

/// A time limit counted on the system clock, as people read it, and bounded by a steady one, so that a system
/// clock set back never makes a wait longer and one set forward ends it.
template <class SystemClock = std::chrono::system_clock, class SteadyClock = std::chrono::steady_clock>
class BasicWaitDeadline {
public:
    explicit BasicWaitDeadline(std::chrono::seconds wait)
        : system_(SystemClock::now() + wait), steady_(SteadyClock::now() + wait) {}

    bool passed() const { return remaining() <= std::chrono::nanoseconds::zero(); }

    std::chrono::nanoseconds remaining() const {
        return std::min<std::chrono::nanoseconds>(system_ - SystemClock::now(), steady_ - SteadyClock::now());
    }

    /// How long to sleep at most before the clocks are looked at again.
    std::chrono::nanoseconds nextLook() const {
        return std::min<std::chrono::nanoseconds>(remaining(), std::chrono::seconds(1));
    }

private:
    typename SystemClock::time_point system_;
    typename SteadyClock::time_point steady_;
};

using WaitDeadline = BasicWaitDeadline<>;

/// Waits on `condition` with `lock` until `ready()` or the deadline; the last answer of `ready()`. It is
/// asked once even if the deadline has passed already.
template <class Lock, class Ready>
bool waitUntil(std::condition_variable_any& condition, Lock& lock, const WaitDeadline& deadline,
               Ready ready) {
    while (!ready()) {
        const auto sleep = deadline.nextLook();
        if (sleep <= std::chrono::nanoseconds::zero())
            return false;
        condition.wait_for(lock, sleep);
    }
    return true;
}

} // namespace agent::spf::cppmsclientutils
