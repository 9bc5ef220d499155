#include "hshd/identity/accounts/PasswordHash.h"

#include <array>
#include <sodium.h>
#include <stdexcept>

namespace hshd::password {
namespace {

void prepare() {
    static const int ready = sodium_init();
    if (ready < 0)
        throw std::runtime_error("the cryptographic library cannot be used");
}

} // namespace

std::string hash(const std::string& password) {
    prepare();
    std::array<char, crypto_pwhash_STRBYTES> text{};
    if (crypto_pwhash_str_alg(text.data(), password.data(), password.size(),
                              crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE,
                              crypto_pwhash_ALG_ARGON2ID13) != 0)
        throw std::runtime_error("there is not enough memory to hash a password");
    return text.data();
}

bool matches(const std::string& hash, std::string_view password) noexcept {
    try {
        prepare();
        return isHash(hash) && crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
    } catch (...) {
        return false;
    }
}

bool isHash(const std::string& text) noexcept {
    return text.starts_with("$argon2id$") && text.size() < crypto_pwhash_STRBYTES &&
           crypto_pwhash_str_needs_rehash(text.c_str(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                                          crypto_pwhash_MEMLIMIT_INTERACTIVE) >= 0;
}

const std::string& unmatchable() {
    static const std::string text = [] {
        prepare();
        std::string random(32, '\0');
        randombytes_buf(random.data(), random.size());
        return hash(random);
    }();
    return text;
}

} // namespace hshd::password
