#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>

namespace hshd {

/// Time since the machine started, with the time that it slept: what lasts an hour has ended after a night
/// with the lid closed, whatever the wall clock was set to.
struct BootClock {
    using duration = std::chrono::milliseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<BootClock>;
    static constexpr bool is_steady = true;

    static time_point now() noexcept {
        timespec time{};
        ::clock_gettime(CLOCK_BOOTTIME, &time);
        return time_point(std::chrono::seconds(time.tv_sec) +
                          std::chrono::milliseconds(time.tv_nsec / 1'000'000));
    }
};

} // namespace hshd
