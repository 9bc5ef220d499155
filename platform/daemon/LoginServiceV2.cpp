#include "platform/daemon/LoginServiceV2.h"

#include "platform/daemon/CallbackSignature.h"
#include "platform/daemon/Dispatch.h"
#include "platform/daemon/Log.h"
#include "platform/daemon/Negotiation.h"
#include "platform/daemon/Release.h"
#include "runtime/core/Errors.h"

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

LoginState::Level toLevel(int level) {
    return static_cast<LoginState::Level>(level);
}

template <class Signature, auto Handler>
constexpr RemoteMethod<LoginServiceV2> atOnce(std::string_view name) {
    return remoteMethod<Signature, Handler, LoginServiceV2>(name, AnsweredOn::IoThread);
}
template <class Signature, auto Handler>
constexpr RemoteMethod<LoginServiceV2> whenSaved(std::string_view name) {
    return remoteMethod<Signature, Handler, LoginServiceV2>(name, AnsweredOn::StateThread);
}

} // namespace

std::span<const RemoteMethod<LoginServiceV2>> LoginServiceV2::methods() {
    using S = LoginServiceV2;
    // clang-format off
    static constexpr RemoteMethod<LoginServiceV2> table[] = {
        atOnce<LoginInfo(std::string, int), &S::getLoginInfo>("getLoginInfo"),
        atOnce<LoginInfo(std::string, int, std::string),
               &S::getLoginInfoAndLogTELX>("getLoginInfoAndLogTELX"),
        atOnce<bool(std::string, int), &S::isLoggedIn>("isLoggedIn"),
        atOnce<RequestAccessTokenResponse(std::string, int), &S::requestAccessToken>("requestAccessToken"),
        atOnce<RequestAccessTokenResponse(), &S::getAccessToken>("getAccessToken"),
        atOnce<std::string(), &S::getEndpoint>("getEndpoint"),
        atOnce<std::string(), &S::getRelease>("getRelease"),
        atOnce<std::string(), &S::getSourceId>("getSourceId"),
        atOnce<std::string(), &S::getCurrentSessionId>("getCurrentSessionId"),
        atOnce<LoginData(), &S::getPersistedLoginData>("getPersistedLoginData"),
        atOnce<bool(), &S::shouldVetoSignIn>("shouldVetoSignIn"),

        whenSaved<void(std::string, LoginInfo), &S::impersonate>("impersonate"),
        whenSaved<void(LoginData), &S::persistIdentity>("persistIdentity"),
        whenSaved<void(), &S::clearSettings>("clearSettings"),
        whenSaved<void(), &S::completeLogout>("completeLogout"),
        whenSaved<void(bool), &S::vetoSignIn>("vetoSignIn"),

        atOnce<uuid(ExportedCallback), &S::addStatusListener>("addStatusListener"),
        atOnce<bool(uuid), &S::removeStatusListener>("removeStatusListener"),
        atOnce<uuid(std::string, ExportedCallback), &S::addLogoutNegotiator>("addLogoutNegotiator"),
        atOnce<bool(uuid), &S::removeLogoutNegotiator>("removeLogoutNegotiator"),
        atOnce<NegotiationsResult(NegotiationTerms), &S::negotiateLogout>("negotiateLogout"),
    };
    // clang-format on
    return table;
}

LoginServiceV2::LoginServiceV2(const Parts& parts)
    : parts_(parts),
      vocabulary_(std::string(name) + " " + std::to_string(version) + "." + std::to_string(revision),
                  methods()) {}

void LoginServiceV2::onCall(std::unique_ptr<agent::spf::transport::IncomingCall> incoming) {
    answerWhereItBelongs(*this, vocabulary_, parts_.stateThread, Call(std::move(incoming)));
}

void LoginServiceV2::onConnected(const Client& client) {
    logger().log(Severity::info, "Client " + client->clientId() + " (process " +
                                     std::to_string(client->pid()) + ") connected");
}

