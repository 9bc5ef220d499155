#pragma once

#include "platform/daemon/LoginState.h"
#include "platform/daemon/Registrations.h"
#include "platform/daemon/RemoteMethod.h"
#include "platform/daemon/StateThread.h"
#include "platform/daemon/Vocabulary.h"
#include "runtime/core/ExportedCallback.h"

#include <chrono>
#include <span>
#include <string>

namespace hshd {

/// Version 2 of the login service as clients call it: one row of methods() for each remote method. Queries
/// are answered on the transport's I/O thread from memory; what changes the state runs on the state thread
/// and is answered when it is saved; a logout negotiation is answered when the negotiators have.
///
/// Everything it is given outlives it and the work that it posts; it holds no state of its own.
class LoginServiceV2 final : public agent::spf::transport::Service {
public:
    static constexpr const char* name = "ZelkorLogin";
    static constexpr int version = 2;
    static constexpr int revision = 1;

    struct Parts {
        LoginState& state;
        StateThread& stateThread;
        Registrations& statusListeners; ///< of functions void(LoginInfo, LoginInfo)
        Registrations& negotiators;     ///< of functions NegotiatorResponse(NegotiationTerms)
        std::chrono::milliseconds negotiationTimeout;
    };

    explicit LoginServiceV2(const Parts& parts);

    static std::span<const RemoteMethod<LoginServiceV2>> methods();

    void onCall(std::unique_ptr<agent::spf::transport::IncomingCall> call) override;
    void onConnected(const Client& client) override;
    void onDisconnected(const Client& client) override;

private:
    using ExportedCallback = agent::spf::core::ExportedCallback;

    login::LoginInfo getLoginInfo(const std::string& requester, int level) const;
    login::LoginInfo getLoginInfoAndLogTELX(const std::string& requester, int level,
                                            const std::string& telemetry) const;
    bool isLoggedIn(const std::string& requester, int level) const;
    login::RequestAccessTokenResponse requestAccessToken(const std::string& requester, int level) const;
    login::RequestAccessTokenResponse getAccessToken() const;
    std::string getEndpoint() const;
    std::string getRelease() const;
    std::string getSourceId() const;
    std::string getCurrentSessionId() const;
    login::detail::LoginData getPersistedLoginData() const;
    bool shouldVetoSignIn() const;

    void impersonate(std::string token, login::LoginInfo info);
    void persistIdentity(const login::detail::LoginData& data);
    void clearSettings();
    void completeLogout();
    void vetoSignIn(bool vetoed);

    boost::uuids::uuid addStatusListener(const Client& client, const ExportedCallback& callback);
    bool removeStatusListener(const Client& client, const boost::uuids::uuid& id);
    boost::uuids::uuid addLogoutNegotiator(const Client& client, std::string negotiatorName,
                                           const ExportedCallback& callback);
    bool removeLogoutNegotiator(const Client& client, const boost::uuids::uuid& id);
    void negotiateLogout(login::NegotiationTerms terms,
                         LaterAnswer<login::detail::NegotiationsResult> answer) const;

    const Parts parts_;
    const Vocabulary<LoginServiceV2> vocabulary_;
};

} // namespace hshd
