#pragma once

#include "hshd/secrets/KeyStore.h"
#include "hshd/secrets/Vault.h"
#include "hshd/state/PersistentState.h"
#include "hshd/state/StateDirectory.h"
#include "hshd/state/sqlite/Database.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace hshd {

/// The daemon's state in the file "hshd.sqlite" of a state directory, of which this process is the only user.
///
/// A state is saved whole in one transaction, so a process killed at any moment leaves the state before or
/// after the save. A saved state survives a loss of power. What a save leaves out is overwritten in the file,
/// and the rollback journal is deleted with each save: a token that was signed out cannot be read back from
/// the directory.
///
/// Tokens are in it sealed only, with a key that is kept elsewhere: @see KeyStore. Without that key the
/// daemon starts signed out, with one line at level 512.
///
/// One thread at a time.
class StateStore {
public:
    static constexpr const char* fileName = "hshd.sqlite";

    /// Opens the state, or makes a new one. A damaged file is never used nor deleted: it is renamed to
    /// "hshd.sqlite.damaged-<time>" with one line at level 512, and a new state begins.
    /// @param keyring the program hshd-keyring; empty: there is none
    /// @throws std::runtime_error: the directory cannot be used (see StateDirectory), or the file cannot be
    /// read, or is another program's or a newer hshd's, or the key's place cannot be reached.
    explicit StateStore(const std::filesystem::path& directory, KeyPlace place = KeyPlace::File,
                        const std::filesystem::path& keyring = {});

    /// @throws sqlite::Error
    PersistentState load() const;
    /// Returns once the state is on the disk. @throws sqlite::Error; the file then holds the former state.
    void save(const PersistentState& state);

    const std::filesystem::path& file() const noexcept { return file_; }
    const std::filesystem::path& directory() const noexcept { return directory_.path(); }
    /// With the key that seals the secrets of this state.
    const Vault& vault() const noexcept { return *vault_; }

private:
    void open(KeyPlace place, const std::filesystem::path& keyring);
    void create();
    /// Seals with this key what was sealed with another, or not at all.
    void sealAnew(const KeyStore& keys, KeyPlace formerPlace);
    void forgetSecrets() const;
    void keepAside(const char* reason);

    StateDirectory directory_;
    std::filesystem::path file_;
    std::unique_ptr<sqlite::Database> database_; // never null once constructed
    std::optional<Vault> vault_;                 // as well
    KeyPlace keyPlace_ = KeyPlace::File;
};

} // namespace hshd
