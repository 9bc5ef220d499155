#include "hshd/services/LoginOperations.h"

#include "contract/vocabulary/LoginV2.h"
#include "hshd/Log.h"
#include "hshd/Release.h"
#include "hshd/services/CallbackSignature.h"
#include "hshd/services/Negotiation.h"

#include <utility>

namespace hshd {

using boost::uuids::uuid;
using login::LoginInfo;
using login::NegotiationTerms;
using login::RequestAccessTokenResponse;
using login::detail::LoginData;
using login::detail::NegotiationsResult;

// --- queries

LoginInfo LoginOperations::getLoginInfo(const std::string& /*requester*/, int level) const {
    return parts_.state.loginInfo(static_cast<Level>(level));
}

LoginInfo LoginOperations::getLoginInfoAndLogTELX(const std::string& requester, int level,
                                                  const std::string& telemetry) const {
    constexpr std::size_t longest = 1024;
    logger().log(Severity::info, "TELX from `" + requester.substr(0, longest) + "` asking for level " +
                                     std::to_string(level) + ": " + telemetry.substr(0, longest));
    return getLoginInfo(requester, level);
}

bool LoginOperations::isLoggedIn(const std::string& /*requester*/, int level) const {
    return parts_.state.isLoggedIn(static_cast<Level>(level));
}

void LoginOperations::accessTokenFor(const std::string& requester, int level, TokenAnswer answer) const {
    const auto deadline = answer.deadline();
    withToken(static_cast<Level>(level), deadline,
              [requester, level, answer = std::move(answer)](RequestAccessTokenResponse response) {
                  if (logger().enabled(Severity::debug))
                      logger().log(Severity::debug, "Access token for `" + requester.substr(0, 256) +
                                                        "` at level " + std::to_string(level) + ": status " +
                                                        std::to_string(response.status));
                  answer(std::move(response));
              });
}

void LoginOperations::accessToken(TokenAnswer answer) const {
    const auto deadline = answer.deadline();
    withToken(Level::None, deadline, std::move(answer));
}
std::string LoginOperations::getEndpoint() const {
    return parts_.state.endpoint();
}
std::string LoginOperations::getRelease() const {
    return release();
}
std::string LoginOperations::getSourceId() const {
    return parts_.state.sourceId();
}
std::string LoginOperations::getCurrentSessionId() const {
    return parts_.state.sessionId();
}
LoginData LoginOperations::persistedLoginData() const {
    return parts_.state.persistedLoginData();
}

// --- changes

void LoginOperations::impersonate(std::string token, LoginInfo info) {
    parts_.state.impersonate(login::AccessToken(std::move(token)), std::move(info));
}
void LoginOperations::persistIdentity(const LoginData& data) {
    parts_.state.persistIdentity(data);
}
void LoginOperations::clearSettings() {
    parts_.state.clearSettings();
}
void LoginOperations::completeLogout() {
    parts_.state.completeLogout();
}

// --- registrations and negotiation

uuid LoginOperations::addStatusListener(const Client& client, const ExportedCallback& callback) {
    checkSignature<login::spf::remote::StatusListener>(callback);
    return parts_.statusListeners.add(client, callback.getCallbackID());
}
bool LoginOperations::removeStatusListener(const Client& client, const uuid& id) {
    return parts_.statusListeners.remove(id, *client);
}
uuid LoginOperations::addLogoutNegotiator(const Client& client, std::string negotiatorName,
                                          const ExportedCallback& callback) {
    checkSignature<login::spf::remote::LogoutNegotiator>(callback);
    return parts_.negotiators.add(client, callback.getCallbackID(), std::move(negotiatorName));
}
bool LoginOperations::removeLogoutNegotiator(const Client& client, const uuid& id) {
    return parts_.negotiators.remove(id, *client);
}
void LoginOperations::negotiateLogout(NegotiationTerms terms, LaterAnswer<NegotiationsResult> answer) const {
    const auto limit = negotiationLimit(parts_.negotiationTimeout, answer.deadline());
    Negotiation::start(parts_.negotiators, terms, limit, std::move(answer));
}

} // namespace hshd
