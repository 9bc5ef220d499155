#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceReference.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace cppmicroservices::service::component {

/// What a component instance knows of its surroundings. Usable from any thread until the component is
/// deactivated; afterwards it locates nothing, and only the properties are left.
class ComponentContext {
public:
    virtual ~ComponentContext() noexcept = default;

    /// The component's properties: the manifest's, overridden by the configuration's, with "component.name"
    /// and "component.id".
    virtual std::unordered_map<std::string, Any> GetProperties() const = 0;

    /// The context of the component's bundle.
    virtual BundleContext GetBundleContext() const = 0;

    /// The bundle that the object was made for; null for an object of scope singleton, which serves all.
    virtual Bundle GetUsingBundle() const = 0;

    virtual void EnableComponent(const std::string& name) = 0;
    virtual void DisableComponent(const std::string& name) = 0;

    /// The component's own service; null if it has none.
    virtual ServiceReferenceBase GetServiceReference() const = 0;

    /// The service bound to the reference of that name, or null.
    template <class T>
    std::shared_ptr<T> LocateService(const std::string& name) const {
        return std::static_pointer_cast<T>(LocateService(name, us_service_interface_iid<T>()));
    }
    /// That service, if it is bound to the reference of that name, or null.
    template <class T>
    std::shared_ptr<T> LocateService(const std::string& name, const ServiceReference<T>& reference) const {
        return std::static_pointer_cast<T>(LocateService(name, ServiceReferenceBase(reference)));
    }
    /// All services bound to the reference of that name.
    template <class T>
    std::vector<std::shared_ptr<T>> LocateServices(const std::string& name) const {
        std::vector<std::shared_ptr<T>> services;
        for (const auto& service : LocateServices(name, us_service_interface_iid<T>()))
            services.push_back(std::static_pointer_cast<T>(service));
        return services;
    }

protected:
    virtual std::shared_ptr<void> LocateService(const std::string& name,
                                                const std::string& interfaceId) const = 0;
    virtual std::shared_ptr<void> LocateService(const std::string& name,
                                                const ServiceReferenceBase& reference) const = 0;
    virtual std::vector<std::shared_ptr<void>> LocateServices(const std::string& name,
                                                              const std::string& interfaceId) const = 0;
};

} // namespace cppmicroservices::service::component
