#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/FrameworkExport.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices {

class Bundle;

namespace detail {
class ServiceRecord;
struct ServiceAccess;
} // namespace detail

/// Identifies a registered service and gives its properties, whatever its interface.
///
/// A small value: copies refer to the same registration. Distinct objects may be used by several threads at
/// once. References order by service.ranking, then the older (lower service.id) is the greater.
class ServiceReferenceBase {
public:
    ServiceReferenceBase(const ServiceReferenceBase&);
    ServiceReferenceBase(ServiceReferenceBase&&) noexcept;
    ServiceReferenceBase& operator=(const ServiceReferenceBase&);
    ServiceReferenceBase& operator=(ServiceReferenceBase&&) noexcept;
    ServiceReferenceBase& operator=(std::nullptr_t) noexcept;
    virtual ~ServiceReferenceBase();

    /// True while the service is registered.
    explicit operator bool() const noexcept;

    /// The property's present value, the last one after unregistration; empty if there is no such key.
    Any GetProperty(const std::string& key) const;
    std::vector<std::string> GetPropertyKeys() const;

    /// The bundle that registered the service; invalid once it is unregistered.
    Bundle GetBundle() const;

    /// The bundles that hold the service at the moment.
    std::vector<Bundle> GetUsingBundles() const;

    bool operator<(const ServiceReferenceBase& other) const;
    bool operator==(const ServiceReferenceBase& other) const noexcept { return record_ == other.record_; }

    /// Whether the service is registered under this interface name.
    bool IsConvertibleTo(const std::string& interfaceId) const;

    /// The interface through which this reference sees the service; may be empty.
    std::string GetInterfaceId() const;

    std::size_t Hash() const noexcept { return std::hash<const void*>()(record_.get()); }

protected:
    ServiceReferenceBase() noexcept;
    ServiceReferenceBase(std::shared_ptr<detail::ServiceRecord> record, const std::string& interfaceId);

    /// Becomes null if the service is not registered under that name.
    void SetInterfaceId(const std::string& interfaceId);

private:
    std::shared_ptr<detail::ServiceRecord> record_;
    const std::string* interfaceId_ = nullptr; ///< owned by the record

    friend struct detail::ServiceAccess;
};

std::ostream& operator<<(std::ostream& os, const ServiceReferenceBase& reference);

} // namespace cppmicroservices

template <>
struct std::hash<cppmicroservices::ServiceReferenceBase> {
    std::size_t operator()(const cppmicroservices::ServiceReferenceBase& r) const noexcept {
        return r.Hash();
    }
};
