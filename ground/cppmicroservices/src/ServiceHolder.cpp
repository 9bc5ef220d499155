#include "ServiceHolder.h"

#include <utility>

namespace cppmicroservices::detail {

std::shared_ptr<ServiceHolder> ServiceHolder::Get(std::shared_ptr<ServiceRecord> record,
                                                  std::shared_ptr<BundlePrivate> user) {
    auto services = record->Acquire(user);
    return services ? std::make_shared<ServiceHolder>(std::move(record), std::move(user), std::move(services))
                    : nullptr;
}

ServiceHolder::ServiceHolder(std::shared_ptr<ServiceRecord> record, std::shared_ptr<BundlePrivate> user,
                             InterfaceMapConstPtr services)
    : record_(std::move(record)), user_(std::move(user)), services_(std::move(services)) {}

ServiceHolder::~ServiceHolder() {
    record_->Release(user_);
}

std::shared_ptr<void> ServiceHolder::Object(const std::string& interfaceId) const {
    const auto found = services_->find(interfaceId);
    return found == services_->end() ? nullptr
                                     : std::shared_ptr<void>(shared_from_this(), found->second.get());
}

InterfaceMapConstPtr ServiceHolder::Objects() const {
    const auto objects = std::make_shared<InterfaceMap>();
    for (const auto& interfaceId : record_->Interfaces())
        objects->emplace(interfaceId, Object(interfaceId));
    return objects;
}

} // namespace cppmicroservices::detail
