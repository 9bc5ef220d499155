#include "hshd/identity/accounts/Accounts.h"

#include "contract/records/Utf.h"
#include "hshd/JsonObject.h"
#include "hshd/identity/accounts/PasswordHash.h"

#include <foundation/json.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace hshd {
namespace {

namespace json = foundation::json;

constexpr char shape[] = R"({"accounts": [...]})";

Account readAccount(const json::object& object, const std::string& place) {
    const JsonObject reader(object, place);
    reader.onlyKnownKeys({"name", "displayName", "givenName", "familyName", "email", "locale", "level",
                          "accountType", "passwordHash"});
    const auto text16 = [&](std::string_view key) { return login::toUtf16(reader.text(key)); };
    Account account;
    account.name = reader.text("name");
    if (account.name.empty())
        reader.fail("name", "is missing or empty; give the account a name");
    if (account.name.size() > Accounts::longestName)
        reader.fail("name", "is longer than " + std::to_string(Accounts::longestName) + " bytes");
    if (account.name.find(':') != std::string::npos)
        reader.fail("name", "must not hold a colon");
    login::LoginInfo& info = account.info;
    info.userId = login::toUtf16(account.name);
    info.displayName = text16("displayName");
    if (info.displayName.empty())
        info.displayName = info.userId;
    info.givenName = text16("givenName");
    info.familyName = text16("familyName");
    info.email = text16("email");
    info.locale = reader.text("locale");
    info.level = static_cast<login::LoginInfo::Level>(reader.integer("level", 2, 1, 3));
    using Limits = std::numeric_limits<std::int32_t>;
    info.accountType =
        static_cast<std::int32_t>(reader.integer("accountType", 0, Limits::min(), Limits::max()));
    account.passwordHash = reader.text("passwordHash");
    if (!account.passwordHash.empty() && !password::isHash(account.passwordHash))
        reader.fail("passwordHash", "is no hash of a password; hshd --hash-password makes one");
    return account;
}

} // namespace

Accounts Accounts::fromFile(const std::filesystem::path& file) {
    return read(readJsonObject(file, "accounts file", "--accounts", shape), file.string());
}

Accounts Accounts::parse(std::string_view text, const std::string& file) {
    return read(parseJsonObject(text, "accounts file '" + file + "'", shape), file);
}

Accounts Accounts::read(const foundation::json::object& root, const std::string& file) {
    const std::string place = "accounts file '" + file + "': ";
    const json::value* list = root.if_contains("accounts");
    if (!list || !list->is_array() || root.size() != 1)
        throw std::runtime_error(place + "must be one object " + shape);
    Accounts result;
    for (const json::value& element : list->get_array()) {
        const std::string here = place + "accounts[" + std::to_string(result.accounts_.size()) + "]";
        if (!element.is_object())
            throw std::runtime_error(here + " must be an object such as {\"name\": \"ada\"}");
        Account account = readAccount(element.get_object(), here);
        if (result.find(account.name))
            throw std::runtime_error(here + ".name repeats '" + account.name + "'; names must differ");
        result.accounts_.push_back(std::move(account));
    }
    return result;
}

const Account* Accounts::find(std::string_view name) const {
    const auto found = std::find_if(accounts_.begin(), accounts_.end(),
                                    [name](const Account& account) { return account.name == name; });
    return found == accounts_.end() ? nullptr : &*found;
}

} // namespace hshd
