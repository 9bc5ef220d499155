#pragma once

#include "spf/ZelkorLogin.h"

#include <agent/spf/transport/Connector.h>
#include <cppmicroservices/Framework.h>

#include <filesystem>
#include <memory>
#include <optional>

namespace demo {

/// This process as an application's: a framework, a connector to the daemon, and the module's client.
class Host {
public:
    explicit Host(const std::filesystem::path& socketDirectory);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// A client as the framework would make it, with the module's configuration: 10 s for a call; how long to
    /// wait for the daemon is the caller's to say.
    std::shared_ptr<login::spf::ZelkorLogin> makeClient(int serviceTimeoutSeconds) const;

    /// Waits until this process has noticed the daemon's end.
    void awaitDaemonGone();

private:
    cppmicroservices::Framework framework_;
    std::optional<agent::spf::transport::Connector> connector_;
};

} // namespace demo
