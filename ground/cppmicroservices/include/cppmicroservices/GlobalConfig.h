#pragma once

// Settings every other header needs: platform, visibility, and the names of the functions that a bundle
// exports.

#define US_PLATFORM_POSIX
#define US_PLATFORM_LINUX

#define US_ABI_EXPORT __attribute__((visibility("default")))
#define US_ABI_IMPORT __attribute__((visibility("default")))
#define US_ABI_LOCAL __attribute__((visibility("hidden")))

#define US_STR_(x) #x
#define US_STR(x) US_STR_(x)
#define US_CONCAT_(a, b) a##b
#define US_CONCAT(a, b) US_CONCAT_(a, b)

#define US_GET_CTX_PREFIX _us_get_bundle_context_instance_
#define US_SET_CTX_PREFIX _us_set_bundle_context_instance_

#define US_CREATE_ACTIVATOR_PREFIX _us_create_activator_
#define US_DESTROY_ACTIVATOR_PREFIX _us_destroy_activator_

#define US_GET_CTX_FUNC(bundle_name) US_CONCAT(US_GET_CTX_PREFIX, bundle_name)
#define US_SET_CTX_FUNC(bundle_name) US_CONCAT(US_SET_CTX_PREFIX, bundle_name)
#define US_CREATE_ACTIVATOR_FUNC(bundle_name) US_CONCAT(US_CREATE_ACTIVATOR_PREFIX, bundle_name)
#define US_DESTROY_ACTIVATOR_FUNC(bundle_name) US_CONCAT(US_DESTROY_ACTIVATOR_PREFIX, bundle_name)
