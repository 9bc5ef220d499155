#pragma once

#include "BoundServices.h"

#include <cppmicroservices/servicecomponent/ComponentContext.hpp>
#include <foundation/thread_annotations.h>

#include <functional>
#include <memory>
#include <string>

namespace cppmicroservices::detail {

using PropertiesPtr = std::shared_ptr<const AnyMap>;

/// The ComponentContext of one instance.
class ComponentInstanceContext final : public service::component::ComponentContext {
public:
    /// Enables or disables a component of the bundle by its name, or all by an empty one.
    using Switch = std::function<void(const std::string& name, bool enabled)>;

    /// \param user for whom the object is made; invalid if it is for nobody's call
    ComponentInstanceContext(BundleContext context, std::shared_ptr<BoundServices> services,
                             PropertiesPtr properties, ServiceReferenceBase service, Bundle user,
                             Switch enable);

    void SetProperties(PropertiesPtr properties) EXCLUDES(mutex_);

    std::unordered_map<std::string, Any> GetProperties() const override EXCLUDES(mutex_);
    BundleContext GetBundleContext() const override { return context_; }
    Bundle GetUsingBundle() const override { return user_; }
    void EnableComponent(const std::string& name) override { enable_(name, true); }
    void DisableComponent(const std::string& name) override { enable_(name, false); }
    ServiceReferenceBase GetServiceReference() const override { return service_; }

protected:
    std::shared_ptr<void> LocateService(const std::string& name,
                                        const std::string& interfaceId) const override;
    std::shared_ptr<void> LocateService(const std::string& name,
                                        const ServiceReferenceBase& reference) const override;
    std::vector<std::shared_ptr<void>> LocateServices(const std::string& name,
                                                      const std::string& interfaceId) const override;

private:
    const BundleContext context_;
    const std::shared_ptr<BoundServices> services_;
    const ServiceReferenceBase service_;
    const Bundle user_;
    const Switch enable_;
    mutable foundation::Mutex mutex_; ///< a leaf
    PropertiesPtr properties_ GUARDED_BY(mutex_);
};

} // namespace cppmicroservices::detail
