#pragma once

#include "host/ConfigurationError.h"
#include "host/HostOptions.h"

#include <agent/spf/transport/Connector.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ListenerToken.h>
#include <cppmicroservices/ServiceInterface.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zelkor::host {

/// A service, and the component that provides it.
template <class Interface>
struct Provided {
    std::shared_ptr<Interface> service;
    std::string component;

    Interface* operator->() const { return service.get(); }
};

/// One provider of an interface, as the registry knows it.
struct Provider {
    int ranking = 0;
    std::string component; ///< empty for this process's own services
    std::string version;
};

/// Which providers of an interface are meant.
namespace among {
/// The session's, or a version-2 client of the daemon: not this process's own services, which ask no daemon.
inline constexpr char components[] = "(|(session=true)(&(spfLoginClient=1)(version=2)))";
/// The daemon's clients, past the session.
inline constexpr char daemonClients[] = "(&(spfLoginClient=1)(version=2))";
} // namespace among

/// An application process around the login module: a framework with the bundle loaded and its components
/// configured, and the connector to the daemon, which may come later. Not thread-safe; the services are.
class Host {
public:
    /// @throws ConfigurationError when the bundle cannot be loaded or a service of the framework is missing;
    /// std::runtime_error from Connector::start().
    explicit Host(HostOptions options);
    /// Ends the components, then the connection, then the framework. Services still held fail their calls.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// The best provider of an interface. The session's is made at the first use, and asks the daemon then.
    /// @throws ConfigurationError when no component provides it, saying what such a component needs.
    template <class Interface>
    Provided<Interface> get(const char* filter = among::components) {
        const auto reference = best<Interface>(filter);
        auto context = context_;
        Provided<Interface> provided{context.GetService(reference),
                                     reference.GetProperty("component.name").ToStringNoExcept()};
        if (!provided.service)
            failNoObject(us_service_interface_iid<Interface>(), provided.component);
        return provided;
    }
    /// @throws ConfigurationError as get() does when there is none. Makes nothing.
    template <class Interface>
    void expectProvider(const char* filter = among::components) {
        static_cast<void>(best<Interface>(filter));
    }
    /// All providers of an interface, in the order in which the registry would choose them.
    std::vector<Provider> providersOf(const std::string& interfaceName) const;
    /// Why the session is not bound as it should be; empty when it is.
    std::string sessionProblem() const;

    /// Sets the properties of one configuration, or of all that the host was made with, and waits until the
    /// components have taken them.
    void configure(const Configuration& configuration);
    void configureAll(const std::string& key, const cppmicroservices::Any& value);

    /// Waits until the daemon's login service, version 2, is in the registry; false when time is over.
    bool awaitDaemon(std::chrono::milliseconds limit);
    /// What the daemon offers of login services, with their versions, for people; empty: nothing.
    std::string offeredLoginServices();
    /// Whether it is there now.
    bool daemonPresent();
    /// Calls \p told with the daemon's generation when its login service comes, and with an empty text when
    /// it goes, on the connector's threads. A call that has begun may still be running after stopTelling.
    cppmicroservices::ListenerToken onDaemon(std::function<void(const std::string& generation)> told);
    void stopTelling(cppmicroservices::ListenerToken token);

    agent::spf::transport::Connector::Status connection() const { return connector_->status(); }
    cppmicroservices::BundleContext context() const { return context_; }

private:
    template <class Interface>
    cppmicroservices::ServiceReference<Interface> best(const char* filter) {
        const auto found = context_.GetServiceReferences<Interface>(filter);
        if (found.empty())
            failNoProvider(us_service_interface_iid<Interface>());
        return *std::max_element(found.begin(), found.end());
    }

    void registerSessionServices();
    void startBundles();
    void shutDown() noexcept;
    [[noreturn]] void failNoProvider(const std::string& interfaceName) const;
    [[noreturn]] void failNoObject(const std::string& interfaceName, const std::string& component) const;

    HostOptions options_;
    cppmicroservices::Framework framework_;
    cppmicroservices::BundleContext context_;
    std::optional<agent::spf::transport::Connector> connector_;
    std::optional<cppmicroservices::Bundle> module_;
};

} // namespace zelkor::host
