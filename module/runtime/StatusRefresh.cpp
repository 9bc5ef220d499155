#include "module/runtime/StatusRefresh.h"

#include <exception>
#include <utility>

namespace agent::spf::cppmsclientutils {

using foundation::log::logging_event_types;
using login::LoginInfo;

namespace {

/// Those that were registered when the state was asked for.
struct Told {
    std::vector<std::shared_ptr<Registration>> listeners;
    std::function<void(const Registration&, const LoginInfo&)> tell;
};

void tellAll(const InvokableTrackerBase& tracker, const std::vector<Told>& told, const LoginInfo& info) {
    for (const auto& [listeners, tell] : told) {
        for (const auto& listener : listeners) {
            try {
                if (listener->active())
                    tell(*listener, info);
            } catch (...) {
                tracker.log(logging_event_types::severe, "Failed updating status listeners on HSH restart.");
                tracker.logException(std::current_exception());
            }
        }
    }
}

} // namespace

std::function<void()> refreshing(const std::shared_ptr<InvokableTrackerBase>& clientsTracker,
                                 const RemoteMethod<LoginInfo(std::string, int)>& getLoginInfo,
                                 std::vector<StatusAudience> audiences) {
    return [weak = std::weak_ptr(clientsTracker), &getLoginInfo, audiences = std::move(audiences)] {
        const auto tracker = weak.lock();
        if (!tracker)
            return;
        LoginInfo info;
        try {
            SharedHold hold(tracker->state());
            info = RemoteCaller(*tracker, hold.access())(getLoginInfo, "CONNECTOR", 2);
        } catch (...) {
            tracker->log(logging_event_types::severe, "Failed getting LoginInfo on HSH restart.");
            tracker->logException(std::current_exception());
            return;
        }
        std::vector<Told> told;
        for (const auto& [weakTable, tell] : audiences) {
            if (const auto table = weakTable.lock())
                told.push_back({table->all(), tell});
        }
        // Not from here: a listener that blocks would keep the tracker from noticing the next daemon. The
        // tracker lives as long as the delivery.
        tracker->deliver([&tracker = *tracker, told = std::move(told), info = std::move(info)] {
            tellAll(tracker, told, info);
        });
    };
}

} // namespace agent::spf::cppmsclientutils
