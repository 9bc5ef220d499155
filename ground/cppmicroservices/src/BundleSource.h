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
    /// \param given headers by symbolic name, in place of those at the location; empty for the latter
    /// \throws std::runtime_error saying what is wrong with the location or the headers
    virtual std::vector<AnyMap> Read(const std::string& location, const AnyMap& given) = 0;
    virtual std::shared_ptr<BundlePrivate> Make(const std::shared_ptr<FrameworkCore>& core,
                                                BundlePrivate::Identity identity, AnyMap headers) = 0;
};

} // namespace cppmicroservices::detail
