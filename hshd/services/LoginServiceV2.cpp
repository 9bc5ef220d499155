#include "hshd/services/LoginServiceV2.h"

#include "contract/vocabulary/LoginV2.h"

namespace hshd {

std::span<const ServedMethod> LoginServiceV2::methods() {
    namespace remote = login::spf::remote;
    using S = LoginServiceV2;
    using Methods = MethodsOf<S>;
    static constexpr ServedMethod table[] = {
        Methods::atOnce<&S::getLoginInfo>(remote::getLoginInfo),
        Methods::atOnce<&S::getLoginInfoAndLogTELX>(remote::getLoginInfoAndLogTELX),
        Methods::atOnce<&S::isLoggedIn>(remote::isLoggedIn),
        Methods::atOnce<&S::accessTokenFor>(remote::requestAccessToken),
        Methods::atOnce<&S::accessToken>(remote::getAccessToken),
        Methods::atOnce<&S::getEndpoint>(remote::getEndpoint),
        Methods::atOnce<&S::getRelease>(remote::getRelease),
        Methods::atOnce<&S::getSourceId>(remote::getSourceId),
        Methods::atOnce<&S::getCurrentSessionId>(remote::getCurrentSessionId),
        Methods::atOnce<&S::persistedLoginData>(remote::getPersistedLoginData),
        Methods::atOnce<&S::shouldVetoSignIn>(remote::shouldVetoSignIn),

        Methods::whenSaved<&S::impersonate>(remote::impersonate),
        Methods::whenSaved<&S::persistIdentity>(remote::persistIdentity),
        Methods::whenSaved<&S::clearSettings>(remote::clearSettings),
        Methods::whenSaved<&S::completeLogout>(remote::completeLogout),
        Methods::whenSaved<&S::vetoSignIn>(remote::vetoSignIn),

        Methods::atOnce<&S::addStatusListener>(remote::addStatusListener),
        Methods::atOnce<&S::removeStatusListener>(remote::removeStatusListener),
        Methods::atOnce<&S::addLogoutNegotiator>(remote::addLogoutNegotiator),
        Methods::atOnce<&S::removeLogoutNegotiator>(remote::removeLogoutNegotiator),
        Methods::atOnce<&S::negotiateLogout>(remote::negotiateLogout),
    };
    return table;
}

LoginServiceV2::LoginServiceV2(const Parts& parts)
    : Dispatch(nameOf<LoginServiceV2>(), methods(), parts.stateThread,
               {&parts.statusListeners, &parts.negotiators}),
      LoginOperations(parts) {}

bool LoginServiceV2::shouldVetoSignIn() const {
    return parts_.state.signInVetoed();
}
void LoginServiceV2::vetoSignIn(bool vetoed) {
    parts_.state.vetoSignIn(vetoed);
}

} // namespace hshd
