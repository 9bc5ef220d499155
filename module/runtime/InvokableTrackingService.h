#pragma once

#include "module/runtime/InvokableTracker.h"
#include "contract/vocabulary/RemoteMethod.h"

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
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

    /// A call on its way, made by a thread that holds the state lock and keeps it until it has the answer.
    template <class R>
    class PendingCall {
    public:
        PendingCall(const Tracker& tracker, std::string_view method, core::Invokable& invokable,
                    core::StartedCall<R> started)
            : tracker_(&tracker), method_(method), invokable_(&invokable), started_(std::move(started)) {}

        /// Waits for the answer. Once. @throws whatever the call failed with.
        R get() {
            try {
                invokable_->help(started_.id);
                return started_.result.get();
            } catch (const std::exception& failure) {
                tracker_->logFailure(method_, failure.what());
                throw;
            }
        }

    private:
        const Tracker* tracker_;
        std::string_view method_; // of a RemoteMethod, which are constants
        core::Invokable* invokable_;
        core::StartedCall<R> started_;
    };

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
    /// As call(), in two steps, so that several calls can be on their way at once.
    template <class R, class... Args>
    PendingCall<R> begin(ExclusiveLock& lock, const RemoteMethod<R(Args...)>& method,
                         Unchanged<Args>... args) const {
        return start(*tracker_, lock, method, std::move(args)...);
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
    static PendingCall<R> start(Tracker& tracker, Lock& lock, const RemoteMethod<R(Args...)>& method,
                                Args&&... args) {
        auto& invokable = tracker.invokableFor(method.name, lock);
        try {
            return {tracker, method.name, invokable,
                    invokable.template startCall<R>(tracker.callTimeout(method.timeout),
                                                    std::string(method.name), std::forward<Args>(args)...)};
        } catch (const std::exception& failure) {
            tracker.logFailure(method.name, failure.what());
            throw;
        }
    }

    template <class Lock, class R, class... Args>
    static R invoke(Tracker& tracker, Lock& lock, const RemoteMethod<R(Args...)>& method, Args&&... args) {
        return start(tracker, lock, method, std::forward<Args>(args)...).get();
    }

    const std::shared_ptr<Tracker> tracker_;
};

} // namespace agent::spf::cppmsclientutils
