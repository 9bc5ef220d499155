#pragma once

#include "platform/daemon/LoginServiceV2.h"
#include "platform/daemon/interactive/InteractiveService.h"

#include <span>
#include <string>

namespace hshd {

/// Version 1 of the login service, for clients that have not moved on: the same state, registrations and
/// requests under its own names and forms. @see LoginServiceV2
class LoginServiceV1 final : public agent::spf::transport::Service {
public:
    static constexpr const char* name = "ZelkorLogin";
    static constexpr int version = 1;
    static constexpr int revision = 7;

    LoginServiceV1(const LoginServiceV2::Parts& parts, InteractiveService& interactive);

    static std::span<const RemoteMethod<LoginServiceV1>> methods();

    void onCall(std::unique_ptr<agent::spf::transport::IncomingCall> call) override;
    void onDisconnected(const Client& client) override;

private:
    using ExportedCallback = agent::spf::core::ExportedCallback;

    login::LoginInfo getLoginInfo(const std::string& requester, int level) const;
    login::LoginInfo getLoginInfoId(const std::string& requester, int level, const std::string& id) const;
    login::LoginInfo getLoginInfoAndLogTELX(const std::string& requester, int level,
                                            const std::string& telemetry) const;
    bool isLoggedIn(const std::string& requester, int level) const;
    std::string requestAccessToken(const std::string& requester, int level) const;
    login::RequestAccessTokenResponse requestAccessTokenAdvanced(const std::string& requester,
                                                                 int level) const;
    std::string getAccessToken() const;
    login::RequestAccessTokenResponse getAccessTokenAdvanced() const;
    std::string getEndpoint() const;
    std::string getRelease() const;
    std::string getSourceId() const;
    std::string getCurrentSessionId() const;
    login::detail::LoginData getPersistedLoginDataMFA() const;

    void impersonate(std::string token, login::LoginInfo info);
    void persistIdentityMFA(const login::detail::LoginData& data);
    void clearSettings();
    void completeLogout();

    boost::uuids::uuid addStatusListener(const Client& client, const ExportedCallback& callback);
    boost::uuids::uuid addStatusListenerV2(const Client& client, const ExportedCallback& callback);
    bool removeStatusListener(const Client& client, const boost::uuids::uuid& id);
    boost::uuids::uuid addLogoutVetoer(const Client& client, const ExportedCallback& callback);
    boost::uuids::uuid addLogoutNegotiator(const Client& client, std::string negotiatorName,
                                           const ExportedCallback& callback);
    bool removeLogoutNegotiator(const Client& client, const boost::uuids::uuid& id);
    void isLogoutVetoed(LaterAnswer<bool> answer) const;
    void negotiateLogout(login::NegotiationTerms terms,
                         LaterAnswer<login::detail::NegotiationsResult> answer) const;

    void requestLoginAsync(const Client& client, const std::string& requester,
                           const ExportedCallback& callback, int level, const std::string& options);
    void requestLogoutWithOptionsAsync(const Client& client, const ExportedCallback& callback,
                                       const std::string& options);
    bool supportsWebRedirect() const;

    const LoginServiceV2::Parts parts_;
    InteractiveService& interactive_;
    const Vocabulary<LoginServiceV1> vocabulary_;
};

} // namespace hshd
