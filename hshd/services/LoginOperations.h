#pragma once

#include "contract/calls/ExportedCallback.h"
#include "hshd/identity/IdentityProvider.h"
#include "hshd/services/Registrations.h"
#include "hshd/services/ServedMethod.h"
#include "hshd/state/LoginState.h"
#include "hshd/state/StateThread.h"

#include <chrono>
#include <string>
#include <utility>

namespace hshd {

/// What every version of the login service answers alike, whatever it calls it. Queries are answered from
/// memory; what changes the state throws unless it is saved; a negotiation is answered when the negotiators
/// have.
///
/// Everything it is given outlives it and the work that it posts; it holds no state of its own.
class LoginOperations {
public:
    struct Parts {
        LoginState& state;
        StateThread& stateThread;
        Registrations& statusListeners;
        Registrations& negotiators;
        IdentityProvider& provider;
        std::chrono::milliseconds negotiationTimeout;
    };

protected:
    using ExportedCallback = agent::spf::core::ExportedCallback;
    using Level = LoginState::Level;

    explicit LoginOperations(const Parts& parts) : parts_(parts) {}
    ~LoginOperations() = default;

    login::LoginInfo getLoginInfo(const std::string& requester, int level) const;
    login::LoginInfo getLoginInfoAndLogTELX(const std::string& requester, int level,
                                            const std::string& telemetry) const;
    bool isLoggedIn(const std::string& requester, int level) const;
    using TokenAnswer = LaterAnswer<login::RequestAccessTokenResponse>;
    void accessTokenFor(const std::string& requester, int level, TokenAnswer answer) const;
    void accessToken(TokenAnswer answer) const;
    /// From memory while the token lasts, else when the provider was asked for another, before the deadline.
    /// @param answer takes the response; a plain value
    template <class Answer>
    void withToken(Level level, std::chrono::steady_clock::time_point deadline, Answer answer) const {
        auto present = parts_.state.accessToken(level);
        if (present.status != static_cast<std::int32_t>(TokenStatus::Ended)) {
            answer(std::move(present));
            return;
        }
        const auto now = std::chrono::steady_clock::now();
        parts_.provider.renewToken(
            now + (deadline - now) * 9 / 10,
            [&state = parts_.state, level, answer = std::move(answer)] { answer(state.accessToken(level)); });
    }
    std::string getEndpoint() const;
    std::string getRelease() const;
    std::string getSourceId() const;
    std::string getCurrentSessionId() const;
    login::detail::LoginData persistedLoginData() const;

    void impersonate(std::string token, login::LoginInfo info);
    void persistIdentity(const login::detail::LoginData& data);
    void clearSettings();
    void completeLogout();

    boost::uuids::uuid addStatusListener(const Client& client, const ExportedCallback& callback);
    bool removeStatusListener(const Client& client, const boost::uuids::uuid& id);
    boost::uuids::uuid addLogoutNegotiator(const Client& client, std::string negotiatorName,
                                           const ExportedCallback& callback);
    bool removeLogoutNegotiator(const Client& client, const boost::uuids::uuid& id);
    void negotiateLogout(login::NegotiationTerms terms,
                         LaterAnswer<login::detail::NegotiationsResult> answer) const;

    const Parts parts_;
};

} // namespace hshd
