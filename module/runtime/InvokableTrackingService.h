#pragma once

#include "module/runtime/InvokableTracker.h"
#include "module/runtime/RemoteCall.h"

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

namespace agent::spf::cppmsclientutils {

/// The base of every remote client: it owns the tracker and makes the calls.
///
/// call() lets a failure reach its caller, attempt() turns it into an empty answer; that verb is a method's
/// failure policy. Both wait for the service, up to the service timeout, and share the state lock until the
/// answer has arrived. Any thread may call, a call in flight does not need this object any more: it may be
/// destroyed meanwhile.
template <class Invokable>
class InvokableTrackingService {
public:
    virtual ~InvokableTrackingService() { closeTracking(); }
    InvokableTrackingService(const InvokableTrackingService&) = delete;
    InvokableTrackingService& operator=(const InvokableTrackingService&) = delete;

protected:
    using Tracker = InvokableTracker<Invokable>;
    template <class R>
    using Attempted = std::optional<std::conditional_t<std::is_void_v<R>, std::monostate, R>>;

    InvokableTrackingService(TrackedServiceInfo info, Logger& logger, Executors executors)
        : tracker_(std::make_shared<Tracker>(std::move(info), ServiceProps{Props::CLIENT_ID}, logger,
                                             executors)) {}

    /// Shared with all that may go on after this object's end.
    const std::shared_ptr<Tracker>& tracker() const noexcept { return tracker_; }

    /// First in the destructor of a class that has members which others may still use through its callbacks.
    void closeTracking() { tracker_->close(); }

    template <class R, class... Args>
    R call(const RemoteMethod<R(Args...)>& method, const std::type_identity_t<Args>&... args) const {
        const std::shared_ptr<Tracker> tracker = tracker_;
        SharedHold hold(tracker->state());
        return RemoteCaller(*tracker, hold.access())(method, args...);
    }

    /// The answer, or nothing when the call failed in whichever way.
    template <class R, class... Args>
    Attempted<R> attempt(const RemoteMethod<R(Args...)>& method,
                         const std::type_identity_t<Args>&... args) const {
        try {
            if constexpr (std::is_void_v<R>) {
                call(method, args...);
                return std::monostate{};
            } else {
                return call(method, args...);
            }
        } catch (...) {
            return std::nullopt; // logged where it failed
        }
    }

private:
    const std::shared_ptr<Tracker> tracker_;
};

} // namespace agent::spf::cppmsclientutils
