#pragma once

#include "module/runtime/InvokableTrackingService.h"
#include "module/runtime/RemoteRegistrations.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/servicecomponent/ComponentContext.hpp>
#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>
#include <login/detail/ZelkorLogin.h>
#include <login/interactive/ZelkorLogin.h>
#include <zelkorconnector/serviceprocess/HasDesktopServices.h>

#include <memory>
#include <string>

namespace login {

/// Serves all login interfaces from a daemon that speaks version 1. Keeps no login state.
///
/// Queries that the daemon cannot answer in time return their empty value; operations that change the
/// daemon's state throw. What version 1 does not have does nothing, but for vetoSignIn(), which throws.
/// Thread-safe. Every call may block: for the service timeout while there is no daemon, then for the call
/// timeout.
class ZelkorLoginImpl final
    : public ZelkorLogin,
      public detail::ZelkorLogin,
      public interactive::ZelkorLogin,
      public control::LoginVetoer,
      public agent::spf::cppmsclientutils::InvokableTrackingService<agent::spf::core::Invokable> {
public:
    /// @param configuration the component's properties; may be null. Reads "timeouts::call" and
    /// "timeouts::service".
    /// @param desktopServices not used; it makes the component wait for them.
    explicit ZelkorLoginImpl(
        const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
        std::shared_ptr<zelkorconnector::serviceprocess::HasDesktopServices> desktopServices = nullptr,
        agent::spf::cppmsclientutils::Executors executors = {});
    ~ZelkorLoginImpl() override;

    LoginInfo getLoginInfo(std::string requester, LoginInfo::Level level) const override;
    boost::optional<AccessToken> requestAccessToken(std::string requester, LoginInfo::Level level) override;
    RequestAccessTokenResponse requestAccessTokenAdvanced(std::string requester,
                                                          LoginInfo::Level level) override;
    AccessToken getAccessToken() override;
    RequestAccessTokenResponse getAccessTokenAdvanced() override;
    StatusListenerId addStatusListener(StatusListener listener) override;
    StatusListenerId addStatusListenerV2(StatusListenerV2 listener) override;
    bool removeStatusListener(StatusListenerId id) override;
    LogoutVetoerId addLogoutVetoer(LogoutVetoer vetoer) override;
    bool removeLogoutVetoer(LogoutVetoerId id) override;
    LogoutNegotiatorId addLogoutNegotiator(Negotiator negotiator) override;
    bool removeLogoutNegotiator(LogoutNegotiatorId id) override;
    void impersonate(AccessToken token, LoginInfo info) override;

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

    LoginInfo requestLogin(std::string requester, LoginInfo::Level level,
                           interactive::LoginOptions options) override;
    std::future<LoginInfo> requestLoginAsync(std::string requester, LoginInfo::Level level,
                                             interactive::LoginOptions options) override;
    void requestLoginAsync(std::string requester, LoginHandler handler, LoginInfo::Level level,
                           interactive::LoginOptions options) override;
    void requestLogout(interactive::LogoutOptions options) override;
    std::future<void> requestLogoutAsync(interactive::LogoutOptions options) override;
    void requestLogoutAsync(LogoutHandler handler, interactive::LogoutOptions options) override;
    LoginInfo getLoginInfo(const std::string& requester, LoginInfo::Level level,
                           const std::string& id) override;
    /// Do nothing: version 1 has none of it.
    void abort() override {}
    void requestLoginAsyncInternal(std::string, LoginHandler, LoginInfo::Level, interactive::LoginOptions,
                                   interactive::LoginPromptOptions) override {}
    void requestLogoutAsyncInternal(LogoutHandler, interactive::LogoutOptions) override {}
    bool supportsWebRedirect() override;
    void logTELXData(const std::string&, const std::string&) override {}

    /// @throws std::runtime_error always.
    void vetoSignIn(bool veto) override;
    bool shouldVetoSignIn() override { return false; }

    /// The framework's word that the component's configuration has changed: the timeouts are read again,
    /// the other properties stay as they were at construction.
    void Modified(const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& context,
                  const std::shared_ptr<cppmicroservices::AnyMap>& properties);

private:
    template <class Id, class Value>
    using Registrations = agent::spf::cppmsclientutils::RemoteRegistrations<Id, Value>;

    bool isLoggedIn(std::string requester, LoginInfo::Level level) const;

    Registrations<StatusListenerId, StatusListener> statusListeners_;
    Registrations<StatusListenerId, StatusListenerV2> statusListenersV2_;
    Registrations<LogoutVetoerId, LogoutVetoer> vetoers_;
    Registrations<LogoutNegotiatorId, Negotiator> negotiators_;
};

} // namespace login
