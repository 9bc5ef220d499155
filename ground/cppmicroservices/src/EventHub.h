#pragma once

#include "ListenerTable.h"

#include <cppmicroservices/ListenerFunctors.h>
#include <cppmicroservices/ServiceEvent.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

namespace cppmicroservices::detail {

class PropertyTable;
class ServiceRecord;

/// The framework's listeners, and delivery to them on the calling thread, without any lock. A listener that
/// throws does not keep the others from the event.
class EventHub {
public:
    /// Called in the catch block of what a service or bundle listener threw.
    using ThrownHandler = std::function<void(const char* kind)>;

    explicit EventHub(ThrownHandler onThrown) : onThrown_(std::move(onThrown)) {}

    std::uint64_t NextId() noexcept { return ++lastId_; }

    ListenerTable<ServiceListener>& Services() noexcept { return services_; }
    ListenerTable<BundleListener>& Bundles() noexcept { return bundles_; }
    ListenerTable<FrameworkListener>& Frameworks() noexcept { return frameworks_; }

    void Remove(std::uint64_t id);
    void RemoveOwnedBy(const BundleContextPrivate* owner);

    /// A service came or goes.
    void Fire(ServiceEvent::Type type, const std::shared_ptr<ServiceRecord>& record);
    /// Tells each listener the kind of change that its filter makes of it.
    void FireModified(const std::shared_ptr<ServiceRecord>& record, const PropertyTable& before,
                      const PropertyTable& after);
    void Fire(const BundleEvent& event);
    /// \return whether there was a listener
    bool Fire(const FrameworkEvent& event);

private:
    template <class Event, class Entry>
    void Deliver(const Event& event, const Entry& entry, const char* kind);

    const ThrownHandler onThrown_;
    std::atomic<std::uint64_t> lastId_ = 0;
    ListenerTable<ServiceListener> services_;
    ListenerTable<BundleListener> bundles_;
    ListenerTable<FrameworkListener> frameworks_;
};

} // namespace cppmicroservices::detail
