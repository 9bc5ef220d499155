#pragma once

#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceReferenceBase.h>

#include <cstddef>
#include <functional>

namespace cppmicroservices {

/// A reference to a service seen through interface S.
template <class S>
class ServiceReference : public ServiceReferenceBase {
public:
    using ServiceType = S;

    ServiceReference() = default;
    ServiceReference(std::nullptr_t) {}

    /// Null if the service does not provide S.
    ServiceReference(const ServiceReferenceBase& base) : ServiceReferenceBase(base) {
        this->SetInterfaceId(us_service_interface_iid<S>());
    }

    using ServiceReferenceBase::operator=;
};

/// A reference to a service of any interface.
template <>
class ServiceReference<void> : public ServiceReferenceBase {
public:
    using ServiceType = void;

    ServiceReference() = default;
    ServiceReference(std::nullptr_t) {}
    ServiceReference(const ServiceReferenceBase& base) : ServiceReferenceBase(base) {}

    using ServiceReferenceBase::operator=;
};

using ServiceReferenceU = ServiceReference<void>;

} // namespace cppmicroservices

template <class S>
struct std::hash<cppmicroservices::ServiceReference<S>> {
    std::size_t operator()(const cppmicroservices::ServiceReference<S>& r) const noexcept { return r.Hash(); }
};
