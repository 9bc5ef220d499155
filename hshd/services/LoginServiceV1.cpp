#include "hshd/services/LoginServiceV1.h"

#include "hshd/services/CallbackSignature.h"
#include "hshd/services/Dispatch.h"
#include "hshd/services/Negotiation.h"

#include <boost/optional/optional.hpp>

#include <utility>

namespace hshd {
namespace {

using boost::uuids::uuid;
using login::LoginInfo;
using login::NegotiationTerms;
using login::RequestAccessTokenResponse;
using login::detail::LoginData;
using login::detail::NegotiationsResult;
using Form = Registrations::Form;

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
               &S::accessTokenFor>("requestAccessTokenAdvanced"),
        atOnce<std::string(), &S::getAccessToken>("getAccessToken"),
        atOnce<RequestAccessTokenResponse(), &S::accessToken>("getAccessTokenAdvanced"),
        atOnce<std::string(), &S::getEndpoint>("getEndpoint"),
        atOnce<std::string(), &S::getRelease>("getRelease"),
        atOnce<std::string(), &S::getSourceId>("getSourceId"),
        atOnce<std::string(), &S::getCurrentSessionId>("getCurrentSessionId"),
        atOnce<LoginData(), &S::persistedLoginData>("getPersistedLoginDataMFA"),

        whenSaved<void(std::string, LoginInfo), &S::impersonate>("impersonate"),
        whenSaved<void(LoginData), &S::persistIdentity>("persistIdentityMFA"),
        whenSaved<void(), &S::clearSettings>("clearSettings"),
        whenSaved<void(), &S::completeLogout>("completeLogout"),

        atOnce<uuid(ExportedCallback), &S::addOldStatusListener>("addStatusListener"),
        atOnce<uuid(ExportedCallback), &S::addStatusListener>("addStatusListenerV2"),
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

LoginServiceV1::LoginServiceV1(const Parts& parts, InteractiveService& interactive)
    : LoginOperations(parts), interactive_(interactive), vocabulary_("ZelkorLogin 1.7", methods()) {}

void LoginServiceV1::onCall(std::unique_ptr<agent::spf::transport::IncomingCall> incoming) {
    answerWhereItBelongs(*this, vocabulary_, parts_.stateThread, Call(std::move(incoming)));
}

void LoginServiceV1::onDisconnected(const Client& client) {
    dropRegistrations(client);
    interactive_.onDisconnected(client); // it may be on offer as a part of this service only
}

LoginInfo LoginServiceV1::getLoginInfoId(const std::string& requester, int level,
                                         const std::string& /*id*/) const {
    return getLoginInfo(requester, level);
}
std::string LoginServiceV1::requestAccessToken(const std::string& requester, int level) const {
    return accessTokenFor(requester, level).token.getTokenString();
}
std::string LoginServiceV1::getAccessToken() const {
    return accessToken().token.getTokenString();
}

uuid LoginServiceV1::addOldStatusListener(const Client& client, const ExportedCallback& callback) {
    checkSignature<void(boost::optional<LoginInfo>)>(callback);
    return parts_.statusListeners.add(client, callback.getCallbackID(), {}, Form::Old);
}
uuid LoginServiceV1::addLogoutVetoer(const Client& client, const ExportedCallback& callback) {
    checkSignature<bool()>(callback);
    return parts_.negotiators.add(client, callback.getCallbackID(), "vetoer", Form::Old);
}

void LoginServiceV1::isLogoutVetoed(LaterAnswer<bool> answer) const {
    const auto limit = negotiationLimit(parts_.negotiationTimeout, answer.deadline());
    Negotiation::start(
        parts_.negotiators, {NegotiationTerms::IsLogoutVetoed}, limit,
        [answer = std::move(answer)](const NegotiationsResult& result) { answer(!result.accepted); });
}

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
