#pragma once

#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceReference.h>

#include <memory>
#include <type_traits>

namespace cppmicroservices {

/// Told by a ServiceTracker which services come, change and go; chooses the object to keep for each.
///
/// Called without any lock, on the thread that registers, modifies or unregisters the service, or that opens
/// or closes the tracker. Calls for different services can overlap; so can two AddingService calls. It must
/// outlive the tracker's Close.
template <class S, class T = S>
class ServiceTrackerCustomizer {
public:
    /// What is kept per service; without a type of one's own for S = void, all its interfaces.
    using TrackedParmType = std::conditional_t<std::is_void_v<T>, const InterfaceMap, T>;

    virtual ~ServiceTrackerCustomizer() = default;

    /// A service that matches appeared. \return the object to track it with, or null to leave it until its
    /// properties change.
    virtual std::shared_ptr<TrackedParmType> AddingService(const ServiceReference<S>& reference) = 0;

    /// A tracked service's properties changed and still match.
    virtual void ModifiedService(const ServiceReference<S>& reference,
                                 const std::shared_ptr<TrackedParmType>& service) = 0;

    /// A tracked service was unregistered or no longer matches, or the tracker is closing.
    virtual void RemovedService(const ServiceReference<S>& reference,
                                const std::shared_ptr<TrackedParmType>& service) = 0;
};

} // namespace cppmicroservices
