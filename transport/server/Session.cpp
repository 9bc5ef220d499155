#include "transport/server/Session.h"

#include "contract/records/NotifierUuid.h"
#include "transport/server/ServerCall.h"
#include "transport/wire/Deadline.h"
#include "transport/wire/PayloadCodec.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <algorithm>
#include <malloc.h>
#include <sys/socket.h>

namespace agent::spf::transport {

using foundation::log::logging_event_types;
using Outcome = wire::FrameWriter::Outcome;

namespace {
// A client that sends without waiting keeps the others waiting for so many calls at a time.
constexpr int framesPerTurn = 8;
} // namespace

Session::Session(std::shared_ptr<ServerCore> core, foundation::UniqueFd socket, const wire::Peer& peer)
    : core_(std::move(core)), peer_(peer), id_(login::detail::createUuid()),
      socket_(core_->io, boost::asio::local::stream_protocol(), socket.get()), timer_(core_->io),
      buffer_(std::min(wire::maxGreetingBytes, core_->options.limits.frameBytes)),
      writer_(std::make_shared<const foundation::UniqueFd>(std::move(socket)),
              core_->options.limits.queuedBytesPerConnection, &core_->queuedBytes),
      callbacks_(core_->options.limits.pendingCallsPerConnection,
                 core_->options.limits.waitingCallbackBytesPerConnection,
                 core_->options.limits.waitingCallbackBytes, core_->waitingCallbackBytes) {}

void Session::start() {
    withoutHello_ = core_->withoutHello.insert(core_->withoutHello.end(), this);
    timer_.expires_after(core_->options.limits.helloTimeout);
    timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
        if (!error && !self->connected_)
            self->dismiss("No hello within the time limit");
    });
    read();
}

std::string Session::name() const {
    return "client " + (clientId_.empty() ? "without a name" : clientId_) + " (process " +
           std::to_string(peer_.pid) + ')';
}

void Session::read() {
    const auto room = buffer_.prepare();
    socket_.async_read_some(
        boost::asio::buffer(room.data(), room.size()),
        [self = shared_from_this()](const boost::system::error_code& error, std::size_t count) {
            if (self->closed_)
                return;
            if (error) {
                self->close(logging_event_types::info, "it disconnected");
                return;
            }
            self->buffer_.commit(count);
            // The replies to everything that came together go together.
            self->writer_.hold();
            self->serveTurn();
        });
}

void Session::serveTurn() {
    if (closed_)
        return;
    if (!handleFrames()) {
        boost::asio::post(core_->io, [self = shared_from_this()] { self->serveTurn(); });
        return;
    }
    sendCallbacks(); // those to whose turn it has come, with the replies
    after(writer_.release());
    if (!closed_)
        read();
}

bool Session::handleFrames() {
    try {
        for (int handled = 0; !closed_; ++handled) {
            if (handled == framesPerTurn)
                return false;
            const auto body = buffer_.next();
            if (!body)
                break;
            handle(wire::FrameReader(*body, core_->options.limits).message());
        }
    } catch (const kj::Exception&) {
        close(logging_event_types::warning, "malformed frame: not a readable message");
    } catch (const core::MalformedError& error) {
        close(logging_event_types::warning, std::string("malformed frame: ") + error.what());
    } catch (const std::exception& error) {
        close(logging_event_types::error, std::string("it cannot be served: ") + error.what());
    } catch (...) {
        close(logging_event_types::error, "it cannot be served");
    }
    return true;
}

void Session::handle(wire::Message::Reader message) {
    if (message.isHello()) {
        greet(message.getHello());
    } else if (!connected_) {
        throw core::MalformedError("the first message is not a hello");
    } else if (message.isCall()) {
        dispatch(message.getCall(), Clock::now());
    } else if (message.isCallbackReply()) {
        endCallback(message.getCallbackReply());
    } else {
        throw core::MalformedError("a message of the kind " +
                                   std::to_string(static_cast<unsigned>(message.which())) +
                                   ", which a client never sends");
    }
}

