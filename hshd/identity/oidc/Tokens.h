#pragma once

#include "hshd/BootClock.h"
#include "hshd/identity/oidc/Discovery.h"
#include "hshd/identity/oidc/Problem.h"
#include "hshd/identity/oidc/Settings.h"
#include "hshd/net/Url.h"
#include "hshd/secrets/Secret.h"

#include <string>

/// Requests to the endpoints that take and give tokens.
namespace hshd::oidc {

struct Tokens {
    Secret access;
    Secret refresh;               ///< empty: none was given
    Secret id;                    ///< not verified; empty: none was given
    BootClock::time_point begins; ///< of the access token
    BootClock::time_point ends;
};

/// A POST of the fields, with what tells the provider which client asks.
net::HttpRequest clientRequest(const Settings& settings, const std::string& url, const net::Fields& fields);

/// @param asked when the request was sent: the token's time counts from then.
Outcome<Tokens> readTokens(const net::HttpAnswer& answer, BootClock::time_point asked);

/// The object that an answer of 200 holds, or what else it says.
Outcome<foundation::json::object> readObject(const net::HttpAnswer& answer);

} // namespace hshd::oidc
