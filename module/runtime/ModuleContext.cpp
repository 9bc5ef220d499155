#include "module/runtime/ModuleContext.h"

#include <cppmicroservices/GetBundleContext.h>

#include <utility>

namespace agent::spf::cppmsclientutils {

thread_local const ConstructionContext* ConstructionContext::current = nullptr;

ConstructionContext::ConstructionContext(cppmicroservices::BundleContext context)
    : context_(std::move(context)), outer_(std::exchange(current, this)) {}

ConstructionContext::~ConstructionContext() {
    current = outer_;
}

cppmicroservices::BundleContext moduleContext() {
    const auto* const construction = ConstructionContext::current;
    return construction != nullptr ? construction->context_ : cppmicroservices::GetBundleContext();
}

} // namespace agent::spf::cppmsclientutils
