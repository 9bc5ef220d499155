#include "module/runtime/ModuleContext.h"

#include <cppmicroservices/GetBundleContext.h>

namespace agent::spf::cppmsclientutils {

cppmicroservices::BundleContext moduleContext() {
    return cppmicroservices::GetBundleContext();
}

} // namespace agent::spf::cppmsclientutils