void LoginServiceV2::onDisconnected(const Client& client) {
    parts_.statusListeners.drop(*client);
    parts_.negotiators.drop(*client);
    logger().log(Severity::info, "Client " + client->clientId() + " (process " +
                                     std::to_string(client->pid()) + ") disconnected");
}

LoginInfo LoginServiceV2::getLoginInfo(const std::string& /*requester*/, int level) const {
    return parts_.state.loginInfo(toLevel(level));
}

LoginInfo LoginServiceV2::getLoginInfoAndLogTELX(const std::string& requester, int level,
                                                 const std::string& telemetry) const {
    constexpr std::size_t longest = 1024;
    logger().log(Severity::info, "TELX from `" + requester.substr(0, longest) + "` asking for level " +
                                     std::to_string(level) + ": " + telemetry.substr(0, longest));
    return parts_.state.loginInfo(toLevel(level));
}

bool LoginServiceV2::isLoggedIn(const std::string& /*requester*/, int level) const {
    return parts_.state.isLoggedIn(toLevel(level));
}

RequestAccessTokenResponse LoginServiceV2::requestAccessToken(const std::string& requester, int level) const {
    auto answer = parts_.state.accessToken(toLevel(level));
    if (logger().enabled(Severity::debug))
        logger().log(Severity::debug, "Access token for `" + requester.substr(0, 256) + "` at level " +
                                          std::to_string(level) + ": status " +
                                          std::to_string(answer.status));
    return answer;
}

RequestAccessTokenResponse LoginServiceV2::getAccessToken() const {
    return parts_.state.accessToken(LoginState::Level::None);
}

std::string LoginServiceV2::getEndpoint() const {
    return parts_.state.endpoint();
}
std::string LoginServiceV2::getRelease() const {
    return release();
}
std::string LoginServiceV2::getSourceId() const {
    return parts_.state.sourceId();
}
std::string LoginServiceV2::getCurrentSessionId() const {
    return parts_.state.sessionId();
}
LoginData LoginServiceV2::getPersistedLoginData() const {
    return parts_.state.persistedLoginData();
}
bool LoginServiceV2::shouldVetoSignIn() const {
    return parts_.state.signInVetoed();
}

void LoginServiceV2::impersonate(std::string token, LoginInfo info) {
    parts_.state.impersonate(login::AccessToken(std::move(token)), std::move(info));
}
void LoginServiceV2::persistIdentity(const LoginData& data) {
    parts_.state.persistIdentity(data);
}
void LoginServiceV2::clearSettings() {
    parts_.state.clearSettings();
}
void LoginServiceV2::completeLogout() {
    parts_.state.completeLogout();
}
void LoginServiceV2::vetoSignIn(bool vetoed) {
    parts_.state.vetoSignIn(vetoed);
}

uuid LoginServiceV2::addStatusListener(const Client& client, const ExportedCallback& callback) {
    checkSignature<void(LoginInfo, LoginInfo)>(callback);
    return parts_.statusListeners.add(client, callback.getCallbackID());
}

bool LoginServiceV2::removeStatusListener(const Client& client, const uuid& id) {
    return parts_.statusListeners.remove(id, *client);
}

uuid LoginServiceV2::addLogoutNegotiator(const Client& client, std::string negotiatorName,
                                         const ExportedCallback& callback) {
    checkSignature<NegotiatorResponse(NegotiationTerms)>(callback);
    return parts_.negotiators.add(client, callback.getCallbackID(), std::move(negotiatorName));
}

bool LoginServiceV2::removeLogoutNegotiator(const Client& client, const uuid& id) {
    return parts_.negotiators.remove(id, *client);
}

void LoginServiceV2::negotiateLogout(NegotiationTerms terms, LaterAnswer<NegotiationsResult> answer) const {
    const auto limit = negotiationLimit(parts_.negotiationTimeout, answer.deadline());
    Negotiation::start(parts_.negotiators, terms, limit, std::move(answer));
}

} // namespace hshd
