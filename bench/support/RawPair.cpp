#include "bench/support/RawPair.h"

#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace zelkor::bench {

namespace {

constexpr std::size_t room = 64 * 1024;

void send(int socket, std::size_t count) {
    static const std::array<char, room> bytes{};
    check(::write(socket, bytes.data(), count) == static_cast<ssize_t>(count), "write");
}

bool receive(int socket, std::size_t count) {
    static std::array<char, room> buffer;
    for (std::size_t got = 0; got < count;) {
        const auto now = ::read(socket, buffer.data(), count - got);
        if (now <= 0)
            return false;
        got += static_cast<std::size_t>(now);
    }
    return true;
}

} // namespace

RawPair::RawPair(CallBytes bytes) : bytes_(bytes) {
    if (bytes.request > room || bytes.reply > room)
        throw std::length_error("the frames are larger than the ping-pong's buffer");
    check(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets_.data()) == 0, "socketpair");
    echo_.emplace([this] {
        ::close(sockets_[0]);
        while (receive(sockets_[1], bytes_.request))
            send(sockets_[1], bytes_.reply);
    });
    ::close(sockets_[1]);
}

RawPair::~RawPair() {
    ::close(sockets_[0]);
}

void RawPair::roundTrip() {
    send(sockets_[0], bytes_.request);
    if (!receive(sockets_[0], bytes_.reply))
        throw std::runtime_error("the ping-pong's other process has ended");
}

} // namespace zelkor::bench
