#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

namespace login {

/// The identity of a signed-in user. A default-constructed record is the empty identity: nobody is signed in.
/// A plain value; moving from it leaves its strings empty.
struct LoginInfo {
    /// How much of the identity is established, or is asked for. A daemon may know levels beyond these; any
    /// 32-bit value is carried unchanged.
    enum class Level : std::int32_t {
        None = 0,       ///< nobody is signed in
        Identified = 1, ///< the user is known, but has not proven who they are in this session
        SignedIn = 2,   ///< signed in; the level that survives a restart of the daemon
        Confirmed = 3,  ///< signed in and confirmed by a second factor
    };

    std::u16string userId;
    std::u16string displayName;
    std::u16string givenName;
    std::u16string familyName;
    std::string locale; ///< 8-bit, as the account service delivers it
    std::u16string email;
    Level level = Level::None;
    std::int32_t accountType = 0;

    Level getLevel() const noexcept { return level; }

    bool operator==(const LoginInfo&) const = default;
};

/// Writes the user's id and name and the level in one line of UTF-8, for logs.
std::ostream& operator<<(std::ostream& out, const LoginInfo& info);

} // namespace login
