#pragma once

#include <cppmicroservices/FrameworkExport.h>
#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceReference.h>

#include <memory>

namespace cppmicroservices {

class BundleContext;
class BundleContextPrivate;

namespace detail {

/// What ServiceObjects of every interface do.
class ServiceObjectsBase {
public:
    /// \throws std::invalid_argument if \p reference is null or its service unregistered
    ServiceObjectsBase(std::shared_ptr<BundleContextPrivate> context, ServiceReferenceBase reference);

    std::shared_ptr<void> Object() const;
    InterfaceMapConstPtr Objects() const;
    const ServiceReferenceBase& Reference() const noexcept { return reference_; }

private:
    std::shared_ptr<BundleContextPrivate> context_;
    ServiceReferenceBase reference_;
};

} // namespace detail

/// A bundle's way to as many objects of a service as it wants: a service of prototype scope gives another one
/// with each call, others the one that BundleContext::GetService() gives. Made by
/// BundleContext::GetServiceObjects(). May be used from any thread; moving from it leaves nothing to use.
template <class S>
class ServiceObjects {
public:
    ServiceObjects(ServiceObjects&&) noexcept = default;
    ServiceObjects& operator=(ServiceObjects&&) noexcept = default;

    /// Null once the service is unregistered, and if its factory fails. The object goes back to its factory
    /// with the last pointer. \throws std::runtime_error if the bundle has stopped.
    std::shared_ptr<S> GetService() const { return std::static_pointer_cast<S>(base_.Object()); }
    ServiceReference<S> GetServiceReference() const { return base_.Reference(); }

private:
    explicit ServiceObjects(detail::ServiceObjectsBase base) noexcept : base_(std::move(base)) {}
    friend class BundleContext;

    detail::ServiceObjectsBase base_;
};

/// Of a service of any interface: objects by interface name.
template <>
class ServiceObjects<void> {
public:
    ServiceObjects(ServiceObjects&&) noexcept = default;
    ServiceObjects& operator=(ServiceObjects&&) noexcept = default;

    InterfaceMapConstPtr GetService() const { return base_.Objects(); }
    ServiceReferenceU GetServiceReference() const { return base_.Reference(); }

private:
    explicit ServiceObjects(detail::ServiceObjectsBase base) noexcept : base_(std::move(base)) {}
    friend class BundleContext;

    detail::ServiceObjectsBase base_;
};

} // namespace cppmicroservices