void Session::greet(wire::Hello::Reader hello) {
    if (connected_)
        throw core::MalformedError("a second hello");
    if (hello.getProtocolVersion() != wire::protocolVersion) {
        dismiss("The client speaks protocol version " + std::to_string(hello.getProtocolVersion()) +
                ", this daemon version " + std::to_string(wire::protocolVersion) + ": update the older one");
        return;
    }
    const auto clientId = hello.getClientId();
    const auto printable = [](char c) { return c > ' ' && c <= '~'; };
    if (clientId.size() == 0 || clientId.size() > wire::maxClientIdBytes ||
        !std::all_of(clientId.begin(), clientId.end(), printable)) {
        dismiss("A client id is 1 to " + std::to_string(wire::maxClientIdBytes) +
                " printable ASCII characters without spaces");
        return;
    }
    if (core_->sessions.size() - core_->withoutHello.size() >= core_->room.clients) {
        dismiss("Too many clients are connected (limit " + std::to_string(core_->room.clients) + ')');
        return;
    }
    leaveThoseWithoutHello();
    clientId_ = wire::textOf(clientId);
    peerFrameBytes_ = static_cast<std::size_t>(hello.getFrameBytes());
    if (hello.getCallbacks() != 0)
        callbacks_.limit(hello.getCallbacks());
    buffer_.setLimit(core_->options.limits.frameBytes);
    timer_.cancel();
    welcome();
    connected_ = true;
    core_->log.log(logging_event_types::info, name() + " connected");
    for (auto& offered : core_->services)
        offered.service->onConnected(shared_from_this());
}

void Session::leaveThoseWithoutHello() noexcept {
    if (withoutHello_)
        core_->withoutHello.erase(*withoutHello_);
    withoutHello_.reset();
}

void Session::welcome() {
    wire::FrameBuilder frame;
    auto welcome = frame.message().initWelcome();
    welcome.setProtocolVersion(wire::protocolVersion);
    welcome.setFrameBytes(core_->options.limits.frameBytes);
    wire::encodeUuid(core_->generation, welcome.initGeneration());
    auto services = welcome.initServices(static_cast<unsigned>(core_->services.size()));
    for (unsigned i = 0; i < services.size(); ++i) {
        const auto& offered = core_->services[i];
        services[i].setName(offered.name);
        services[i].setVersion(offered.version);
        services[i].setRevision(offered.revision);
        services[i].setRanking(offered.ranking);
    }
    welcome.setMethods(static_cast<std::uint32_t>(core_->options.limits.methods));
    send(frame);
}

std::shared_ptr<const MethodTexts> Session::textsOf(wire::Call::Reader call) {
    const auto number = call.getMethod();
    const bool known = number != 0 && number <= methods_.size() && methods_[number - 1];
    if (number != 0 && !call.hasTexts()) {
        if (!known)
            throw core::MalformedError("a call by a method's number that was never explained");
        return methods_[number - 1];
    }
    const auto name = call.getTexts().getName();
    const auto descriptor = call.getTexts().getDescriptor();
    if (known) {
        const auto& texts = methods_[number - 1];
        if (texts->name != std::string_view(name.cStr(), name.size()) ||
            texts->descriptor != std::string_view(descriptor.cStr(), descriptor.size()))
            throw core::MalformedError("a method's number that stands for another one already");
        return texts;
    }
    auto texts =
        std::make_shared<const MethodTexts>(MethodTexts{wire::textOf(name), wire::textOf(descriptor)});
    if (number == 0)
        return texts;
    if (number > core_->options.limits.methods)
        throw core::MalformedError("a method's number over the limit");
    if (texts->name.size() + texts->descriptor.size() > wire::maxMethodTextBytes)
        throw core::MalformedError("a number for a method with too long a text");
    if (methods_.size() < number)
        methods_.resize(number);
    methods_[number - 1] = texts;
    return texts;
}

