#pragma once

#include "contract/records/InteractiveOptions.h"
#include "contract/records/LoginInfo.h"

#include <exception>
#include <functional>
#include <future>
#include <string>

namespace login::interactive {

/// Signing in and out with the user's part in it. A request has exactly one outcome; handlers are called on a
/// thread of the service's choosing. The order of the virtual operations is fixed.
class ZelkorLogin {
public:
    /// An empty pointer is success; otherwise the record is the empty identity.
    using LoginHandler = std::function<void(LoginInfo, std::exception_ptr)>;
    using LogoutHandler = std::function<void(std::exception_ptr)>;

    virtual LoginInfo requestLogin(std::string requester, LoginInfo::Level level, LoginOptions options) = 0;
    virtual std::future<LoginInfo> requestLoginAsync(std::string requester, LoginInfo::Level level,
                                                     LoginOptions options) = 0;
    virtual void requestLoginAsync(std::string requester, LoginHandler handler, LoginInfo::Level level,
                                   LoginOptions options) = 0;
    virtual void requestLogout(LogoutOptions options) = 0;
    virtual std::future<void> requestLogoutAsync(LogoutOptions options) = 0;
    virtual void requestLogoutAsync(LogoutHandler handler, LogoutOptions options) = 0;
    /// Cancels what is pending. Reports no failure.
    virtual void abort() = 0;
    virtual bool supportsWebRedirect() = 0;

    virtual ~ZelkorLogin();

    virtual void requestLoginAsyncInternal(std::string requester, LoginHandler handler,
                                           LoginInfo::Level level, LoginOptions options,
                                           LoginPromptOptions prompt) = 0;
    virtual LoginInfo getLoginInfo(const std::string& requester, LoginInfo::Level level,
                                   const std::string& id) = 0;
    virtual void requestLogoutAsyncInternal(LogoutHandler handler, LogoutOptions options) = 0;
    virtual void logTELXData(const std::string& requester, const std::string& data) = 0;

protected:
    ZelkorLogin();
};

} // namespace login::interactive
