#include "bench/support/Signal.h"

#include "bench/support/Process.h"

#include <algorithm>
#include <array>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace zelkor::bench {

Signal::Signal() {
    check(::pipe(ends_) == 0, "pipe");
}

Signal::~Signal() {
    ::close(ends_[0]);
    ::close(ends_[1]);
}

void Signal::give() const {
    check(::write(ends_[1], "", 1) == 1, "write");
}

void Signal::giveByOutput() const {
    check(::dup2(ends_[1], STDOUT_FILENO) >= 0, "dup2");
}

void Signal::await(int count) const {
    std::array<char, 256> bytes{};
    while (count > 0) {
        pollfd readable{ends_[0], POLLIN, 0};
        if (::poll(&readable, 1, 60'000) != 1)
            throw std::runtime_error("a client process did not get where it should");
        const auto got = ::read(ends_[0], bytes.data(), std::min<std::size_t>(bytes.size(), count));
        check(got > 0, "read");
        count -= static_cast<int>(got);
    }
}

} // namespace zelkor::bench
