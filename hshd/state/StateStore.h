#pragma once

#include "hshd/state/PersistentState.h"
#include "hshd/state/StateDirectory.h"
#include "hshd/state/sqlite/Database.h"

#include <filesystem>
#include <memory>

namespace hshd {

/// The daemon's state in the file "hshd.sqlite" of a state directory, of which this process is the only user.
///
/// A state is saved whole in one transaction, so a process killed at any moment leaves the state before or
/// after the save. A saved state survives a loss of power. What a save leaves out is overwritten in the file,
/// and the rollback journal is deleted with each save: a token that was signed out cannot be read back from
/// the directory.
///
/// One thread at a time.
class StateStore {
public:
    static constexpr const char* fileName = "hshd.sqlite";

    /// Opens the state, or makes a new one. A damaged file is never used nor deleted: it is renamed to
    /// "hshd.sqlite.damaged-<time>" with one line at level 512, and a new state begins.
    /// @throws std::runtime_error: the directory cannot be used (see StateDirectory), or the file cannot be
    /// read, or is another program's or a newer hshd's.
    explicit StateStore(const std::filesystem::path& directory);

    /// @throws sqlite::Error
    PersistentState load() const;
    /// Returns once the state is on the disk. @throws sqlite::Error; the file then holds the former state.
    void save(const PersistentState& state);

    const std::filesystem::path& file() const noexcept { return file_; }

private:
    void open();
    void keepAside(const char* reason);

    StateDirectory directory_;
    std::filesystem::path file_;
    std::unique_ptr<sqlite::Database> database_; // never null once constructed
};

} // namespace hshd
