#pragma once

#include <foundation/unique_fd.h>

#include <filesystem>

namespace agent::spf::transport {

/// The daemon's claim on a socket directory and the listening socket in it. One process holds the claim at a
/// time; a socket file that a killed daemon left behind is replaced, a living daemon's never.
class Listener {
public:
    /// @throws std::runtime_error saying what to do: unsafe directory, another daemon is there, the path is
    /// too long.
    explicit Listener(const std::filesystem::path& directory);
    /// Removes the socket file, if it is still this one's, and gives up the claim.
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// The listening socket, once.
    foundation::UniqueFd takeSocket() noexcept { return std::move(socket_); }

private:
    void claim(const std::filesystem::path& directory);
    void listen(const std::filesystem::path& directory);

    std::filesystem::path path_;
    foundation::UniqueFd lock_;
    foundation::UniqueFd socket_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace agent::spf::transport
