#pragma once

#include "contract/records/LoginData.h"
#include "contract/records/Negotiation.h"

#include <string>

namespace login::detail {

/// What the application's own login code needs beyond login::ZelkorLogin: persistence, logout, diagnosis.
/// Thread-safe. The order of the virtual operations is fixed: implementations come from other binaries.
class ZelkorLogin {
public:
    virtual std::string getEndpoint() = 0;
    virtual std::string getRelease() = 0;
    virtual std::string getSourceId() = 0;
    virtual LoginData getPersistedLoginData() = 0;
    virtual void persistIdentity(const LoginData& data) = 0;
    virtual void clearSettings() = 0;
    virtual std::string getCurrentSessionId() = 0;
    virtual bool isLogoutVetoed() = 0;
    virtual NegotiationsResult negotiateLogout(const NegotiationTerms& terms) = 0;
    virtual void completeLogout() = 0;
    /// getLoginInfo() that also notes `context` for telemetry.
    virtual LoginInfo getLoginInfoAndLogTELX(std::string requester, LoginInfo::Level level,
                                             const std::string& context) = 0;

    virtual ~ZelkorLogin() = default;
};

} // namespace login::detail
