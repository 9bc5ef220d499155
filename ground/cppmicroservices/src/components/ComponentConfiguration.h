#pragma once

#include "../BundlePrivate.h"
#include "BoundServices.h"
#include "ComponentDescription.h"
#include "ComponentInstanceHandle.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceFactory.h>
#include <foundation/thread_annotations.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace cppmicroservices::detail {

/// What a component needs of its surroundings.
struct ComponentEnvironment {
    std::shared_ptr<BundlePrivate> bundle;
    BundleContext context;
    ComponentInstanceContext::Switch enable;
    ComponentInstanceHandle::FaultHandler onFault; ///< names bundle and component itself
};

/// A component with one set of properties: waits for its references, then registers its service, and
/// constructs its object when the service is first got.
///
/// Whoever changes something that matters calls Settle. One thread at a time works; others leave it a note
/// and go on, so no thread ever waits for a transition here, only for the constructor or Modified of the
/// object it asks for, or in WaitUntilIdle. Constructors, Modified, listeners and destructors run without the
/// lock.
class ComponentConfiguration final : public std::enable_shared_from_this<ComponentConfiguration> {
public:
    ComponentConfiguration(std::shared_ptr<const ComponentDescription> description,
                           ComponentEnvironment environment);

    /// From now on; takes effect with the next Settle. \return those before
    PropertiesPtr ExchangeProperties(PropertiesPtr properties) EXCLUDES(mutex_);
    PropertiesPtr Properties() const EXCLUDES(mutex_);
    /// For good; takes effect with the next Settle.
    void Dispose() EXCLUDES(mutex_);

    void Settle() noexcept EXCLUDES(mutex_);
    /// Waits for what other threads are doing here: a transition, a constructor.
    void WaitUntilIdle() EXCLUDES(mutex_);
    bool IsSatisfied() const EXCLUDES(mutex_);

    /// The service's objects for \p user: those of the one object, or with another scope those of a new one,
    /// until it is released.
    InterfaceMapConstPtr Obtain(const ServiceReferenceBase& service, const Bundle& user) EXCLUDES(mutex_);
    void Release(const InterfaceMapConstPtr& interfaces) EXCLUDES(mutex_);

private:
    using Instances = std::vector<std::shared_ptr<ComponentInstanceHandle>>;

    /// From satisfied to unsatisfied.
    struct Run {
        std::shared_ptr<BoundServices> services;
        ServiceRegistrationU registration; ///< the worker's
        PropertiesPtr published;           ///< the service's; the worker's
        PropertiesPtr properties;          ///< guarded by mutex_
    };
    using RunPtr = std::shared_ptr<Run>;

    void Step() EXCLUDES(mutex_);
    void Begin(const PropertiesPtr& properties) EXCLUDES(mutex_);
    void Change(const RunPtr& run, const PropertiesPtr& properties) EXCLUDES(mutex_);
    void End(const RunPtr& run) EXCLUDES(mutex_);
    /// Whether what the run is bound to may go on with other services of its dynamic references.
    bool MayGoOn(const Run& run);
    void Modify(const Instances& instances, const PropertiesPtr& properties) EXCLUDES(mutex_);
    /// Gives the objects the services that their dynamic references are bound to now.
    void Rebind(const RunPtr& run) EXCLUDES(mutex_);
    std::shared_ptr<ServiceFactory> FactoryOfThis();
    std::shared_ptr<ComponentInstanceHandle> Construct(const Run& run, PropertiesPtr properties,
                                                       const ServiceReferenceBase& service,
                                                       const Bundle& user);
    InterfaceMapConstPtr EndConstruction(const RunPtr& run, std::shared_ptr<ComponentInstanceHandle> made)
        EXCLUDES(mutex_);

    const std::shared_ptr<const ComponentDescription> description_;
    const ComponentEnvironment environment_;

    /// Outlives a Run, so that a reference keeps its services while another one waits. The worker's.
    BoundServices::Bindings bindings_;

    mutable foundation::Mutex mutex_; ///< a leaf
    std::condition_variable_any idle_;
    bool noted_ GUARDED_BY(mutex_) = false;      ///< there is something for the worker to look at
    std::thread::id worker_ GUARDED_BY(mutex_);  ///< in Settle
    std::thread::id maker_ GUARDED_BY(mutex_);   ///< in the constructor
    std::thread::id changer_ GUARDED_BY(mutex_); ///< in Modified
    bool disposed_ GUARDED_BY(mutex_) = false;
    PropertiesPtr wanted_ GUARDED_BY(mutex_);
    RunPtr run_ GUARDED_BY(mutex_);
    /// Put in by the maker, taken out by the worker or by who releases one. One at most of scope singleton.
    Instances instances_ GUARDED_BY(mutex_);
    Instances released_ GUARDED_BY(mutex_); ///< to be deactivated by the worker
};

} // namespace cppmicroservices::detail
