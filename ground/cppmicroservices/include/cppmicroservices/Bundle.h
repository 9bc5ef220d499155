#pragma once

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleVersion.h>
#include <cppmicroservices/FrameworkExport.h>
#include <cppmicroservices/ServiceReference.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace cppmicroservices {

class BundleContext;
class BundlePrivate;

namespace detail {
class FrameworkOwner;
struct BundleAccess;
} // namespace detail

/// A handle on an installed bundle, or on the framework itself, which is the bundle with id 0.
///
/// A small value: copies handle the same bundle. May be used from any thread. A framework whose last handle
/// goes away is stopped by that.
class Bundle {
public:
    enum State : std::uint32_t {
        STATE_UNINSTALLED = 0x01,
        STATE_INSTALLED = 0x02,
        STATE_RESOLVED = 0x04,
        STATE_STARTING = 0x08,
        STATE_STOPPING = 0x10,
        STATE_ACTIVE = 0x20
    };
    enum StartOptions : std::uint32_t { START_TRANSIENT = 0x1, START_ACTIVATION_POLICY = 0x2 };
    enum StopOptions : std::uint32_t { STOP_TRANSIENT = 0x1 };

    Bundle() noexcept;
    Bundle(const Bundle&);
    Bundle(Bundle&&) noexcept;
    Bundle& operator=(const Bundle&);
    Bundle& operator=(Bundle&&) noexcept;
    Bundle& operator=(std::nullptr_t) noexcept;
    virtual ~Bundle();

    bool operator==(const Bundle& other) const noexcept { return d == other.d; }
    bool operator<(const Bundle& other) const;

    /// False for a null handle, on which every other member but comparison throws std::invalid_argument.
    explicit operator bool() const noexcept { return d != nullptr; }

    State GetState() const;

    /// The bundle's context; null unless it is starting, active or stopping.
    BundleContext GetBundleContext() const;

    long GetBundleId() const;
    std::string GetLocation() const;
    std::string GetSymbolicName() const;
    /// The manifest's "bundle.version"; 0.0.0 without.
    BundleVersion GetVersion() const;

    /// The bundle's manifest; for the framework, its properties.
    const AnyMap& GetHeaders() const;
    std::map<std::string, Any> GetProperties() const;
    /// Empty if there is no such key.
    Any GetProperty(const std::string& key) const;
    std::vector<std::string> GetPropertyKeys() const;

    std::vector<ServiceReferenceU> GetRegisteredServices() const;
    std::vector<ServiceReferenceU> GetServicesInUse() const;

    /// Starts the bundle's activator, if its manifest asks for one, and makes its components available.
    /// Without an activator the library is loaded when the first component is constructed. \throws
    /// std::runtime_error if the framework is not running, the library cannot be loaded, or the
    ///         activator is missing or throws; std::logic_error if the bundle has been uninstalled.
    void Start();
    void Start(std::uint32_t options);
    /// Waits for a constructor or configuration change of a component that is running, not for calls of its
    /// services. \throws std::runtime_error if the activator throws; the bundle has stopped all the same.
    /// For the framework: begins the stop on a thread of its own and returns; WaitForStop waits for the end.
    void Stop();
    void Stop(std::uint32_t options);

    /// Stops the bundle and takes it out of the framework. Its library stays loaded: objects that somebody
    /// holds live on. \throws std::logic_error if it has been uninstalled already.
    void Uninstall();

protected:
    std::shared_ptr<BundlePrivate> d;
    std::shared_ptr<detail::FrameworkOwner> owner_; ///< keeps the framework running

private:
    Bundle(std::shared_ptr<BundlePrivate> bundle, std::shared_ptr<detail::FrameworkOwner> owner) noexcept;
    BundlePrivate& Get() const;

    friend struct detail::BundleAccess;
};

std::ostream& operator<<(std::ostream& os, const Bundle& bundle);
std::ostream& operator<<(std::ostream& os, Bundle::State state);

} // namespace cppmicroservices

template <>
struct std::hash<cppmicroservices::Bundle> {
    std::size_t operator()(const cppmicroservices::Bundle& bundle) const {
        return bundle ? std::hash<long>()(bundle.GetBundleId()) : 0;
    }
};
