#pragma once

#include "module/runtime/PendingOutcome.h"
#include "module/runtime/RemoteCall.h"

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace agent::spf::cppmsclientutils {

/// A kind of requests whose outcome comes later, by a function that the daemon calls once: with a result and
/// an error text, which is empty for success.
template <class... Result>
struct RequestKind {
    std::string_view method;                           ///< as the log names it
    foundation::log::logging_event_types failureLevel; ///< of the daemon's error text
    bool exclusive;                                    ///< the request excludes the client's other calls
    /// The log line of a success; none when empty.
    std::string (*success)(const Result&...) = nullptr;
};

/// Starts a request: exports its completion, then sends it. Returns when the daemon has taken it.
///
/// The handler is called exactly once, whatever happens to daemon, request and client: with the daemon's
/// outcome, on the executor; with a failure of starting, on this thread; or, when the completion is withdrawn
/// uncalled, with a DisconnectedError, on the executor.
/// @param kind a constant. @param send gets a caller and the exported completion.
/// @throws what the handler throws when it is called with a failure of starting.
template <class... Result, class Send>
void startRequest(const std::shared_ptr<InvokableTrackerBase>& clientsTracker,
                  const RequestKind<Result...>& kind, typename PendingOutcome<Result...>::Handler handler,
                  const Send& send) {
    const auto tracker = clientsTracker; // the outcome may come, and end the client, before the reply
    const auto outcome =
        std::make_shared<PendingOutcome<Result...>>(std::move(handler), tracker->executors().callbacks);
    auto completion = core::exportAs<void(Result..., std::string)>(
        [weak = std::weak_ptr(tracker), outcome, &kind](Result... result, const std::string& error) {
            const auto alive = weak.lock();
            if (!alive || alive->closed())
                throw core::WithdrawnError("The client that made the request is gone");
            if (!error.empty()) {
                alive->log(kind.failureLevel, std::string(kind.method) + " failed: " + error);
                return outcome->fail(std::make_exception_ptr(std::runtime_error(error)));
            }
            if (kind.success != nullptr)
                alive->log(foundation::log::logging_event_types::info, kind.success(result...));
            outcome->succeed(std::move(result)...);
        });
    const auto run = [&](auto& access) {
        constexpr unsigned int once = 1;
        const auto callback = tracker->exportCallback(access, std::move(completion), once);
        try {
            send(RemoteCaller(*tracker, access), callback);
        } catch (...) {
            // The daemon did not take it, so it must not call it.
            tracker->removeCallback(access, callback.getCallbackID());
            throw;
        }
    };
    try {
        if (kind.exclusive) {
            tracker->exclusivelyOrShared(run);
        } else {
            SharedHold hold(tracker->state());
            run(hold.access());
        }
    } catch (...) {
        outcome->fail(std::current_exception());
    }
}

} // namespace agent::spf::cppmsclientutils
