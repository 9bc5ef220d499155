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

/// The services that satisfy a component's references: for each the best of those present when that reference
/// was first satisfied, kept for as long as it matches.
///
/// The service objects are got when first asked for, and held until Release.
class BoundServices {
public:
    /// By the reference's name.
    using Bindings = std::map<std::string, ServiceReferenceU>;

    /// Keeps what still matches in \p bound, and binds each other reference to the best service there is.
    /// \return null if a reference has none. \throws std::runtime_error if the bundle has stopped.
    static std::shared_ptr<BoundServices>
    Bind(const BundleContext& context, const std::vector<ReferenceDescription>& references, Bindings& bound);

    BoundServices(BundleContext context, Bindings bound);

    /// Whether every bound service is still registered and matches its target.
    bool StillMatch(const std::vector<ReferenceDescription>& references) const;

    /// The service bound to that reference, seen as \p interfaceId; null if there is none or its factory
    /// fails.
    std::shared_ptr<void> Get(const std::string& reference, const std::string& interfaceId) EXCLUDES(mutex_);
    bool IsBound(const std::string& reference, const ServiceReferenceBase& service) const;

    /// Lets the service objects go; Get answers null from now on.
    void Release() EXCLUDES(mutex_);

private:
    BundleContext context_;
    const Bindings bound_;
    foundation::Mutex mutex_; ///< a leaf
    bool released_ GUARDED_BY(mutex_) = false;
    std::map<std::string, InterfaceMapConstPtr> objects_ GUARDED_BY(mutex_);
};

} // namespace cppmicroservices::detail
