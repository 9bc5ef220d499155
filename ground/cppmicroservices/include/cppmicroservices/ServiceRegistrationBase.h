#pragma once

#include <cppmicroservices/FrameworkExport.h>
#include <cppmicroservices/ServiceProperties.h>
#include <cppmicroservices/ServiceReference.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace cppmicroservices {

/// The registrant's handle on its service. A small value: copies handle the same registration, and dropping
/// them does not unregister. May be used from any thread.
class ServiceRegistrationBase {
public:
    ServiceRegistrationBase(const ServiceRegistrationBase&);
    ServiceRegistrationBase(ServiceRegistrationBase&&) noexcept;
    ServiceRegistrationBase& operator=(const ServiceRegistrationBase&);
    ServiceRegistrationBase& operator=(ServiceRegistrationBase&&) noexcept;
    ServiceRegistrationBase& operator=(std::nullptr_t) noexcept;
    ~ServiceRegistrationBase();

    /// True unless this is a null handle; stays true after unregistration.
    explicit operator bool() const noexcept { return record_ != nullptr; }

    /// \throws std::logic_error if the service is unregistered, or not registered under \p interfaceId.
    ServiceReferenceBase GetReference(const std::string& interfaceId = {}) const;

    /// Replaces the properties, then tells listeners on this thread: SERVICE_MODIFIED if their filter matches
    /// now, SERVICE_MODIFIED_ENDMATCH if it only did before. \throws std::logic_error if the service is
    /// unregistered. \throws as RegisterService does; the old properties stay.
    void SetProperties(const ServiceProperties& properties);
    void SetProperties(ServiceProperties&& properties);

    /// Takes the service out of the registry, then tells listeners on this thread. Objects that users hold
    /// live on. \throws std::logic_error if the service is unregistered already.
    void Unregister();

    bool operator<(const ServiceRegistrationBase& other) const noexcept { return record_ < other.record_; }
    bool operator==(const ServiceRegistrationBase& other) const noexcept { return record_ == other.record_; }

    std::size_t Hash() const noexcept { return std::hash<const void*>()(record_.get()); }

protected:
    ServiceRegistrationBase() noexcept;

private:
    explicit ServiceRegistrationBase(std::shared_ptr<detail::ServiceRecord> record) noexcept;

    std::shared_ptr<detail::ServiceRecord> record_;

    template <class I1, class... Interfaces>
    friend class ServiceRegistration;
    friend struct detail::ServiceAccess;
};

} // namespace cppmicroservices

template <>
struct std::hash<cppmicroservices::ServiceRegistrationBase> {
    std::size_t operator()(const cppmicroservices::ServiceRegistrationBase& r) const noexcept {
        return r.Hash();
    }
};
