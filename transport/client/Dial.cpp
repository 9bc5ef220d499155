#include "transport/client/Dial.h"

#include "transport/wire/Frame.h"
#include "transport/wire/PayloadCodec.h"
#include "transport/wire/Protocol.h"
#include "transport/wire/SocketDirectory.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace agent::spf::transport {

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const std::string& text, bool nobodyThere = false) {
    throw DialError(text, nobodyThere);
}

foundation::UniqueFd connectTo(const std::filesystem::path& directory) {
    bool there = false;
    sockaddr_un address{};
    try {
        there = wire::checkSocketDirectory(directory);
        address = wire::socketAddress(directory / wire::socketName);
    } catch (const std::runtime_error& error) {
        fail(error.what(), true);
    }
    if (!there)
        fail("There is no socket directory " + directory.string() + ": no daemon has been started there",
             true);
    foundation::UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket)
        fail(std::string("No socket: ") + std::strerror(errno));
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const bool missing = errno == ENOENT;
        const std::string why = missing ? "no daemon is running" : std::strerror(errno);
        fail("No connection to " + std::string(address.sun_path) + ": " + why, missing);
    }
    if (const auto why = wire::distrust(wire::peerOf(socket.get())); !why.empty())
        fail("The daemon is not trusted: " + why);
    return socket;
}

void sendHello(int socket, const std::string& clientId, const Limits& limits) {
    wire::FrameBuilder frame;
    auto hello = frame.message().initHello();
    hello.setProtocolVersion(wire::protocolVersion);
    hello.setPid(::getpid());
    hello.setFrameBytes(limits.frameBytes);
    hello.setClientId(clientId);
    hello.setCallbacks(
        static_cast<std::uint32_t>(std::min<std::size_t>(limits.pendingCallsPerConnection, UINT32_MAX)));
    std::vector<std::byte> bytes;
    frame.appendTo(bytes);
    // The first bytes on a new socket: they fit. A daemon that has closed it already may have said why.
    if (::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()) &&
        errno != EPIPE && errno != ECONNRESET)
        fail(std::string("The daemon did not take the hello: ") + std::strerror(errno));
}

void receiveMore(int socket, wire::FrameBuffer& buffer, int cancel, Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd fds[] = {{socket, POLLIN, 0}, {cancel, POLLIN, 0}};
    if (::poll(fds, 2, static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000))) < 0 && errno != EINTR)
        fail(std::string("poll: ") + std::strerror(errno));
    if (fds[1].revents != 0)
        fail("Cancelled");
    if (fds[0].revents == 0) {
        if (Clock::now() >= deadline)
            fail("The daemon did not say welcome in time");
        return;
    }
    const auto room = buffer.prepare();
    const auto count = ::recv(socket, room.data(), room.size(), 0);
    if (count == 0)
        fail("The daemon closed the connection instead of saying welcome");
    if (count < 0 && errno != EAGAIN && errno != EINTR)
        fail(std::string("The connection broke before the welcome: ") + std::strerror(errno));
    if (count > 0)
        buffer.commit(static_cast<std::size_t>(count));
}

void readWelcome(wire::Message::Reader message, Dialled& dialled) {
    if (message.isGoodbye())
        fail("The daemon refused the connection: " + wire::errorTextOf(message.getGoodbye().getText()));
    if (!message.isWelcome())
        fail("The daemon answered the hello with another message");
    const auto welcome = message.getWelcome();
    if (welcome.getProtocolVersion() != wire::protocolVersion)
        fail("The daemon speaks protocol version " + std::to_string(welcome.getProtocolVersion()) +
             ", this client version " + std::to_string(wire::protocolVersion) + ": update the older one");
    dialled.generation = wire::decodeUuid(welcome.getGeneration());
    dialled.peerFrameBytes = static_cast<std::size_t>(welcome.getFrameBytes());
    dialled.methods = welcome.getMethods();
    for (const auto service : welcome.getServices())
        dialled.services.push_back({wire::textOf(service.getName()), service.getVersion(),
                                    service.getRevision(), service.getRanking()});
}

} // namespace

Dialled dial(const std::filesystem::path& directory, const std::string& clientId, const Limits& limits,
             int cancel, const std::function<void(pid_t process)>& onReached) {
    const auto deadline = Clock::now() + limits.helloTimeout;
    auto socket = connectTo(directory);
    onReached(wire::peerOf(socket.get()).pid);
    sendHello(socket.get(), clientId, limits);
    Dialled dialled{nullptr, wire::FrameBuffer(limits.frameBytes), {}, 0, 0, {}};
    try {
        auto body = dialled.buffer.next();
        for (; !body; body = dialled.buffer.next())
            receiveMore(socket.get(), dialled.buffer, cancel, deadline);
        readWelcome(wire::FrameReader(*body, limits).message(), dialled);
    } catch (const kj::Exception&) {
        fail("The daemon's welcome cannot be read");
    } catch (const core::MalformedError& error) {
        fail(std::string("The daemon's welcome cannot be read: ") + error.what());
    }
    if (::fcntl(socket.get(), F_SETFL, 0) != 0)
        fail(std::string("The socket cannot be set up: ") + std::strerror(errno));
    dialled.socket = std::make_shared<const foundation::UniqueFd>(std::move(socket));
    return dialled;
}

} // namespace agent::spf::transport
