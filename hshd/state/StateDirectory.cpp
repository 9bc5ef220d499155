#include "hshd/state/StateDirectory.h"

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace hshd {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void failErrno(const std::string& doing) {
    throw std::runtime_error("cannot " + doing + ": " + std::generic_category().message(errno));
}

void checkPrivate(const fs::path& path, const struct stat& status, const char* mode) {
    if (status.st_uid != ::geteuid())
        throw std::runtime_error("'" + path.string() + "' belongs to another user (uid " +
                                 std::to_string(status.st_uid) + "); choose another --state-dir");
    if ((status.st_mode & 077U) != 0)
        throw std::runtime_error("'" + path.string() +
                                 "' holds secrets but is open to other users; run: chmod " + mode + " '" +
                                 path.string() + "'");
}

fs::path createDirectory(fs::path path) {
    if (path.empty())
        throw std::runtime_error("the state directory's name is empty; give one with --state-dir");
    path = fs::absolute(path).lexically_normal();
    if (!path.has_filename())
        path = path.parent_path(); // "dir/": the same directory, but lstat() would follow a link
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    if (error)
        throw std::runtime_error("cannot create '" + path.parent_path().string() + "': " + error.message());
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        failErrno("create the state directory '" + path.string() + "'");
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        failErrno("read the state directory '" + path.string() + "'");
    if (!S_ISDIR(status.st_mode))
        throw std::runtime_error("'" + path.string() + "' is not a directory; choose another --state-dir");
    checkPrivate(path, status, "700");
    return path;
}

std::string readOwner(int fd) {
    char text[32];
    const ssize_t size = ::pread(fd, text, sizeof text, 0);
    return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : "unknown";
}

foundation::UniqueFd openPrivate(const fs::path& path) {
    foundation::UniqueFd file(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600));
    if (!file)
        failErrno("open '" + path.string() + "'");
    struct stat status {};
    if (::fstat(file.get(), &status) != 0)
        failErrno("read '" + path.string() + "'");
    if (!S_ISREG(status.st_mode))
        throw std::runtime_error("'" + path.string() + "' is not an ordinary file; move it away");
    checkPrivate(path, status, "600");
    return file;
}

foundation::UniqueFd lock(const fs::path& directory) {
    // Another name than the lock of the socket, which may be in the same directory.
    foundation::UniqueFd file = openPrivate(directory / "hshd.state.lock");
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK)
            failErrno("lock the state directory '" + directory.string() + "'");
        throw std::runtime_error("another hshd (process " + readOwner(file.get()) +
                                 ") uses the state directory '" + directory.string() +
                                 "'; stop it or choose another --state-dir");
    }
    // The process id only serves the message above; a failure to write it costs nothing else.
    const std::string pid = std::to_string(::getpid());
    [[maybe_unused]] const bool written =
        ::ftruncate(file.get(), 0) == 0 && ::pwrite(file.get(), pid.data(), pid.size(), 0) > 0;
    return file;
}

} // namespace

StateDirectory::StateDirectory(fs::path path) : path_(createDirectory(std::move(path))), lock_(lock(path_)) {}

fs::path StateDirectory::privateFile(const char* name) const {
    const fs::path file = path_ / name;
    openPrivate(file);
    return file;
}

} // namespace hshd