void Session::dispatch(wire::Call::Reader call, Clock::time_point now) {
    const auto id = call.getId();
    auto texts = textsOf(call); // whatever becomes of the call, the client now counts on its number
    const auto limit = core_->options.limits.pendingCallsPerConnection;
    if (++unanswered_ > limit) {
        fail(id, core::ErrorKind::Refused,
             "Too many calls without an answer on this connection (limit " + std::to_string(limit) + ')');
    } else if (call.getService() >= core_->services.size()) {
        fail(id, core::ErrorKind::Refused,
             "The daemon offers no service with the index " + std::to_string(call.getService()));
    } else if (call.getRemainingMs() <= 0) {
        fail(id, core::ErrorKind::Timeout, "The call was overdue before it started");
    } else {
        serve(core_->services[call.getService()], call, std::move(texts),
              wire::deadlineAfter(now, std::chrono::milliseconds(call.getRemainingMs())));
    }
}

void Session::serve(OfferedService& service, wire::Call::Reader call,
                    std::shared_ptr<const MethodTexts> texts, Clock::time_point deadline) {
    const auto id = call.getId();
    std::unique_ptr<ServerCall> incoming;
    try {
        incoming =
            std::make_unique<ServerCall>(shared_from_this(), id, std::move(texts),
                                         wire::decodePayload(call.getPayload(), core_->options.limits.slots),
                                         call.totalSize().wordCount * sizeof(capnp::word), deadline);
    } catch (const core::MalformedError& error) {
        fail(id, core::ErrorKind::Malformed, error.what());
        return;
    }
    dispatching_ = id;
    droppedWhileDispatching_ = false;
    std::string text = "The daemon dropped the call without an answer";
    try {
        service.service->onCall(std::move(incoming));
    } catch (const std::exception& error) {
        text = error.what();
    } catch (...) {
        text = "The daemon's method threw something that is not a std::exception";
    }
    dispatching_.reset();
    if (droppedWhileDispatching_)
        fail(id, core::ErrorKind::Remote, text);
}

void Session::dropped(std::uint64_t call) noexcept {
    if (core_->io.get_executor().running_in_this_thread() && dispatching_ == call)
        droppedWhileDispatching_ = true;
    else
        fail(call, core::ErrorKind::Remote, "The daemon dropped the call without an answer");
}

void Session::reply(std::uint64_t call, const core::GenericPayload& result) noexcept {
    --unanswered_;
    try {
        wire::FrameBuilder frame;
        wire::fillReply(frame.message().initReply(), call, result);
        if (frame.bytes() > peerFrameBytes_)
            throw core::RefusedError("The result takes " + std::to_string(frame.bytes()) +
                                     " bytes, the client reads " + std::to_string(peerFrameBytes_) +
                                     " at most");
        send(frame);
    } catch (const core::RefusedError& error) {
        sendError(call, error.kind(), error.what());
    } catch (const std::exception&) {
        sendError(call, core::ErrorKind::Remote, "The daemon cannot send the result");
    }
}

void Session::fail(std::uint64_t call, core::ErrorKind kind, std::string_view text) noexcept {
    --unanswered_;
    sendError(call, kind, text);
}

void Session::breakOff(std::uint64_t call) {
    --unanswered_;
    boost::asio::post(core_->io, [self = shared_from_this(), call] {
        if (self->closed_)
            return;
        wire::FrameBuilder frame;
        wire::fillReply(frame.message().initReply(), call, {});
        std::vector<std::byte> bytes;
        frame.appendTo(bytes);
        ::send(self->socket_.native_handle(), bytes.data(), bytes.size() / 2, MSG_NOSIGNAL | MSG_DONTWAIT);
        self->close(logging_event_types::warning, "its service broke it off in the middle of an answer");
    });
}

void Session::sendError(std::uint64_t call, core::ErrorKind kind, std::string_view text) noexcept {
    try {
        wire::FrameBuilder frame;
        wire::fillError(frame.message().initReply(), call, kind, text);
        send(frame);
    } catch (const std::exception&) {
        // Out of memory: the client's own deadline ends the call.
    }
}

