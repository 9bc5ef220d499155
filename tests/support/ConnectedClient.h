#pragma once

#include "contract/calls/Invokable.h"
#include "tests/support/Testing.h"

#include <agent/spf/transport/Connector.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceEvent.h>

#include <algorithm>

namespace zelkor::test {

using Invokables = std::shared_ptr<agent::spf::core::Invokable>;

/// A framework with a started connector in it.
class ConnectedClient {
public:
    using Executor = foundation::concurrent::threadpool::Executor;

    /// @param filter which of the daemon's services is meant below.
    explicit ConnectedClient(const std::filesystem::path& directory,
                             agent::spf::transport::Limits limits = {}, std::string filter = {},
                             Executor& executor = Executor::instance())
        : filter_(std::move(filter)) {
        framework_.Start();
        connector_ = std::make_unique<agent::spf::transport::Connector>(
            context(),
            agent::spf::transport::ConnectorOptions{directory, "test-client", limits,
                                                    std::chrono::milliseconds(1)},
            executor);
        connector_->start();
    }
    ~ConnectedClient() {
        connector_.reset();
        framework_.Stop();
        framework_.WaitForStop(std::chrono::milliseconds(0));
    }

    cppmicroservices::BundleContext context() { return framework_.GetBundleContext(); }
    agent::spf::transport::Connector& connector() { return *connector_; }
    /// The service registered now; null when there is none.
    Invokables current() {
        try {
            const auto all = context().GetServiceReferences<agent::spf::core::Invokable>(filter_);
            return all.empty() ? nullptr : context().GetService(*std::max_element(all.begin(), all.end()));
        } catch (const std::exception&) {
            return nullptr; // unregistered between the two
        }
    }
    /// Waits for a service, another one than `former`. @throws std::runtime_error when none comes
    Invokables found(const Invokables& former = nullptr) {
        Invokables service;
        if (!eventually([&] { return (service = current()) != nullptr && service != former; }))
            throw std::runtime_error("the client found no service");
        return service;
    }

private:
    const std::string filter_;
    cppmicroservices::Framework framework_ = cppmicroservices::FrameworkFactory().NewFramework();
    std::unique_ptr<agent::spf::transport::Connector> connector_;
};

/// Calls as the synchronous clients do.
template <class R, class... Args>
R callAndHelp(agent::spf::core::Invokable& service, std::string method, Args... args) {
    return service.call<R>(std::chrono::seconds(60), method, args...);
}

} // namespace zelkor::test
