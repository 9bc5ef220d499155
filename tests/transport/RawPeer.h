#pragma once

#include "transport/wire/Frame.h"
#include "transport/wire/FrameBuffer.h"
#include "transport/wire/Protocol.h"
#include "transport/wire/SocketDirectory.h"

#include <foundation/unique_fd.h>

#include <filesystem>
#include <functional>
#include <poll.h>
#include <sys/socket.h>
#include <vector>

namespace transport_test {

namespace wire = agent::spf::transport::wire;

using Bytes = std::vector<std::byte>;
using Fill = std::function<void(wire::Message::Builder)>;

inline Bytes frame(const Fill& fill) {
    wire::FrameBuilder builder;
    fill(builder.message());
    Bytes bytes;
    builder.appendTo(bytes);
    return bytes;
}

inline void fillHello(wire::Message::Builder message) {
    auto hello = message.initHello();
    hello.setProtocolVersion(wire::protocolVersion);
    hello.setFrameBytes(1 << 20);
    hello.setClientId("raw");
}

/// A socket that is bound, or connected, to the daemon's place in a directory.
inline foundation::UniqueFd socketAt(const std::filesystem::path& directory,
                                     int (&attach)(int, const sockaddr*, socklen_t)) {
    const auto address = wire::socketAddress(directory / wire::socketName);
    foundation::UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM, 0));
    if (attach(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("cannot bind or connect");
    return fd;
}

/// An end of a connection that keeps to no protocol but what the test sends.
class RawPeer {
public:
    explicit RawPeer(int fd) : fd_(fd) {}
    /// Connects to the daemon in a directory.
    explicit RawPeer(const std::filesystem::path& directory) : fd_(socketAt(directory, ::connect)) {}

    void send(const Bytes& bytes) {
        for (std::size_t at = 0; at < bytes.size();) {
            const auto n = ::send(fd_.get(), bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
            if (n <= 0)
                return; // the other end has had enough
            at += static_cast<std::size_t>(n);
        }
    }
    void send(const Fill& fill) { send(frame(fill)); }

    /// Calls `visit` with the next message. False when the other end closed, or nothing came for long.
    bool receive(const std::function<void(wire::Message::Reader)>& visit = [](auto) {}) {
        for (;;) {
            if (const auto body = buffer_.next()) {
                visit(wire::FrameReader(*body, {}).message());
                return true;
            }
            if (!readable(60'000))
                return false;
            const auto room = buffer_.prepare();
            const auto n = ::recv(fd_.get(), room.data(), room.size(), 0);
            if (n <= 0)
                return false;
            buffer_.commit(static_cast<std::size_t>(n));
        }
    }
    /// Reads to the end; whether it came, and was not just silence.
    bool closedByOther() {
        while (receive()) {
        }
        return readable(0);
    }
    void close() { fd_ = {}; }

private:
    bool readable(int milliseconds) {
        pollfd fd{fd_.get(), POLLIN, 0};
        return ::poll(&fd, 1, milliseconds) == 1;
    }

    foundation::UniqueFd fd_;
    wire::FrameBuffer buffer_{1 << 20};
};

/// A daemon that welcomes one client, and does what the test says from then on.
class RawDaemon {
public:
    explicit RawDaemon(const std::filesystem::path& directory) : listening_(socketAt(directory, ::bind)) {
        if (::listen(listening_.get(), 8) != 0)
            throw std::runtime_error("cannot listen");
    }
    /// Waits for the client's hello and answers.
    RawPeer accept(const Fill& answer) {
        RawPeer peer(::accept(listening_.get(), nullptr, nullptr));
        peer.receive();
        peer.send(answer);
        return peer;
    }
    RawPeer welcome() {
        return accept([](wire::Message::Builder message) {
            auto welcome = message.initWelcome();
            welcome.setProtocolVersion(wire::protocolVersion);
            welcome.setFrameBytes(1 << 20);
            welcome.setMethods(1);
            welcome.initGeneration().setLow(1);
            welcome.initServices(1)[0].setName("Test");
        });
    }

private:
    foundation::UniqueFd listening_;
};

} // namespace transport_test
