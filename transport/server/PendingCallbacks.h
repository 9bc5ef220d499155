#pragma once

#include "contract/calls/CompletionHandler.h"

#include <foundation/thread_annotations.h>

#include <boost/uuid/uuid.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace agent::spf::transport {

/// The callbacks to one client: those that wait for their turn, and those that it has not answered yet.
///
/// A client takes so many at once. The others wait, and the functions that they are for take turns, each with
/// its callbacks in the order in which they came. A function that does not return holds up its own only: few
/// of its callbacks are sent at once. Thread-safe; the lock is a leaf, handlers are handed out and run by the
/// caller.
class PendingCallbacks {
public:
    using Clock = std::chrono::steady_clock;

    struct Callback {
        boost::uuids::uuid function;
        core::GenericPayload arguments;
        std::size_t bytes; ///< of its frame
        Clock::time_point deadline;
    };

    /// @param unanswered how many the client takes at once.
    /// @param waitingBytes, waitingBytesOfAll what may wait for this client, and for all that share `ofAll`.
    PendingCallbacks(std::size_t unanswered, std::size_t waitingBytes, std::size_t waitingBytesOfAll,
                     std::atomic<std::size_t>& ofAll)
        : waitingLimit_(waitingBytes), waitingLimitOfAll_(waitingBytesOfAll), ofAll_(ofAll),
          capacity_(unanswered) {}

    /// The client takes no more than so many at once.
    void limit(std::size_t unanswered);

    /// Takes `handler` only when it succeeds. @return whether no other is due before it.
    /// @throws core::DisconnectedError after close(), core::RefusedError when too much waits.
    bool add(core::CompletionHandler& handler, Callback callback);

    /// The callbacks whose turn it is are sent by one thread at a time, or they would overtake each other.
    /// @return whether it is this thread's job; if not, nothing can be sent now or another thread is at it
    /// and sees to what this one has added.
    bool startSending();
    /// False when there may be more to send by now.
    bool stopSending();
    struct Due {
        std::uint64_t id;
        Callback callback;
    };
    /// The next one, which counts as sent from now on.
    /// @param room for its frame; one that is larger waits.
    std::optional<Due> next(std::size_t room);

    /// The client has answered, or it could not be sent. Empty when it is no longer waited for.
    /// @throws core::MalformedError for one that was never sent.
    std::optional<core::CompletionHandler> take(std::uint64_t id);
    std::vector<core::CompletionHandler> takeOverdue(Clock::time_point now);
    std::optional<Clock::time_point> earliest() const;
    /// Everything that is left. Nothing can be added afterwards.
    std::vector<core::CompletionHandler> close();

private:
    struct Entry {
        Callback callback; // without arguments once sent
        bool sent = false;
        std::optional<core::CompletionHandler> handler = std::nullopt; // empty once overdue
    };
    struct Function {
        std::deque<std::uint64_t> waiting; // ascending
        std::size_t sent = 0;
        bool linedUp = false; // in turns_
    };
    using Functions = std::map<boost::uuids::uuid, Function>;

    void lineUp(Functions::iterator function) REQUIRES(mutex_);
    void waits(const Callback& callback) REQUIRES(mutex_);
    void waitsNoLonger(const Callback& callback) REQUIRES(mutex_);

    const std::size_t waitingLimit_;
    const std::size_t waitingLimitOfAll_;
    std::atomic<std::size_t>& ofAll_;

    mutable foundation::Mutex mutex_;
    std::size_t capacity_ GUARDED_BY(mutex_);
    bool closed_ GUARDED_BY(mutex_) = false;
    std::uint64_t next_ GUARDED_BY(mutex_) = 1;
    std::map<std::uint64_t, Entry> entries_ GUARDED_BY(mutex_);
    std::set<std::pair<Clock::time_point, std::uint64_t>> due_ GUARDED_BY(mutex_); // those with a handler
    Functions functions_ GUARDED_BY(mutex_);                                       // those with an entry
    std::deque<boost::uuids::uuid> turns_ GUARDED_BY(mutex_); // functions of which one may be sent
    std::size_t sent_ GUARDED_BY(mutex_) = 0;
    std::size_t waitingBytes_ GUARDED_BY(mutex_) = 0;
    bool sending_ GUARDED_BY(mutex_) = false;
    bool again_ GUARDED_BY(mutex_) = false; // something has changed while a thread was sending
};

} // namespace agent::spf::transport
