#pragma once

#include "contract/records/LoginInfo.h"

#include <string>

namespace login::detail {

/// What a daemon keeps so that a later session can start signed in. Holds secrets: never logged, never
/// streamed.
struct LoginData {
    std::string refreshToken;
    std::string deviceId;
    std::string accountHint;
    LoginInfo info;
    std::string endpoint;
    std::string sourceId;
    bool rememberMe = false;

    LoginData() = default;
    LoginData(const LoginData&) = default;
    LoginData& operator=(const LoginData&) = default;
    ~LoginData() = default;

    /// The device id names the machine, not the user: the source keeps it and loses the rest.
    LoginData(LoginData&& other) noexcept;
    LoginData& operator=(LoginData&& other) noexcept;

    bool getRememberMe() const noexcept { return rememberMe; }
    LoginInfo getInfo() const { return info; }

    bool operator==(const LoginData&) const = default;
};

} // namespace login::detail
