#include "module/v2/ZelkorLogin.h"

#include "contract/vocabulary/LoginV2.h"

#include <utility>

namespace login::spf {

using agent::spf::cppmsclientutils::Logger;
using agent::spf::cppmsclientutils::TrackedServiceInfo;

namespace {

Logger& logger() {
    static auto* const instance = new Logger("login.spf.ZelkorLogin"); // calls may outlive the exit handlers
    return *instance;
}

/// On the wire a level is its enumerator's value.
int wire(LoginInfo::Level level) noexcept {
    return static_cast<int>(level);
}

} // namespace

ZelkorLogin::ZelkorLogin(
    const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
    std::shared_ptr<zelkorconnector::serviceprocess::HasDesktopServices> /*desktopServices*/,
    foundation::concurrent::threadpool::Executor& executor)
    : InvokableTrackingService(TrackedServiceInfo("ZelkorLogin", 2, 1), logger(), executor),
      statusListeners_(remote::removeStatusListener), negotiators_(remote::removeLogoutNegotiator) {
    if (configuration) {
        tracker().updateServiceProperties(*configuration);
        tracker().updateTimeouts(*configuration);
    }
    tracker().onFindingInvokable([this](ExclusiveLock& lock) {
        replay(lock, statusListeners_);
        replay(lock, negotiators_);
    });
    tracker().onFoundInvokable([this] { refreshStatusListeners(); });
    tracker().start(); // last: from here on the handlers may run
}

ZelkorLogin::~ZelkorLogin() {
    closeTracking();
}

void ZelkorLogin::Modified(
    const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& /*context*/,
    const std::shared_ptr<cppmicroservices::AnyMap>& properties) {
    if (properties)
        tracker().updateTimeouts(*properties);
}

// --- login::ZelkorLogin

LoginInfo ZelkorLogin::getLoginInfo(std::string requester, LoginInfo::Level level) const {
    return attempt(remote::getLoginInfo, std::move(requester), wire(level)).value_or(LoginInfo());
}

RequestAccessTokenResponse ZelkorLogin::requestAccessTokenAdvanced(std::string requester,
                                                                   LoginInfo::Level level) {
    return attempt(remote::requestAccessToken, std::move(requester), wire(level))
        .value_or(RequestAccessTokenResponse());
}

RequestAccessTokenResponse ZelkorLogin::getAccessTokenAdvanced() {
    return attempt(remote::getAccessToken).value_or(RequestAccessTokenResponse());
}

void ZelkorLogin::impersonate(AccessToken token, LoginInfo info) {
    call(remote::impersonate, token.getTokenString(), std::move(info));
}

bool ZelkorLogin::isLoggedIn(std::string requester, LoginInfo::Level level) const {
    return attempt(remote::isLoggedIn, std::move(requester), wire(level)).value_or(false);
}

// --- login::detail::ZelkorLogin

std::string ZelkorLogin::getEndpoint() {
    return attempt(remote::getEndpoint).value_or("");
}
std::string ZelkorLogin::getRelease() {
    return attempt(remote::getRelease).value_or("");
}
std::string ZelkorLogin::getSourceId() {
    return attempt(remote::getSourceId).value_or("");
}
std::string ZelkorLogin::getCurrentSessionId() {
    return attempt(remote::getCurrentSessionId).value_or("");
}

detail::LoginData ZelkorLogin::getPersistedLoginData() {
    return attempt(remote::getPersistedLoginData).value_or(detail::LoginData());
}

void ZelkorLogin::persistIdentity(const detail::LoginData& data) {
    call(remote::persistIdentity, data);
}
void ZelkorLogin::clearSettings() {
    call(remote::clearSettings);
}
void ZelkorLogin::completeLogout() {
    call(remote::completeLogout);
}

detail::NegotiationsResult ZelkorLogin::negotiateLogout(const NegotiationTerms& terms) {
    // A daemon that is down never blocks a logout.
    return attempt(remote::negotiateLogout, terms).value_or(detail::NegotiationsResult{true, {}, {}});
}

bool ZelkorLogin::isLogoutVetoed() {
    return !negotiateLogout(NegotiationTerms{NegotiationTerms::IsLogoutVetoed}).accepted;
}

LoginInfo ZelkorLogin::getLoginInfoAndLogTELX(std::string requester, LoginInfo::Level level,
                                              const std::string& context) {
    return attempt(remote::getLoginInfoAndLogTELX, std::move(requester), wire(level), context)
        .value_or(LoginInfo());
}

// --- login::control::LoginVetoer

void ZelkorLogin::vetoSignIn(bool veto) {
    attempt(remote::vetoSignIn, veto);
}
bool ZelkorLogin::shouldVetoSignIn() {
    return attempt(remote::shouldVetoSignIn).value_or(false);
}

} // namespace login::spf
