#pragma once

#include "module/runtime/InvokableTrackingService.h"
#include "module/runtime/RemoteRegistrations.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/servicecomponent/ComponentContext.hpp>
#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>
#include <login/detail/ZelkorLogin.h>
#include <zelkorconnector/serviceprocess/HasDesktopServices.h>

#include <memory>
#include <string>

namespace login::spf {

/// Stands in, inside a client process, for the login service in the daemon: every operation is one remote
/// call. Keeps no login state.
///
/// Queries that the daemon cannot answer in time return their empty value; operations that change the
/// daemon's state throw std::runtime_error or one of agent::spf::core::InvocationError, except vetoSignIn(),
/// whose failure is dropped. Thread-safe. Every call may block: for the service timeout while there is no
/// daemon, then for the call timeout.
class ZelkorLogin final
    : public login::ZelkorLogin,
      public login::detail::ZelkorLogin,
      public login::control::LoginVetoer,
      public agent::spf::cppmsclientutils::InvokableTrackingService<agent::spf::core::Invokable> {
public:
    /// @param configuration the component's properties; may be null. Reads "timeouts::call" and
    /// "timeouts::service".
    /// @param desktopServices not used; it makes the component wait for them.
    explicit ZelkorLogin(
        const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
        std::shared_ptr<zelkorconnector::serviceprocess::HasDesktopServices> desktopServices = nullptr,
        agent::spf::cppmsclientutils::Executors executors = {});
    ~ZelkorLogin() override;

    LoginInfo getLoginInfo(std::string requester, LoginInfo::Level level) const override;
    RequestAccessTokenResponse requestAccessTokenAdvanced(std::string requester,
                                                          LoginInfo::Level level) override;
    RequestAccessTokenResponse getAccessTokenAdvanced() override;
    StatusListenerId addStatusListener(StatusListener listener) override;
    StatusListenerId addStatusListenerV2(StatusListenerV2 listener) override;
    bool removeStatusListener(StatusListenerId id) override;
    LogoutVetoerId addLogoutVetoer(LogoutVetoer vetoer) override;
    bool removeLogoutVetoer(LogoutVetoerId id) override;
    LogoutNegotiatorId addLogoutNegotiator(Negotiator negotiator) override;
    bool removeLogoutNegotiator(LogoutNegotiatorId id) override;
    void impersonate(AccessToken token, LoginInfo info) override;
    /// Asks the daemon, where the interface's own form goes through getLoginInfo().
    bool isLoggedIn(std::string requester, LoginInfo::Level level) const;

    LoginInfo getLoginInfoAndLogTELX(std::string requester, LoginInfo::Level level,
                                     const std::string& context) override;
    std::string getEndpoint() override;
    std::string getRelease() override;
    std::string getSourceId() override;
    detail::LoginData getPersistedLoginData() override;
    void persistIdentity(const detail::LoginData& data) override;
    void clearSettings() override;
    std::string getCurrentSessionId() override;
    void completeLogout() override;
    bool isLogoutVetoed() override;
    detail::NegotiationsResult negotiateLogout(const NegotiationTerms& terms) override;

    void vetoSignIn(bool veto) override;
    bool shouldVetoSignIn() override;

    /// The framework's word that the component's configuration has changed: the timeouts are read again,
    /// the other properties stay as they were at construction.
    void Modified(const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& context,
                  const std::shared_ptr<cppmicroservices::AnyMap>& properties);

private:
    agent::spf::cppmsclientutils::RemoteRegistrations<StatusListenerId, StatusListenerV2> statusListeners_;
    agent::spf::cppmsclientutils::RemoteRegistrations<LogoutNegotiatorId, Negotiator> negotiators_;
};

} // namespace login::spf
