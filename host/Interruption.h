#pragma once

#include "host/ExitCode.h"

#include <chrono>
#include <optional>

namespace zelkor::host {

/// Turns SIGINT and SIGTERM into something to wait for, for as long as it lives; one at a time. From then on
/// the program has three seconds to end by itself: a service, a daemon or whoever should read the error
/// stream may keep any thread. A second signal ends it whatever it is at. wake() may be called from any
/// thread.
class Interruption {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// @param whenStuck what the program ends with when it does not end by itself.
    /// @throws std::system_error
    explicit Interruption(ExitCode whenStuck);
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    static bool came() noexcept;
    static void wake() noexcept;
    /// Waits for a signal or for wake(), whichever came since the last wait, or until then.
    static void wait(std::optional<Time> until = {}) noexcept;
    /// Waits until the descriptor takes something, or has failed; false for a signal. Swallows wake().
    static bool waitWritable(int descriptor) noexcept;
    /// The three seconds begin now, without a signal.
    static void endSoon() noexcept;
};

} // namespace zelkor::host
