#pragma once

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/GlobalConfig.h>

#ifndef US_BUNDLE_NAME
#error "Define US_BUNDLE_NAME as the bundle's symbolic name to use GetBundleContext()."
#endif

extern "C" void US_GET_CTX_FUNC(US_BUNDLE_NAME)(cppmicroservices::BundleContext* context);

namespace cppmicroservices {

/// The context of the bundle this translation unit belongs to; null before the framework has set it and after
/// the framework is gone. The bundle contains CPPMICROSERVICES_INITIALIZE_BUNDLE once.
static inline BundleContext GetBundleContext() {
    BundleContext context;
    US_GET_CTX_FUNC(US_BUNDLE_NAME)(&context);
    return context;
}

} // namespace cppmicroservices
