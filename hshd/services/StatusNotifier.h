#pragma once

#include "hshd/Timers.h"
#include "hshd/services/Registrations.h"
#include "hshd/state/LoginState.h"

#include <foundation/thread_annotations.h>

#include <boost/uuid/uuid_hash.hpp>

#include <chrono>
#include <cstdint>
#include <exception>
#include <unordered_map>

namespace hshd {

/// Tells status listeners, functions of two login records, of changes: the identity that now holds, then the
/// previous one. Each listener hears of the changes in their order; one that is slow, fails or is gone costs
/// a log line and delays no other.
///
/// A listener may be told late, but not never. One that did not get the newest change, for lack of room or of
/// time, is told the newest state again and again, at growing intervals, until it has it; the second record
/// is then empty, as after a restart.
///
/// Outlives the connections and the state thread, and so every handler.
class StatusNotifier {
public:
    /// @param limit the time a listener has for one change; more when it was overdue.
    StatusNotifier(Registrations& listeners, std::chrono::milliseconds limit)
        : listeners_(listeners), limit_(limit) {}

    /// Never blocks and does not throw.
    void notify(const StatusChange& change) noexcept;

private:
    using Listener = Registrations::Entry;
    enum class Kind { OfAChange, Again };

    /// What a listener has not taken yet. Only the last telling counts: an earlier one that fails is made up
    /// for by it.
    struct Owed {
        std::uint64_t last = 0; ///< telling
        int failures = 0;       ///< one after the other
    };

    void tell(const Listener& listener, const StatusChange& change, Kind kind, int failures) REQUIRES(order_);
    void tellAgain(const boost::uuids::uuid& listener, std::uint64_t failed);
    void told(const boost::uuids::uuid& listener, std::uint64_t number);
    void failed(const Listener& listener, std::uint64_t number, Kind kind, const std::exception_ptr& error);

    Registrations& listeners_;
    const std::chrono::milliseconds limit_;

    // That a newer state is sent last. Held to send, which may run the handlers of any callback: none of them
    // changes the login state, so none waits for this lock.
    foundation::Mutex order_;
    foundation::Mutex mutex_ ACQUIRED_AFTER(order_); // a leaf
    login::LoginInfo newest_ GUARDED_BY(mutex_);
    std::uint64_t lastTelling_ GUARDED_BY(mutex_) = 0;
    std::unordered_map<boost::uuids::uuid, Owed, boost::hash<boost::uuids::uuid>> owed_ GUARDED_BY(mutex_);
    Timers timers_; // last: ends first
};

} // namespace hshd
