#include "host/Host.h"

#include "contract/calls/Invokable.h"
#include "contract/calls/ServiceProperties.h"
#include "host/ComponentLog.h"
#include "host/ConfigurationCheck.h"
#include "host/session/InProcessLogin.h"

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceTracker.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <foundation/log/diagnostic_logger.h>
#include <zelkorconnector/serviceprocess/HasDesktopServices.h>

#include <algorithm>
#include <exception>
#include <sstream>
#include <string_view>
#include <utility>

namespace zelkor::host {

namespace {

using agent::spf::core::Invokable;
using cppmicroservices::service::cm::ConfigurationAdmin;
using zelkorconnector::serviceprocess::HasDesktopServices;

class DesktopServices final : public HasDesktopServices {};

constexpr std::chrono::seconds negotiationLimit{5}; // for each of the session's own negotiators

constexpr char fullClientPid[] = "hv.HalvorinServiceHost.ZelkorLogin";
constexpr char detailClientPid[] = "hv.HalvorinServiceHost.ZelkorLoginDetail";

std::string textOf(const cppmicroservices::Any& property) {
    return property.Empty() ? std::string() : property.ToStringNoExcept();
}

std::string loginServiceFilter() {
    namespace properties = agent::spf::core::properties;
    return std::string("(&(") + properties::serviceName + "=ZelkorLogin)(" + properties::serviceVersion +
           "=2))";
}

cppmicroservices::Bundle startBundle(cppmicroservices::BundleContext context,
                                     const std::filesystem::path& file) {
    try {
        auto bundles = context.InstallBundles(file.string());
        if (bundles.empty())
            throw std::runtime_error("there is no bundle in it");
        for (auto& bundle : bundles)
            bundle.Start();
        return bundles.front();
    } catch (const std::exception& error) {
        throw ConfigurationError("the bundle " + file.string() + " cannot be loaded: " + error.what());
    }
}

void guarded(const char* what, const auto& step) noexcept {
    try {
        step();
    } catch (const std::exception& error) {
        foundation::log::basic_diagnostic_logger<char>("host").log(
            foundation::log::logging_event_types::error, std::string(what) + ": " + error.what());
    }
}

} // namespace

Host::Host(HostOptions options)
    : options_(std::move(options)), framework_(cppmicroservices::FrameworkFactory().NewFramework()) {
    try {
        framework_.Start();
        context_ = framework_.GetBundleContext();
        static_cast<void>(context_.RegisterService<cppmicroservices::logservice::LogService>(
            std::make_shared<ComponentLog>()));
        if (options_.desktopServices)
            static_cast<void>(
                context_.RegisterService<HasDesktopServices>(std::make_shared<DesktopServices>()));
        if (options_.sessionServices)
            registerSessionServices();
        connector_.emplace(context_, options_.connector);
        connector_->start();
        startBundles();
        checkConfigurations(options_.configurations, module_->GetHeaders());
        for (const auto& configuration : options_.configurations)
            configure(configuration);
    } catch (...) {
        shutDown();
        throw;
    }
}

Host::~Host() {
    shutDown();
}

void Host::registerSessionServices() {
    const auto tokenOfDaemon = [context = context_](const login::LoginInfo& identity,
                                                    const std::string& requester,
                                                    login::LoginInfo::Level level) mutable {
        const auto clients = context.GetServiceReferences<login::ZelkorLogin>(among::daemonClients);
        const auto client = clients.empty() ? nullptr : context.GetService(clients.front());
        // The daemon's token is for whom the daemon has signed in.
        if (!client || client->getLoginInfo(requester, level).userId != identity.userId)
            return login::RequestAccessTokenResponse{login::AccessToken(), 401};
        return client->requestAccessTokenAdvanced(requester, level);
    };
    const auto services = std::make_shared<InProcessLogin>(tokenOfDaemon, negotiationLimit);
    static_cast<void>(
        context_.RegisterService<login::ZelkorLogin, login::detail::ZelkorLogin, login::control::LoginVetoer,
                                 login::detail::ZelkorLoginLNUSupport>(services));
}

void Host::startBundles() {
    std::istringstream runtimeBundles(ZELKOR_RUNTIME_BUNDLES);
    for (std::string file; std::getline(runtimeBundles, file, ';');)
        startBundle(context_, file);
    module_ = startBundle(context_, options_.module);
}

/// The clients end before what they call goes away.
void Host::shutDown() noexcept {
    if (module_)
        guarded("The login module did not stop", [&] { module_->Stop(); });
    connector_.reset();
    guarded("The framework did not stop", [&] {
        framework_.Stop();
        framework_.WaitForStop(std::chrono::milliseconds::zero());
    });
}

void Host::configure(const Configuration& configuration) {
    const auto reference = context_.GetServiceReference<ConfigurationAdmin>();
    const auto admin = reference ? context_.GetService(reference) : nullptr;
    if (!admin)
        throw ConfigurationError("the framework has no ConfigurationAdmin; install its run-time bundles");
    admin->GetConfiguration(configuration.pid)->Update(configuration.properties).get();
}

void Host::configureAll(const std::string& key, const cppmicroservices::Any& value) {
    for (auto& configuration : options_.configurations) {
        configuration.properties[key] = value;
        configure(configuration);
    }
}

std::vector<Provider> Host::providersOf(const std::string& interfaceName) const {
    auto context = context_;
    auto references = context.GetServiceReferences(interfaceName);
    std::sort(references.rbegin(), references.rend());
    std::vector<Provider> providers;
    for (const auto& reference : references) {
        const auto ranking = reference.GetProperty("service.ranking");
        providers.push_back({ranking.Empty() ? 0 : cppmicroservices::any_cast<int>(ranking),
                             textOf(reference.GetProperty("component.name")),
                             textOf(reference.GetProperty("version"))});
    }
    return providers;
}

std::string Host::sessionProblem() const {
    // The session keeps the first client that is there: the one that is configured first.
    const auto indexOf = [this](std::string_view pid) {
        const auto found = std::ranges::find_if(options_.configurations, [pid](const auto& configuration) {
            return configuration.pid.substr(0, configuration.pid.find('~')) == pid;
        });
        return found - options_.configurations.begin();
    };
    const auto end = std::ssize(options_.configurations);
    const auto full = indexOf(fullClientPid);
    if (indexOf(detailClientPid) >= full)
        return {};
    return std::string("the session is bound to the client that only has details, for ") + detailClientPid +
           " is configured " +
           (full == end ? std::string("alone. Configure ") + fullClientPid + " before it"
                        : std::string("first. Put ") + fullClientPid + " before it");
}

bool Host::awaitDaemon(std::chrono::milliseconds limit) {
    cppmicroservices::ServiceTracker<Invokable> tracker(context_,
                                                        cppmicroservices::LDAPFilter(loginServiceFilter()));
    tracker.Open();
    const bool present = tracker.WaitForService(limit) != nullptr;
    tracker.Close();
    return present;
}

std::string Host::offeredLoginServices() {
    namespace properties = agent::spf::core::properties;
    std::string list;
    for (const auto& reference : context_.GetServiceReferences<Invokable>(
             std::string("(") + properties::serviceName + "=ZelkorLogin*)")) {
        list += (list.empty() ? "" : ", ") + textOf(reference.GetProperty(properties::serviceName)) + ' ' +
                textOf(reference.GetProperty(properties::serviceVersion)) + '.' +
                textOf(reference.GetProperty(properties::serviceRevision));
    }
    return list;
}

bool Host::daemonPresent() {
    return !context_.GetServiceReferences<Invokable>(loginServiceFilter()).empty();
}

cppmicroservices::ListenerToken Host::onDaemon(std::function<void(const std::string& generation)> told) {
    using cppmicroservices::ServiceEvent;
    return context_.AddServiceListener(
        [told = std::move(told)](const ServiceEvent& event) {
            if (event.GetType() == ServiceEvent::SERVICE_REGISTERED)
                told(event.GetServiceReference()
                         .GetProperty(agent::spf::core::properties::generation)
                         .ToStringNoExcept());
            else if (event.GetType() == ServiceEvent::SERVICE_UNREGISTERING)
                told({});
        },
        "(&(objectclass=" + us_service_interface_iid<Invokable>() + ")" + loginServiceFilter() + ")");
}

void Host::stopTelling(cppmicroservices::ListenerToken token) {
    context_.RemoveListener(std::move(token));
}

void Host::failNoProvider(const std::string& interfaceName) const {
    std::string pids;
    for (const auto& configuration : options_.configurations)
        pids += (pids.empty() ? "" : ", ") + configuration.pid;
    throw ConfigurationError("no component provides " + interfaceName +
                             ". Configured: " + (pids.empty() ? "none" : pids) +
                             "; desktop services: " + (options_.desktopServices ? "yes" : "no") +
                             ". The full client needs a configuration of hv.HalvorinServiceHost.ZelkorLogin, "
                             "written with ~ and a name, and desktop services");
}

void Host::failNoObject(const std::string& interfaceName, const std::string& component) const {
    throw ConfigurationError("the component " + component + ", which provides " + interfaceName +
                             ", could not be made; --log-level warning may show why");
}

} // namespace zelkor::host
