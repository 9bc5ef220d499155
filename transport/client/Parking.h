#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace agent::spf::transport {

/// One thread sleeps until another one says go; each unpark() ends one park().
///
/// A condition variable would have the woken thread run into the lock that its waker still holds, which on
/// one processor costs two more switches between threads for every reply. After unpark() has stored its
/// signal it does not touch this object any more, so the sleeper may destroy it as soon as park() has
/// returned true.
class Parking {
public:
    using Clock = std::chrono::steady_clock;

    /// @return false when the deadline came first; the signal can still come.
    bool park(Clock::time_point deadline) noexcept;
    void unpark() noexcept;

private:
    std::atomic<std::uint32_t> signal_ = 0;
};

} // namespace agent::spf::transport
