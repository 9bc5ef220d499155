#pragma once

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <sys/un.h>

namespace agent::spf::transport::wire {

/// Whether a directory that belongs to this user alone is there.
/// @return false when there is none. @throws std::runtime_error, saying what to do, for anything else in its
/// place: a file or symbolic link, another owner, access for others.
bool checkSocketDirectory(const std::filesystem::path& directory);

/// Makes the directory, and what is missing above it, with mode 0700, and checks it.
/// @throws std::runtime_error saying what to do.
void makeSocketDirectory(const std::filesystem::path& directory);

/// @throws std::runtime_error when the path does not fit into a socket address.
sockaddr_un socketAddress(const std::filesystem::path& path);

struct Peer {
    pid_t pid;
    uid_t uid;
};
/// Who is at the other end, from the kernel. @throws std::system_error
Peer peerOf(int socket);

/// Empty when the peer runs as this process's user; else why it is not trusted.
std::string distrust(const Peer& peer);

} // namespace agent::spf::transport::wire
