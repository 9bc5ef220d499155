#include "EventHub.h"

#include "ServiceAccess.h"
#include "ServiceRecord.h"

#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/ServiceEvent.h>

namespace cppmicroservices::detail {

namespace {

bool Matches(const LDAPFilter& filter, const PropertyTable& properties) {
    const auto* expression = ServiceAccess::Expression(filter);
    return !expression || expression->Matches(properties);
}

} // namespace

void EventHub::Remove(std::uint64_t id) {
    services_.Remove(id);
    bundles_.Remove(id);
    frameworks_.Remove(id);
}

void EventHub::RemoveOwnedBy(const BundleContextPrivate* owner) {
    services_.RemoveOwnedBy(owner);
    bundles_.RemoveOwnedBy(owner);
    frameworks_.RemoveOwnedBy(owner);
}

template <class Event, class Entry>
void EventHub::Deliver(const Event& event, const Entry& entry, const char* kind) {
    if (entry.removed)
        return;
    try {
        entry.call(event);
    } catch (...) {
        onThrown_(kind);
    }
}

void EventHub::Fire(ServiceEvent::Type type, const std::shared_ptr<ServiceRecord>& record) {
    const ServiceEvent event(type, ServiceAccess::Reference(record));
    const auto properties = record->Properties();
    const auto listeners = services_.All();
    for (const auto& entry : *listeners) {
        if (Matches(entry->filter, *properties))
            Deliver(event, *entry, "service");
    }
}

void EventHub::FireModified(const std::shared_ptr<ServiceRecord>& record, const PropertyTable& before,
                            const PropertyTable& after) {
    const auto reference = ServiceAccess::Reference(record);
    const ServiceEvent modified(ServiceEvent::SERVICE_MODIFIED, reference);
    const ServiceEvent endMatch(ServiceEvent::SERVICE_MODIFIED_ENDMATCH, reference);
    const auto listeners = services_.All();
    for (const auto& entry : *listeners) {
        if (Matches(entry->filter, after))
            Deliver(modified, *entry, "service");
        else if (Matches(entry->filter, before))
            Deliver(endMatch, *entry, "service");
    }
}

void EventHub::Fire(const BundleEvent& event) {
    const auto listeners = bundles_.All();
    for (const auto& entry : *listeners)
        Deliver(event, *entry, "bundle");
}

bool EventHub::Fire(const FrameworkEvent& event) {
    const auto listeners = frameworks_.All();
    for (const auto& entry : *listeners) {
        if (entry->removed)
            continue;
        try {
            entry->call(event);
        } catch (...) {
            // A framework event about it would reach the same listener again.
        }
    }
    return !listeners->empty();
}

} // namespace cppmicroservices::detail
