#pragma once

#include "contract/records/LoginInfo.h"
#include "hshd/secrets/Secret.h"

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hshd::oidc {

/// A provider and how this daemon deals with it, from a JSON file:
///
///     { "issuer": "https://id.example.org", "clientId": "desktop" }
///
/// and if need be "clientSecret" (the file must then be closed to others), "scopes" (["openid", "profile",
/// "email", "offline_access"]), "audience", "resource", "levels", "claims", "caFile", "redirectPath"
/// ("/callback"), "consent" (true), "endSession" (false). docs/sign-in.md tells what they mean. Other keys
/// are an error.
struct Settings {
    /// What a sign-in at a level must show.
    struct Level {
        std::vector<std::string> acr;               ///< one of these; empty: any
        std::optional<std::chrono::seconds> maxAge; ///< since the person proved who they are
    };

    std::string issuer;
    std::string clientId;
    Secret clientSecret; ///< empty: a public client
    std::string scopes;  ///< separated by spaces
    std::string audience;
    std::string resource;
    std::map<login::LoginInfo::Level, Level> levels; ///< SignedIn is always among them
    std::map<std::string, std::string> claims;       ///< of a record's field, which claim it takes
    std::filesystem::path caFile;
    std::string redirectPath;
    bool consent = true;     ///< the person is asked for it with each sign-in that gives a refresh token
    bool endSession = false; ///< a sign-out ends the session at the provider as well

    /// @throws std::runtime_error naming the file, the place in it and what is wrong.
    static Settings fromFile(const std::filesystem::path& file);
    /// As fromFile(), from the text of a file.
    static Settings parse(std::string_view text, const std::string& file);

    /// Tells the sessions of one provider and client from those of others.
    std::string name() const { return issuer + " " + clientId; }
};

} // namespace hshd::oidc
