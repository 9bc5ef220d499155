#pragma once

#include <cppmicroservices/AnyMap.h>

#include <string>
#include <unordered_map>

namespace cppmicroservices {

/// Properties given at a service's registration. Keys of a registered service are compared without regard to
/// case.
using ServiceProperties = std::unordered_map<std::string, Any>;

} // namespace cppmicroservices
