#include "BundleContextPrivate.h"

#include <stdexcept>
#include <utility>

namespace cppmicroservices {

BundleContextPrivate::BundleContextPrivate(std::weak_ptr<detail::FrameworkCore> core,
                                           std::weak_ptr<BundlePrivate> bundle)
    : core_(std::move(core)), bundle_(std::move(bundle)) {}

BundleContextPrivate::Access BundleContextPrivate::Use() const {
    Access access{core_.lock(), bundle_.lock()};
    if (!valid_ || !access.core || !access.bundle)
        throw std::runtime_error(
            "The bundle context is no longer valid: its bundle or the framework has stopped.");
    return access;
}

} // namespace cppmicroservices
