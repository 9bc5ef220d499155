#include "hshd/identity/oidc/ResultPage.h"

#include <array>
#include <sodium.h>

namespace hshd::oidc {
namespace {

constexpr std::string_view style = R"(
:root { color-scheme: light dark; --back: #f4f5f7; --card: #ffffff; --text: #1d2330; --quiet: #5a6376; --good: #1a7f4b; --bad: #b3261e; --line: #dfe3ea; }
@media (prefers-color-scheme: dark) { :root { --back: #14171d; --card: #1e222b; --text: #e9ecf2; --quiet: #a3acbd; --good: #5fd39a; --bad: #ff8a80; --line: #323845; } }
* { box-sizing: border-box; }
body { margin: 0; min-height: 100vh; display: grid; place-items: center; background: var(--back); color: var(--text); font: 17px/1.5 system-ui, "Segoe UI", Roboto, "Noto Sans", sans-serif; }
main { width: min(30rem, calc(100vw - 2rem)); padding: 2.5rem; background: var(--card); border: 1px solid var(--line); border-radius: 14px; }
svg { display: block; width: 3rem; height: 3rem; }
.good { color: var(--good); } .bad { color: var(--bad); }
h1 { margin: 1rem 0 .5rem; font-size: 1.5rem; line-height: 1.25; }
p { margin: .5rem 0 0; overflow-wrap: anywhere; } .next { color: var(--quiet); }
)";

constexpr std::string_view tick =
    R"(<svg class="good" viewBox="0 0 24 24" fill="none" stroke="currentColor" stroke-width="2" stroke-linecap="round" stroke-linejoin="round" aria-hidden="true"><circle cx="12" cy="12" r="10"/><path d="m7.5 12.5 3 3 6-6.5"/></svg>)";
constexpr std::string_view cross =
    R"(<svg class="bad" viewBox="0 0 24 24" fill="none" stroke="currentColor" stroke-width="2" stroke-linecap="round" stroke-linejoin="round" aria-hidden="true"><circle cx="12" cy="12" r="10"/><path d="M12 7v6m0 3.5v.01"/></svg>)";

std::string escaped(std::string_view text) {
    std::string html;
    for (const char c : text) {
        if (c == '<')
            html += "&lt;";
        else if (c == '>')
            html += "&gt;";
        else if (c == '&')
            html += "&amp;";
        else if (c == '"')
            html += "&quot;";
        else
            html += c;
    }
    return html;
}

} // namespace

std::string resultPage(bool signedIn, std::string_view text) {
    const std::string title = signedIn ? "You are signed in" : "You are not signed in";
    std::string html = "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width\">\n"
                       "<link rel=\"icon\" href=\"data:,\">\n<title>" +
                       title + "</title>\n<style>";
    html += style;
    html += "</style>\n</head>\n<body>\n<main>\n";
    html += signedIn ? tick : cross;
    html += "\n<h1>" + title + "</h1>\n<p>" + escaped(text) + "</p>\n<p class=\"next\">";
    html += signedIn ? "You can close this page and go back to your application."
                     : "Close this page, go back to your application and try again there.";
    return html + "</p>\n</main>\n</body>\n</html>\n";
}

std::string resultPagePolicy() {
    std::array<unsigned char, crypto_hash_sha256_BYTES> hash{};
    crypto_hash_sha256(hash.data(), reinterpret_cast<const unsigned char*>(style.data()), style.size());
    std::array<char, sodium_base64_ENCODED_LEN(crypto_hash_sha256_BYTES, sodium_base64_VARIANT_ORIGINAL)>
        text{};
    sodium_bin2base64(text.data(), text.size(), hash.data(), hash.size(), sodium_base64_VARIANT_ORIGINAL);
    return "default-src 'none'; style-src 'sha256-" + std::string(text.data()) +
           "'; img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
}

} // namespace hshd::oidc
