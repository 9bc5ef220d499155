#pragma once

#include "module/v2/session/ErrorCheckingMutex.h"

#include <foundation/log/diagnostic_logger.h>
#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>
#include <login/detail/ZelkorLogin.h>
#include <login/detail/ZelkorLoginLNUSupport.h>

#include <memory>
#include <string>

namespace login::spf::session {

/// The login of one user session: joins the in-process login services of the session with the daemon's, and
/// keeps nothing itself.
///
/// Queries and registrations go to the in-process services. What changes the login on both sides is done
/// locally first; a local failure keeps the daemon as it is, a failure of the daemon leaves the local side
/// changed, and both reach the caller. Thread-safe as far as the services are. persistIdentity() and
/// completeLogout() follow one another; nothing else waits.
class ZelkorLogin final : public login::ZelkorLogin,
                          public login::detail::ZelkorLogin,
                          public login::control::LoginVetoer {
public:
    /// Reconciles the session with the daemon: it starts signed in with the identity that the daemon
    /// remembers at level 2 or above, and logged out otherwise. Blocks while the daemon is asked.
    /// @throws what a service throws; there is no session then.
    ZelkorLogin(std::shared_ptr<login::ZelkorLogin> localLogin,
                std::shared_ptr<login::control::LoginVetoer> localVetoer,
                std::shared_ptr<login::detail::ZelkorLogin> localDetail,
                std::shared_ptr<login::detail::ZelkorLoginLNUSupport> lnuSupport,
                std::shared_ptr<login::detail::ZelkorLogin> daemonClient);

    LoginInfo getLoginInfo(std::string requester, LoginInfo::Level level) const override;
    RequestAccessTokenResponse requestAccessTokenAdvanced(std::string requester,
                                                          LoginInfo::Level level) override;
    RequestAccessTokenResponse getAccessTokenAdvanced() override;
    /// @throws std::runtime_error always: retired, as are the vetoers and isLogoutVetoed().
    StatusListenerId addStatusListener(StatusListener listener) override;
    StatusListenerId addStatusListenerV2(StatusListenerV2 listener) override;
    bool removeStatusListener(StatusListenerId id) override;
    LogoutVetoerId addLogoutVetoer(LogoutVetoer vetoer) override;
    bool removeLogoutVetoer(LogoutVetoerId id) override;
    LogoutNegotiatorId addLogoutNegotiator(Negotiator negotiator) override;
    bool removeLogoutNegotiator(LogoutNegotiatorId id) override;
    void impersonate(AccessToken token, LoginInfo info) override;

    // From here on each function has a place of its own in this class's table, in the order of declaration,
    // which is not the interfaces' order. It is fixed: callers come from other binaries.

    LoginInfo getLoginInfoAndLogTELX(std::string requester, LoginInfo::Level level,
                                     const std::string& context) override;
    std::string getEndpoint() override;
    /// The daemon's, or the local one when the daemon has none to tell.
    std::string getRelease() override;
    std::string getSourceId() override;
    detail::LoginData getPersistedLoginData() override;
    /// Locally, and with the daemon when it is to be remembered.
    /// @throws std::system_error (resource_deadlock_would_occur) as completeLogout().
    void persistIdentity(const detail::LoginData& data) override EXCLUDES(state_);
    void clearSettings() override;
    std::string getCurrentSessionId() override;
    /// Locally, then with the daemon.
    /// @throws std::system_error (resource_deadlock_would_occur) when a service calls it back, on the same
    /// thread, while it is being called by this or by persistIdentity().
    void completeLogout() override EXCLUDES(state_);
    bool isLogoutVetoed() override;
    /// Asks the local negotiators, and the daemon when all of those accept. The result is one side's, whole.
    detail::NegotiationsResult negotiateLogout(const NegotiationTerms& terms) override;

    /// Locally; a veto logs the daemon out as well.
    void vetoSignIn(bool veto) override;
    bool shouldVetoSignIn() override;

private:
    const std::shared_ptr<login::ZelkorLogin> localLogin_;
    const std::shared_ptr<login::control::LoginVetoer> localVetoer_;
    const std::shared_ptr<login::detail::ZelkorLogin> localDetail_;
    const std::shared_ptr<login::detail::ZelkorLoginLNUSupport> lnuSupport_;
    const std::shared_ptr<login::detail::ZelkorLogin> daemonClient_;
    ErrorCheckingMutex state_; // held while both sides change, their calls included; guards no member
};

} // namespace login::spf::session
