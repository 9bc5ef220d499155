#pragma once

#include "PropertyTable.h"

#include <cppmicroservices/ServiceInterface.h>
#include <foundation/thread_annotations.h>

#include <condition_variable>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace cppmicroservices {

class BundleContextPrivate;
class BundlePrivate;

namespace detail {

class FrameworkCore;

/// One registration: the service, its properties and who uses it. Outlives the unregistration as long as
/// references, registrations or held service objects point at it.
///
/// The lock is a leaf. Factories, and destructors of services and properties, run without it.
class ServiceRecord : public std::enable_shared_from_this<ServiceRecord> {
public:
    /// Who registered it.
    struct Registrant {
        std::weak_ptr<FrameworkCore> core;
        std::shared_ptr<BundlePrivate> bundle;
        std::shared_ptr<BundleContextPrivate> context;
    };

    /// \param services the objects by interface, or a factory under kServiceFactoryKey
    ServiceRecord(Registrant registrant, long id, InterfaceMapConstPtr services,
                  const ServiceProperties& properties);

    long Id() const noexcept { return id_; }
    const Registrant& Owner() const noexcept { return registrant_; }
    const std::vector<std::string>& Interfaces() const noexcept { return interfaces_; }
    /// Points into Interfaces(); null if the service is not registered under that name.
    const std::string* FindInterface(const std::string& interfaceId) const noexcept;

    std::shared_ptr<const PropertyTable> Properties() const EXCLUDES(mutex_);
    std::shared_ptr<const PropertyTable> MakeProperties(const ServiceProperties& properties) const;
    /// \return the old table, or null if the service is not registered any more
    std::shared_ptr<const PropertyTable> ExchangeProperties(std::shared_ptr<const PropertyTable> properties)
        EXCLUDES(mutex_);

    /// Not being unregistered.
    bool IsRegistered() const EXCLUDES(mutex_);
    bool HasProperties(const std::shared_ptr<const PropertyTable>& properties) const EXCLUDES(mutex_);
    /// Registered, or listeners are just being told of its end.
    bool IsAvailable() const EXCLUDES(mutex_);

    /// \return false if that has begun before
    bool BeginUnregister() EXCLUDES(mutex_);
    /// Gives up the service objects and takes factory-made ones back.
    void EndUnregister() EXCLUDES(mutex_);

    /// The objects for \p user, counted as used until as many calls of Release; null if there are none. Waits
    /// while another thread makes the factory create them for the same user.
    InterfaceMapConstPtr Acquire(const std::shared_ptr<BundlePrivate>& user) EXCLUDES(mutex_);
    void Release(const std::shared_ptr<BundlePrivate>& user) EXCLUDES(mutex_);
    /// Whether each call of AcquireAnother() gives an object of its own.
    bool IsPrototype() const noexcept;
    /// Made for this call alone, and used until ReleaseAnother(); null if there is none.
    InterfaceMapConstPtr AcquireAnother(const std::shared_ptr<BundlePrivate>& user) EXCLUDES(mutex_);
    void ReleaseAnother(const InterfaceMapConstPtr& services) EXCLUDES(mutex_);
    std::vector<std::shared_ptr<BundlePrivate>> Users() const EXCLUDES(mutex_);

private:
    enum class State { Registered, Unregistering, Gone };

    struct Use {
        std::size_t count = 0;
        InterfaceMapConstPtr made; ///< by the factory
        std::thread::id maker;     ///< the thread that is in the factory, if any
    };
    using Uses = std::map<std::shared_ptr<BundlePrivate>, Use>;

    InterfaceMapConstPtr Make(const std::shared_ptr<BundlePrivate>& user, ServiceFactory& factory);
    void TakeBack(const std::shared_ptr<BundlePrivate>& user, ServiceFactory& factory,
                  const InterfaceMapConstPtr& made);
    void ReportFactory(const std::string& problem, int exceptionType) const;

    const Registrant registrant_;
    const long id_;
    const std::vector<std::string> interfaces_;
    const std::string scope_;

    mutable foundation::Mutex mutex_;
    std::condition_variable_any made_; ///< some use's maker is done
    State state_ GUARDED_BY(mutex_) = State::Registered;
    std::shared_ptr<const PropertyTable> properties_ GUARDED_BY(mutex_);
    InterfaceMapConstPtr services_ GUARDED_BY(mutex_);
    std::shared_ptr<ServiceFactory> factory_ GUARDED_BY(mutex_);
    Uses uses_ GUARDED_BY(mutex_);
    /// From AcquireAnother(), in the order of making.
    std::vector<std::pair<InterfaceMapConstPtr, std::shared_ptr<BundlePrivate>>> others_ GUARDED_BY(mutex_);
};

} // namespace detail
} // namespace cppmicroservices
