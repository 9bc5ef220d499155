#include "transport/wire/SocketDirectory.h"

#include <agent/spf/transport/SocketDirectory.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace agent::spf::transport {

std::filesystem::path defaultSocketDirectory() {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime == '/')
        return std::filesystem::path(runtime) / "zelkor";
    return std::filesystem::temp_directory_path() / ("zelkor-" + std::to_string(::geteuid()));
}

namespace wire {

namespace {

[[noreturn]] void unsafe(const std::filesystem::path& directory, const std::string& what) {
    throw std::runtime_error("The socket directory " + directory.string() + ' ' + what);
}

/// With a slash or a dot at the end a symbolic link would be examined as what it points to.
std::filesystem::path itself(std::filesystem::path directory) {
    while ((directory.filename().empty() || directory.filename() == ".") &&
           directory.parent_path() != directory && !directory.parent_path().empty())
        directory = directory.parent_path();
    return directory;
}

} // namespace

bool checkSocketDirectory(const std::filesystem::path& given) {
    const auto directory = itself(given);
    struct stat status {};
    if (::lstat(directory.c_str(), &status) != 0) {
        if (errno == ENOENT)
            return false;
        unsafe(directory, std::string("cannot be examined: ") + std::strerror(errno) +
                              ". Choose another directory or repair the access to this one.");
    }
    if (!S_ISDIR(status.st_mode))
        unsafe(directory, "is not a directory. Remove it or choose another one.");
    if (status.st_uid != ::geteuid())
        unsafe(directory, "belongs to the user with the id " + std::to_string(status.st_uid) +
                              ". Choose a directory of your own.");
    if ((status.st_mode & 077U) != 0)
        unsafe(directory, "is open to other users. Run: chmod 700 " + directory.string());
    return true;
}

void makeSocketDirectory(const std::filesystem::path& given) {
    const auto directory = itself(given);
    if (checkSocketDirectory(directory))
        return;
    std::error_code error;
    std::filesystem::create_directories(directory.parent_path(), error);
    if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
        unsafe(directory, std::string("cannot be created: ") + std::strerror(errno) +
                              ". Create it with mode 700 or choose another one.");
    if (!checkSocketDirectory(directory))
        unsafe(directory, "vanished while it was being created. Try again.");
}

sockaddr_un socketAddress(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto& text = path.native();
    if (text.size() >= sizeof address.sun_path)
        throw std::runtime_error("The socket path " + text + " is too long: " + std::to_string(text.size()) +
                                 " bytes, the system takes " + std::to_string(sizeof address.sun_path - 1) +
                                 ". Choose a directory with a shorter path.");
    std::memcpy(address.sun_path, text.c_str(), text.size() + 1);
    return address;
}

Peer peerOf(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        throw std::system_error(errno, std::generic_category(), "The peer's user cannot be determined");
    return {credentials.pid, credentials.uid};
}

std::string distrust(const Peer& peer) {
    if (peer.uid == ::geteuid())
        return {};
    return "the process " + std::to_string(peer.pid) + " at the other end runs as the user with the id " +
           std::to_string(peer.uid) + ", not as this one's";
}

} // namespace wire
} // namespace agent::spf::transport
