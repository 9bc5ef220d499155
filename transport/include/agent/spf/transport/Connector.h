#pragma once

#include <agent/spf/transport/Limits.h>
#include <agent/spf/transport/SocketDirectory.h>
#include <cppmicroservices/BundleContext.h>
#include <foundation/concurrent/threadpool/Executor.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/types.h>

namespace agent::spf::transport {

struct ConnectorOptions {
    std::filesystem::path socketDirectory = defaultSocketDirectory();
    /// Names this process to the daemon and is the client-id property of the Invokables; a random uuid when
    /// empty.
    std::string clientId;
    Limits limits;
    /// A lost daemon is looked for again after a random part of this, so that many clients do not stampede.
    std::chrono::milliseconds reconnectJitter{50};
};

/// The client end of the transport: connects this process to the daemon, whenever there is one, and registers
/// one agent::spf::core::Invokable per service that the daemon offers in the framework's registry
/// (properties: see contract/calls/ServiceProperties.h). When the connection ends, every pending call fails
/// first, then the services go. Exported callbacks run on `executor`.
class Connector {
public:
    Connector(cppmicroservices::BundleContext context, ConnectorOptions options,
              foundation::concurrent::threadpool::Executor& executor =
                  foundation::concurrent::threadpool::Executor::instance());
    /// Stops.
    ~Connector();
    Connector(const Connector&) = delete;
    Connector& operator=(const Connector&) = delete;

    /// Returns at once; the services appear when the daemon is found, now or later.
    /// @throws std::runtime_error when the socket directory is unsafe (another owner, open to others), saying
    /// what to do.
    void start();
    /// Fails what is pending, unregisters, joins. Idempotent. Not from an executor thread's registry
    /// listener.
    void stop();

    struct Status {
        bool connected = false;
        std::string generation; ///< of the daemon, empty when not connected
        std::string clientId;
        std::string lastError; ///< why it is not connected, for people
        std::filesystem::path socketPath;
        pid_t daemonProcess =
            0; ///< who listens at the socket, be it without a word; 0 when nobody is known to
        std::uint64_t connections = 0; ///< how often a connection was made
    };
    Status status() const;

private:
    class Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace agent::spf::transport
