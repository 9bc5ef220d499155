#pragma once

#include "host/HostOptions.h"

#include <cppmicroservices/AnyMap.h>

#include <vector>

namespace zelkor::host {

/// Compares configurations with what the components of a bundle take: a pid that none of them has would leave
/// a component out, a misspelt key or a time limit that is no number would be ignored, all without a word.
/// @param manifest the bundle's headers.
/// @throws ConfigurationError naming what is wrong and what is possible there.
void checkConfigurations(const std::vector<Configuration>& configurations,
                         const cppmicroservices::AnyMap& manifest);

} // namespace zelkor::host
