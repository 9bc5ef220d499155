#pragma once

#include "ComponentDescription.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceReference.h>
#include <foundation/thread_annotations.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

/// The services that a component's references are bound to, best first for each reference.
///
/// What a reference is bound to follows from what it was bound to before, and from the services that there
/// are: a reluctant reference keeps what still matches, a greedy one takes the best; a static one changes
/// only with a new object of the component.
///
/// The service objects are got when first asked for, and held until Release or as long as they are bound.
class BoundServices {
public:
    using Bound = std::vector<ServiceReferenceU>;
    /// By the reference's name; none for a reference that waits for a service.
    using Bindings = std::map<std::string, Bound>;

    /// What the references are to be bound to.
    /// \param before what they are bound to, or were before the component had to wait
    /// \throws std::runtime_error if the bundle has stopped.
    static Bindings Next(const BundleContext& context, const std::vector<ReferenceDescription>& references,
                         const Bindings& before);

    BoundServices(BundleContext context, Bindings bound);

    Bindings Now() const EXCLUDES(mutex_);
    void Rebind(const std::string& reference, Bound bound) EXCLUDES(mutex_);

    /// The best service bound to that reference, seen as \p interfaceId; null if there is none or its factory
    /// fails.
    std::shared_ptr<void> Get(const std::string& reference, const std::string& interfaceId) EXCLUDES(mutex_);
    /// One of those bound to it; null as well if it is not.
    std::shared_ptr<void> Get(const std::string& reference, const ServiceReferenceBase& service,
                              const std::string& interfaceId) EXCLUDES(mutex_);
    std::vector<std::shared_ptr<void>> GetAll(const std::string& reference, const std::string& interfaceId)
        EXCLUDES(mutex_);

    /// Lets the service objects go; Get answers null from now on.
    void Release() EXCLUDES(mutex_);

private:
    Bound BoundTo(const std::string& reference) const EXCLUDES(mutex_);

    BundleContext context_;
    mutable foundation::Mutex mutex_; ///< a leaf
    bool released_ GUARDED_BY(mutex_) = false;
    Bindings bound_ GUARDED_BY(mutex_);
    std::map<ServiceReferenceU, InterfaceMapConstPtr> objects_ GUARDED_BY(mutex_);
};

} // namespace cppmicroservices::detail
