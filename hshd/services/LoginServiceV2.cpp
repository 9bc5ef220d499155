#include "hshd/services/LoginServiceV2.h"

#include "hshd/services/Dispatch.h"
#include "hshd/Log.h"

#include <utility>

namespace hshd {
namespace {

using boost::uuids::uuid;
using login::LoginInfo;
using login::NegotiationTerms;
using login::RequestAccessTokenResponse;
using login::detail::LoginData;
using login::detail::NegotiationsResult;

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
        atOnce<RequestAccessTokenResponse(std::string, int), &S::accessTokenFor>("requestAccessToken"),
        atOnce<RequestAccessTokenResponse(), &S::accessToken>("getAccessToken"),
        atOnce<std::string(), &S::getEndpoint>("getEndpoint"),
        atOnce<std::string(), &S::getRelease>("getRelease"),
        atOnce<std::string(), &S::getSourceId>("getSourceId"),
        atOnce<std::string(), &S::getCurrentSessionId>("getCurrentSessionId"),
        atOnce<LoginData(), &S::persistedLoginData>("getPersistedLoginData"),
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
    : LoginOperations(parts),
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
    dropRegistrations(client);
    logger().log(Severity::info, "Client " + client->clientId() + " (process " +
                                     std::to_string(client->pid()) + ") disconnected");
}

bool LoginServiceV2::shouldVetoSignIn() const {
    return parts_.state.signInVetoed();
}
void LoginServiceV2::vetoSignIn(bool vetoed) {
    parts_.state.vetoSignIn(vetoed);
}

} // namespace hshd
