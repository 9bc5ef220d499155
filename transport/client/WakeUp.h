#pragma once

#include <foundation/thread_annotations.h>
#include <foundation/unique_fd.h>

#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>

namespace agent::spf::transport {

/// Wakes a thread that sleeps in poll(2). Thread-safe.
class WakeUp {
public:
    /// @throws std::system_error without descriptors.
    WakeUp() : fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!fd_)
            throw std::system_error(errno, std::generic_category(), "eventfd");
    }

    int fd() const noexcept {
        const foundation::MutexLock lock(mutex_);
        return fd_.get();
    }
    void wake() const noexcept {
        const std::uint64_t one = 1;
        const foundation::MutexLock lock(mutex_);
        if (fd_) [[maybe_unused]]
            const auto written = ::write(fd_.get(), &one, sizeof one);
    }
    void reset() const noexcept {
        std::uint64_t count = 0;
        const foundation::MutexLock lock(mutex_);
        [[maybe_unused]] const auto taken = ::read(fd_.get(), &count, sizeof count);
    }
    /// Nobody sleeps any more. wake() may still be called.
    void close() noexcept {
        const foundation::MutexLock lock(mutex_);
        fd_ = {};
    }

private:
    mutable foundation::Mutex mutex_; // a leaf
    foundation::UniqueFd fd_ GUARDED_BY(mutex_);
};

} // namespace agent::spf::transport
