#pragma once

#include "contract/calls/CompletionHandler.h"
#include "contract/calls/Errors.h"
#include "contract/calls/GenericPayload.h"

#include <agent/spf/transport/Limits.h>
#include <agent/spf/transport/SocketDirectory.h>

#include <boost/uuid/uuid.hpp>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace agent::spf::transport {

/// One connected client process, as a service sees it. Thread-safe; outlives its connection when somebody
/// holds it.
class ClientSession {
public:
    virtual ~ClientSession() = default;

    /// Unique for the life of the server.
    virtual const boost::uuids::uuid& id() const noexcept = 0;
    /// What the client calls itself in its hello.
    virtual const std::string& clientId() const noexcept = 0;
    /// From the kernel, not from the client.
    virtual pid_t pid() const noexcept = 0;
    virtual bool connected() const noexcept = 0;

    /// Calls a function that the client exported. Never blocks: beyond what the client takes at once the call
    /// waits for its turn, as long as `timeout` allows; calls of one function stay in order. `handler` is
    /// called exactly once, on the server's I/O thread or on one that calls or answers (this one, at once,
    /// perhaps): with the result, or with an InvocationError: WithdrawnError when the function is gone, any
    /// other RefusedError when it was not called this time, overdue, disconnected, or what the function threw
    /// as a RemoteError.
    virtual void callBack(const boost::uuids::uuid& callback, core::GenericPayload arguments,
                          std::chrono::milliseconds timeout, core::CompletionHandler handler) = 0;
};

/// One call to answer, from any thread, at any time, once; later answers are ignored. Destroyed without an
/// answer, it fails as Remote.
class IncomingCall {
public:
    virtual ~IncomingCall() = default;

    virtual const std::string& method() const noexcept = 0;
    /// The signature's text, with the method's name, as the client sent it.
    virtual const std::string& descriptor() const noexcept = 0;
    virtual core::GenericPayload& arguments() noexcept = 0;
    /// How large it arrived.
    virtual std::size_t bytes() const noexcept = 0;
    virtual const std::shared_ptr<ClientSession>& client() const noexcept = 0;
    /// After this nobody waits for the answer.
    virtual std::chrono::steady_clock::time_point deadline() const noexcept = 0;

    virtual void reply(core::GenericPayload result) = 0;
    /// `text` reaches the caller unchanged, so it holds no token, password or persisted login data.
    virtual void fail(core::ErrorKind kind, const std::string& text) = 0;
    /// Sends half an answer and ends the connection: for a daemon that misbehaves on purpose.
    virtual void breakOff() = 0;
};

/// What a server offers under a name. Called on the server's I/O thread, one call at a time: must not block.
/// What escapes from it answers the call with an error.
class Service {
public:
    virtual ~Service() = default;
    virtual void onCall(std::unique_ptr<IncomingCall> call) = 0;
    virtual void onConnected(const std::shared_ptr<ClientSession>& /*client*/) {}
    /// The last that is heard of a client. Its pending callBack()s have failed already.
    virtual void onDisconnected(const std::shared_ptr<ClientSession>& /*client*/) {}
};

struct OfferedService {
    std::string name;
    int version;  ///< must equal what a client asks for
    int revision; ///< must be at least what a client asks for
    int ranking = 0;
    std::shared_ptr<Service> service;
};

struct ServerOptions {
    /// Created with mode 0700 when missing. @see defaultSocketDirectory()
    std::filesystem::path socketDirectory = defaultSocketDirectory();
    Limits limits;
};

/// The daemon's end of the transport: listens on a Unix-domain socket and gives the calls of all clients to
/// the services. Everything happens on one I/O thread of its own.
class Server {
public:
    Server(ServerOptions options, std::vector<OfferedService> services);
    /// Stops.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Binds and listens; clients may connect when this returns.
    /// @throws std::runtime_error saying what to do: the directory belongs to somebody else or is open to
    /// others, another daemon is listening there, the path is too long.
    void start();
    /// Closes every connection, then tells the services. Idempotent. Not from the I/O thread.
    void stop();

    /// A fresh uuid per server object: tells clients one daemon from its successor.
    const boost::uuids::uuid& generation() const noexcept;
    std::filesystem::path socketPath() const;

private:
    class Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace agent::spf::transport
