#include "transport/client/Parking.h"

#include <cerrno>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace agent::spf::transport {

bool Parking::park(Clock::time_point deadline) noexcept {
    // The steady clock is CLOCK_MONOTONIC, on which this form of waiting takes a point in time.
    const auto since = deadline.time_since_epoch();
    const auto whole = std::chrono::floor<std::chrono::seconds>(since);
    const timespec time{whole.count(), std::chrono::nanoseconds(since - whole).count()};
    const timespec* limit = deadline == Clock::time_point::max() ? nullptr : &time;
    while (signal_.exchange(0, std::memory_order_acquire) == 0) {
        const auto result = ::syscall(SYS_futex, &signal_, FUTEX_WAIT_BITSET_PRIVATE, 0, limit, nullptr,
                                      FUTEX_BITSET_MATCH_ANY);
        if (result != 0 && errno == ETIMEDOUT)
            return signal_.exchange(0, std::memory_order_acquire) != 0;
    }
    return true;
}

void Parking::unpark() noexcept {
    auto* const address = &signal_;
    address->store(1, std::memory_order_release);
    // The kernel only compares the address, should the sleeper be gone already.
    ::syscall(SYS_futex, address, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

} // namespace agent::spf::transport
