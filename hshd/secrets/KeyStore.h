#pragma once

#include "hshd/secrets/Secret.h"
#include "hshd/state/StateDirectory.h"

#include <filesystem>
#include <optional>
#include <string>

namespace hshd {

/// Where the key lies that seals the secrets of a state.
enum class KeyPlace {
    Automatic,  ///< where it was; a new one: a credential of systemd's, else the keyring, else a file
    Keyring,    ///< the desktop's Secret Service
    File,       ///< "hshd.key" in the state directory, mode 0600
    Credential, ///< "hshd.key" of systemd's credentials for this service
};

const char* toText(KeyPlace place);
/// Automatic for any other text.
KeyPlace keyPlace(std::string_view text);

/// Finds and makes keys. Used by one thread. @throws std::runtime_error from all functions, saying what to do
/// when a place cannot be reached, or what is there is no key.
class KeyStore {
public:
    static constexpr const char* fileName = "hshd.key";

    /// @param keyring the program hshd-keyring: what it needs is no part of a daemon that runs for months.
    /// Empty: there is no keyring.
    KeyStore(const StateDirectory& directory, std::filesystem::path keyring)
        : directory_(directory), keyring_(std::move(keyring)) {}

    /// Where a new key is to be when nobody says so.
    KeyPlace best() const;
    /// Nothing when there is none.
    std::optional<Secret> find(KeyPlace place) const;
    /// The one that is there, or a new one. Returns when it is kept.
    Secret findOrMake(KeyPlace place) const;

private:
    /// Its output, or nothing when it found no key. @param input is written to it.
    std::optional<std::string> runKeyring(const char* command, std::string_view input = {}) const;

    const StateDirectory& directory_;
    const std::filesystem::path keyring_;
};

} // namespace hshd
