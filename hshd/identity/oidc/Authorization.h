#pragma once

#include "hshd/identity/oidc/Discovery.h"
#include "hshd/identity/oidc/Settings.h"
#include "hshd/secrets/Secret.h"

#include <map>
#include <string>

/// Asking the provider, through the person's browser, for a code that tokens can be had for.
namespace hshd::oidc {

/// What ties an answer to its request. Each is new and random.
struct Ties {
    Secret state;    ///< comes back with the code
    Secret nonce;    ///< comes back in the ID token
    Secret verifier; ///< proves that who redeems the code is who asked for it (PKCE)

    static Ties make();
};

/// @param again the person proves anew who they are. @param account whom to begin with; may be empty.
std::string authorizationAddress(const Settings& settings, const Metadata& metadata, const Ties& ties,
                                 const std::string& redirectUri, const Settings::Level& level, bool again,
                                 const std::string& account);

/// The code of an answer whose state is right.
/// @throws std::runtime_error for people, when it is a refusal or another provider's.
Secret codeOf(const std::map<std::string, std::string>& answer, const Settings& settings,
              const Metadata& metadata);

} // namespace hshd::oidc
