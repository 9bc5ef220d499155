#pragma once

#include "module/runtime/InvokableTrackingService.h"
#include "contract/calls/ExportedFunction.h"
#include "module/v1/ListenerRegistry.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/servicecomponent/ComponentContext.hpp>
#include <foundation/concurrent/threadpool/Executor.h>
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
        foundation::concurrent::threadpool::Executor& executor =
            foundation::concurrent::threadpool::Executor::instance());
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
    using StatusListeners = v1::ListenerRegistry<StatusListenerId, StatusListener>;
    using StatusListenersV2 = v1::ListenerRegistry<StatusListenerId, StatusListenerV2>;
    using Vetoers = v1::ListenerRegistry<LogoutVetoerId, LogoutVetoer>;
    using Negotiators = v1::ListenerRegistry<LogoutNegotiatorId, Negotiator>;
    using Turn = agent::spf::cppmsclientutils::InvokableTrackerBase::Turn;

    bool isLoggedIn(std::string requester, LoginInfo::Level level) const;

    // Registrations.cpp
    boost::uuids::uuid tellDaemon(ExclusiveLock& lock, const StatusListeners::Item& item,
                                  boost::uuids::uuid& callback);
    boost::uuids::uuid tellDaemon(ExclusiveLock& lock, const StatusListenersV2::Item& item,
                                  boost::uuids::uuid& callback);
    boost::uuids::uuid tellDaemon(ExclusiveLock& lock, const Vetoers::Item& item,
                                  boost::uuids::uuid& callback);
    boost::uuids::uuid tellDaemon(ExclusiveLock& lock, const Negotiators::Item& item,
                                  boost::uuids::uuid& callback);
    agent::spf::core::ExportedCallback
    exported(ExclusiveLock& lock, agent::spf::core::ExportedFunction function, boost::uuids::uuid& callback);
    template <class Id, class Callback>
    Id registerRemotely(ExclusiveLock& lock, v1::ListenerRegistry<Id, Callback>& registry,
                        const typename v1::ListenerRegistry<Id, Callback>::Item& item);
    template <class Id, class Callback>
    Id add(v1::ListenerRegistry<Id, Callback>& registry, Callback callback);
    template <class Id, class Callback>
    bool remove(v1::ListenerRegistry<Id, Callback>& registry, const Id& id);
    template <class Id, class Callback>
    void removeEntry(ExclusiveLock& lock, v1::ListenerRegistry<Id, Callback>& registry, const Id& id);
    template <class Id, class Callback>
    void forgetExport(ExclusiveLock& lock, v1::ListenerRegistry<Id, Callback>& registry, const Id& daemonId);
    template <class Id, class Callback>
    void takeBack(ExclusiveLock& lock, const v1::ListenerRegistry<Id, Callback>& registry,
                  const Id& daemonId);
    template <class Id, class Callback>
    void replay(ExclusiveLock& lock, v1::ListenerRegistry<Id, Callback>& registry, bool foundAgain);
    void replayAll(ExclusiveLock& lock);
    void refreshStatusListeners();

    // InteractiveRequests.cpp
    template <class Call>
    void start(agent::spf::core::ExportedFunction completed, const Call& request);

    foundation::concurrent::threadpool::Executor& executor_;
    // Guarded by the tracker's state lock.
    StatusListeners statusListeners_;
    StatusListenersV2 statusListenersV2_;
    Vetoers vetoers_;
    Negotiators negotiators_;
    std::weak_ptr<agent::spf::core::Invokable> daemon_; // that was told of the registries last
};

} // namespace login
