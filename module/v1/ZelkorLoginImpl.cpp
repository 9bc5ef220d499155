#include "module/v1/ZelkorLoginImpl.h"

#include "contract/vocabulary/LoginV1.h"
#include "module/runtime/RemoteRequest.h"
#include "module/runtime/StatusRefresh.h"

#include <foundation/json.h>
#include <login/utils.h>

#include <functional>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace login {

namespace remote = v1::remote;
using namespace agent::spf::cppmsclientutils;
using agent::spf::core::ExportedCallback;
using foundation::json::serialize;
using foundation::log::logging_event_types;
using utils::toJson;
using utils::toNumber;

namespace {

Logger& logger() {
    static auto* const instance = new Logger("login.ZelkorLoginImpl"); // calls may outlive the exit handlers
    return *instance;
}

// --- what there is to register and to request

constexpr RegistrationTable::Rules registrations(const RemoteMethod<bool(boost::uuids::uuid)>& remove) {
    return {remove, RegistrationTable::CallersId::TheDaemons, RegistrationTable::ReplayFailure::EndsReplay,
            1};
}

const RegistrationKind<ZelkorLogin::StatusListenerId, ZelkorLogin::StatusListener> statusListeners{
    .wrap =
        [](const auto& item) {
            return calling<void(boost::optional<LoginInfo>)>(
                item,
                [](const auto& listener, boost::optional<LoginInfo> info) { listener(std::move(info)); });
        },
    .announce =
        [](const ExclusiveCaller& call, const auto&, const ExportedCallback& callback) {
            return call.begin(remote::addStatusListener, callback);
        },
    .rules = registrations(remote::removeStatusListener)};

const RegistrationKind<ZelkorLogin::StatusListenerId, ZelkorLogin::StatusListenerV2> statusListenersV2{
    .wrap =
        [](const auto& item) {
            return calling<void(LoginInfo, LoginInfo)>(
                item, [](const auto& listener, const LoginInfo& first, const LoginInfo& second) {
                    listener(first, second);
                });
        },
    .announce =
        [](const ExclusiveCaller& call, const auto&, const ExportedCallback& callback) {
            return call.begin(remote::addStatusListenerV2, callback);
        },
    .rules = registrations(remote::removeStatusListener)};

const RegistrationKind<ZelkorLogin::LogoutVetoerId, ZelkorLogin::LogoutVetoer> vetoers{
    .wrap =
        [](const auto& item) { return calling<bool()>(item, [](const auto& vetoer) { return vetoer(); }); },
    .announce =
        [](const ExclusiveCaller& call, const auto&, const ExportedCallback& callback) {
            return call.begin(remote::addLogoutVetoer, callback);
        },
    .rules = registrations(remote::removeLogoutVetoer)};

const RegistrationKind<ZelkorLogin::LogoutNegotiatorId, Negotiator> negotiators{
    .wrap =
        [](const auto& item) {
            return calling<NegotiatorResponse(NegotiationTerms)>(
                item, [](const Negotiator& negotiator, const NegotiationTerms& terms) {
                    return negotiator.negotiate(terms);
                });
        },
    .announce =
        [](const ExclusiveCaller& call, const Negotiator& negotiator, const ExportedCallback& callback) {
            return call.begin(remote::addLogoutNegotiator, negotiator.name, callback);
        },
    .rules = registrations(remote::removeLogoutNegotiator)};

const RequestKind<LoginInfo> loginRequest{.method = remote::requestLoginAsync.name,
                                          .failureLevel = logging_event_types::severe,
                                          .exclusive = false,
                                          .success = [](const LoginInfo& info) {
                                              std::ostringstream text;
                                              text << "requestLoginAsync successful. LoginInfo is: " << info;
                                              return text.str();
                                          }};
const RequestKind<> logoutRequest{.method = remote::requestLogoutWithOptionsAsync.name,
                                  .failureLevel = logging_event_types::severe,
                                  .exclusive = false};

} // namespace

