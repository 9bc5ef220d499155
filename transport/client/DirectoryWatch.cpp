#include "transport/client/DirectoryWatch.h"

#include <array>
#include <cerrno>
#include <sys/inotify.h>
#include <system_error>
#include <utility>

namespace agent::spf::transport {

namespace {
constexpr std::uint32_t changes =
    IN_CREATE | IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}
} // namespace

DirectoryWatch::DirectoryWatch(std::filesystem::path directory)
    : directory_(std::filesystem::absolute(directory)) {}

void DirectoryWatch::arm() {
    if (!inotify_) {
        inotify_ = foundation::UniqueFd(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
        if (!inotify_)
            fail("inotify is not available (raise fs.inotify.max_user_instances)");
    }
    drain();
    try {
        watchNearest();
    } catch (...) {
        disarm();
        throw;
    }
}

void DirectoryWatch::disarm() noexcept {
    inotify_ = foundation::UniqueFd();
    watch_ = -1;
}

std::filesystem::path DirectoryWatch::nearest() const {
    auto path = directory_;
    std::error_code error;
    while (path.has_relative_path() && !std::filesystem::is_directory(path, error))
        path = path.parent_path();
    return path;
}

void DirectoryWatch::drain() const noexcept {
    std::array<char, 4096> events;
    while (::read(inotify_.get(), events.data(), events.size()) > 0) {
    }
}

void DirectoryWatch::watchNearest() {
    for (;;) {
        const auto path = nearest();
        const int watch = ::inotify_add_watch(inotify_.get(), path.c_str(), changes);
        if (watch < 0 && errno != ENOENT && errno != ENOTDIR)
            fail("The directory " + path.string() + " cannot be watched (raise fs.inotify.max_user_watches)");
        if (watch < 0)
            continue; // vanished just now
        if (const int previous = std::exchange(watch_, watch); previous >= 0 && previous != watch)
            ::inotify_rm_watch(inotify_.get(), previous);
        // What was made between looking and watching would go unnoticed.
        if (nearest() == path)
            return;
    }
}

} // namespace agent::spf::transport
