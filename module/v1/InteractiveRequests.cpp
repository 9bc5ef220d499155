// Sign-ins and sign-outs that the user takes part in, of which version 1 tells the end by a callback.

#include "contract/calls/PendingOutcome.h"
#include "module/v1/Logger.h"
#include "contract/vocabulary/LoginV1.h"
#include "module/v1/ZelkorLoginImpl.h"

#include <foundation/json.h>
#include <login/utils.h>

#include <sstream>
#include <stdexcept>
#include <utility>

namespace login {

namespace remote = v1::remote;
using agent::spf::core::exportFunction;
using agent::spf::core::PendingOutcome;
using agent::spf::core::promiseFulfilling;
using agent::spf::cppmsclientutils::ExclusiveHold;
using foundation::log::logging_event_types;

namespace {

constexpr unsigned int once = 1; // the daemon calls a completion one time at most

} // namespace

/// Exports under the exclusive lock, calls under the shared one.
template <class Call>
void ZelkorLoginImpl::start(agent::spf::core::ExportedFunction completed, const Call& request) {
    const auto keptTracker = keepTracker(); // the outcome may come, and end this client, before the reply
    const auto callback = [&] {
        ExclusiveHold hold(keptTracker->state());
        return keptTracker->exportCallback(hold.lock(), std::move(completed), once);
    }();
    try {
        request(callback);
    } catch (...) {
        // The daemon did not take it, so it must not call it.
        ExclusiveHold hold(keptTracker->state());
        keptTracker->removeCallback(hold.lock(), callback.getCallbackID());
        throw;
    }
}

void ZelkorLoginImpl::requestLoginAsync(std::string requester, LoginHandler handler, LoginInfo::Level level,
                                        interactive::LoginOptions options) {
    const auto outcome = std::make_shared<PendingOutcome<LoginInfo>>(std::move(handler), executor_);
    std::function<void(LoginInfo, std::string)> completed = [outcome](LoginInfo info,
                                                                      const std::string& error) {
        if (!error.empty()) {
            v1::logger().log(logging_event_types::severe, "requestLoginAsync failed: " + error);
            outcome->fail(std::make_exception_ptr(std::runtime_error(error)));
            return;
        }
        std::ostringstream text;
        text << "requestLoginAsync successful. LoginInfo is: " << info;
        v1::logger().log(logging_event_types::info, text.str());
        outcome->succeed(std::move(info));
    };
    try {
        const auto json = foundation::json::serialize(utils::toJson(options));
        start(exportFunction(std::move(completed)), [&](const auto& callback) {
            call(remote::requestLoginAsync, std::move(requester), callback, utils::toNumber(level), json);
        });
    } catch (...) {
        outcome->fail(std::current_exception());
    }
}

void ZelkorLoginImpl::requestLogoutAsync(LogoutHandler handler, interactive::LogoutOptions options) {
    const auto outcome = std::make_shared<PendingOutcome<>>(std::move(handler), executor_);
    std::function<void(std::string)> completed = [outcome](const std::string& error) {
        if (error.empty()) {
            outcome->succeed();
            return;
        }
        v1::logger().log(logging_event_types::severe, "requestLogoutWithOptionsAsync failed: " + error);
        outcome->fail(std::make_exception_ptr(std::runtime_error(error)));
    };
    try {
        const auto json = foundation::json::serialize(utils::toJson(options));
        start(exportFunction(std::move(completed)),
              [&](const auto& callback) { call(remote::requestLogoutWithOptionsAsync, callback, json); });
    } catch (...) {
        outcome->fail(std::current_exception());
    }
}

std::future<LoginInfo> ZelkorLoginImpl::requestLoginAsync(std::string requester, LoginInfo::Level level,
                                                          interactive::LoginOptions options) {
    std::future<LoginInfo> future;
    requestLoginAsync(std::move(requester), LoginHandler(promiseFulfilling<LoginInfo, LoginInfo>(future)),
                      level, std::move(options));
    return future;
}

LoginInfo ZelkorLoginImpl::requestLogin(std::string requester, LoginInfo::Level level,
                                        interactive::LoginOptions options) {
    return requestLoginAsync(std::move(requester), level, std::move(options)).get();
}

std::future<void> ZelkorLoginImpl::requestLogoutAsync(interactive::LogoutOptions options) {
    std::future<void> future;
    requestLogoutAsync(LogoutHandler(promiseFulfilling<void>(future)), options);
    return future;
}

void ZelkorLoginImpl::requestLogout(interactive::LogoutOptions options) {
    requestLogoutAsync(options).get();
}

bool ZelkorLoginImpl::supportsWebRedirect() {
    return attempt(remote::supportsWebRedirect).value_or(true);
}

LoginInfo ZelkorLoginImpl::getLoginInfo(const std::string& requester, LoginInfo::Level level,
                                        const std::string& id) {
    return attempt(remote::getLoginInfoId, requester, utils::toNumber(level), id).value_or(LoginInfo());
}

} // namespace login
