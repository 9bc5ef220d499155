#include "module/v2/ZelkorLogin.h"

#include "contract/vocabulary/LoginV2.h"
#include "module/runtime/StatusRefresh.h"

#include <utility>

namespace login::spf {

using namespace agent::spf::cppmsclientutils;
using agent::spf::core::ExportedCallback;

namespace {

Logger& logger() {
    static auto* const instance = new Logger("login.spf.ZelkorLogin"); // calls may outlive the exit handlers
    return *instance;
}

/// On the wire a level is its enumerator's value.
int wire(LoginInfo::Level level) noexcept {
    return static_cast<int>(level);
}

constexpr std::size_t replayBatch = 128;

const RegistrationKind<ZelkorLogin::StatusListenerId, ZelkorLogin::StatusListenerV2> statusListeners{
    .wrap =
        [](const auto& item) {
            return calling<void(LoginInfo, LoginInfo)>(
                item, [](const auto& listener, const LoginInfo& first, const LoginInfo& second) {
                    listener(first, second);
                });
        },
    .announce =
        [](const ExclusiveCaller& call, const auto&, const ExportedCallback& callback) {
            return call.begin(remote::addStatusListener, callback);
        },
    .rules = {remote::removeStatusListener, RegistrationTable::CallersId::Ours,
              RegistrationTable::ReplayFailure::IsLogged, replayBatch}};

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
    .rules = {remote::removeLogoutNegotiator, RegistrationTable::CallersId::Ours,
              RegistrationTable::ReplayFailure::IsLogged, replayBatch}};

} // namespace

ZelkorLogin::ZelkorLogin(
    const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
    std::shared_ptr<zelkorconnector::serviceprocess::HasDesktopServices> /*desktopServices*/,
    Executors executors)
    : InvokableTrackingService(TrackedServiceInfo("ZelkorLogin", 2, 1), logger(), executors),
      statusListeners_(tracker(), statusListeners), negotiators_(tracker(), negotiators) {
    if (configuration) {
        tracker()->updateServiceProperties(*configuration);
        tracker()->updateTimeouts(*configuration);
    }
    tracker()->onFindingInvokable(replaying(statusListeners_, negotiators_));
    tracker()->onFoundInvokable(
        refreshing(tracker(), remote::getLoginInfo,
                   {audience(statusListeners_,
                             [](const auto& listener, const auto& info) { listener(info, LoginInfo()); })}));
    tracker()->start(); // last: from here on the handlers may run
}

ZelkorLogin::~ZelkorLogin() {
    closeTracking();
}

void ZelkorLogin::Modified(
    const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& /*context*/,
    const std::shared_ptr<cppmicroservices::AnyMap>& properties) {
    if (properties)
        tracker()->updateTimeouts(*properties);
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

ZelkorLogin::StatusListenerId ZelkorLogin::addStatusListenerV2(StatusListenerV2 listener) {
    return statusListeners_.add(std::move(listener));
}
ZelkorLogin::StatusListenerId ZelkorLogin::addStatusListener(StatusListener listener) {
    return addStatusListenerV2([listener = std::move(listener)](const LoginInfo& info, const LoginInfo&) {
        listener(boost::optional<LoginInfo>(info));
    });
}
bool ZelkorLogin::removeStatusListener(StatusListenerId id) {
    return statusListeners_.remove(id);
}

ZelkorLogin::LogoutNegotiatorId ZelkorLogin::addLogoutNegotiator(Negotiator negotiator) {
    return negotiators_.add(std::move(negotiator));
}
bool ZelkorLogin::removeLogoutNegotiator(LogoutNegotiatorId id) {
    return negotiators_.remove(id);
}

ZelkorLogin::LogoutVetoerId ZelkorLogin::addLogoutVetoer(LogoutVetoer vetoer) {
    Negotiator negotiator{"vetoer", [vetoer = std::move(vetoer)](const NegotiationTerms&) {
                              const bool veto = vetoer();
                              return NegotiatorResponse{
                                  veto ? Negotiator::Position::Object : Negotiator::Position::Accept, u""};
                          }};
    return LogoutVetoerId(addLogoutNegotiator(std::move(negotiator)).getValue());
}
bool ZelkorLogin::removeLogoutVetoer(LogoutVetoerId id) {
    return removeLogoutNegotiator(LogoutNegotiatorId(id.getValue()));
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
