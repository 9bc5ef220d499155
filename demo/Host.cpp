#include "demo/Host.h"

#include "runtime/clientutils/Timeouts.h"

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <thread>

extern "C" void _us_set_bundle_context_instance_com_halvorin_zelkorloginclient(
    cppmicroservices::BundleContextPrivate* context);

namespace demo {

Host::Host(const std::filesystem::path& socketDirectory)
    : framework_(cppmicroservices::FrameworkFactory().NewFramework()) {
    framework_.Start();
    const auto context = framework_.GetBundleContext();
    _us_set_bundle_context_instance_com_halvorin_zelkorloginclient(GetPrivate(context).get());
    agent::spf::transport::ConnectorOptions options;
    options.socketDirectory = socketDirectory;
    options.clientId = "demo";
    connector_.emplace(context, options);
    connector_->start();
}

Host::~Host() {
    connector_.reset();
    framework_.Stop();
    framework_.WaitForStop(std::chrono::milliseconds::zero());
}

std::shared_ptr<login::spf::ZelkorLogin> Host::makeClient(int serviceTimeoutSeconds) const {
    using agent::spf::cppmsclientutils::Timeouts;
    const auto configuration =
        std::make_shared<cppmicroservices::AnyMap>(cppmicroservices::AnyMap::UNORDERED_MAP);
    (*configuration)[Timeouts::callKey] = 10;
    (*configuration)[Timeouts::serviceKey] = serviceTimeoutSeconds;
    return std::make_shared<login::spf::ZelkorLogin>(configuration);
}

void Host::awaitDaemonGone() {
    using agent::spf::core::Invokable;
    while (!framework_.GetBundleContext().GetServiceReferences<Invokable>().empty())
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

} // namespace demo
