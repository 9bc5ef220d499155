#include "BundlePrivate.h"

#include <cppmicroservices/Constants.h>

#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace {

BundleVersion VersionIn(const AnyMap& headers) {
    const auto found = headers.find(Constants::BUNDLE_VERSION);
    if (found == headers.end())
        return BundleVersion::EmptyVersion();
    const auto* text = any_cast<std::string>(&found->second);
    if (!text)
        throw std::invalid_argument("'bundle.version' must be a text, like \"1.0.0\"");
    return {*text};
}

} // namespace

BundlePrivate::BundlePrivate(std::weak_ptr<detail::FrameworkCore> core, Identity identity, AnyMap headers)
    : core_(std::move(core)), identity_(std::move(identity)), headers_(std::move(headers)),
      version_(VersionIn(headers_)) {}

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
