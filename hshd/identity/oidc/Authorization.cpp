#include "hshd/identity/oidc/Authorization.h"

#include "hshd/identity/oidc/Problem.h"
#include "hshd/net/Url.h"

#include <array>
#include <sodium.h>
#include <stdexcept>

namespace hshd::oidc {
namespace {

std::string base64url(const unsigned char* bytes, std::size_t size) {
    std::string text(sodium_base64_encoded_len(size, sodium_base64_VARIANT_URLSAFE_NO_PADDING), '\0');
    sodium_bin2base64(text.data(), text.size(), bytes, size, sodium_base64_VARIANT_URLSAFE_NO_PADDING);
    text.pop_back(); // the terminating zero
    return text;
}

Secret random256() {
    std::array<unsigned char, 32> bytes{};
    randombytes_buf(bytes.data(), bytes.size());
    Wiped text(base64url(bytes.data(), bytes.size()));
    sodium_memzero(bytes.data(), bytes.size());
    return Secret(*text);
}

std::string challengeOf(const Secret& verifier) {
    std::array<unsigned char, crypto_hash_sha256_BYTES> hash{};
    const auto text = verifier.view();
    crypto_hash_sha256(hash.data(), reinterpret_cast<const unsigned char*>(text.data()), text.size());
    return base64url(hash.data(), hash.size());
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const auto& text : texts)
        all += (all.empty() ? "" : " ") + text;
    return all;
}

/// Tokens for when the person is away take their consent: many providers give none without having asked.
std::string_view promptOf(const Settings& settings, bool again) {
    if (!settings.consent || (" " + settings.scopes + " ").find(" offline_access ") == std::string::npos)
        return again ? "login" : "";
    return again ? "login consent" : "consent";
}

std::string at(const std::map<std::string, std::string>& answer, const char* key) {
    const auto found = answer.find(key);
    return found == answer.end() ? std::string() : found->second;
}

} // namespace

Ties Ties::make() {
    return {random256(), random256(), random256()};
}

std::string authorizationAddress(const Settings& settings, const Metadata& metadata, const Ties& ties,
                                 const std::string& redirectUri, const Settings::Level& level, bool again,
                                 const std::string& account) {
    const auto challenge = challengeOf(ties.verifier);
    const auto acr = joined(level.acr);
    const auto maxAge = level.maxAge ? std::to_string(level.maxAge->count()) : std::string();
    const bool hasQuery = metadata.authorizationEndpoint.find('?') != std::string::npos;
    return metadata.authorizationEndpoint + (hasQuery ? '&' : '?') +
           net::encodeForm({{"response_type", "code"},
                            {"client_id", settings.clientId},
                            {"redirect_uri", redirectUri},
                            {"scope", settings.scopes},
                            {"state", ties.state.view()},
                            {"nonce", ties.nonce.view()},
                            {"code_challenge", challenge},
                            {"code_challenge_method", "S256"},
                            {"acr_values", acr},
                            {"max_age", maxAge},
                            {"prompt", promptOf(settings, again)},
                            {"login_hint", account},
                            {"audience", settings.audience},
                            {"resource", settings.resource}});
}

Secret codeOf(const std::map<std::string, std::string>& answer, const Settings& settings,
              const Metadata& metadata) {
    // Which provider answers, before anything that it says is believed.
    const auto issuer = at(answer, "iss");
    if (issuer.empty() ? metadata.namesIssuer : issuer != settings.issuer)
        throw std::runtime_error("The answer comes from another provider than the one that was asked.");
    if (const auto error = at(answer, "error"); !error.empty()) {
        const auto description = at(answer, "error_description");
        if (error == "access_denied")
            throw std::runtime_error("The sign-in was cancelled at the provider.");
        throw std::runtime_error("The provider refused: " + excerpt(error, 60) +
                                 (description.empty() ? "." : " (" + excerpt(description) + ")."));
    }
    const auto code = at(answer, "code");
    if (code.empty())
        throw std::runtime_error("The provider's answer has no code.");
    return Secret(code);
}

} // namespace hshd::oidc
