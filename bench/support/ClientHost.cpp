#include "bench/support/ClientHost.h"

#include "module/runtime/Timeouts.h"

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <stdexcept>

extern "C" void _us_set_bundle_context_instance_com_halvorin_zelkorloginclient(
    cppmicroservices::BundleContextPrivate* context);

namespace zelkor::bench {

ClientHost::ClientHost() : framework_(cppmicroservices::FrameworkFactory().NewFramework()) {
    framework_.Start();
    _us_set_bundle_context_instance_com_halvorin_zelkorloginclient(GetPrivate(context()).get());
}

ClientHost::~ClientHost() {
    connector_.reset();
    framework_.Stop();
    framework_.WaitForStop(std::chrono::milliseconds::zero());
}

void ClientHost::connect(const std::filesystem::path& socketDirectory) {
    agent::spf::transport::ConnectorOptions options;
    options.socketDirectory = socketDirectory;
    options.clientId = "bench";
    connector_.emplace(context(), options);
    connector_->start();
}

std::shared_ptr<login::spf::ZelkorLogin> ClientHost::makeClient() const {
    using agent::spf::cppmsclientutils::Timeouts;
    const auto configuration =
        std::make_shared<cppmicroservices::AnyMap>(cppmicroservices::AnyMap::UNORDERED_MAP);
    (*configuration)[Timeouts::callKey] = 10;
    (*configuration)[Timeouts::serviceKey] = 10;
    return std::make_shared<login::spf::ZelkorLogin>(configuration);
}

std::shared_ptr<agent::spf::core::Invokable> ClientHost::invokable() const {
    using agent::spf::core::Invokable;
    const auto found =
        context().GetServiceReferences<Invokable>("(&(spf.service.name=ZelkorLogin)(spf.service.version=2))");
    if (found.empty())
        throw std::runtime_error("the transport has registered no login service");
    return context().GetService(found.front());
}

login::LoginInfo sampleInfo() {
    login::LoginInfo info;
    info.userId = u"u-4711";
    info.displayName = u"Ada Lovelace";
    info.givenName = u"Ada";
    info.familyName = u"Lovelace";
    info.locale = "en_GB";
    info.email = u"ada@example.org";
    info.level = login::LoginInfo::Level::SignedIn;
    return info;
}

} // namespace zelkor::bench
