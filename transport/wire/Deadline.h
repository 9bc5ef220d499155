#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace agent::spf::transport::wire {

/// The moment at which a duration from elsewhere ends. Absurdly long ones are cut to a year, so that nothing
/// overflows.
inline std::chrono::steady_clock::time_point deadlineAfter(std::chrono::steady_clock::time_point now,
                                                           std::chrono::milliseconds duration) noexcept {
    constexpr std::chrono::milliseconds longest = std::chrono::hours(24 * 365);
    return now + std::clamp(duration, -longest, longest);
}

/// What is left, for sending; rounded up, so that a call is not overdue at the far end before it is at this
/// one.
inline std::int64_t remainingMs(std::chrono::steady_clock::time_point now,
                                std::chrono::steady_clock::time_point deadline) noexcept {
    return std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count();
}

} // namespace agent::spf::transport::wire
