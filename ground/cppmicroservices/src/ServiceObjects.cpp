#include "BundleContextPrivate.h"
#include "ServiceAccess.h"
#include "ServiceHolder.h"

#include <cppmicroservices/ServiceObjects.h>

#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {
namespace {

/// Null once the service has gone.
std::shared_ptr<ServiceHolder> Hold(const std::shared_ptr<BundleContextPrivate>& context,
                                    const ServiceReferenceBase& reference) {
    if (!reference)
        return nullptr;
    return ServiceHolder::GetAnother(ServiceAccess::Record(reference), context->Use().bundle);
}

} // namespace

ServiceObjectsBase::ServiceObjectsBase(std::shared_ptr<BundleContextPrivate> context,
                                       ServiceReferenceBase reference)
    : context_(std::move(context)), reference_(std::move(reference)) {
    if (!reference_)
        throw std::invalid_argument("GetServiceObjects: the reference is null or its service unregistered.");
}

std::shared_ptr<void> ServiceObjectsBase::Object() const {
    const auto holder = Hold(context_, reference_);
    return holder ? holder->Object(reference_.GetInterfaceId()) : nullptr;
}

InterfaceMapConstPtr ServiceObjectsBase::Objects() const {
    const auto holder = Hold(context_, reference_);
    return holder ? holder->Objects() : nullptr;
}

} // namespace cppmicroservices::detail
