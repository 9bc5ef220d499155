#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace login {

/// An access token for the signed-in user; usable when it is not empty. A secret: never logged, never
/// streamed.
class AccessToken {
public:
    AccessToken() = default;
    explicit AccessToken(std::string token) : token_(std::move(token)) {}

    std::string getTokenString() const { return token_; }
    explicit operator bool() const noexcept { return !token_.empty(); }

    bool operator==(const AccessToken&) const = default;

private:
    std::string token_;
};

/// A daemon's answer to a token request.
struct RequestAccessTokenResponse {
    AccessToken token;
    std::int32_t status = 0; ///< 0 when the request never reached a daemon; else the daemon's own code

    bool operator==(const RequestAccessTokenResponse&) const = default;
};

} // namespace login
