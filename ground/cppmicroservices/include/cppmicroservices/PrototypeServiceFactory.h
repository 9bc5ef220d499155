#pragma once

#include <cppmicroservices/ServiceFactory.h>

namespace cppmicroservices {

/// A factory that creates an object for each call of ServiceObjects::GetService(). Through
/// BundleContext::GetService() and trackers a bundle has one object, as from any factory.
struct PrototypeServiceFactory : public ServiceFactory {};

} // namespace cppmicroservices
