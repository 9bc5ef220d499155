#include "hshd/secrets/Vault.h"

#include <array>
#include <sodium.h>

namespace hshd {
namespace {

const unsigned char* bytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}
unsigned char* bytes(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

constexpr std::size_t headerBytes = crypto_secretstream_xchacha20poly1305_HEADERBYTES;
constexpr std::size_t addedBytes = headerBytes + crypto_secretstream_xchacha20poly1305_ABYTES;
static_assert(Vault::keyBytes == crypto_secretstream_xchacha20poly1305_KEYBYTES);

} // namespace

Vault::Vault(Secret key) : key_(std::move(key)) {
    if (key_.view().size() != keyBytes)
        throw std::invalid_argument("a key has " + std::to_string(keyBytes) + " bytes");
}

Secret Vault::newKey() {
    std::array<char, keyBytes> key{};
    randombytes_buf(key.data(), key.size());
    Secret secret({key.data(), key.size()});
    wipe(key);
    return secret;
}

std::string Vault::seal(std::string_view text, std::string_view purpose) const {
    if (text.empty())
        return {};
    std::string sealed(text.size() + addedBytes, '\0');
    crypto_secretstream_xchacha20poly1305_state state;
    crypto_secretstream_xchacha20poly1305_init_push(&state, bytes(sealed), bytes(key_.view()));
    crypto_secretstream_xchacha20poly1305_push(&state, bytes(sealed) + headerBytes, nullptr, bytes(text),
                                               text.size(), bytes(purpose), purpose.size(),
                                               crypto_secretstream_xchacha20poly1305_TAG_FINAL);
    sodium_memzero(&state, sizeof state);
    return sealed;
}

Secret Vault::open(std::string_view sealed, std::string_view purpose) const {
    if (sealed.empty())
        return {};
    if (sealed.size() < addedBytes)
        throw Unsealable();
    Wiped text(std::string(sealed.size() - addedBytes, '\0'));
    crypto_secretstream_xchacha20poly1305_state state;
    unsigned char tag = 0;
    const bool opened =
        crypto_secretstream_xchacha20poly1305_init_pull(&state, bytes(sealed), bytes(key_.view())) == 0 &&
        crypto_secretstream_xchacha20poly1305_pull(&state, bytes(*text), nullptr, &tag,
                                                   bytes(sealed) + headerBytes, sealed.size() - headerBytes,
                                                   bytes(purpose), purpose.size()) == 0 &&
        tag == crypto_secretstream_xchacha20poly1305_TAG_FINAL;
    sodium_memzero(&state, sizeof state);
    if (!opened)
        throw Unsealable();
    return Secret(*text);
}

std::string Vault::keyId() const {
    std::array<unsigned char, crypto_generichash_BYTES> hash{};
    constexpr std::string_view use = "hshd key id";
    crypto_generichash(hash.data(), hash.size(), bytes(use), use.size(), bytes(key_.view()), keyBytes);
    return toHex({reinterpret_cast<const char*>(hash.data()), 8});
}

std::string toHex(std::string_view raw) {
    std::string text(raw.size() * 2 + 1, '\0');
    sodium_bin2hex(text.data(), text.size(), bytes(raw), raw.size());
    text.pop_back();
    return text;
}

Secret fromHex(std::string_view text) {
    Wiped raw(std::string(text.size() / 2, '\0'));
    std::size_t size = 0;
    const char* end = nullptr;
    if (sodium_hex2bin(bytes(*raw), raw->size(), text.data(), text.size(), nullptr, &size, &end) != 0 ||
        end != text.data() + text.size() || size != raw->size())
        return {};
    return Secret(*raw);
}

} // namespace hshd
