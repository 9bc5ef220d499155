#pragma once

#include <cppmicroservices/ServiceRegistrationBase.h>

#include <type_traits>

namespace cppmicroservices {

/// A registration whose interfaces are known by type.
template <class I1, class... Interfaces>
class ServiceRegistration : public ServiceRegistrationBase {
public:
    ServiceRegistration() = default;
    ServiceRegistration(std::nullptr_t) {}

    /// The reference seen through one of the interfaces; the first by default.
    /// \throws std::logic_error if the service is unregistered.
    template <class Interface>
    ServiceReference<Interface> GetReference() const {
        static_assert((std::is_same_v<Interface, I1> || ... || std::is_same_v<Interface, Interfaces>),
                      "the service is not registered under this interface");
        return ServiceRegistrationBase::GetReference(us_service_interface_iid<Interface>());
    }
    ServiceReference<I1> GetReference() const { return GetReference<I1>(); }

    using ServiceRegistrationBase::operator=;

private:
    explicit ServiceRegistration(const ServiceRegistrationBase& base) : ServiceRegistrationBase(base) {}
    friend class BundleContext;
};

template <>
class ServiceRegistration<void> : public ServiceRegistrationBase {
public:
    ServiceRegistration() = default;
    ServiceRegistration(std::nullptr_t) {}
    ServiceRegistration(const ServiceRegistrationBase& base) : ServiceRegistrationBase(base) {}

    ServiceReferenceU GetReference(const std::string& interfaceId = {}) const {
        return ServiceRegistrationBase::GetReference(interfaceId);
    }

    using ServiceRegistrationBase::operator=;
};

using ServiceRegistrationU = ServiceRegistration<void>;

} // namespace cppmicroservices
