#pragma once

#include "contract/records/AccessToken.h"
#include "contract/records/LoginData.h"
#include "contract/records/LoginInfo.h"
#include "hshd/identity/Identity.h"

#include <optional>
#include <string>
#include <vector>

namespace hshd {

/// A signed-in identity. Holds a secret: never logged.
struct SignedIn {
    login::LoginInfo info;
    login::AccessToken token;
    std::string sessionId; ///< a uuid's text, new with each sign-in
    std::optional<Grant> grant;

    bool operator==(const SignedIn&) const = default;
};

/// A token of an ended session that its provider is still to be told of.
struct Revocation {
    std::string provider;
    Secret token;
    bool refreshToken = false; ///< else an access token

    bool operator==(const Revocation&) const = default;
};

/// Everything that a daemon remembers from one run to the next. Holds secrets: never logged.
struct PersistentState {
    std::string sourceId; ///< a uuid's text, made once for a state directory
    std::string endpoint; ///< the one of the last identity persisted; empty when it named none
    bool signInVetoed = false;
    std::optional<SignedIn> signedIn;
    std::optional<login::detail::LoginData> remembered;
    std::vector<Revocation> revocations; ///< the oldest first

    bool operator==(const PersistentState&) const = default;
};

} // namespace hshd
