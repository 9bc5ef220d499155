#pragma once

#include "contract/calls/ExportedCallback.h"
#include "contract/records/AccessToken.h"
#include "contract/records/LoginData.h"
#include "contract/records/LoginInfo.h"
#include "contract/records/Negotiation.h"
#include "contract/vocabulary/RemoteMethod.h"

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include <string>

/// Version 1 of the daemon's login service, whole: what the daemon calls its methods, their types, and how
/// long a call may take unless "timeouts::call" is configured.
namespace login::v1::remote {

using agent::spf::core::ExportedCallback;
using agent::spf::cppmsclientutils::RemoteMethod;
using boost::uuids::uuid;
using namespace std::chrono_literals;

// clang-format off
inline constexpr RemoteMethod<LoginInfo(std::string, int)>                  getLoginInfo              {"getLoginInfo", 130s};
inline constexpr RemoteMethod<std::string(std::string, int)>                requestAccessToken        {"requestAccessToken", 130s};
inline constexpr RemoteMethod<RequestAccessTokenResponse(std::string, int)> requestAccessTokenAdvanced{"requestAccessTokenAdvanced", 130s};
inline constexpr RemoteMethod<std::string()>                                getAccessToken            {"getAccessToken", 130s};
inline constexpr RemoteMethod<RequestAccessTokenResponse()>                 getAccessTokenAdvanced    {"getAccessTokenAdvanced", 130s};
inline constexpr RemoteMethod<void(std::string, LoginInfo)>                 impersonate               {"impersonate", 130s};
inline constexpr RemoteMethod<bool(std::string, int)>                       isLoggedIn                {"isLoggedIn", 130s};
inline constexpr RemoteMethod<LoginInfo(std::string, int, std::string)>     getLoginInfoAndLogTELX    {"getLoginInfoAndLogTELX", 130s};
inline constexpr RemoteMethod<LoginInfo(std::string, int, std::string)>     getLoginInfoId            {"getLoginInfoId", 130s};

inline constexpr RemoteMethod<std::string()>                                getEndpoint               {"getEndpoint", 10s};
inline constexpr RemoteMethod<std::string()>                                getRelease                {"getRelease", 10s};
inline constexpr RemoteMethod<std::string()>                                getSourceId               {"getSourceId", 10s};
inline constexpr RemoteMethod<detail::LoginData()>                          getPersistedLoginDataMFA  {"getPersistedLoginDataMFA", 10s};
inline constexpr RemoteMethod<void(detail::LoginData)>                      persistIdentityMFA        {"persistIdentityMFA", 10s};
inline constexpr RemoteMethod<void()>                                       clearSettings             {"clearSettings", 10s};
inline constexpr RemoteMethod<std::string()>                                getCurrentSessionId       {"getCurrentSessionId", 10s};
inline constexpr RemoteMethod<bool()>                                       isLogoutVetoed            {"isLogoutVetoed", 10s};
inline constexpr RemoteMethod<detail::NegotiationsResult(NegotiationTerms)> negotiateLogout           {"negotiateLogout", 10s};
inline constexpr RemoteMethod<void()>                                       completeLogout            {"completeLogout", 10s};

// Registrations, of functions of these forms, in this order.
using OldStatusListener = void(boost::optional<LoginInfo>);
using StatusListener = void(LoginInfo, LoginInfo);
using LogoutVetoer = bool();
using LogoutNegotiator = NegotiatorResponse(NegotiationTerms);
inline constexpr RemoteMethod<uuid(ExportedCallback)>                       addStatusListener         {"addStatusListener", 10s};
inline constexpr RemoteMethod<uuid(ExportedCallback)>                       addStatusListenerV2       {"addStatusListenerV2", 10s};
inline constexpr RemoteMethod<bool(uuid)>                                   removeStatusListener      {"removeStatusListener", 10s};
inline constexpr RemoteMethod<uuid(ExportedCallback)>                       addLogoutVetoer           {"addLogoutVetoer", 10s};
inline constexpr RemoteMethod<bool(uuid)>                                   removeLogoutVetoer        {"removeLogoutVetoer", 10s};
inline constexpr RemoteMethod<uuid(std::string, ExportedCallback)>          addLogoutNegotiator       {"addLogoutNegotiator", 10s};
inline constexpr RemoteMethod<bool(uuid)>                                   removeLogoutNegotiator    {"removeLogoutNegotiator", 10s};

// Requests that the user takes part in. The outcome comes by the function that they bring, with an empty text
// for success. @see login::spf::interactive::ZelkorLogin
using LoginOutcome = void(LoginInfo, std::string);
using LogoutOutcome = void(std::string);
inline constexpr RemoteMethod<void(std::string, ExportedCallback, int, std::string)> requestLoginAsync            {"requestLoginAsync", 10s};
inline constexpr RemoteMethod<void(ExportedCallback, std::string)>                   requestLogoutWithOptionsAsync{"requestLogoutWithOptionsAsync", 10s};
inline constexpr RemoteMethod<bool()>                                                supportsWebRedirect          {"supportsWebRedirect", 10s};
// clang-format on

} // namespace login::v1::remote
