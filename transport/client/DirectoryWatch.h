#pragma once

#include <foundation/unique_fd.h>

#include <filesystem>

namespace agent::spf::transport {

/// Tells when something changes in a directory, or, while that is missing, in the nearest one above it. Not
/// thread-safe.
class DirectoryWatch {
public:
    explicit DirectoryWatch(std::filesystem::path directory);

    /// Readable after a change; -1 unless armed.
    int fd() const noexcept { return inotify_.get(); }
    /// Forgets the changes so far and watches what is there now. What changes after this makes fd() readable,
    /// so look at the directory after this, not before.
    /// @throws std::system_error when the system has no means left to watch it; it is not armed then.
    void arm();
    /// Gives the system's means back, of which a user has few (128 by default, for all programs).
    void disarm() noexcept;

private:
    std::filesystem::path nearest() const;
    void drain() const noexcept;
    void watchNearest();

    const std::filesystem::path directory_;
    foundation::UniqueFd inotify_;
    int watch_ = -1;
};

} // namespace agent::spf::transport
