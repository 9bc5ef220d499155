#include "hshd/services/StatusNotifier.h"

#include "contract/calls/Errors.h"
#include "hshd/Log.h"
#include "hshd/services/FailureText.h"

#include <boost/optional/optional.hpp>

#include <algorithm>
#include <string>
#include <utility>

namespace hshd {

using agent::spf::core::GenericPayload;
using boost::uuids::uuid;

namespace {

constexpr std::chrono::milliseconds firstPause{100};
constexpr std::chrono::milliseconds longestPause{60'000};

GenericPayload payloadFor(const Registrations::Entry& listener, const StatusChange& change) {
    return listener.form == Registrations::Form::Old
               ? GenericPayload::of(boost::optional<login::LoginInfo>(change.current))
               : GenericPayload::of(change.current, change.previous);
}

/// Grows twofold with each failure, to a bound that no exponent overflows.
std::chrono::milliseconds grown(std::chrono::milliseconds time, int failures) {
    return time * (1 << std::min(failures, 10));
}

/// Whether the listener may be without the state, and may take it later. A function that threw was told.
bool mayBeToldLater(const std::exception_ptr& error) {
    using namespace agent::spf::core;
    try {
        std::rethrow_exception(error);
    } catch (const WithdrawnError&) {
        return false;
    } catch (const RefusedError&) {
        return true;
    } catch (const TimeoutError&) {
        return true; // it may have waited for its turn all the time
    } catch (...) {
        return false;
    }
}

void logFailure(const char* what) {
    logger().log(Severity::error, std::string("Could not tell the status listeners ") + what + ": " +
                                      failureText(std::current_exception()));
}

} // namespace

void StatusNotifier::notify(const StatusChange& change) noexcept {
    try {
        const auto listeners = listeners_.all(); // released after the lock
        const foundation::MutexLock order(order_);
        {
            const foundation::MutexLock lock(mutex_);
            newest_ = change.current;
        }
        for (const Listener& listener : listeners)
            tell(listener, change, Kind::OfAChange, 0);
    } catch (...) {
        logFailure("of a change");
    }
}

void StatusNotifier::tell(const Listener& listener, const StatusChange& change, Kind kind, int failures) {
    std::uint64_t number = 0;
    {
        const foundation::MutexLock lock(mutex_);
        number = ++lastTelling_;
        owed_[listener.id].last = number;
    }
    listener.client->callBack(listener.callback, payloadFor(listener, change), grown(limit_, failures),
                              {[this, id = listener.id, number](const GenericPayload&) { told(id, number); },
                               [this, listener, number, kind](const std::exception_ptr& error) {
                                   failed(listener, number, kind, error);
                               }});
}

void StatusNotifier::told(const uuid& listener, std::uint64_t number) {
    const foundation::MutexLock lock(mutex_);
    if (const auto owed = owed_.find(listener); owed != owed_.end() && owed->second.last == number)
        owed_.erase(owed);
}

void StatusNotifier::failed(const Listener& listener, std::uint64_t number, Kind kind,
                            const std::exception_ptr& error) {
    const bool later = mayBeToldLater(error);
    if (kind == Kind::OfAChange) // once, however often it is tried again
        logger().log(Severity::warning, "A status listener of " + listener.describe() +
                                            " was not told of a change: " + failureText(error) +
                                            (later ? "; it is told the newest state later" : ""));
    listeners_.dropIfGone(listener, error);
    if (!later) {
        told(listener.id, number);
        return;
    }
    int failures = 0;
    {
        const foundation::MutexLock lock(mutex_);
        const auto owed = owed_.find(listener.id);
        if (owed == owed_.end() || owed->second.last != number)
            return;
        failures = owed->second.failures++;
    }
    timers_.after(std::min(grown(firstPause, failures), longestPause),
                  [this, id = listener.id, number] { tellAgain(id, number); });
}

void StatusNotifier::tellAgain(const uuid& listener, std::uint64_t failed) {
    try {
        const auto entry = listeners_.find(listener); // released after the lock
        const foundation::MutexLock order(order_);
        StatusChange state;
        int failures = 0;
        {
            const foundation::MutexLock lock(mutex_);
            const auto owed = owed_.find(listener);
            if (owed == owed_.end() || owed->second.last != failed)
                return; // told of a newer change meanwhile
            state.current = newest_;
            failures = owed->second.failures;
        }
        if (entry && entry->client->connected())
            tell(*entry, state, Kind::Again, failures);
        else
            told(listener, failed); // nobody is left to tell
    } catch (...) {
        logFailure("the newest state");
    }
}

} // namespace hshd
