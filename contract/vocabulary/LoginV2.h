#pragma once

#include "contract/calls/ExportedCallback.h"
#include "contract/records/AccessToken.h"
#include "contract/records/LoginData.h"
#include "contract/records/LoginInfo.h"
#include "contract/records/Negotiation.h"
#include "contract/vocabulary/RemoteMethod.h"

#include <string>

/// Version 2 of the daemon's login service, whole: what the daemon calls its methods, their types, and how
/// long a call may take unless "timeouts::call" is configured.
namespace login::spf::remote {

using agent::spf::cppmsclientutils::RemoteMethod;
using namespace std::chrono_literals;

// clang-format off
inline constexpr RemoteMethod<LoginInfo(std::string, int)>                  getLoginInfo          {"getLoginInfo", 130s};
inline constexpr RemoteMethod<RequestAccessTokenResponse(std::string, int)> requestAccessToken    {"requestAccessToken", 130s};
inline constexpr RemoteMethod<RequestAccessTokenResponse()>                 getAccessToken        {"getAccessToken", 130s};
inline constexpr RemoteMethod<void(std::string, LoginInfo)>                 impersonate           {"impersonate", 130s};
inline constexpr RemoteMethod<bool(std::string, int)>                       isLoggedIn            {"isLoggedIn", 130s};
inline constexpr RemoteMethod<LoginInfo(std::string, int, std::string)>     getLoginInfoAndLogTELX{"getLoginInfoAndLogTELX", 130s};

inline constexpr RemoteMethod<std::string()>                                getEndpoint           {"getEndpoint", 10s};
inline constexpr RemoteMethod<std::string()>                                getRelease            {"getRelease", 10s};
inline constexpr RemoteMethod<std::string()>                                getSourceId           {"getSourceId", 10s};
inline constexpr RemoteMethod<detail::LoginData()>                          getPersistedLoginData {"getPersistedLoginData", 10s};
inline constexpr RemoteMethod<void(detail::LoginData)>                      persistIdentity       {"persistIdentity", 10s};
inline constexpr RemoteMethod<void()>                                       clearSettings         {"clearSettings", 10s};
inline constexpr RemoteMethod<std::string()>                                getCurrentSessionId   {"getCurrentSessionId", 10s};
inline constexpr RemoteMethod<detail::NegotiationsResult(NegotiationTerms)> negotiateLogout       {"negotiateLogout", 10s};
inline constexpr RemoteMethod<void()>                                       completeLogout        {"completeLogout", 10s};

inline constexpr RemoteMethod<void(bool)>                                   vetoSignIn            {"vetoSignIn", 10s};
inline constexpr RemoteMethod<bool()>                                       shouldVetoSignIn      {"shouldVetoSignIn", 10s};

// Registrations: the daemon answers with its own id for each, and is told that id at removal.
using agent::spf::core::ExportedCallback;
using StatusListener = void(LoginInfo, LoginInfo);
using LogoutNegotiator = NegotiatorResponse(NegotiationTerms);
inline constexpr RemoteMethod<boost::uuids::uuid(ExportedCallback)>              addStatusListener      {"addStatusListener", 10s};
inline constexpr RemoteMethod<bool(boost::uuids::uuid)>                          removeStatusListener   {"removeStatusListener", 10s};
inline constexpr RemoteMethod<boost::uuids::uuid(std::string, ExportedCallback)> addLogoutNegotiator    {"addLogoutNegotiator", 10s};
inline constexpr RemoteMethod<bool(boost::uuids::uuid)>                          removeLogoutNegotiator {"removeLogoutNegotiator", 10s};
// clang-format on

} // namespace login::spf::remote
