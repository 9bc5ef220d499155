#pragma once

#include "platform/host/ConfigurationError.h"
#include "platform/host/HostOptions.h"

#include <agent/spf/transport/Connector.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ListenerToken.h>
#include <cppmicroservices/ServiceInterface.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace zelkor::host {

/// A service, and the component that provides it.
template <class Interface>
struct Provided {
    std::shared_ptr<Interface> service;
    std::string component;

    Interface* operator->() const { return service.get(); }
};

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

    /// The best provider of an interface.
    /// @throws ConfigurationError when no component provides it, saying what such a component needs.
    template <class Interface>
    Provided<Interface> get() {
        auto context = context_;
        const auto reference = context.GetServiceReference<Interface>();
        const std::string& name = us_service_interface_iid<Interface>();
        if (!reference)
            failNoProvider(name);
        Provided<Interface> provided{context.GetService(reference),
                                     reference.GetProperty("component.name").ToStringNoExcept()};
        if (!provided.service)
            failNoObject(name, provided.component);
        return provided;
    }

    /// Sets the properties of one configuration, or of all that the host was made with, and waits until the
    /// components have taken them.
    void configure(const Configuration& configuration);
    void configureAll(const std::string& key, const cppmicroservices::Any& value);

    /// Waits until the daemon's login service is in the registry; false when time is over.
    bool awaitDaemon(std::chrono::milliseconds limit);
    /// Whether it is there now.
    bool daemonPresent();
    /// Calls \p told with the daemon's generation when its login service comes, and with an empty text when
    /// it goes, on the connector's threads. A call that has begun may still be running after stopTelling.
    cppmicroservices::ListenerToken onDaemon(std::function<void(const std::string& generation)> told);
    void stopTelling(cppmicroservices::ListenerToken token);

    agent::spf::transport::Connector::Status connection() const { return connector_->status(); }
    cppmicroservices::BundleContext context() const { return context_; }

private:
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
