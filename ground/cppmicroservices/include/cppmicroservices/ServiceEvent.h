#pragma once

#include <cppmicroservices/FrameworkExport.h>
#include <cppmicroservices/ServiceReference.h>

#include <cstdint>
#include <ostream>

namespace cppmicroservices {

/// A change of a registered service, delivered on the thread that makes the change.
class ServiceEvent {
public:
    enum Type : std::uint32_t {
        SERVICE_REGISTERED = 0x1,
        /// Properties changed; the listener's filter matches the new ones.
        SERVICE_MODIFIED = 0x2,
        /// The service is still obtainable while this event is delivered.
        SERVICE_UNREGISTERING = 0x4,
        /// Properties changed; the listener's filter matched the old ones but not the new ones.
        SERVICE_MODIFIED_ENDMATCH = 0x8
    };

    ServiceEvent() = default;
    ServiceEvent(Type type, const ServiceReferenceBase& reference) : type_(type), reference_(reference) {}

    explicit operator bool() const noexcept { return type_ != Type{}; }

    ServiceReferenceU GetServiceReference() const { return reference_; }

    template <class S>
    ServiceReference<S> GetServiceReference() const {
        return reference_;
    }

    Type GetType() const noexcept { return type_; }

private:
    Type type_{};
    ServiceReferenceU reference_;
};

std::ostream& operator<<(std::ostream& os, ServiceEvent::Type type);
/// Type, service id and interfaces.
std::ostream& operator<<(std::ostream& os, const ServiceEvent& event);

} // namespace cppmicroservices
