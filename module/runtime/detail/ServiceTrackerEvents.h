#pragma once

#include "module/runtime/detail/ServiceTrackerEventsBase.h"

#include <foundation/thread_annotations.h>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace agent::spf::cppmsclientutils::detail {

/// What can happen to a tracked service.
enum class ServiceTrackerEvent : std::size_t { Added, Modified, Removed };

/// The handlers of one tracker's events. Handlers are called on the executor; posting never calls one.
template <class Service>
class ServiceTrackerEvents : private ServiceTrackerEventsBase {
public:
    using Handler = std::function<void(std::shared_ptr<Service>)>;

    using ServiceTrackerEventsBase::ServiceTrackerEventsBase;

    void on(ServiceTrackerEvent event, Handler handler, bool oneShot = false) {
        const foundation::MutexLock lock(mutex_);
        handlers_[static_cast<std::size_t>(event)].push_back({std::move(handler), oneShot});
    }

    void postEvent(ServiceTrackerEvent event, const std::shared_ptr<Service>& service) {
        const foundation::MutexLock lock(mutex_);
        auto& entries = handlers_[static_cast<std::size_t>(event)];
        for (const auto& entry : entries)
            post([handler = entry.handler, service] { handler(service); });
        std::erase_if(entries, [](const Entry& entry) { return entry.oneShot; });
    }

private:
    struct Entry {
        Handler handler;
        bool oneShot;
    };

    foundation::Mutex mutex_; // only the executor's own lock is taken under it
    std::array<std::vector<Entry>, 3> handlers_ GUARDED_BY(mutex_);
};

} // namespace agent::spf::cppmsclientutils::detail
