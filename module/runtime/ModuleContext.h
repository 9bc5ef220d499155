#pragma once

#include <cppmicroservices/BundleContext.h>

namespace agent::spf::cppmsclientutils {

/// The context that the framework gave this module; null before the module is loaded by one.
cppmicroservices::BundleContext moduleContext();

} // namespace agent::spf::cppmsclientutils
