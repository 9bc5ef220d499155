#pragma once

namespace zelkor::host {

/// Turns SIGINT and SIGTERM into something to wait for, for as long as it lives; one at a time. A second
/// signal ends the program whatever it is at. wake() may be called from any thread.
class Interruption {
public:
    /// @throws std::system_error
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    static bool came() noexcept;
    static void wake() noexcept;
    /// Waits for a signal or for wake(), whichever came since the last wait.
    static void wait() noexcept;
};

} // namespace zelkor::host