ZelkorLoginImpl::ZelkorLoginImpl(
    const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
    std::shared_ptr<zelkorconnector::serviceprocess::HasDesktopServices> /*desktopServices*/,
    Executors executors)
    : InvokableTrackingService(TrackedServiceInfo("ZelkorLogin", 1, 7), logger(), executors),
      statusListeners_(tracker(), statusListeners), statusListenersV2_(tracker(), statusListenersV2),
      vetoers_(tracker(), vetoers), negotiators_(tracker(), negotiators) {
    if (configuration) {
        tracker()->updateServiceProperties(*configuration);
        tracker()->updateTimeouts(*configuration);
    }
    tracker()->onFindingInvokable(replaying(statusListeners_, statusListenersV2_, vetoers_, negotiators_));
    tracker()->onFoundInvokable(refreshing(
        tracker(), remote::getLoginInfo,
        {audience(statusListeners_,
                  [](const auto& listener, const auto& info) { listener(boost::optional<LoginInfo>(info)); }),
         audience(statusListenersV2_,
                  [](const auto& listener, const auto& info) { listener(info, LoginInfo()); })}));
    tracker()->start(); // last: from here on the handlers may run
}

ZelkorLoginImpl::~ZelkorLoginImpl() {
    closeTracking();
}

void ZelkorLoginImpl::Modified(
    const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& /*context*/,
    const std::shared_ptr<cppmicroservices::AnyMap>& properties) {
    if (properties)
        tracker()->updateTimeouts(*properties);
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

ZelkorLoginImpl::StatusListenerId ZelkorLoginImpl::addStatusListener(StatusListener listener) {
    return statusListeners_.add(std::move(listener));
}
ZelkorLoginImpl::StatusListenerId ZelkorLoginImpl::addStatusListenerV2(StatusListenerV2 listener) {
    return statusListenersV2_.add(std::move(listener));
}
bool ZelkorLoginImpl::removeStatusListener(StatusListenerId id) {
    return statusListeners_.remove(id) || statusListenersV2_.remove(id);
}
ZelkorLoginImpl::LogoutVetoerId ZelkorLoginImpl::addLogoutVetoer(LogoutVetoer vetoer) {
    return vetoers_.add(std::move(vetoer));
}
bool ZelkorLoginImpl::removeLogoutVetoer(LogoutVetoerId id) {
    return vetoers_.remove(id);
}
ZelkorLoginImpl::LogoutNegotiatorId ZelkorLoginImpl::addLogoutNegotiator(Negotiator negotiator) {
    return negotiators_.add(std::move(negotiator));
}
bool ZelkorLoginImpl::removeLogoutNegotiator(LogoutNegotiatorId id) {
    return negotiators_.remove(id);
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

// --- login::interactive::ZelkorLogin

void ZelkorLoginImpl::requestLoginAsync(std::string requester, LoginHandler handler, LoginInfo::Level level,
                                        interactive::LoginOptions options) {
    startRequest(tracker(), loginRequest, std::move(handler), [&](const auto& call, const auto& callback) {
        call(remote::requestLoginAsync, std::move(requester), callback, toNumber(level),
             serialize(toJson(options)));
    });
}

void ZelkorLoginImpl::requestLogoutAsync(LogoutHandler handler, interactive::LogoutOptions options) {
    startRequest(tracker(), logoutRequest, std::move(handler), [&](const auto& call, const auto& callback) {
        call(remote::requestLogoutWithOptionsAsync, callback, serialize(toJson(options)));
    });
}

std::future<LoginInfo> ZelkorLoginImpl::requestLoginAsync(std::string requester, LoginInfo::Level level,
                                                          interactive::LoginOptions options) {
    std::future<LoginInfo> future;
    requestLoginAsync(std::move(requester), LoginHandler(promiseFulfilling<LoginInfo, LoginInfo>(future)),
                      level, std::move(options));
    return future;
}

LoginInfo ZelkorLoginImpl::requestLogin(std::string requester, LoginInfo::Level level,
                                        interactive::LoginOptions options) {
    return requestLoginAsync(std::move(requester), level, std::move(options)).get();
}

std::future<void> ZelkorLoginImpl::requestLogoutAsync(interactive::LogoutOptions options) {
    std::future<void> future;
    requestLogoutAsync(LogoutHandler(promiseFulfilling<void>(future)), options);
    return future;
}

void ZelkorLoginImpl::requestLogout(interactive::LogoutOptions options) {
    requestLogoutAsync(options).get();
}

bool ZelkorLoginImpl::supportsWebRedirect() {
    return attempt(remote::supportsWebRedirect).value_or(true);
}

LoginInfo ZelkorLoginImpl::getLoginInfo(const std::string& requester, LoginInfo::Level level,
                                        const std::string& id) {
    return attempt(remote::getLoginInfoId, requester, toNumber(level), id).value_or(LoginInfo());
}

// --- login::control::LoginVetoer

void ZelkorLoginImpl::vetoSignIn(bool /*veto*/) {
    throw std::runtime_error("ZelkorLogin-v1.x doesn't support vetoing sign in.");
}

} // namespace login
