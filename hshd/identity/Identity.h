#pragma once

#include "contract/records/AccessToken.h"
#include "contract/records/LoginInfo.h"
#include "hshd/BootClock.h"
#include "hshd/secrets/Secret.h"

#include <optional>
#include <string>

namespace hshd {

/// What a provider gave for a session beside its access token. Of a provider that has none of this, an access
/// token lasts as long as the session.
struct Grant {
    std::string provider;         ///< which one, and as which of its clients
    Secret refreshToken;          ///< empty: the session ends with its access token
    Secret idToken;               ///< shown to the provider at the end of the session; may be empty
    BootClock::time_point begins; ///< of the access token
    BootClock::time_point ends;

    bool operator==(const Grant&) const = default;
};

/// Who somebody is, with what the provider gave for it.
struct Identity {
    login::LoginInfo info;
    login::AccessToken token;
    std::optional<Grant> grant;
};

} // namespace hshd
