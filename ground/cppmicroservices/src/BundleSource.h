#pragma once

#include "BundlePrivate.h"

#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

/// Where installed bundles come from. Called on the installing thread, without any framework lock.
class BundleSource {
public:
    virtual ~BundleSource() = default;

    /// The headers of each bundle at \p location, with a symbolic name in each.
    /// \throws std::runtime_error saying what is wrong with the location.
    virtual std::vector<AnyMap> Read(const std::string& location) = 0;
    virtual std::shared_ptr<BundlePrivate> Make(const std::shared_ptr<FrameworkCore>& core,
                                                BundlePrivate::Identity identity, AnyMap headers) = 0;
};

} // namespace cppmicroservices::detail
