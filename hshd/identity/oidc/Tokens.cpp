#include "hshd/identity/oidc/Tokens.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <sodium.h>

namespace hshd::oidc {
namespace {

namespace json = foundation::json;

constexpr std::chrono::seconds unknownLifetime{300};
constexpr std::int64_t longestLifetime = 365LL * 24 * 3600;

std::string_view textAt(const json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value && value->is_string() ? std::string_view(value->get_string()) : std::string_view();
}

/// Some providers write the number as a text.
std::chrono::seconds lifetime(const json::object& object) {
    const auto* value = object.if_contains("expires_in");
    std::int64_t count = unknownLifetime.count();
    if (value && value->is_int64())
        count = value->get_int64();
    else if (value && value->is_double())
        count = static_cast<std::int64_t>(std::clamp(value->get_double(), 0.0, 1e9));
    else if (value && value->is_string()) {
        const std::string_view text(value->get_string());
        std::from_chars(text.data(), text.data() + text.size(), count);
    }
    return std::chrono::seconds(std::clamp<std::int64_t>(count, 1, longestLifetime));
}

Problem refused(const net::HttpAnswer& answer) {
    Problem problem{
        Problem::Kind::Wrong, "the provider refused with status " + std::to_string(answer.status), {}, {}};
    try {
        const auto document = json::parse(answer.body);
        const auto& object = document.as_object();
        problem.error = excerpt(textAt(object, "error"), 60);
        if (!problem.error.empty()) {
            problem.kind = Problem::Kind::Refused;
            const auto description = textAt(object, "error_description");
            problem.text = "the provider refused: " + problem.error +
                           (description.empty() ? "" : " (" + excerpt(description) + ")");
        }
    } catch (const std::exception&) {
        // No OAuth error, then.
    }
    return problem;
}

void wipeTexts(json::object& object) {
    for (auto& member : object)
        if (member.value().is_string()) {
            auto& text = member.value().get_string();
            wipe({text.data(), text.size()});
        }
}

} // namespace

net::HttpRequest clientRequest(const Settings& settings, const std::string& url, const net::Fields& fields) {
    net::HttpRequest request;
    request.url = url;
    request.caFile = settings.caFile;
    auto all = fields;
    if (settings.clientSecret) {
        Wiped pair(net::encodeForm({{"", settings.clientId}}).substr(1) + ":" +
                   net::encodeForm({{"", settings.clientSecret.view()}}).substr(1));
        Wiped encoded(
            std::string(sodium_base64_encoded_len(pair->size(), sodium_base64_VARIANT_ORIGINAL), '\0'));
        sodium_bin2base64(encoded->data(), encoded->size(),
                          reinterpret_cast<const unsigned char*>(pair->data()), pair->size(),
                          sodium_base64_VARIANT_ORIGINAL);
        encoded->pop_back(); // the terminating zero
        Wiped header("Basic " + *encoded);
        request.authorization = Secret(*header);
    } else {
        all.emplace_back("client_id", settings.clientId);
    }
    Wiped form(net::encodeForm(all));
    request.form = Secret(*form);
    return request;
}

Outcome<json::object> readObject(const net::HttpAnswer& answer) {
    if (auto problem = problemOf(answer))
        return std::move(*problem);
    if (answer.status != 200)
        return refused(answer);
    try {
        return json::parse(answer.body).as_object();
    } catch (const std::exception&) {
        return Problem{Problem::Kind::Wrong, "the provider's answer is no JSON object", {}, {}};
    }
}

Outcome<Tokens> readTokens(const net::HttpAnswer& answer, BootClock::time_point asked) {
    auto outcome = readObject(answer);
    if (auto* problem = std::get_if<Problem>(&outcome))
        return std::move(*problem);
    auto& object = std::get<0>(outcome);
    const auto type = textAt(object, "token_type");
    const bool bearer = std::ranges::equal(type, std::string_view("bearer"), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == b;
    });
    const Secret access(textAt(object, "access_token"));
    Outcome<Tokens> result =
        Problem{Problem::Kind::Wrong, "the provider gave no access token of a known type", {}, {}};
    if (bearer && access)
        result = Tokens{access, Secret(textAt(object, "refresh_token")), Secret(textAt(object, "id_token")),
                        asked, asked + lifetime(object)};
    wipeTexts(object);
    return result;
}

} // namespace hshd::oidc
