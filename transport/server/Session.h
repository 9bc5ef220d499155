#pragma once

#include "transport/server/PendingCallbacks.h"
#include "transport/server/ServerCore.h"
#include "transport/wire/FrameBuffer.h"
#include "transport/wire/FrameWriter.h"
#include "transport/wire/Protocol.h"
#include "transport/wire/SocketDirectory.h"

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <atomic>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace agent::spf::transport {

/// What a client calls a method.
struct MethodTexts {
    std::string name;
    std::string descriptor;
};

/// One connection, from accept to close.
///
/// Reads, dispatches and closes on the I/O thread; sends on any. ServerCore::sessions holds it while it is
/// open, the operations in progress, unanswered calls and services as long as they like.
class Session final : public ClientSession, public std::enable_shared_from_this<Session> {
public:
    Session(std::shared_ptr<ServerCore> core, foundation::UniqueFd socket, const wire::Peer& peer);

    // On the I/O thread:
    void start();
    /// Tells the peer why, then closes.
    void dismiss(const std::string& text);
    /// Fails the pending callbacks, then tells the services. Does nothing the second time.
    void close(foundation::log::logging_event_types level, const std::string& why);

    // On any thread, for the calls that came from here; after close() they do nothing:
    void reply(std::uint64_t call, const core::GenericPayload& result) noexcept;
    void fail(std::uint64_t call, core::ErrorKind kind, std::string_view text) noexcept;
    void breakOff(std::uint64_t call);
    /// A call was destroyed without an answer.
    void dropped(std::uint64_t call) noexcept;

    // ClientSession
    const boost::uuids::uuid& id() const noexcept override { return id_; }
    const std::string& clientId() const noexcept override { return clientId_; }
    pid_t pid() const noexcept override { return peer_.pid; }
    bool connected() const noexcept override { return connected_; }
    void callBack(const boost::uuids::uuid& callback, core::GenericPayload arguments,
                  std::chrono::milliseconds timeout, core::CompletionHandler handler) override;

private:
    using Clock = std::chrono::steady_clock;

    void read();
    /// Serves a turn of what was received; what is left follows after the other clients' turns.
    void serveTurn();
    /// @return whether all complete frames have been handled.
    bool handleFrames();
    void handle(wire::Message::Reader message);
    void greet(wire::Hello::Reader hello);
    void welcome();
    void leaveThoseWithoutHello() noexcept;
    void dispatch(wire::Call::Reader call, Clock::time_point now);
    void serve(OfferedService& service, wire::Call::Reader call, std::shared_ptr<const MethodTexts> texts,
               Clock::time_point deadline);
    /// The call's method, by its number or its texts. @throws core::MalformedError
    std::shared_ptr<const MethodTexts> textsOf(wire::Call::Reader call);
    void endCallback(wire::Reply::Reader reply);
    void send(wire::FrameBuilder& frame);
    void sendError(std::uint64_t call, core::ErrorKind kind, std::string_view text) noexcept;
    void after(wire::FrameWriter::Outcome outcome);
    void waitUntilWritable();
    /// Closes those for whom most waits, until what waits for all is within its limit.
    static void relieve(ServerCore& core);
    void giveBack(std::size_t bytes);
    void sendCallbacks();
    void sendCallback(const PendingCallbacks::Due& due) noexcept;
    void armTimer();
    void onTimer();
    void run(const core::CompletionHandler& handler, core::GenericPayload result) const noexcept;
    void run(const core::CompletionHandler& handler, std::exception_ptr error) const noexcept;
    std::string name() const;

    const std::shared_ptr<ServerCore> core_;
    const wire::Peer peer_;
    const boost::uuids::uuid id_;
    std::string clientId_; // set by the hello, before anybody else sees the session
    std::size_t peerFrameBytes_ = wire::maxGreetingBytes;

    boost::asio::local::stream_protocol::socket
        socket_;                      // does not own the descriptor: the writer may be using it
    boost::asio::steady_timer timer_; // the hello's, then the callbacks'
    wire::FrameBuffer buffer_;
    wire::FrameWriter writer_;
    std::vector<std::shared_ptr<const MethodTexts>> methods_; // by number, less one; I/O thread
    PendingCallbacks callbacks_;
    std::atomic<bool> connected_ = false;
    std::atomic<std::size_t> unanswered_ = 0;
    bool closed_ = false;                                       // I/O thread
    std::optional<std::list<Session*>::iterator> withoutHello_; // its place; I/O thread

    // The call that a service is being given: when it is dropped there, what the service threw makes the
    // better answer. Both on the I/O thread.
    std::optional<std::uint64_t> dispatching_;
    bool droppedWhileDispatching_ = false;
};

} // namespace agent::spf::transport
