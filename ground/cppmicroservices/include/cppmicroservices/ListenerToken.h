#pragma once

#include <cppmicroservices/FrameworkExport.h>

#include <cstdint>
#include <utility>

namespace cppmicroservices {

/// Names an added listener, for its removal. Dropping it does not remove the listener.
class ListenerToken {
public:
    ListenerToken() noexcept = default;
    ListenerToken(const ListenerToken&) = delete;
    ListenerToken& operator=(const ListenerToken&) = delete;
    ListenerToken(ListenerToken&& other) noexcept : id_(std::exchange(other.id_, 0)) {}
    ListenerToken& operator=(ListenerToken&& other) noexcept {
        id_ = std::exchange(other.id_, 0);
        return *this;
    }

    explicit operator bool() const noexcept { return id_ != 0; }

private:
    explicit ListenerToken(std::uint64_t id) noexcept : id_(id) {}

    std::uint64_t id_ = 0;

    friend class BundleContext;
};

} // namespace cppmicroservices
