#pragma once

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/GlobalConfig.h>
#include <cppmicroservices/detail/BundleContextSlot.h>

#ifndef US_BUNDLE_NAME
#error "Define US_BUNDLE_NAME as the bundle's symbolic name to use CPPMICROSERVICES_INITIALIZE_BUNDLE."
#endif

#define US_CTX_SLOT_FUNC(bundle_name) US_CONCAT(us_context_slot_of_, bundle_name)

/// Defines the slot for the bundle's context, and the functions that set and read it. Put it once, at global
/// namespace level, into one source file of each bundle.
///
/// The slot is never destroyed: threads of the host may still ask for the context while the process exits.
#define CPPMICROSERVICES_INITIALIZE_BUNDLE                                                                   \
    static cppmicroservices::detail::BundleContextSlot& US_CTX_SLOT_FUNC(US_BUNDLE_NAME)() {                 \
        static auto* const slot = new cppmicroservices::detail::BundleContextSlot;                           \
        return *slot;                                                                                        \
    }                                                                                                        \
    extern "C" US_ABI_LOCAL void US_GET_CTX_FUNC(US_BUNDLE_NAME)(cppmicroservices::BundleContext *           \
                                                                 context) {                                  \
        *context = US_CTX_SLOT_FUNC(US_BUNDLE_NAME)().Get();                                                 \
    }                                                                                                        \
    extern "C" US_ABI_EXPORT void US_SET_CTX_FUNC(US_BUNDLE_NAME)(cppmicroservices::BundleContextPrivate *   \
                                                                  context) {                                 \
        US_CTX_SLOT_FUNC(US_BUNDLE_NAME)().Set(context);                                                     \
    }
