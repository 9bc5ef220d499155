#pragma once

#include "hshd/identity/oidc/Discovery.h"
#include "hshd/identity/oidc/Settings.h"

#include <foundation/json.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>

/// ID tokens: what a provider signs to say who has signed in.
namespace hshd::oidc {

/// The key that signed is not among those given.
class UnknownKey : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct ExpectedToken {
    std::string_view issuer;
    std::string_view clientId;
    std::string_view nonce;       ///< empty: none was sent
    std::string_view accessToken; ///< that came with it
    std::chrono::system_clock::time_point now = std::chrono::system_clock::now();
};

/// Its claims, when its signature (RS256, PS256, ES256 or EdDSA) and everything that is expected are right;
/// clocks may differ by a minute.
/// @throws UnknownKey; std::runtime_error saying what is wrong. Neither has a part of the token in its text
/// but for claims that are not secret.
foundation::json::object verifiedClaims(std::string_view token, const Keys& keys,
                                        const ExpectedToken& expected);

/// A claim of a token whose signature was verified before, as it was kept. Empty when there is none.
std::string claimOf(std::string_view keptToken, std::string_view claim);

} // namespace hshd::oidc
