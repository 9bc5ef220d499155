#pragma once

namespace agent::spf::core {

/// Marks this thread as running an exported callback while it lives.
///
/// Calls made for a callback must not queue behind a thread that waits for a client's exclusive lock: the
/// daemon may be holding back an answer until this callback ends, and with it the call which that thread waits
/// for.
class CallbackScope {
public:
    CallbackScope() noexcept;
    ~CallbackScope();
    CallbackScope(const CallbackScope&) = delete;
    CallbackScope& operator=(const CallbackScope&) = delete;

    /// Whether the calling thread is inside an exported callback.
    static bool active() noexcept;
    /// Whether any thread of the process is: what another thread asks for may be asked on its behalf.
    static bool activeAnywhere() noexcept;
};

} // namespace agent::spf::core
