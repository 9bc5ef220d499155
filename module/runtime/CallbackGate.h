#pragma once

#include <functional>
#include <mutex>

namespace agent::spf::cppmsclientutils {

/// Runs a callback of an owner who may go away: after close() has returned it neither runs nor is going to
/// run, unless close() was called from inside it, in which case it is the last run.
class CallbackGate {
public:
    CallbackGate() = default;
    CallbackGate(const CallbackGate&) = delete;
    CallbackGate& operator=(const CallbackGate&) = delete;

    /// Calls `callback` unless closed. One run at a time.
    void run(const std::function<void()>& callback);
    /// Waits for a run on another thread to end.
    void close();

private:
    std::recursive_mutex mutex_; // recursive: the owner may be destroyed from inside its callback
    bool closed_ = false;
};

} // namespace agent::spf::cppmsclientutils
