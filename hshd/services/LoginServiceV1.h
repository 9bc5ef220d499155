#pragma once

#include "hshd/services/Dispatch.h"
#include "hshd/services/InteractiveService.h"
#include "hshd/services/LoginOperations.h"

#include <span>
#include <string>

namespace hshd {

/// Version 1 of the login service, for clients that have not moved on: the same state, registrations and
/// requests under its own names and forms. @see LoginServiceV2
class LoginServiceV1 final : public Dispatch, public LoginOperations {
public:
    static constexpr const char* name = "ZelkorLogin";
    static constexpr int version = 1;
    static constexpr int revision = 7;

    LoginServiceV1(const Parts& parts, InteractiveService& interactive);

    static std::span<const ServedMethod> methods();

private:
    login::LoginInfo getLoginInfoId(const std::string& requester, int level, const std::string& id) const;
    void requestAccessToken(const std::string& requester, int level, LaterAnswer<std::string> answer) const;
    void getAccessToken(LaterAnswer<std::string> answer) const;

    boost::uuids::uuid addOldStatusListener(const Client& client, const ExportedCallback& callback);
    boost::uuids::uuid addLogoutVetoer(const Client& client, const ExportedCallback& callback);
    void isLogoutVetoed(LaterAnswer<bool> answer) const;

    void requestLoginAsync(const Client& client, const std::string& requester,
                           const ExportedCallback& callback, int level, const std::string& options);
    void requestLogoutWithOptionsAsync(const Client& client, const ExportedCallback& callback,
                                       const std::string& options);
    bool supportsWebRedirect() const;

    InteractiveService& interactive_;
};

} // namespace hshd
