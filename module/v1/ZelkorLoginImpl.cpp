#include "module/v1/ZelkorLoginImpl.h"

#include "module/v1/Logger.h"
#include "contract/vocabulary/LoginV1.h"

#include <login/utils.h>

#include <stdexcept>
#include <utility>

foundation::log::basic_diagnostic_logger<char>& login::v1::logger() {
    static auto* const instance = new foundation::log::basic_diagnostic_logger<char>("login.ZelkorLoginImpl");
    return *instance;
}

namespace login {

namespace remote = v1::remote;
using agent::spf::cppmsclientutils::TrackedServiceInfo;
using utils::toNumber;
using v1::logger;

ZelkorLoginImpl::ZelkorLoginImpl(
    const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
    std::shared_ptr<zelkorconnector::serviceprocess::HasDesktopServices> /*desktopServices*/,
    foundation::concurrent::threadpool::Executor& executor)
    : InvokableTrackingService(TrackedServiceInfo("ZelkorLogin", 1, 7), logger(), executor),
      executor_(executor), statusListeners_(remote::removeStatusListener),
      statusListenersV2_(remote::removeStatusListener), vetoers_(remote::removeLogoutVetoer),
      negotiators_(remote::removeLogoutNegotiator) {
    if (configuration) {
        tracker().updateServiceProperties(*configuration);
        tracker().updateTimeouts(*configuration);
    }
    tracker().onFindingInvokable([this](ExclusiveLock& lock) { replayAll(lock); });
    tracker().onFoundInvokable([this] { refreshStatusListeners(); });
    tracker().start(); // last: from here on the handlers may run
}

ZelkorLoginImpl::~ZelkorLoginImpl() {
    closeTracking();
}

void ZelkorLoginImpl::Modified(
    const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& /*context*/,
    const std::shared_ptr<cppmicroservices::AnyMap>& properties) {
    if (properties)
        tracker().updateTimeouts(*properties);
}

// --- login::ZelkorLogin

LoginInfo ZelkorLoginImpl::getLoginInfo(std::string requester, LoginInfo::Level level) const {
    return attempt(remote::getLoginInfo, std::move(requester), toNumber(level)).value_or(LoginInfo());
}

boost::optional<AccessToken> ZelkorLoginImpl::requestAccessToken(std::string requester,
                                                                 LoginInfo::Level level) {
    auto token = attempt(remote::requestAccessToken, std::move(requester), toNumber(level));
    if (!token)
        return boost::none;
    return AccessToken(std::move(*token));
}

RequestAccessTokenResponse ZelkorLoginImpl::requestAccessTokenAdvanced(std::string requester,
                                                                       LoginInfo::Level level) {
    return attempt(remote::requestAccessTokenAdvanced, std::move(requester), toNumber(level))
        .value_or(RequestAccessTokenResponse());
}

AccessToken ZelkorLoginImpl::getAccessToken() {
    auto token = attempt(remote::getAccessToken);
    return token ? AccessToken(std::move(*token)) : AccessToken();
}

RequestAccessTokenResponse ZelkorLoginImpl::getAccessTokenAdvanced() {
    return attempt(remote::getAccessTokenAdvanced).value_or(RequestAccessTokenResponse());
}

void ZelkorLoginImpl::impersonate(AccessToken token, LoginInfo info) {
    call(remote::impersonate, token.getTokenString(), std::move(info));
}

bool ZelkorLoginImpl::isLoggedIn(std::string requester, LoginInfo::Level level) const {
    return attempt(remote::isLoggedIn, std::move(requester), toNumber(level)).value_or(false);
}

// --- login::detail::ZelkorLogin

LoginInfo ZelkorLoginImpl::getLoginInfoAndLogTELX(std::string requester, LoginInfo::Level level,
                                                  const std::string& context) {
    return attempt(remote::getLoginInfoAndLogTELX, std::move(requester), toNumber(level), context)
        .value_or(LoginInfo());
}
std::string ZelkorLoginImpl::getEndpoint() {
    return attempt(remote::getEndpoint).value_or("");
}
std::string ZelkorLoginImpl::getRelease() {
    return attempt(remote::getRelease).value_or("");
}
std::string ZelkorLoginImpl::getSourceId() {
    return attempt(remote::getSourceId).value_or("");
}
detail::LoginData ZelkorLoginImpl::getPersistedLoginData() {
    return attempt(remote::getPersistedLoginDataMFA).value_or(detail::LoginData());
}
void ZelkorLoginImpl::persistIdentity(const detail::LoginData& data) {
    call(remote::persistIdentityMFA, data);
}
void ZelkorLoginImpl::clearSettings() {
    call(remote::clearSettings);
}
std::string ZelkorLoginImpl::getCurrentSessionId() {
    return attempt(remote::getCurrentSessionId).value_or("");
}
void ZelkorLoginImpl::completeLogout() {
    call(remote::completeLogout);
}
bool ZelkorLoginImpl::isLogoutVetoed() {
    return attempt(remote::isLogoutVetoed).value_or(false);
}
detail::NegotiationsResult ZelkorLoginImpl::negotiateLogout(const NegotiationTerms& terms) {
    // A daemon that is down never blocks a logout.
    return attempt(remote::negotiateLogout, terms).value_or(detail::NegotiationsResult{true, {}, {}});
}

// --- login::control::LoginVetoer

void ZelkorLoginImpl::vetoSignIn(bool /*veto*/) {
    throw std::runtime_error("ZelkorLogin-v1.x doesn't support vetoing sign in.");
}

} // namespace login
