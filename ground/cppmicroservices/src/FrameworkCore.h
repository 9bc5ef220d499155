#pragma once

#include "BundleSource.h"
#include "EventHub.h"
#include "FrameworkExtension.h"
#include "ServiceRegistry.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/ServiceRegistrationBase.h>
#include <foundation/thread_annotations.h>

#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace cppmicroservices {

class SystemBundle;

namespace detail {

/// What public handles share: while one exists the framework may run, and with the last one it is stopped.
class FrameworkOwner {
public:
    explicit FrameworkOwner(std::shared_ptr<FrameworkCore> core);
    ~FrameworkOwner();
    FrameworkOwner(const FrameworkOwner&) = delete;
    FrameworkOwner& operator=(const FrameworkOwner&) = delete;

private:
    const std::shared_ptr<FrameworkCore> core_;
};

/// One framework instance: its properties, bundles, registry and listeners. Owned by the FrameworkOwner and
/// by whoever is just using it; bundles and contexts refer to it weakly.
class FrameworkCore : public std::enable_shared_from_this<FrameworkCore> {
public:
    /// What a framework that installs and runs bundles has beyond the registry.
    struct Parts {
        std::unique_ptr<BundleSource> bundles;
        std::vector<std::unique_ptr<FrameworkExtension>> extensions;
    };

    /// \return a handle on the new framework's system bundle
    static Bundle Create(AnyMap properties, std::ostream* logger, Parts parts);

    FrameworkCore(AnyMap properties, std::ostream* logger, Parts parts);
    ~FrameworkCore();

    const AnyMap& Properties() const noexcept { return properties_; }
    ServiceRegistry& Services() noexcept { return services_; }
    EventHub& Events() noexcept { return events_; }
    SystemBundle& System() noexcept { return *system_; }

    /// The handle that users see.
    Bundle Handle(std::shared_ptr<BundlePrivate> bundle) const;

    std::vector<std::shared_ptr<BundlePrivate>> Bundles() const EXCLUDES(mutex_);
    /// Null if there is no such bundle.
    std::shared_ptr<BundlePrivate> FindBundle(long id) const EXCLUDES(mutex_);

    /// The bundles in the file at \p location, now installed, or as they were installed from there before.
    /// \param given headers by symbolic name in place of the file's own, or empty
    /// \throws std::runtime_error if the file cannot be read, or a bundle of that name comes from elsewhere.
    std::vector<Bundle> Install(const std::string& location, const AnyMap& given) EXCLUDES(mutex_);
    /// Where the bundle may keep files; empty for the framework itself. Nothing is made there yet.
    std::filesystem::path DataDirectory(long bundle) const;
    void Forget(long id) EXCLUDES(mutex_);
    void Fire(BundleEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle);
    /// Calls \p what for every extension; what one throws is reported with \p bundle as the source.
    void Tell(const std::shared_ptr<BundlePrivate>& bundle,
              const std::function<void(FrameworkExtension&)>& what);

    /// Registers for the context's bundle and tells the listeners.
    ServiceRegistrationBase Register(const std::shared_ptr<BundlePrivate>& bundle,
                                     const std::shared_ptr<BundleContextPrivate>& context,
                                     const InterfaceMapConstPtr& services,
                                     const ServiceProperties& properties);
    /// \return false if the service is unregistered already
    bool Modify(const std::shared_ptr<ServiceRecord>& record, const ServiceProperties& properties);
    bool Unregister(const std::shared_ptr<ServiceRecord>& record);
    /// Whether the framework's own stop took the service, whose owner may not know that.
    static bool HasEnded(const ServiceRecord& record);
    /// Unregisters what the context has registered, ends it and removes its listeners.
    void EndContext(BundleContextPrivate& context);

    /// Gives an error that has no caller to framework listeners and to the log.
    void Report(FrameworkEvent::Type type, const std::shared_ptr<BundlePrivate>& source,
                const std::string& message, std::exception_ptr exception = nullptr);

private:
    void Log(const FrameworkEvent& event) EXCLUDES(logMutex_);

    std::vector<std::shared_ptr<BundlePrivate>> BundlesFrom(const std::string& location) const
        REQUIRES(mutex_);
    std::vector<std::shared_ptr<BundlePrivate>> AddBundles(const std::string& location,
                                                           std::vector<AnyMap> manifests) REQUIRES(mutex_);

    const AnyMap properties_;
    const Parts parts_;
    ServiceRegistry services_;
    EventHub events_;
    std::weak_ptr<FrameworkOwner> owner_;  ///< set once, before the core is shared
    std::shared_ptr<SystemBundle> system_; ///< likewise

    mutable foundation::Mutex mutex_;
    long lastBundleId_ GUARDED_BY(mutex_) = 0;
    std::map<long, std::shared_ptr<BundlePrivate>> bundles_ GUARDED_BY(mutex_);

    foundation::Mutex logMutex_; ///< one line at a time; nothing else is done under it
    std::ostream* const logger_ PT_GUARDED_BY(logMutex_); ///< null if logging is off
};

} // namespace detail
} // namespace cppmicroservices
