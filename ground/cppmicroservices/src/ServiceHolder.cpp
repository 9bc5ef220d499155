#include "ServiceHolder.h"

#include <utility>

namespace cppmicroservices::detail {

std::shared_ptr<ServiceHolder> ServiceHolder::Get(std::shared_ptr<ServiceRecord> record,
                                                  std::shared_ptr<BundlePrivate> user) {
    auto services = record->Acquire(user);
    return services ? std::make_shared<ServiceHolder>(std::move(record), std::move(user), std::move(services),
                                                      /*another=*/false)
                    : nullptr;
}

std::shared_ptr<ServiceHolder> ServiceHolder::GetAnother(std::shared_ptr<ServiceRecord> record,
                                                         std::shared_ptr<BundlePrivate> user) {
    if (!record->IsPrototype())
        return Get(std::move(record), std::move(user));
    auto services = record->AcquireAnother(user);
    return services ? std::make_shared<ServiceHolder>(std::move(record), std::move(user), std::move(services),
                                                      /*another=*/true)
                    : nullptr;
}

ServiceHolder::ServiceHolder(std::shared_ptr<ServiceRecord> record, std::shared_ptr<BundlePrivate> user,
                             InterfaceMapConstPtr services, bool another)
    : record_(std::move(record)), user_(std::move(user)), services_(std::move(services)), another_(another) {}

ServiceHolder::~ServiceHolder() {
    if (another_)
        record_->ReleaseAnother(services_);
    else
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
