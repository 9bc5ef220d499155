#include "module/v2/interactive/ZelkorLogin.h"

#include "contract/vocabulary/InteractiveV2.h"
#include "module/runtime/RemoteRequest.h"

#include <foundation/json.h>
#include <login/utils.h>

#include <sstream>
#include <stdexcept>
#include <utility>

namespace login::spf::interactive {

using namespace agent::spf::cppmsclientutils;
using foundation::json::serialize;
using foundation::log::logging_event_types;
using login::utils::toJson;

namespace {

Logger& logger() {
    static auto* const instance =
        new Logger("login.spf.interactive.ZelkorLogin"); // see login::spf::ZelkorLogin
    return *instance;
}

const RequestKind<LoginInfo> loginRequest{.method = remote::requestLoginAsync.name,
                                          .failureLevel = logging_event_types::error,
                                          .exclusive = true,
                                          .success = [](const LoginInfo& info) {
                                              std::ostringstream text;
                                              text << "requestLoginAsync successful. LoginInfo is: " << info;
                                              return text.str();
                                          }};
const RequestKind<> logoutRequest{.method = remote::requestLogoutWithOptionsAsync.name,
                                  .failureLevel = logging_event_types::error,
                                  .exclusive = true};

} // namespace

ZelkorLogin::ZelkorLogin(const std::shared_ptr<cppmicroservices::AnyMap>& configuration, Executors executors)
    : InvokableTrackingService(TrackedServiceInfo("ZelkorLoginInteractive", 2, 2), logger(), executors) {
    if (configuration) {
        tracker()->updateServiceProperties(*configuration);
        tracker()->updateTimeouts(*configuration);
    }
    tracker()->start();
}

ZelkorLogin::~ZelkorLogin() {
    closeTracking();
}

void ZelkorLogin::Modified(
    const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& /*context*/,
    const std::shared_ptr<cppmicroservices::AnyMap>& properties) {
    if (properties)
        tracker()->updateTimeouts(*properties);
}

// --- requests

void ZelkorLogin::requestLoginAsync(std::string requester, LoginHandler handler, LoginInfo::Level level,
                                    LoginOptions options) {
    startRequest(tracker(), loginRequest, std::move(handler), [&](const auto& call, const auto& callback) {
        call(remote::requestLoginAsync, std::move(requester), callback, login::utils::toNumber(level),
             serialize(toJson(options)));
    });
}

void ZelkorLogin::requestLogoutAsync(LogoutHandler handler, LogoutOptions options) {
    startRequest(tracker(), logoutRequest, std::move(handler), [&](const auto& call, const auto& callback) {
        call(remote::requestLogoutWithOptionsAsync, callback, serialize(toJson(options)));
    });
}

std::future<LoginInfo> ZelkorLogin::requestLoginAsync(std::string requester, LoginInfo::Level level,
                                                      LoginOptions options) {
    std::future<LoginInfo> future;
    requestLoginAsync(std::move(requester), LoginHandler(promiseFulfilling<LoginInfo, LoginInfo>(future)),
                      level, std::move(options));
    return future;
}

LoginInfo ZelkorLogin::requestLogin(std::string requester, LoginInfo::Level level, LoginOptions options) {
    return requestLoginAsync(std::move(requester), level, std::move(options)).get();
}

std::future<void> ZelkorLogin::requestLogoutAsync(LogoutOptions options) {
    std::future<void> future;
    requestLogoutAsync(LogoutHandler(promiseFulfilling<void>(future)), std::move(options));
    return future;
}

void ZelkorLogin::requestLogout(LogoutOptions options) {
    requestLogoutAsync(std::move(options)).get();
}

void ZelkorLogin::abort() {
    const auto kept = tracker(); // an outcome may end this client
    kept->exclusivelyOrShared([&](auto& access) {
        try {
            RemoteCaller(*kept, access)(remote::abort);
        } catch (...) {
            // Logged where it failed; what is pending ends here in any case.
        }
        kept->removeAllCallbacks(access);
    });
}

bool ZelkorLogin::supportsWebRedirect() {
    return attempt(remote::supportsWebRedirect).value_or(true);
}

// --- not for a client of the daemon

void ZelkorLogin::requestLoginAsyncInternal(std::string /*requester*/, LoginHandler /*handler*/,
                                            LoginInfo::Level /*level*/, LoginOptions /*options*/,
                                            LoginPromptOptions /*prompt*/) {
    throw std::runtime_error("`requestLoginAsyncInternal` shouldn't be used in the SPF client.");
}
LoginInfo ZelkorLogin::getLoginInfo(const std::string& /*requester*/, LoginInfo::Level /*level*/,
                                    const std::string& /*id*/) {
    throw std::runtime_error("`getLoginInfo` shouldn't be used in the interactive SPF client.");
}
void ZelkorLogin::requestLogoutAsyncInternal(LogoutHandler /*handler*/, LogoutOptions /*options*/) {
    throw std::runtime_error("`requestLogoutAsyncInternal` shouldn't be used in the SPF client.");
}
void ZelkorLogin::logTELXData(const std::string& /*requester*/, const std::string& /*data*/) {
    throw std::runtime_error("`logTELXData` shouldn't be used in the SPF client.");
}

} // namespace login::spf::interactive
