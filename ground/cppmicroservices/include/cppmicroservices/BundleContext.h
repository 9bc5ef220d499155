#pragma once

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkExport.h>
#include <cppmicroservices/ListenerFunctors.h>
#include <cppmicroservices/ListenerToken.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceObjects.h>
#include <cppmicroservices/ServiceProperties.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceRegistration.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace cppmicroservices {

class BundleContextPrivate;
class ServiceFactory;

namespace detail {
class EventHub;
}

/// A bundle's access to the framework. A small value: copies are the same context; keep one by value.
///
/// Every member may be called from any thread, from listeners too: listeners and factories are called without
/// any framework lock. A context does not keep the framework running. On a null context, and once its bundle
/// has stopped or the framework is gone, members throw std::runtime_error.
class BundleContext {
public:
    BundleContext() noexcept;

    bool operator==(const BundleContext& other) const noexcept { return d == other.d; }
    bool operator<(const BundleContext& other) const noexcept { return d < other.d; }
    BundleContext& operator=(std::nullptr_t) noexcept;

    /// Whether the context can be used at the moment.
    explicit operator bool() const noexcept;
    bool IsValid() const noexcept { return static_cast<bool>(*this); }

    /// A framework property; empty if there is no such key.
    Any GetProperty(const std::string& key) const;
    AnyMap GetProperties() const;

    Bundle GetBundle() const;
    /// Invalid if there is no such bundle.
    Bundle GetBundle(long id) const;
    std::vector<Bundle> GetBundles() const;
    std::vector<Bundle> GetBundles(const std::string& location) const;

    /// Installs what the file at \p location holds; each bundle is to be started then. A file that is
    /// installed already gives its bundles as they are.
    /// \param location path of a library with a manifest as resource; the loader must find it when it is
    ///        needed
    /// \throws std::runtime_error if the file cannot be read, is no bundle, its manifest is malformed, or a
    ///         bundle of the same name is installed from elsewhere; the text names the file and the fault.
    /// \param manifests what stands for the file's own manifests, by symbolic name: an AnyMap of headers
    /// each. Of
    ///        a file that is installed already they count for nothing.
    std::vector<Bundle> InstallBundles(const std::string& location, const AnyMap& manifests = {});

    /// The path of a file in a directory that belongs to this bundle as long as it is installed: "data" and
    /// the bundle's id under the framework property org.cppmicroservices.framework.storage (a path, "fwdir"
    /// unless set). Makes the directory. Empty for the framework itself and without a storage. \throws
    /// std::filesystem::filesystem_error if the directory cannot be made.
    std::string GetDataFile(const std::string& filename) const;

    /// Registers a service under each name in the map, then calls the listeners on this thread.
    /// \throws std::invalid_argument if the map is empty or holds a null object, or if service.ranking is not
    ///         an int; std::runtime_error if two keys of \p properties differ in case only.
    ServiceRegistrationU RegisterService(const InterfaceMapConstPtr& service,
                                         const ServiceProperties& properties = {});

    template <class I1, class... Interfaces, class Impl>
    ServiceRegistration<I1, Interfaces...> RegisterService(const std::shared_ptr<Impl>& impl,
                                                           const ServiceProperties& properties = {}) {
        InterfaceMapConstPtr map = MakeInterfaceMap<I1, Interfaces...>(impl);
        return ServiceRegistration<I1, Interfaces...>(RegisterService(map, properties));
    }

    /// Registers a factory, which creates the service once for each bundle that gets it.
    template <class I1, class... Interfaces>
    ServiceRegistration<I1, Interfaces...> RegisterService(const std::shared_ptr<ServiceFactory>& factory,
                                                           const ServiceProperties& properties = {}) {
        InterfaceMapConstPtr map = MakeInterfaceMap<I1, Interfaces...>(factory);
        return ServiceRegistration<I1, Interfaces...>(RegisterService(map, properties));
    }

    /// The services of that interface (of any, if empty) that match, best first: highest service.ranking,
    /// then lowest service.id. \throws std::invalid_argument if \p filter is neither empty nor a filter.
    std::vector<ServiceReferenceU> GetServiceReferences(const std::string& clazz,
                                                        const std::string& filter = {});

