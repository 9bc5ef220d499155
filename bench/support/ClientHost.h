#pragma once

#include "contract/calls/Invokable.h"
#include "contract/records/LoginInfo.h"
#include "module/v2/ZelkorLogin.h"

#include <agent/spf/transport/Connector.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include <filesystem>
#include <memory>
#include <optional>

namespace zelkor::bench {

/// This process as an application's: a framework with the module in it. Logging is off, as it is until
/// somebody sets it up.
class ClientHost {
public:
    ClientHost();
    ~ClientHost();
    ClientHost(const ClientHost&) = delete;
    ClientHost& operator=(const ClientHost&) = delete;

    void connect(const std::filesystem::path& socketDirectory);
    /// With the module's usual configuration: 10 s for a call, 10 s for the daemon to appear.
    std::shared_ptr<login::spf::ZelkorLogin> makeClient() const;
    cppmicroservices::BundleContext context() const { return framework_.GetBundleContext(); }
    /// The daemon's service as the transport has registered it. @throws std::runtime_error when it has not.
    std::shared_ptr<agent::spf::core::Invokable> invokable() const;

private:
    cppmicroservices::Framework framework_;
    std::optional<agent::spf::transport::Connector> connector_;
};

/// What the measured calls answer: somebody with every field filled.
login::LoginInfo sampleInfo();

} // namespace zelkor::bench
