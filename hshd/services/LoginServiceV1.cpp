#include "hshd/services/LoginServiceV1.h"

#include "contract/vocabulary/LoginV1.h"
#include "hshd/services/CallbackSignature.h"
#include "hshd/services/Negotiation.h"

#include <utility>

namespace hshd {
namespace {

using boost::uuids::uuid;
using login::LoginInfo;
using login::NegotiationTerms;
using login::detail::NegotiationsResult;
using Form = Registrations::Form;
namespace remote = login::v1::remote;

} // namespace

std::span<const ServedMethod> LoginServiceV1::methods() {
    using S = LoginServiceV1;
    using Methods = MethodsOf<S>;
    static constexpr ServedMethod table[] = {
        Methods::atOnce<&S::getLoginInfo>(remote::getLoginInfo),
        Methods::atOnce<&S::getLoginInfoId>(remote::getLoginInfoId),
        Methods::atOnce<&S::getLoginInfoAndLogTELX>(remote::getLoginInfoAndLogTELX),
        Methods::atOnce<&S::isLoggedIn>(remote::isLoggedIn),
        Methods::atOnce<&S::requestAccessToken>(remote::requestAccessToken),
        Methods::atOnce<&S::accessTokenFor>(remote::requestAccessTokenAdvanced),
        Methods::atOnce<&S::getAccessToken>(remote::getAccessToken),
        Methods::atOnce<&S::accessToken>(remote::getAccessTokenAdvanced),
        Methods::atOnce<&S::getEndpoint>(remote::getEndpoint),
        Methods::atOnce<&S::getRelease>(remote::getRelease),
        Methods::atOnce<&S::getSourceId>(remote::getSourceId),
        Methods::atOnce<&S::getCurrentSessionId>(remote::getCurrentSessionId),
        Methods::atOnce<&S::persistedLoginData>(remote::getPersistedLoginDataMFA),

        Methods::whenSaved<&S::impersonate>(remote::impersonate),
        Methods::whenSaved<&S::persistIdentity>(remote::persistIdentityMFA),
        Methods::whenSaved<&S::clearSettings>(remote::clearSettings),
        Methods::whenSaved<&S::completeLogout>(remote::completeLogout),

        Methods::atOnce<&S::addOldStatusListener>(remote::addStatusListener),
        Methods::atOnce<&S::addStatusListener>(remote::addStatusListenerV2),
        Methods::atOnce<&S::removeStatusListener>(remote::removeStatusListener),
        Methods::atOnce<&S::addLogoutVetoer>(remote::addLogoutVetoer),
        Methods::atOnce<&S::removeLogoutNegotiator>(remote::removeLogoutVetoer),
        Methods::atOnce<&S::addLogoutNegotiator>(remote::addLogoutNegotiator),
        Methods::atOnce<&S::removeLogoutNegotiator>(remote::removeLogoutNegotiator),
        Methods::atOnce<&S::isLogoutVetoed>(remote::isLogoutVetoed),
        Methods::atOnce<&S::negotiateLogout>(remote::negotiateLogout),

        Methods::atOnce<&S::requestLoginAsync>(remote::requestLoginAsync),
        Methods::atOnce<&S::requestLogoutWithOptionsAsync>(remote::requestLogoutWithOptionsAsync),
        Methods::atOnce<&S::supportsWebRedirect>(remote::supportsWebRedirect),
    };
    return table;
}

LoginServiceV1::LoginServiceV1(const Parts& parts, InteractiveService& interactive)
    : Dispatch(nameOf<LoginServiceV1>(), methods(), parts.stateThread,
               {&parts.statusListeners, &parts.negotiators, &interactive}),
      LoginOperations(parts), interactive_(interactive) {}

LoginInfo LoginServiceV1::getLoginInfoId(const std::string& requester, int level,
                                         const std::string& /*id*/) const {
    return getLoginInfo(requester, level);
}
void LoginServiceV1::requestAccessToken(const std::string& /*requester*/, int level,
                                        LaterAnswer<std::string> answer) const {
    const auto deadline = answer.deadline();
    withToken(static_cast<Level>(level), deadline, [answer = std::move(answer)](const auto& response) {
        answer(response.token.getTokenString());
    });
}
void LoginServiceV1::getAccessToken(LaterAnswer<std::string> answer) const {
    requestAccessToken({}, 0, std::move(answer));
}

uuid LoginServiceV1::addOldStatusListener(const Client& client, const ExportedCallback& callback) {
    checkSignature<remote::OldStatusListener>(callback);
    return parts_.statusListeners.add(client, callback.getCallbackID(), {}, Form::Old);
}
uuid LoginServiceV1::addLogoutVetoer(const Client& client, const ExportedCallback& callback) {
    checkSignature<remote::LogoutVetoer>(callback);
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
