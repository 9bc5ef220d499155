#pragma once

#include "hshd/secrets/Secret.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace hshd {

/// Seals secrets for the disk: encrypted, and of no use when changed, exchanged or put elsewhere.
/// Thread-safe.
class Vault {
public:
    static constexpr std::size_t keyBytes = 32;

    /// What was to be opened was sealed with another key, for another purpose, or is damaged.
    class Unsealable : public std::runtime_error {
    public:
        Unsealable() : std::runtime_error("a sealed secret cannot be opened with this key") {}
    };

    /// @throws std::invalid_argument unless the key has keyBytes bytes.
    explicit Vault(Secret key);
    static Secret newKey();

    /// Never the same twice; empty for an empty text. @param purpose to be named again by open()
    std::string seal(std::string_view text, std::string_view purpose) const;
    /// @throws Unsealable
    Secret open(std::string_view sealed, std::string_view purpose) const;
    /// Tells one key from another, and nothing about it.
    std::string keyId() const;
    const Secret& key() const noexcept { return key_; }

private:
    const Secret key_;
};

/// Bytes as a text of hexadecimal digits.
std::string toHex(std::string_view bytes);
/// The bytes, or nothing unless the text is their hexadecimal digits.
Secret fromHex(std::string_view text);

} // namespace hshd
