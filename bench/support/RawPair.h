#pragma once

#include "bench/support/Process.h"

#include <array>
#include <cstddef>
#include <optional>

namespace zelkor::bench {

/// How many bytes a call and its reply take on the wire.
struct CallBytes {
    std::size_t request;
    std::size_t reply;
};

/// The least that a call between two processes can cost: two connected blocking Unix-domain sockets, with
/// another process that reads so many bytes and answers with so many. One write and one read on each side,
/// nothing else.
class RawPair {
public:
    explicit RawPair(CallBytes bytes);
    ~RawPair();
    RawPair(const RawPair&) = delete;
    RawPair& operator=(const RawPair&) = delete;

    void roundTrip();
    pid_t otherProcess() const noexcept { return echo_->pid(); }

private:
    const CallBytes bytes_;
    std::array<int, 2> sockets_{};
    std::optional<Child> echo_;
};

} // namespace zelkor::bench
