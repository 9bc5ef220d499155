#pragma once

#include <cppmicroservices/FrameworkExport.h>
#include <cppmicroservices/GlobalConfig.h>

namespace cppmicroservices {

class BundleContext;

/// Code of a bundle that runs when the bundle starts and stops. The framework makes one for each start if the
/// manifest says "bundle.activator": true, and destroys it after the stop.
///
/// Called by the thread that starts or stops the bundle, without any framework lock; that thread can neither
/// start nor stop the same bundle meanwhile.
struct BundleActivator {
    virtual ~BundleActivator() = default;

    /// What it throws makes the bundle's start fail; services and listeners of the context go.
    virtual void Start(BundleContext context) = 0;
    /// The bundle's components have gone; services that the activator has registered go afterwards. What it
    /// throws is the caller's of Bundle::Stop(), once the bundle has stopped.
    virtual void Stop(BundleContext context) = 0;
};

} // namespace cppmicroservices

/// Makes a class the activator of this bundle. Put it once, at global namespace level, into one source file,
/// compiled with US_BUNDLE_NAME defined as the bundle's symbolic name. The class needs a default constructor.
#define CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(activator_type)                                             \
    extern "C" US_ABI_EXPORT cppmicroservices::BundleActivator* US_CREATE_ACTIVATOR_FUNC(US_BUNDLE_NAME)();  \
    extern "C" US_ABI_EXPORT cppmicroservices::BundleActivator* US_CREATE_ACTIVATOR_FUNC(US_BUNDLE_NAME)() { \
        return new activator_type();                                                                         \
    }                                                                                                        \
    extern "C" US_ABI_EXPORT void US_DESTROY_ACTIVATOR_FUNC(US_BUNDLE_NAME)(                                 \
        cppmicroservices::BundleActivator * activator);                                                      \
    extern "C" US_ABI_EXPORT void US_DESTROY_ACTIVATOR_FUNC(US_BUNDLE_NAME)(                                 \
        cppmicroservices::BundleActivator * activator) {                                                     \
        delete activator;                                                                                    \
    }
