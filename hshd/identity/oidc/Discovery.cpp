#include "hshd/identity/oidc/Discovery.h"

#include "hshd/net/Url.h"

#include <algorithm>
#include <stdexcept>

namespace hshd::oidc {
namespace {

namespace json = foundation::json;
using std::chrono::hours;

constexpr hours metadataLast{1};
constexpr hours keysLast{24};
constexpr std::chrono::seconds betweenFetches{10};
constexpr std::size_t mostKeys = 100;

std::string textAt(const json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value && value->is_string() ? std::string(std::string_view(value->get_string())) : std::string();
}

std::string addressAt(const json::object& object, const char* key) {
    auto text = textAt(object, key);
    const auto url = net::Url::parse(text);
    if (!text.empty() && (!url || !url->isSafe()))
        throw std::runtime_error(std::string("its `") + key + "` is no https address: " + excerpt(text));
    return text;
}

std::string requiredAt(const json::object& object, const char* key) {
    auto text = addressAt(object, key);
    if (text.empty())
        throw std::runtime_error(std::string("it names no `") + key + "`");
    return text;
}

/// Whether the list has the text; true without a list.
bool allows(const json::object& object, std::string_view key, std::string_view text) {
    const auto* list = object.if_contains(key);
    if (!list || !list->is_array())
        return true;
    return std::ranges::any_of(list->get_array(), [text](const json::value& element) {
        return element.is_string() && std::string_view(element.get_string()) == text;
    });
}

Keys parseKeys(const std::string& text) {
    const auto document = json::parse(text);
    const auto* list = document.is_object() ? document.get_object().if_contains("keys") : nullptr;
    if (!list || !list->is_array() || list->get_array().size() > mostKeys)
        throw std::runtime_error("it is no list of keys");
    Keys keys;
    for (const auto& key : list->get_array())
        if (key.is_object())
            keys.push_back(key.get_object());
    return keys;
}

template <class T, class Parse>
Outcome<std::shared_ptr<const T>> read(const net::HttpAnswer& answer, const char* what, const Parse& parse) {
    if (auto problem = problemOf(answer))
        return std::move(*problem);
    if (answer.status != 200)
        return Problem{Problem::Kind::Wrong,
                       std::string("the provider has no ") + what + ": status " +
                           std::to_string(answer.status),
                       {},
                       {}};
    try {
        return std::make_shared<const T>(parse(answer.body));
    } catch (const std::exception& error) {
        return Problem{Problem::Kind::Wrong,
                       std::string("the provider's ") + what + " cannot be used: " + error.what(),
                       {},
                       {}};
    }
}

} // namespace

Metadata Metadata::parse(std::string_view text, const Settings& settings) {
    const auto value = json::parse(text);
    if (!value.is_object())
        throw std::runtime_error("it is no JSON object");
    const auto& document = value.get_object();
    if (const auto issuer = textAt(document, "issuer"); issuer != settings.issuer)
        throw std::runtime_error("its issuer is `" + excerpt(issuer) + "`, and `" + settings.issuer +
                                 "` is what the provider file says; both must be the same to the letter");
    Metadata metadata;
    metadata.authorizationEndpoint = requiredAt(document, "authorization_endpoint");
    metadata.tokenEndpoint = requiredAt(document, "token_endpoint");
    metadata.keysAddress = requiredAt(document, "jwks_uri");
    metadata.userinfoEndpoint = addressAt(document, "userinfo_endpoint");
    metadata.deviceEndpoint = addressAt(document, "device_authorization_endpoint");
    metadata.revocationEndpoint = addressAt(document, "revocation_endpoint");
    metadata.endSessionEndpoint = addressAt(document, "end_session_endpoint");
    const auto* names = document.if_contains("authorization_response_iss_parameter_supported");
    metadata.namesIssuer = names && names->is_bool() && names->get_bool();
    if (!allows(document, "response_types_supported", "code"))
        throw std::runtime_error("it does not offer the response type `code`");
    // Who does not say so may know it all the same.
    if (!allows(document, "code_challenge_methods_supported", "S256"))
        throw std::runtime_error("it does not know the code challenge method S256");
    return metadata;
}

void Discovery::metadata(const MetadataDone& done) {
    const auto present = known();
    if (present && BootClock::now() - metadataFetched_ < metadataLast) {
        done(present);
        return;
    }
    auto address = settings_.issuer;
    while (address.ends_with('/'))
        address.pop_back();
    fetch(address + "/.well-known/openid-configuration",
          [this, done, present](const net::HttpAnswer& answer) {
              auto outcome = read<Metadata>(answer, "description of itself", [this](const std::string& text) {
                  return Metadata::parse(text, settings_);
              });
              if (const auto* fetched = std::get_if<0>(&outcome)) {
                  const foundation::MutexLock lock(mutex_);
                  metadata_ = *fetched;
                  metadataFetched_ = BootClock::now();
              } else if (present && std::get<1>(outcome).kind == Problem::Kind::Later) {
                  outcome = present; // what was right an hour ago
              }
              done(std::move(outcome));
          });
}

void Discovery::keys(bool anew, const KeysDone& done) {
    const auto age = BootClock::now() - keysFetched_;
    if (keys_ && (anew ? age < betweenFetches && anew_ : age < keysLast)) {
        done(keys_);
        return;
    }
    metadata([this, anew, done](const Outcome<std::shared_ptr<const Metadata>>& metadata) {
        if (const auto* problem = std::get_if<Problem>(&metadata)) {
            done(*problem);
            return;
        }
        fetch(std::get<0>(metadata)->keysAddress, [this, anew, done](const net::HttpAnswer& answer) {
            auto outcome = read<Keys>(answer, "list of keys", parseKeys);
            if (const auto* fetched = std::get_if<0>(&outcome)) {
                keys_ = *fetched;
                keysFetched_ = BootClock::now();
                anew_ = anew;
            }
            done(std::move(outcome));
        });
    });
}

std::shared_ptr<const Metadata> Discovery::known() const {
    const foundation::MutexLock lock(mutex_);
    return metadata_;
}

void Discovery::fetch(const std::string& url, net::HttpDone done) const {
    net::HttpRequest request;
    request.url = url;
    request.caFile = settings_.caFile;
    network_.send(std::move(request), std::move(done));
}

} // namespace hshd::oidc
