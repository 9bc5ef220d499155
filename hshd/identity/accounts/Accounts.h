#pragma once

#include "contract/records/LoginInfo.h"

#include <foundation/json.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace hshd {

/// A test account that somebody can be signed in as.
struct Account {
    std::string name;
    login::LoginInfo info;    ///< with the level that the account signs in at
    std::string passwordHash; ///< empty: nobody signs in with a password
};

/// The accounts of a JSON file:
///
///     { "accounts": [ { "name": "ada", "displayName": "Ada Lovelace", "level": 2 }, ... ] }
///
/// "name" is required and unique. "displayName" (the name when missing), "givenName", "familyName", "email",
/// "locale" are strings; "level" is 1 to 3 (2 when missing); "accountType" is an integer;
/// "passwordHash" is what hshd --hash-password prints. Other keys are an error.
class Accounts {
public:
    static constexpr std::size_t longestName = 256; ///< bytes

    /// No accounts.
    Accounts() = default;
    /// @throws std::runtime_error naming the file, the place in it and what is wrong.
    static Accounts fromFile(const std::filesystem::path& file);
    /// As fromFile(), from the text of a file.
    static Accounts parse(std::string_view json, const std::string& file);

    /// Null when there is no such account.
    const Account* find(std::string_view name) const;
    const std::vector<Account>& all() const noexcept { return accounts_; }

private:
    static Accounts read(const foundation::json::object& root, const std::string& file);

    std::vector<Account> accounts_;
};

} // namespace hshd
