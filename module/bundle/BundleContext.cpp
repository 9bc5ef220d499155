// The bundle's context, and the function through which the framework hands it over.
#include <cppmicroservices/BundleInitialization.h>

CPPMICROSERVICES_INITIALIZE_BUNDLE
