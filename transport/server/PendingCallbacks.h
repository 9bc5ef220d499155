#pragma once

#include "contract/calls/CompletionHandler.h"

#include <foundation/thread_annotations.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace agent::spf::transport {

/// The callbacks that one client has not answered yet. Thread-safe; the lock is a leaf, handlers are handed
/// out and run by the caller.
class PendingCallbacks {
public:
    using Clock = std::chrono::steady_clock;

    explicit PendingCallbacks(std::size_t capacity) : capacity_(capacity) {}

    struct Added {
        std::uint64_t id;
        bool earliest; ///< no other is due before it
    };
    /// Takes `handler` only when it succeeds. @throws core::DisconnectedError after close(),
    /// core::RefusedError when full.
    Added add(core::CompletionHandler& handler, Clock::time_point deadline);

    /// Empty when it is no longer waited for. @throws core::MalformedError for an id that was never given
    /// out.
    std::optional<core::CompletionHandler> take(std::uint64_t id);
    std::vector<core::CompletionHandler> takeOverdue(Clock::time_point now);
    std::optional<Clock::time_point> earliest() const;
    /// Everything that is left. Nothing can be added afterwards.
    std::vector<core::CompletionHandler> close();

private:
    struct Entry {
        core::CompletionHandler handler;
        Clock::time_point deadline;
    };

    const std::size_t capacity_;
    mutable foundation::Mutex mutex_;
    bool closed_ GUARDED_BY(mutex_) = false;
    std::uint64_t next_ GUARDED_BY(mutex_) = 1;
    std::map<std::uint64_t, Entry> entries_ GUARDED_BY(mutex_);
};

} // namespace agent::spf::transport
