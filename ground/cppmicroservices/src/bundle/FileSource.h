#pragma once

#include "../BundleSource.h"

namespace cppmicroservices::detail {

/// Bundles in library files; a location is a path.
class FileSource final : public BundleSource {
public:
    std::vector<AnyMap> Read(const std::string& location, const AnyMap& given) override;
    std::shared_ptr<BundlePrivate> Make(const std::shared_ptr<FrameworkCore>& core,
                                        BundlePrivate::Identity identity, AnyMap headers) override;
};

} // namespace cppmicroservices::detail
