#pragma once

#include "runtime/clientutils/InvokableTracker.h"
#include "runtime/clientutils/RemoteMethod.h"

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace agent::spf::cppmsclientutils {

/// The base of every remote client: it owns the tracker and makes the calls.
///
/// call() lets a failure reach its caller, attempt() turns it into an empty answer; that verb is a method's
/// failure policy. Both wait for the service, up to the service timeout, and hold the state lock shared until
/// the answer has arrived; a form that takes a lock is for callers who hold it exclusively. Any thread may
/// call, a call in flight does not need this object any more: it may be destroyed meanwhile.
template <class Invokable>
class InvokableTrackingService {
public:
    virtual ~InvokableTrackingService() { closeTracking(); }
    InvokableTrackingService(const InvokableTrackingService&) = delete;
    InvokableTrackingService& operator=(const InvokableTrackingService&) = delete;

protected:
    using Tracker = InvokableTracker<Invokable>;
    using ExclusiveLock = InvokableTrackerBase::ExclusiveLock;
    template <class T>
    using Unchanged = std::type_identity_t<T>; // the method's declared types hold, whatever the caller passes
    template <class R>
    using Attempted = std::optional<std::conditional_t<std::is_void_v<R>, std::monostate, R>>;

    InvokableTrackingService(TrackedServiceInfo info, Logger& logger,
                             foundation::concurrent::threadpool::Executor& executor)
        : tracker_(
              std::make_shared<Tracker>(std::move(info), ServiceProps{Props::CLIENT_ID}, logger, executor)) {}

    Tracker& tracker() const noexcept { return *tracker_; }

    /// For code that may go on after this object's end.
    std::shared_ptr<Tracker> keepTracker() const { return tracker_; }

    /// First in the destructor of a class that has members which its found and finding callbacks use.
    void closeTracking() { tracker_->close(); }

    template <class R, class... Args>
    R call(const RemoteMethod<R(Args...)>& method, Unchanged<Args>... args) const {
        const std::shared_ptr<Tracker> tracker = tracker_;
        SharedHold hold(tracker->state());
        return invoke(*tracker, hold.lock(), method, std::move(args)...);
    }
    template <class R, class... Args>
    R call(ExclusiveLock& lock, const RemoteMethod<R(Args...)>& method, Unchanged<Args>... args) const {
        return invoke(*tracker_, lock, method, std::move(args)...);
    }

    /// The answer, or nothing when the call failed in whichever way.
    template <class R, class... Args>
    Attempted<R> attempt(const RemoteMethod<R(Args...)>& method, Unchanged<Args>... args) const {
        try {
            if constexpr (std::is_void_v<R>) {
                call(method, std::move(args)...);
                return std::monostate{};
            } else {
                return call(method, std::move(args)...);
            }
        } catch (...) {
            return std::nullopt; // logged where it failed
        }
    }

private:
    template <class Lock, class R, class... Args>
    static R invoke(Tracker& tracker, Lock& lock, const RemoteMethod<R(Args...)>& method, Args&&... args) {
        auto& invokable = tracker.invokableFor(method.name, lock);
        try {
            auto started = invokable.template startCall<R>(
                tracker.callTimeout(method.timeout), std::string(method.name), std::forward<Args>(args)...);
            invokable.help(started.id);
            return started.result.get();
        } catch (const std::exception& failure) {
            tracker.logFailure(method.name, failure.what());
            throw;
        }
    }

    const std::shared_ptr<Tracker> tracker_;
};

} // namespace agent::spf::cppmsclientutils
