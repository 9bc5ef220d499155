#pragma once

#include "Component.h"

#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

/// Components that wait for each other's services in a circle, so that none can become available: one text
/// for each circle, naming them all.
std::vector<std::string> FindDependencyLoops(const std::vector<std::shared_ptr<Component>>& components,
                                             const BundleContext& context);

} // namespace cppmicroservices::detail
