#include "transport/server/Listener.h"

#include "transport/wire/Protocol.h"
#include "transport/wire/SocketDirectory.h"

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>

namespace agent::spf::transport {

namespace {

[[noreturn]] void fail(const std::string& what, const std::filesystem::path& path) {
    throw std::system_error(errno, std::generic_category(), what + ' ' + path.string());
}

} // namespace

Listener::Listener(const std::filesystem::path& directory) : path_(directory / wire::socketName) {
    wire::makeSocketDirectory(directory);
    claim(directory);
    listen(directory);
}

Listener::~Listener() {
    struct stat now {};
    if (::lstat(path_.c_str(), &now) == 0 && now.st_dev == device_ && now.st_ino == inode_)
        ::unlink(path_.c_str());
    // The lock file stays: removing it would let two successors lock two different files.
}

void Listener::claim(const std::filesystem::path& directory) {
    const auto path = directory / wire::lockName;
    lock_ = foundation::UniqueFd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock_)
        fail("The lock file cannot be opened:", path);
    if (::flock(lock_.get(), LOCK_EX | LOCK_NB) == 0)
        return;
    if (errno != EWOULDBLOCK)
        fail("The lock file cannot be locked:", path);
    throw std::runtime_error("Another daemon is listening in " + directory.string() +
                             ". Stop it, or choose another socket directory.");
}

void Listener::listen(const std::filesystem::path& directory) {
    // The socket gets its name when connections are possible already: who watches the directory can connect
    // at once, and a file left behind is replaced in one step.
    const auto unready = directory / (std::string(wire::socketName) + ".new");
    const auto address = wire::socketAddress(unready);
    socket_ = foundation::UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket_)
        fail("No socket for", path_);
    ::unlink(unready.c_str());
    if (::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        fail("The socket cannot be bound:", unready);
    struct stat made {};
    if (::chmod(unready.c_str(), 0600) != 0 || ::listen(socket_.get(), SOMAXCONN) != 0 ||
        ::lstat(unready.c_str(), &made) != 0 || ::rename(unready.c_str(), path_.c_str()) != 0) {
        const int error = errno;
        ::unlink(unready.c_str());
        errno = error;
        fail("The socket cannot be set up:", path_);
    }
    device_ = made.st_dev;
    inode_ = made.st_ino;
}

} // namespace agent::spf::transport