void Session::send(wire::FrameBuilder& frame) {
    after(writer_.write(frame));
}

void Session::after(Outcome outcome) {
    if (outcome == Outcome::Blocked) {
        boost::asio::post(core_->io, [self = shared_from_this()] { self->waitUntilWritable(); });
    } else if (outcome == Outcome::OverLimit) {
        boost::asio::post(core_->io, [self = shared_from_this()] {
            self->close(logging_event_types::warning,
                        "it does not read what it is sent: more than " +
                            std::to_string(self->core_->options.limits.queuedBytesPerConnection) +
                            " bytes wait for it");
        });
    }
    if (core_->queuedBytes > core_->options.limits.queuedBytes)
        boost::asio::post(core_->io, [core = core_] { relieve(*core); });
    // There may be room now for callbacks that wait for it.
    if (outcome == Outcome::Accepted)
        sendCallbacks();
    // Closed: the reading side learns of it too, and closes.
}

void Session::relieve(ServerCore& core) {
    while (core.queuedBytes > core.options.limits.queuedBytes && !core.sessions.empty()) {
        const auto most = *std::ranges::max_element(
            core.sessions, {}, [](const auto& session) { return session->writer_.queued(); });
        most->close(logging_event_types::warning,
                    "it does not read what it is sent, and too much waits for all clients together: more "
                    "than " +
                        std::to_string(core.options.limits.queuedBytes) + " bytes");
    }
}

/// What was queued for clients that have gone goes back to the system: the allocator alone would keep most of
/// it. Costs milliseconds, so not for each client.
void Session::giveBack(std::size_t bytes) {
    constexpr std::size_t little = 1U << 20U, much = 64U << 20U;
    core_->givenUpBytes += bytes;
    if (core_->givenUpBytes < little || (core_->givenUpBytes < much && core_->queuedBytes > little))
        return;
    core_->givenUpBytes = 0;
    ::malloc_trim(0);
}

void Session::waitUntilWritable() {
    if (closed_)
        return;
    socket_.async_wait(boost::asio::socket_base::wait_write,
                       [self = shared_from_this()](const boost::system::error_code& error) {
                           if (!error && !self->closed_)
                               self->after(self->writer_.resume());
                       });
}

void Session::dismiss(const std::string& text) {
    wire::FrameBuilder frame;
    const auto to = frame.message().initGoodbye().initText(static_cast<unsigned>(text.size()));
    wire::setText(to, text);
    writer_.write(frame);
    writer_.release();
    close(logging_event_types::warning, "it was refused: " + text);
}

void Session::close(logging_event_types level, const std::string& why) {
    if (std::exchange(closed_, true))
        return;
    const auto self = shared_from_this();
    const bool introduced = connected_.exchange(false);
    const auto text = name() + ": connection closed, " + why;
    if (introduced && level == logging_event_types::info)
        core_->log.log(level, text);
    else
        core_->complaints->log(level, peer_.pid, text);
    boost::system::error_code ignored;
    timer_.cancel();
    // Another thread may be sending just now: the descriptor goes with the last that uses it, the connection
    // at once.
    ::shutdown(socket_.native_handle(), SHUT_RDWR);
    socket_.release(ignored);
    const auto queued = writer_.queued();
    writer_.close();
    giveBack(queued);
    for (const auto& handler : callbacks_.close())
        run(handler, core::makeInvocationError(core::ErrorKind::Disconnected, "The client disconnected"));
    leaveThoseWithoutHello();
    core_->sessions.erase(self);
    if (!introduced)
        return;
    for (auto& offered : core_->services) {
        try {
            offered.service->onDisconnected(self);
        } catch (...) {
            core_->log.log(logging_event_types::error,
                           offered.name + " threw when it was told that a client is gone");
        }
    }
}

} // namespace agent::spf::transport
