#include "BundlePrivate.h"

#include <utility>

namespace cppmicroservices {

BundlePrivate::BundlePrivate(std::weak_ptr<detail::FrameworkCore> core, Identity identity, AnyMap headers)
    : core_(std::move(core)), identity_(std::move(identity)), headers_(std::move(headers)) {}

BundlePrivate::~BundlePrivate() = default;

Bundle::State BundlePrivate::State() const {
    const foundation::MutexLock lock(mutex_);
    return state_;
}

std::shared_ptr<BundleContextPrivate> BundlePrivate::Context() const {
    const foundation::MutexLock lock(mutex_);
    return context_;
}

} // namespace cppmicroservices
