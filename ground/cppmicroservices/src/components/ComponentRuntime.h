#pragma once

#include "../FrameworkExtension.h"

#include <memory>

namespace cppmicroservices::detail {

/// The extension that runs the components of started bundles and offers ConfigurationAdmin.
std::unique_ptr<FrameworkExtension> MakeComponentRuntime();

} // namespace cppmicroservices::detail
