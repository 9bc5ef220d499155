#include "hshd/identity/oidc/IdToken.h"

#include "hshd/identity/oidc/Problem.h"

#include <algorithm>
#include <array>
#include <cjose/cjose.h>
#include <memory>
#include <optional>
#include <sodium.h>
#include <vector>

namespace hshd::oidc {
namespace {

namespace json = foundation::json;
using std::chrono::seconds;

constexpr seconds skew{60};
constexpr std::size_t longestToken = 64U << 10;
constexpr std::size_t leastRsaBytes = 256;

std::string base64url(std::string_view text) {
    std::string raw(text.size(), '\0');
    std::size_t size = 0;
    const char* end = nullptr;
    if (sodium_base642bin(reinterpret_cast<unsigned char*>(raw.data()), raw.size(), text.data(), text.size(),
                          nullptr, &size, &end, sodium_base64_VARIANT_URLSAFE_NO_PADDING) != 0 ||
        end != text.data() + text.size())
        throw std::runtime_error("a part of it is no base64url");
    raw.resize(size);
    return raw;
}

json::object objectOf(std::string_view part) {
    auto value = json::parse(base64url(part));
    if (!value.is_object())
        throw std::runtime_error("a part of it is no JSON object");
    return std::move(value.get_object());
}

std::string textAt(const json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value && value->is_string() ? std::string(std::string_view(value->get_string())) : std::string();
}

std::optional<std::chrono::system_clock::time_point> timeAt(const json::object& claims,
                                                            std::string_view key) {
    const auto* value = claims.if_contains(key);
    if (!value || !value->is_number())
        return std::nullopt;
    const double time = value->to_number<double>();
    if (!(time >= 0 && time < 1e11))
        return std::nullopt;
    return std::chrono::system_clock::time_point(seconds(static_cast<std::int64_t>(time)));
}

struct Parts {
    std::string_view header, payload, signature, signedText;
};

Parts split(std::string_view token) {
    const auto first = token.find('.');
    const auto last = token.rfind('.');
    if (token.size() > longestToken || first == std::string_view::npos || first == last ||
        token.find('.', first + 1) != last)
        throw std::runtime_error("it has not three parts");
    return {token.substr(0, first), token.substr(first + 1, last - first - 1), token.substr(last + 1),
            token.substr(0, last)};
}

/// The kind of key that an algorithm takes. Whoever signs without one, or with a text that both know, is
/// nobody.
std::string keyType(const std::string& algorithm) {
    if (algorithm == "RS256" || algorithm == "PS256")
        return "RSA";
    if (algorithm == "ES256")
        return "EC";
    if (algorithm == "EdDSA")
        return "OKP";
    throw std::runtime_error("it is signed with `" + excerpt(algorithm, 20) +
                             "`; RS256, PS256, ES256 and EdDSA are accepted");
}

bool fits(const json::object& key, const std::string& type, const std::string& algorithm,
          const std::string& id) {
    const auto use = textAt(key, "use");
    const auto keysAlgorithm = textAt(key, "alg");
    return textAt(key, "kty") == type && (use.empty() || use == "sig") &&
           (keysAlgorithm.empty() || keysAlgorithm == algorithm) && (id.empty() || textAt(key, "kid") == id);
}

/// Of Edwards curves, which the JOSE library does not know.
bool signedByEdwards(const Parts& parts, const json::object& key) {
    if (textAt(key, "crv") != "Ed25519")
        return false;
    const auto point = base64url(textAt(key, "x"));
    const auto signature = base64url(parts.signature);
    return point.size() == crypto_sign_PUBLICKEYBYTES && signature.size() == crypto_sign_BYTES &&
           crypto_sign_verify_detached(reinterpret_cast<const unsigned char*>(signature.data()),
                                       reinterpret_cast<const unsigned char*>(parts.signedText.data()),
                                       parts.signedText.size(),
                                       reinterpret_cast<const unsigned char*>(point.data())) == 0;
}

bool signedBy(std::string_view token, const Parts& parts, const json::object& key) {
    const auto type = textAt(key, "kty");
    if (type == "OKP")
        return signedByEdwards(parts, key);
    if (type == "RSA" && base64url(textAt(key, "n")).size() < leastRsaBytes)
        throw std::runtime_error("the provider's key has less than 2048 bits");
    if (type == "EC" && textAt(key, "crv") != "P-256")
        return false;
    const auto text = json::serialize(key);
    const std::unique_ptr<cjose_jwk_t, decltype(&cjose_jwk_release)> jwk(
        cjose_jwk_import(text.data(), text.size(), nullptr), &cjose_jwk_release);
    const std::unique_ptr<cjose_jws_t, decltype(&cjose_jws_release)> jws(
        cjose_jws_import(token.data(), token.size(), nullptr), &cjose_jws_release);
    return jwk && jws && cjose_jws_verify(jws.get(), jwk.get(), nullptr);
}

void verifySignature(std::string_view token, const Parts& parts, const Keys& keys) {
    const auto header = objectOf(parts.header);
    if (header.contains("crit"))
        throw std::runtime_error("it has critical extensions, of which none is known");
    const auto algorithm = textAt(header, "alg");
    const auto type = keyType(algorithm);
    bool any = false;
    for (const auto& key : keys) {
        if (!fits(key, type, algorithm, textAt(header, "kid")))
            continue;
        any = true;
        if (signedBy(token, parts, key))
            return;
    }
    if (!any)
        throw UnknownKey("it is signed with a key that the provider does not publish");
    throw std::runtime_error("its signature is wrong");
}

/// Whether the audience has the client; and who it was made for, when it has others too.
bool isFor(const json::object& claims, std::string_view client) {
    const auto* audience = claims.if_contains("aud");
    std::vector<std::string_view> all;
    if (audience && audience->is_string())
        all.emplace_back(audience->get_string());
    else if (audience && audience->is_array())
        for (const auto& one : audience->get_array())
            all.push_back(one.is_string() ? std::string_view(one.get_string()) : std::string_view());
    const auto party = textAt(claims, "azp");
    return std::ranges::find(all, client) != all.end() && (party.empty() ? all.size() == 1 : party == client);
}

bool hashFits(const std::string& hash, std::string_view accessToken, const std::string& algorithm) {
    // Half of the hash of the signature's algorithm: Ed25519's is SHA-512.
    std::array<unsigned char, crypto_hash_sha512_BYTES> full{};
    const auto* text = reinterpret_cast<const unsigned char*>(accessToken.data());
    const bool edwards = algorithm == "EdDSA";
    edwards ? crypto_hash_sha512(full.data(), text, accessToken.size())
            : crypto_hash_sha256(full.data(), text, accessToken.size());
    const auto half = (edwards ? crypto_hash_sha512_BYTES : crypto_hash_sha256_BYTES) / 2;
    const auto given = base64url(hash);
    return given.size() == half && sodium_memcmp(given.data(), full.data(), half) == 0;
}

void check(const json::object& claims, const ExpectedToken& expected) {
    if (const auto issuer = textAt(claims, "iss"); issuer != expected.issuer)
        throw std::runtime_error("it is of another issuer: " + excerpt(issuer));
    if (!isFor(claims, expected.clientId))
        throw std::runtime_error("it is made for another client");
    if (textAt(claims, "sub").empty())
        throw std::runtime_error("it names nobody");
    const auto ends = timeAt(claims, "exp");
    if (!ends || *ends + skew <= expected.now)
        throw std::runtime_error("it has ended; is this machine's clock right?");
    const auto made = timeAt(claims, "iat");
    if (!made || *made - skew > expected.now)
        throw std::runtime_error("it is made in the future; is this machine's clock right?");
    if (const auto from = timeAt(claims, "nbf"); from && *from - skew > expected.now)
        throw std::runtime_error("it does not hold yet; is this machine's clock right?");
    if (!expected.nonce.empty() && textAt(claims, "nonce") != expected.nonce)
        throw std::runtime_error("it belongs to another request");
}

} // namespace

json::object verifiedClaims(std::string_view token, const Keys& keys, const ExpectedToken& expected) {
    const auto parts = split(token);
    verifySignature(token, parts, keys);
    auto claims = objectOf(parts.payload);
    check(claims, expected);
    if (const auto hash = textAt(claims, "at_hash");
        !hash.empty() && !hashFits(hash, expected.accessToken, textAt(objectOf(parts.header), "alg")))
        throw std::runtime_error("it belongs to another access token");
    return claims;
}

std::string claimOf(std::string_view keptToken, std::string_view claim) {
    try {
        return textAt(objectOf(split(keptToken).payload), claim);
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace hshd::oidc
