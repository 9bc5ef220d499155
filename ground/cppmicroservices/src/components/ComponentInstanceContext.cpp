#include "ComponentInstanceContext.h"

#include <utility>

namespace cppmicroservices::detail {

ComponentInstanceContext::ComponentInstanceContext(BundleContext context,
                                                   std::shared_ptr<BoundServices> services,
                                                   PropertiesPtr properties, ServiceReferenceBase service,
                                                   Bundle user, Switch enable)
    : context_(std::move(context)), services_(std::move(services)), service_(std::move(service)),
      user_(std::move(user)), enable_(std::move(enable)), properties_(std::move(properties)) {}

void ComponentInstanceContext::SetProperties(PropertiesPtr properties) {
    const foundation::MutexLock lock(mutex_);
    properties_.swap(properties);
}

std::unordered_map<std::string, Any> ComponentInstanceContext::GetProperties() const {
    PropertiesPtr properties;
    {
        const foundation::MutexLock lock(mutex_);
        properties = properties_;
    }
    return {properties->begin(), properties->end()};
}

std::shared_ptr<void> ComponentInstanceContext::LocateService(const std::string& name,
                                                              const std::string& interfaceId) const {
    return services_->Get(name, interfaceId);
}

std::shared_ptr<void> ComponentInstanceContext::LocateService(const std::string& name,
                                                              const ServiceReferenceBase& reference) const {
    return services_->Get(name, reference, reference.GetInterfaceId());
}

std::vector<std::shared_ptr<void>>
ComponentInstanceContext::LocateServices(const std::string& name, const std::string& interfaceId) const {
    return services_->GetAll(name, interfaceId);
}

} // namespace cppmicroservices::detail
