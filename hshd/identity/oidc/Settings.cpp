#include "hshd/identity/oidc/Settings.h"

#include "hshd/JsonObject.h"
#include "hshd/net/Url.h"

#include <algorithm>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace hshd::oidc {
namespace {

namespace json = foundation::json;
using Level = login::LoginInfo::Level;

constexpr char shape[] = R"(such as {"issuer": "https://id.example.org", "clientId": "desktop"})";

std::vector<std::string> texts(const json::object& object, const JsonObject& reader, std::string_view key) {
    std::vector<std::string> list;
    const auto* value = object.if_contains(key);
    if (!value)
        return list;
    if (!value->is_array())
        reader.fail(key, "must be a list of strings");
    for (const auto& element : value->get_array()) {
        const auto text = element.is_string() ? std::string_view(element.get_string()) : std::string_view();
        if (text.empty() || text.find(' ') != std::string_view::npos)
            reader.fail(key, "must be a list of strings without spaces");
        list.emplace_back(text);
    }
    return list;
}

const json::object* objectAt(const json::object& object, const JsonObject& reader, std::string_view key) {
    const auto* value = object.if_contains(key);
    if (value && !value->is_object())
        reader.fail(key, "must be an object");
    return value ? &value->get_object() : nullptr;
}

std::map<Level, Settings::Level> readLevels(const json::object* levels, const std::string& place) {
    std::map<Level, Settings::Level> result{{Level::SignedIn, {}}};
    if (!levels)
        return result;
    JsonObject(*levels, place).onlyKnownKeys({"2", "3"});
    for (const auto& [key, value] : *levels) {
        const auto here = place + "." + std::string(key);
        if (!value.is_object())
            throw std::runtime_error(here + R"( must be an object such as {"acr": ["..."], "maxAge": 300})");
        const JsonObject reader(value.get_object(), here);
        reader.onlyKnownKeys({"acr", "maxAge"});
        auto& level = result[static_cast<Level>(key[0] - '0')];
        level.acr = texts(value.get_object(), reader, "acr");
        if (reader.has("maxAge"))
            level.maxAge = std::chrono::seconds(reader.integer("maxAge", 0, 0, 365 * 24 * 3600));
        if (key == "3" && level.acr.empty() && !level.maxAge)
            throw std::runtime_error(here + R"( must say what proves more: "acr", "maxAge" or both)");
    }
    return result;
}

std::map<std::string, std::string> readClaims(const json::object* claims, const std::string& place) {
    std::map<std::string, std::string> result{{"userId", "sub"},           {"displayName", "name"},
                                              {"givenName", "given_name"}, {"familyName", "family_name"},
                                              {"email", "email"},          {"locale", "locale"}};
    if (!claims)
        return result;
    const JsonObject reader(*claims, place);
    reader.onlyKnownKeys({"userId", "displayName", "givenName", "familyName", "email", "locale"});
    for (const auto& member : *claims)
        result[std::string(member.key())] = reader.text(member.key());
    if (result["userId"].empty())
        reader.fail("userId", "must name a claim; leave it out for \"sub\"");
    return result;
}

} // namespace

Settings Settings::fromFile(const std::filesystem::path& file) {
    const auto document = readJsonObject(file, "provider file", "--provider", shape);
    struct stat status {};
    if (document.contains("clientSecret") && ::stat(file.c_str(), &status) == 0 &&
        (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw std::runtime_error("the provider file '" + file.string() +
                                 "' holds a secret and is open to others; close it with: chmod 600 '" +
                                 file.string() + "'");
    return parse(json::serialize(document), file.string());
}

Settings Settings::parse(std::string_view text, const std::string& file) {
    const std::string place = "provider file '" + file + "'";
    const auto document = parseJsonObject(text, place, shape);
    const JsonObject reader(document, place + ": ");
    reader.onlyKnownKeys({"issuer", "clientId", "clientSecret", "scopes", "audience", "resource", "levels",
                          "claims", "caFile", "redirectPath", "consent", "endSession"});
    Settings settings;
    settings.issuer = reader.text("issuer");
    const auto issuer = net::Url::parse(settings.issuer);
    if (!issuer || !issuer->isSafe() || !issuer->query.empty())
        reader.fail("issuer", "must be the provider's https address (http on this machine only), as its own "
                              "documents write it");
    settings.clientId = reader.text("clientId");
    if (settings.clientId.empty())
        reader.fail("clientId",
                    "is missing or empty; write the one that the provider has registered for this "
                    "application");
    settings.clientSecret = Secret(reader.text("clientSecret"));
    auto scopes = texts(document, reader, "scopes");
    if (!reader.has("scopes"))
        scopes = {"openid", "profile", "email", "offline_access"};
    if (std::ranges::find(scopes, "openid") == scopes.end())
        reader.fail("scopes", "must have \"openid\" among them");
    for (const auto& scope : scopes)
        settings.scopes += (settings.scopes.empty() ? "" : " ") + scope;
    settings.audience = reader.text("audience");
    settings.resource = reader.text("resource");
    settings.levels = readLevels(objectAt(document, reader, "levels"), place + ": .levels");
    settings.claims = readClaims(objectAt(document, reader, "claims"), place + ": .claims");
    settings.caFile = reader.text("caFile");
    if (!settings.caFile.empty() && ::access(settings.caFile.c_str(), R_OK) != 0)
        reader.fail("caFile", "'" + settings.caFile.string() + "' cannot be read");
    settings.redirectPath = reader.text("redirectPath", "/callback");
    if (!settings.redirectPath.starts_with('/') ||
        settings.redirectPath.find_first_of("?#% \"<>\\") != std::string::npos)
        reader.fail("redirectPath", "must be a path such as \"/callback\"");
    settings.consent = reader.flag("consent", true);
    settings.endSession = reader.flag("endSession", false);
    return settings;
}

} // namespace hshd::oidc
