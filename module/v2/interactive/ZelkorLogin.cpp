#include "module/v2/interactive/ZelkorLogin.h"

#include "contract/calls/ExportedFunction.h"
#include "contract/calls/PendingOutcome.h"
#include "contract/vocabulary/InteractiveV2.h"

#include <foundation/json.h>
#include <login/utils.h>

#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace login::spf::interactive {

using agent::spf::core::exportFunction;
using agent::spf::core::PendingOutcome;
using agent::spf::core::promiseFulfilling;
using agent::spf::cppmsclientutils::ExclusiveHold;
using agent::spf::cppmsclientutils::InvokableTrackerBase;
using agent::spf::cppmsclientutils::Logger;
using agent::spf::cppmsclientutils::TrackedServiceInfo;
using foundation::log::logging_event_types;

namespace {

Logger& logger() {
    static auto* const instance =
        new Logger("login.spf.interactive.ZelkorLogin"); // see login::spf::ZelkorLogin
    return *instance;
}

/// Once: what the daemon says of the request reaches its handler one time at most.
constexpr unsigned int once = 1;

std::exception_ptr failure(std::string_view method, const std::string& error) {
    logger().log(logging_event_types::error, std::string(method) + " failed: " + error);
    return std::make_exception_ptr(std::runtime_error(error));
}

} // namespace

ZelkorLogin::ZelkorLogin(const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
                         foundation::concurrent::threadpool::Executor& executor)
    : InvokableTrackingService(TrackedServiceInfo("ZelkorLoginInteractive", 2, 2), logger(), executor),
      executor_(executor) {
    if (configuration) {
        tracker().updateServiceProperties(*configuration);
        tracker().updateTimeouts(*configuration);
    }
    tracker().start();
}

ZelkorLogin::~ZelkorLogin() {
    closeTracking();
}

void ZelkorLogin::Modified(
    const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& /*context*/,
    const std::shared_ptr<cppmicroservices::AnyMap>& properties) {
    if (properties)
        tracker().updateTimeouts(*properties);
}

// --- requests

void ZelkorLogin::requestLoginAsync(std::string requester, LoginHandler handler, LoginInfo::Level level,
                                    LoginOptions options) {
    const auto outcome = std::make_shared<PendingOutcome<LoginInfo>>(std::move(handler), executor_);
    std::function<void(LoginInfo, std::string)> completed = [outcome](LoginInfo info,
                                                                      const std::string& error) {
        if (!error.empty())
            return outcome->fail(failure(remote::requestLoginAsync.name, error));
        std::ostringstream text;
        text << "requestLoginAsync successful. LoginInfo is: " << info;
        logger().log(logging_event_types::info, text.str());
        outcome->succeed(std::move(info));
    };
    try {
        const auto json = foundation::json::serialize(login::utils::toJson(options));
        start(exportFunction(std::move(completed)), [&](ExclusiveLock& lock, const auto& callback) {
            call(lock, remote::requestLoginAsync, std::move(requester), callback,
                 login::utils::toNumber(level), json);
        });
    } catch (...) {
        outcome->fail(std::current_exception());
    }
}

void ZelkorLogin::requestLogoutAsync(LogoutHandler handler, LogoutOptions options) {
    const auto outcome = std::make_shared<PendingOutcome<>>(std::move(handler), executor_);
    std::function<void(std::string)> completed = [outcome](const std::string& error) {
        if (error.empty())
            outcome->succeed();
        else
            outcome->fail(failure(remote::requestLogoutWithOptionsAsync.name, error));
    };
    try {
        const auto json = foundation::json::serialize(login::utils::toJson(options));
        start(exportFunction(std::move(completed)), [&](ExclusiveLock& lock, const auto& callback) {
            call(lock, remote::requestLogoutWithOptionsAsync, callback, json);
        });
    } catch (...) {
        outcome->fail(std::current_exception());
    }
}

template <class Call>
void ZelkorLogin::start(agent::spf::core::ExportedFunction completed, const Call& request) {
    const auto keptTracker = keepTracker(); // the outcome may come, and end this client, before the reply
    ExclusiveHold hold(keptTracker->state());
    const auto callback = keptTracker->exportCallback(hold.lock(), std::move(completed), once);
    try {
        request(hold.lock(), callback);
    } catch (...) {
        // The daemon did not take it, so it must not call it.
        keptTracker->removeCallback(hold.lock(), callback.getCallbackID());
        throw;
    }
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
    ExclusiveHold hold(tracker().state());
    try {
        call(hold.lock(), remote::abort);
    } catch (...) {
        // Logged where it failed; what is pending ends here in any case.
    }
    tracker().removeAllCallbacks(hold.lock());
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
