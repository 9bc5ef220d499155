#pragma once

#include "module/runtime/InvokableTrackingService.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/servicecomponent/ComponentContext.hpp>
#include <login/interactive/ZelkorLogin.h>

#include <memory>
#include <string>

namespace login::spf::interactive {

/// Signing in and out with the user's part in it, which the daemon sees to: starts a request there and hands
/// its outcome on.
///
/// Every request has exactly one outcome, whatever happens to daemon, request and client: the daemon's, a
/// failure of starting it, or a DisconnectedError when it was withdrawn. Handlers run on the executor, except
/// for failures of starting, which run on the requesting thread; they may call, and destroy, this client.
/// Thread-safe. A request blocks until the daemon has taken it, the forms without a handler until the
/// outcome.
class ZelkorLogin
    : public login::interactive::ZelkorLogin,
      public agent::spf::cppmsclientutils::InvokableTrackingService<agent::spf::core::Invokable> {
public:
    using LoginOptions = login::interactive::LoginOptions;
    using LogoutOptions = login::interactive::LogoutOptions;
    using LoginPromptOptions = login::interactive::LoginPromptOptions;

    /// @param configuration the component's properties; may be null. Reads "timeouts::call" and
    /// "timeouts::service".
    explicit ZelkorLogin(const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
                         agent::spf::cppmsclientutils::Executors executors = {});
    ~ZelkorLogin() override;

    LoginInfo requestLogin(std::string requester, LoginInfo::Level level, LoginOptions options) override;
    std::future<LoginInfo> requestLoginAsync(std::string requester, LoginInfo::Level level,
                                             LoginOptions options) override;
    void requestLoginAsync(std::string requester, LoginHandler handler, LoginInfo::Level level,
                           LoginOptions options) override;
    void requestLogout(LogoutOptions options) override;
    std::future<void> requestLogoutAsync(LogoutOptions options) override;
    void requestLogoutAsync(LogoutHandler handler, LogoutOptions options) override;
    /// Has the daemon cancel what is pending, and ends it here.
    void abort() override;
    /// True also when the daemon cannot be asked.
    bool supportsWebRedirect() override;

    /// @throws std::runtime_error always: not for a client of the daemon, as are the three after it.
    void requestLoginAsyncInternal(std::string requester, LoginHandler handler, LoginInfo::Level level,
                                   LoginOptions options, LoginPromptOptions prompt) override;
    LoginInfo getLoginInfo(const std::string& requester, LoginInfo::Level level,
                           const std::string& id) override;
    void requestLogoutAsyncInternal(LogoutHandler handler, LogoutOptions options) override;
    void logTELXData(const std::string& requester, const std::string& data) override;

    /// @see login::spf::ZelkorLogin::Modified
    void Modified(const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& context,
                  const std::shared_ptr<cppmicroservices::AnyMap>& properties);
};

} // namespace login::spf::interactive
