#include "hshd/net/Url.h"

#include <array>
#include <cctype>
#include <curl/curl.h>
#include <memory>

namespace hshd::net {
namespace {

using Handle = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string part(CURLU* url, CURLUPart which) {
    char* text = nullptr;
    if (curl_url_get(url, which, &text, 0) != CURLUE_OK)
        return {};
    std::string result(text);
    curl_free(text);
    return result;
}

bool unreserved(unsigned char c) {
    return std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_' || c == '~';
}

void appendEncoded(std::string& text, std::string_view raw) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    for (const unsigned char c : raw) {
        if (unreserved(c))
            text += static_cast<char>(c);
        else
            text.append({'%', digits[c >> 4U], digits[c & 15U]});
    }
}

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

std::string decoded(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? hexValue(text[i + 1]) : -1;
        const int low = high >= 0 ? hexValue(text[i + 2]) : -1;
        if (low >= 0) {
            result += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            result += text[i] == '+' ? ' ' : text[i];
        }
    }
    return result;
}

} // namespace

std::optional<Url> Url::parse(const std::string& text) {
    const Handle handle(curl_url(), &curl_url_cleanup);
    if (!handle || curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), CURLU_DISALLOW_USER) != CURLUE_OK)
        return std::nullopt;
    Url url{part(handle.get(), CURLUPART_SCHEME), part(handle.get(), CURLUPART_HOST),
            part(handle.get(), CURLUPART_PATH), part(handle.get(), CURLUPART_QUERY)};
    if ((url.scheme != "https" && url.scheme != "http") || url.host.empty() ||
        text.find('#') != std::string::npos || text.find('\0') != std::string::npos)
        return std::nullopt;
    if (url.host.starts_with('[') && url.host.ends_with(']'))
        url.host = url.host.substr(1, url.host.size() - 2);
    return url;
}

bool Url::isLoopback() const {
    if (host == "localhost" || host == "::1")
        return true;
    // An address, and no name such as 127.0.0.1.example.org.
    return host.starts_with("127.") && host.find_first_not_of("0123456789.") == std::string::npos;
}

std::string encodeForm(const Fields& fields) {
    std::string text;
    for (const auto& [name, value] : fields) {
        if (value.empty())
            continue;
        if (!text.empty())
            text += '&';
        appendEncoded(text, name);
        text += '=';
        appendEncoded(text, value);
    }
    return text;
}

std::optional<std::map<std::string, std::string>> decodeForm(std::string_view text) {
    std::map<std::string, std::string> fields;
    while (!text.empty()) {
        const auto field = text.substr(0, text.find('&'));
        text.remove_prefix(std::min(text.size(), field.size() + 1));
        if (field.empty())
            continue;
        const auto equals = field.find('=');
        const auto value =
            equals == std::string_view::npos ? std::string() : decoded(field.substr(equals + 1));
        if (!fields.emplace(decoded(field.substr(0, equals)), value).second)
            return std::nullopt;
    }
    return fields;
}

} // namespace hshd::net
