#pragma once

#include <chrono>

namespace agent::spf::core {

/// Marks this thread as running an exported callback while it lives. Each library of a process knows of those
/// that it exported.
///
/// Calls made for a callback must not queue behind a thread that waits for a client's exclusive lock: the
/// daemon may be holding back an answer until this callback ends, and with it the call which that thread
/// waits for.
class CallbackScope {
public:
    CallbackScope() noexcept;
    ~CallbackScope();
    CallbackScope(const CallbackScope&) = delete;
    CallbackScope& operator=(const CallbackScope&) = delete;

    /// Whether the calling thread is inside an exported callback.
    static bool active() noexcept;
    /// Whether any thread is: what another thread asks for may be asked on its behalf.
    static bool activeAnywhere() noexcept;
    /// For how long the one that began first has been running; zero when none is.
    static std::chrono::nanoseconds longest() noexcept;

private:
    struct Running;

    const std::chrono::steady_clock::time_point begin_;
    CallbackScope* previous_ = nullptr; ///< began before this one; all of them guarded by the lock of Running
    CallbackScope* next_ = nullptr;
};

} // namespace agent::spf::core
