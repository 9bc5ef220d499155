#include "FrameworkCore.h"
#include "bundle/FileSource.h"
#include "components/ComponentRuntime.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <memory>
#include <utility>

namespace cppmicroservices {

Framework FrameworkFactory::NewFramework(const FrameworkConfiguration& configuration, std::ostream* logger) {
    AnyMap properties(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (const auto& [key, value] : configuration)
        properties[key] = value;
    properties.emplace(Constants::FRAMEWORK_THREADING_SUPPORT, Constants::FRAMEWORK_THREADING_MULTI);
    properties.emplace(Constants::FRAMEWORK_LOG, false);
    properties.emplace(Constants::FRAMEWORK_STORAGE, std::string("fwdir"));
    detail::FrameworkCore::Parts parts;
    parts.bundles = std::make_unique<detail::FileSource>();
    parts.extensions.push_back(detail::MakeComponentRuntime());
    return Framework(detail::FrameworkCore::Create(std::move(properties), logger, std::move(parts)));
}

Framework FrameworkFactory::NewFramework() {
    return NewFramework({});
}

} // namespace cppmicroservices
