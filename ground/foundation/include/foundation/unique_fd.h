#pragma once

#include <unistd.h>
#include <utility>

namespace foundation {

/// Owns a file descriptor; -1 when empty.
class UniqueFd {
public:
    UniqueFd() noexcept = default;
    explicit UniqueFd(int fd) noexcept : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        UniqueFd(std::move(other)).swap(*this);
        return *this;
    }
    ~UniqueFd() {
        if (fd_ >= 0)
            ::close(fd_);
    }

    int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }
    int release() noexcept { return std::exchange(fd_, -1); }

private:
    void swap(UniqueFd& other) noexcept { std::swap(fd_, other.fd_); }

    int fd_ = -1;
};

} // namespace foundation
