#pragma once

#include <foundation/unique_fd.h>

#include <filesystem>

namespace hshd {

/// A directory that belongs to this user alone and, as long as the object lives, to this process alone.
class StateDirectory {
public:
    /// Creates the directory, with mode 0700, when it is missing, and locks it.
    /// @throws std::runtime_error saying what to do: it is another user's, open to others, not a directory,
    /// or in use by another daemon.
    explicit StateDirectory(std::filesystem::path path);

    const std::filesystem::path& path() const noexcept { return path_; }

    /// Creates a file of mode 0600 in the directory unless it is there.
    /// @throws std::runtime_error saying what to do: it is another user's, open to others, or no ordinary
    /// file.
    std::filesystem::path privateFile(const char* name) const;

private:
    std::filesystem::path path_;
    foundation::UniqueFd lock_; // flock() ends with the descriptor, also when the process is killed
};

} // namespace hshd
