#include "platform/daemon/LoginServiceV1.h"

#include "platform/daemon/CallbackSignature.h"
#include "platform/daemon/Dispatch.h"
#include "platform/daemon/Log.h"
#include "platform/daemon/Negotiation.h"
#include "platform/daemon/Release.h"
#include "runtime/core/Errors.h"

#include <boost/optional/optional.hpp>

#include <utility>

namespace hshd {
namespace {

using agent::spf::core::ExportedCallback;
using boost::uuids::uuid;
using login::LoginInfo;
using login::NegotiationTerms;
using login::NegotiatorResponse;
using login::RequestAccessTokenResponse;
using login::detail::LoginData;
using login::detail::NegotiationsResult;
using Form = Registrations::Form;
using Level = LoginState::Level;

template <class Signature, auto Handler>
constexpr RemoteMethod<LoginServiceV1> atOnce(std::string_view name) {
    return remoteMethod<Signature, Handler, LoginServiceV1>(name, AnsweredOn::IoThread);
}
template <class Signature, auto Handler>
constexpr RemoteMethod<LoginServiceV1> whenSaved(std::string_view name) {
    return remoteMethod<Signature, Handler, LoginServiceV1>(name, AnsweredOn::StateThread);
}

} // namespace

std::span<const RemoteMethod<LoginServiceV1>> LoginServiceV1::methods() {
    using S = LoginServiceV1;
    // clang-format off
    static constexpr RemoteMethod<LoginServiceV1> table[] = {
        atOnce<LoginInfo(std::string, int), &S::getLoginInfo>("getLoginInfo"),
        atOnce<LoginInfo(std::string, int, std::string), &S::getLoginInfoId>("getLoginInfoId"),
        atOnce<LoginInfo(std::string, int, std::string),
               &S::getLoginInfoAndLogTELX>("getLoginInfoAndLogTELX"),
        atOnce<bool(std::string, int), &S::isLoggedIn>("isLoggedIn"),
        atOnce<std::string(std::string, int), &S::requestAccessToken>("requestAccessToken"),
        atOnce<RequestAccessTokenResponse(std::string, int),
               &S::requestAccessTokenAdvanced>("requestAccessTokenAdvanced"),
        atOnce<std::string(), &S::getAccessToken>("getAccessToken"),
        atOnce<RequestAccessTokenResponse(), &S::getAccessTokenAdvanced>("getAccessTokenAdvanced"),
        atOnce<std::string(), &S::getEndpoint>("getEndpoint"),
        atOnce<std::string(), &S::getRelease>("getRelease"),
        atOnce<std::string(), &S::getSourceId>("getSourceId"),
        atOnce<std::string(), &S::getCurrentSessionId>("getCurrentSessionId"),
        atOnce<LoginData(), &S::getPersistedLoginDataMFA>("getPersistedLoginDataMFA"),

        whenSaved<void(std::string, LoginInfo), &S::impersonate>("impersonate"),
        whenSaved<void(LoginData), &S::persistIdentityMFA>("persistIdentityMFA"),
        whenSaved<void(), &S::clearSettings>("clearSettings"),
        whenSaved<void(), &S::completeLogout>("completeLogout"),

        atOnce<uuid(ExportedCallback), &S::addStatusListener>("addStatusListener"),
        atOnce<uuid(ExportedCallback), &S::addStatusListenerV2>("addStatusListenerV2"),
        atOnce<bool(uuid), &S::removeStatusListener>("removeStatusListener"),
        atOnce<uuid(ExportedCallback), &S::addLogoutVetoer>("addLogoutVetoer"),
        atOnce<bool(uuid), &S::removeLogoutNegotiator>("removeLogoutVetoer"),
        atOnce<uuid(std::string, ExportedCallback), &S::addLogoutNegotiator>("addLogoutNegotiator"),
        atOnce<bool(uuid), &S::removeLogoutNegotiator>("removeLogoutNegotiator"),
        atOnce<bool(), &S::isLogoutVetoed>("isLogoutVetoed"),
        atOnce<NegotiationsResult(NegotiationTerms), &S::negotiateLogout>("negotiateLogout"),

        atOnce<void(std::string, ExportedCallback, int, std::string),
               &S::requestLoginAsync>("requestLoginAsync"),
        atOnce<void(ExportedCallback, std::string),
               &S::requestLogoutWithOptionsAsync>("requestLogoutWithOptionsAsync"),
        atOnce<bool(), &S::supportsWebRedirect>("supportsWebRedirect"),
    };
    // clang-format on
    return table;
}

LoginServiceV1::LoginServiceV1(const LoginServiceV2::Parts& parts, InteractiveService& interactive)
    : parts_(parts), interactive_(interactive), vocabulary_("ZelkorLogin 1.7", methods()) {}

void LoginServiceV1::onCall(std::unique_ptr<agent::spf::transport::IncomingCall> incoming) {
    answerWhereItBelongs(*this, vocabulary_, parts_.stateThread, Call(std::move(incoming)));
}

void LoginServiceV1::onDisconnected(const Client& client) {
    parts_.statusListeners.drop(*client);
    parts_.negotiators.drop(*client);
}

// --- queries

LoginInfo LoginServiceV1::getLoginInfo(const std::string& /*requester*/, int level) const {
    return parts_.state.loginInfo(static_cast<Level>(level));
}
LoginInfo LoginServiceV1::getLoginInfoId(const std::string& requester, int level,
                                         const std::string& /*id*/) const {
    return getLoginInfo(requester, level);
}
LoginInfo LoginServiceV1::getLoginInfoAndLogTELX(const std::string& requester, int level,
                                                 const std::string& telemetry) const {
    constexpr std::size_t longest = 1024;
    logger().log(Severity::info, "TELX from `" + requester.substr(0, longest) + "` asking for level " +
                                     std::to_string(level) + ": " + telemetry.substr(0, longest));
    return getLoginInfo(requester, level);
}
bool LoginServiceV1::isLoggedIn(const std::string& /*requester*/, int level) const {
    return parts_.state.isLoggedIn(static_cast<Level>(level));
}
RequestAccessTokenResponse LoginServiceV1::requestAccessTokenAdvanced(const std::string& /*requester*/,
                                                                      int level) const {
    return parts_.state.accessToken(static_cast<Level>(level));
}
std::string LoginServiceV1::requestAccessToken(const std::string& requester, int level) const {
    return requestAccessTokenAdvanced(requester, level).token.getTokenString();
}
RequestAccessTokenResponse LoginServiceV1::getAccessTokenAdvanced() const {
    return parts_.state.accessToken(Level::None);
}
std::string LoginServiceV1::getAccessToken() const {
    return getAccessTokenAdvanced().token.getTokenString();
}
std::string LoginServiceV1::getEndpoint() const {
    return parts_.state.endpoint();
}
std::string LoginServiceV1::getRelease() const {
    return release();
}
std::string LoginServiceV1::getSourceId() const {
    return parts_.state.sourceId();
}
std::string LoginServiceV1::getCurrentSessionId() const {
    return parts_.state.sessionId();
}
LoginData LoginServiceV1::getPersistedLoginDataMFA() const {
    return parts_.state.persistedLoginData();
}

// --- changes

void LoginServiceV1::impersonate(std::string token, LoginInfo info) {
    parts_.state.impersonate(login::AccessToken(std::move(token)), std::move(info));
}
void LoginServiceV1::persistIdentityMFA(const LoginData& data) {
    parts_.state.persistIdentity(data);
}
void LoginServiceV1::clearSettings() {
    parts_.state.clearSettings();
}
void LoginServiceV1::completeLogout() {
    parts_.state.completeLogout();
}

// --- registrations and negotiation

uuid LoginServiceV1::addStatusListener(const Client& client, const ExportedCallback& callback) {
    checkSignature<void(boost::optional<LoginInfo>)>(callback);
    return parts_.statusListeners.add(client, callback.getCallbackID(), {}, Form::Old);
}
uuid LoginServiceV1::addStatusListenerV2(const Client& client, const ExportedCallback& callback) {
    checkSignature<void(LoginInfo, LoginInfo)>(callback);
    return parts_.statusListeners.add(client, callback.getCallbackID());
}
bool LoginServiceV1::removeStatusListener(const Client& client, const uuid& id) {
    return parts_.statusListeners.remove(id, *client);
}
uuid LoginServiceV1::addLogoutVetoer(const Client& client, const ExportedCallback& callback) {
    checkSignature<bool()>(callback);
    return parts_.negotiators.add(client, callback.getCallbackID(), "vetoer", Form::Old);
}
uuid LoginServiceV1::addLogoutNegotiator(const Client& client, std::string negotiatorName,
                                         const ExportedCallback& callback) {
    checkSignature<NegotiatorResponse(NegotiationTerms)>(callback);
    return parts_.negotiators.add(client, callback.getCallbackID(), std::move(negotiatorName));
}
bool LoginServiceV1::removeLogoutNegotiator(const Client& client, const uuid& id) {
    return parts_.negotiators.remove(id, *client);
}

void LoginServiceV1::isLogoutVetoed(LaterAnswer<bool> answer) const {
    const auto limit = negotiationLimit(parts_.negotiationTimeout, answer.deadline());
    Negotiation::start(
        parts_.negotiators, {NegotiationTerms::IsLogoutVetoed}, limit,
        [answer = std::move(answer)](const NegotiationsResult& result) { answer(!result.accepted); });
}

void LoginServiceV1::negotiateLogout(NegotiationTerms terms, LaterAnswer<NegotiationsResult> answer) const {
    const auto limit = negotiationLimit(parts_.negotiationTimeout, answer.deadline());
    Negotiation::start(parts_.negotiators, terms, limit, std::move(answer));
}

// --- requests

void LoginServiceV1::requestLoginAsync(const Client& client, const std::string& requester,
                                       const ExportedCallback& callback, int level,
                                       const std::string& options) {
    interactive_.requestLoginAsync(client, requester, callback, level, options);
}
void LoginServiceV1::requestLogoutWithOptionsAsync(const Client& client, const ExportedCallback& callback,
                                                   const std::string& options) {
    interactive_.requestLogoutWithOptionsAsync(client, callback, options);
}
bool LoginServiceV1::supportsWebRedirect() const {
    return interactive_.supportsWebRedirect();
}

} // namespace hshd
