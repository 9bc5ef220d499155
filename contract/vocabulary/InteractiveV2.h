#pragma once

#include "contract/calls/ExportedCallback.h"
#include "contract/records/LoginInfo.h"
#include "contract/vocabulary/RemoteMethod.h"

#include <string>

/// Version 2 of the daemon's interactive login service, whole. @see contract/vocabulary/LoginV2.h
namespace login::spf::interactive::remote {

using agent::spf::core::ExportedCallback;
using agent::spf::cppmsclientutils::RemoteMethod;
using namespace std::chrono_literals;

// The functions that requests bring, called once, with an empty text for success. The options are JSON texts.
using LoginOutcome = void(LoginInfo, std::string);
using LogoutOutcome = void(std::string);
// clang-format off
inline constexpr RemoteMethod<void(std::string, ExportedCallback, int, std::string)> requestLoginAsync            {"requestLoginAsync", 10s};
inline constexpr RemoteMethod<void(ExportedCallback, std::string)>                   requestLogoutWithOptionsAsync{"requestLogoutWithOptionsAsync", 10s};
inline constexpr RemoteMethod<void()>                                                abort                        {"abort", 10s};
inline constexpr RemoteMethod<bool()>                                                supportsWebRedirect          {"supportsWebRedirect", 10s};
// clang-format on

} // namespace login::spf::interactive::remote
