#include "module/v2/LoginVetoerClient.h"

#include "contract/vocabulary/LoginV2.h"

namespace login::spf {

using agent::spf::cppmsclientutils::Logger;
using agent::spf::cppmsclientutils::TrackedServiceInfo;

namespace {

Logger& logger() {
    static auto* const instance = new Logger("login.spf.LoginVetoerClient"); // see ZelkorLogin
    return *instance;
}

} // namespace

LoginVetoerClient::LoginVetoerClient(const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
                                     agent::spf::cppmsclientutils::Executors executors)
    : InvokableTrackingService(TrackedServiceInfo("ZelkorLogin", 2, 1), logger(), executors) {
    if (configuration) {
        tracker()->updateServiceProperties(*configuration);
        tracker()->updateTimeouts(*configuration);
    }
    tracker()->start();
}

void LoginVetoerClient::vetoSignIn(bool veto) {
    attempt(remote::vetoSignIn, veto);
}

bool LoginVetoerClient::shouldVetoSignIn() {
    return attempt(remote::shouldVetoSignIn).value_or(false);
}

void LoginVetoerClient::Modified(
    const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& /*context*/,
    const std::shared_ptr<cppmicroservices::AnyMap>& properties) {
    if (properties)
        tracker()->updateTimeouts(*properties);
}

} // namespace login::spf
