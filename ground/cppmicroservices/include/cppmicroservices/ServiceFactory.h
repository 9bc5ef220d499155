#pragma once

#include <cppmicroservices/ServiceInterface.h>

namespace cppmicroservices {

class Bundle;
class ServiceRegistrationBase;

/// Registered in place of a service object to create one object per using bundle, on first use.
///
/// Called without any framework lock on the thread of the bundle that gets or releases the service. While one
/// thread is in GetService for a bundle, others that want the service for the same bundle wait for its
/// outcome.
class ServiceFactory {
public:
    virtual ~ServiceFactory() = default;

    /// The objects for \p bundle, one for each interface of the registration. An exception, null or a missing
    /// interface makes the caller's GetService return null; a framework event tells why.
    virtual InterfaceMapConstPtr GetService(const Bundle& bundle,
                                            const ServiceRegistrationBase& registration) = 0;

    /// \p bundle released its last pointer to \p service, or the service was unregistered.
    virtual void UngetService(const Bundle& bundle, const ServiceRegistrationBase& registration,
                              const InterfaceMapConstPtr& service) = 0;
};

} // namespace cppmicroservices