    template <class S>
    std::vector<ServiceReference<S>> GetServiceReferences(const std::string& filter = {}) {
        const auto& clazz = us_service_interface_iid<S>();
        if (clazz.empty())
            throw ServiceInterfaceUnnamed();
        const auto found = GetServiceReferences(clazz, filter);
        return {found.begin(), found.end()};
    }

    /// The best service of that interface, or a null reference.
    ServiceReferenceU GetServiceReference(const std::string& clazz);

    template <class S>
    ServiceReference<S> GetServiceReference() {
        const auto& clazz = us_service_interface_iid<S>();
        if (clazz.empty())
            throw ServiceInterfaceUnnamed();
        return GetServiceReference(clazz);
    }

    /// The service object, or null if it was unregistered meanwhile or its factory fails. It stays alive as
    /// long as the pointer, and counts as used by this bundle for that time. \throws std::invalid_argument if
    /// \p reference is null or its service unregistered.
    std::shared_ptr<void> GetService(const ServiceReferenceBase& reference);
    InterfaceMapConstPtr GetService(const ServiceReferenceU& reference);

    template <class S>
    std::shared_ptr<S> GetService(const ServiceReference<S>& reference) {
        return std::static_pointer_cast<S>(GetService(static_cast<const ServiceReferenceBase&>(reference)));
    }

    /// The way to several objects of a service of prototype scope.
    /// \throws std::invalid_argument if \p reference is null or its service unregistered.
    template <class S>
    ServiceObjects<S> GetServiceObjects(const ServiceReference<S>& reference) {
        return ServiceObjects<S>(ObjectsOf(reference));
    }

    /// Calls \p listener on every change of a service that matches \p filter, on the thread that makes the
    /// change. Listeners are removed when the bundle stops. What a listener throws becomes a framework event.
    /// \throws std::invalid_argument if \p filter is neither empty nor a filter.
    ListenerToken AddServiceListener(const ServiceListener& listener, const std::string& filter = {});
    ListenerToken AddBundleListener(const BundleListener& listener);
    ListenerToken AddFrameworkListener(const FrameworkListener& listener);

    template <class R>
    ListenerToken AddServiceListener(R* receiver, void (R::*callback)(const ServiceEvent&),
                                     const std::string& filter = {}) {
        return AddServiceListener([=](const ServiceEvent& event) { (receiver->*callback)(event); }, filter);
    }
    template <class R>
    ListenerToken AddBundleListener(R* receiver, void (R::*callback)(const BundleEvent&)) {
        return AddBundleListener([=](const BundleEvent& event) { (receiver->*callback)(event); });
    }
    template <class R>
    ListenerToken AddFrameworkListener(R* receiver, void (R::*callback)(const FrameworkEvent&)) {
        return AddFrameworkListener([=](const FrameworkEvent& event) { (receiver->*callback)(event); });
    }

    /// No event that starts after the return calls the listener; one under way on another thread may still.
    void RemoveListener(ListenerToken token);

private:
    explicit BundleContext(std::shared_ptr<BundleContextPrivate> context) noexcept;
    detail::ServiceObjectsBase ObjectsOf(const ServiceReferenceBase& reference) const;
    ListenerToken Added(detail::EventHub& events, std::uint64_t id) const;
    static std::logic_error ServiceInterfaceUnnamed();

    std::shared_ptr<BundleContextPrivate> d;

    friend BundleContext MakeBundleContext(BundleContextPrivate* context);
    friend BundleContext MakeBundleContext(const std::shared_ptr<BundleContextPrivate>& context);
    friend std::shared_ptr<BundleContextPrivate> GetPrivate(const BundleContext& context);
};

/// A null context for null.
BundleContext MakeBundleContext(BundleContextPrivate* context);
BundleContext MakeBundleContext(const std::shared_ptr<BundleContextPrivate>& context);

/// What a bundle's _us_set_bundle_context_instance_ function takes (its .get()).
std::shared_ptr<BundleContextPrivate> GetPrivate(const BundleContext& context);

} // namespace cppmicroservices
