#pragma once

// The framework is a static library that host and bundles each link: nothing of it is exported. Copies share
// their objects, not their globals, so the framework has no global mutable state.
#define US_Framework_EXPORT
#define US_Framework_NO_EXPORT
