#pragma once

#include "contract/records/AccessToken.h"
#include "contract/records/LoginInfo.h"
#include "contract/records/Negotiation.h"
#include "contract/records/NotifierId.h"

#include <boost/optional/optional.hpp>

#include <functional>
#include <string>

namespace login {

/// Who is logged in, tokens, and being told of changes. Thread-safe; calls may block while a daemon is asked.
/// The order of the virtual operations is fixed: implementations come from other binaries.
class ZelkorLogin {
public:
    template <class T>
    using NotifierId = login::NotifierId<T>;

    using StatusListener = std::function<void(boost::optional<LoginInfo>)>;
    /// Told the identity that now holds; what the second record stands for is the notifying side's to say.
    using StatusListenerV2 = std::function<void(const LoginInfo&, const LoginInfo&)>;
    using LogoutVetoer = std::function<bool()>;

    using StatusListenerId = NotifierId<StatusListener>;
    using LogoutVetoerId = NotifierId<LogoutVetoer>;
    using LogoutNegotiatorId = NotifierId<Negotiator>;

    /// The identity, for a caller that needs it at `level`; the empty record when nobody can tell.
    virtual LoginInfo getLoginInfo(std::string requester, LoginInfo::Level level) const = 0;

    /// The token of requestAccessTokenAdvanced(), or nothing when that token is not usable.
    virtual boost::optional<AccessToken> requestAccessToken(std::string requester, LoginInfo::Level level);
    virtual RequestAccessTokenResponse requestAccessTokenAdvanced(std::string requester,
                                                                  LoginInfo::Level level) = 0;
    /// The token of getAccessTokenAdvanced().
    virtual AccessToken getAccessToken();
    virtual RequestAccessTokenResponse getAccessTokenAdvanced() = 0;

    /// Registrations: the function is called on a thread of the service's choosing until the id is removed.
    /// Removal answers whether the id was registered.
    virtual StatusListenerId addStatusListener(StatusListener listener) = 0;
    virtual StatusListenerId addStatusListenerV2(StatusListenerV2 listener) = 0;
    virtual bool removeStatusListener(StatusListenerId id) = 0;
    /// The vetoer answers true to veto a logout.
    virtual LogoutVetoerId addLogoutVetoer(LogoutVetoer vetoer) = 0;
    virtual bool removeLogoutVetoer(LogoutVetoerId id) = 0;
    virtual LogoutNegotiatorId addLogoutNegotiator(Negotiator negotiator) = 0;
    virtual bool removeLogoutNegotiator(LogoutNegotiatorId id) = 0;

    /// Makes `info` the signed-in identity, vouched for by `token`.
    virtual void impersonate(AccessToken token, LoginInfo info) = 0;

    virtual ~ZelkorLogin() = default;

    /// Whether somebody is logged in at `level` or above, asked through getLoginInfo().
    bool isLoggedIn(std::string requester, LoginInfo::Level level) const;
};

} // namespace login
