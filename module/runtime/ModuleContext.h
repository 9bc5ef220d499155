#pragma once

#include <cppmicroservices/BundleContext.h>

namespace agent::spf::cppmsclientutils {

/// The context in which what this thread constructs now belongs: the component's own, while the framework
/// constructs one; otherwise that of the bundle that this code is linked into, null before a framework starts
/// it.
cppmicroservices::BundleContext moduleContext();

/// Makes a context that of the objects which this thread constructs while it lives. The bundle's own, which
/// the library keeps, is that of its first start: after another, or in a second framework, only the
/// component's is right.
class ConstructionContext {
public:
    explicit ConstructionContext(cppmicroservices::BundleContext context);
    ~ConstructionContext();
    ConstructionContext(const ConstructionContext&) = delete;
    ConstructionContext& operator=(const ConstructionContext&) = delete;

private:
    friend cppmicroservices::BundleContext moduleContext();
    static thread_local const ConstructionContext* current;

    const cppmicroservices::BundleContext context_;
    const ConstructionContext* const outer_;
};

} // namespace agent::spf::cppmsclientutils
