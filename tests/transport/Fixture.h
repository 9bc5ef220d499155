#pragma once

#include "tests/support/ConnectedClient.h"
#include "tests/support/Testing.h"

#include <agent/spf/transport/Server.h>

#include <mutex>

namespace transport_test {

using namespace zelkor::test;
using namespace agent::spf;
using core::ErrorKind;
using core::GenericPayload;
using Client = ConnectedClient;
using Failure = std::pair<ErrorKind, std::string>;
using Incoming = std::unique_ptr<transport::IncomingCall>;
using SharedIncoming = std::shared_ptr<transport::IncomingCall>;
using Session = std::shared_ptr<transport::ClientSession>;

/// A function that a test replaces while another thread may be calling it.
template <class Arg>
struct Script {
    using Function = std::function<void(Arg)>;
    Script& operator=(Function function) {
        const std::lock_guard lock(mutex_);
        function_ = std::move(function);
        return *this;
    }
    void operator()(Arg arg) {
        std::unique_lock lock(mutex_);
        const auto function = function_;
        lock.unlock();
        if (function)
            function(std::move(arg));
    }

private:
    std::mutex mutex_;
    Function function_;
};

/// A service doing what the test says; until then it answers with the arguments.
struct Scripted : transport::Service {
    Script<Incoming> call;
    Script<Session> connected, disconnected;

    Scripted() {
        call = [](auto incoming) { incoming->reply(std::move(incoming->arguments())); };
    }
    void onCall(Incoming incoming) override { call(std::move(incoming)); }
    void onConnected(const Session& client) override { connected(client); }
    void onDisconnected(const Session& client) override { disconnected(client); }
};

/// Calls that a script keeps unanswered.
struct Held {
    std::function<void(Incoming)> keep() {
        return [this](auto call) {
            const std::lock_guard lock(mutex_);
            calls_.push_back(std::move(call));
        };
    }
    std::size_t size() {
        const std::lock_guard lock(mutex_);
        return calls_.size();
    }
    void answer(const GenericPayload& result = {}) {
        const std::lock_guard lock(mutex_);
        for (auto& call : calls_)
            call->reply(result);
        calls_.clear();
    }

private:
    std::mutex mutex_;
    std::vector<Incoming> calls_;
};

inline std::unique_ptr<transport::Server>
startServer(const std::filesystem::path& directory,
            std::shared_ptr<transport::Service> service = std::make_shared<Scripted>(),
            transport::Limits limits = {}) {
    auto server = std::make_unique<transport::Server>(
        transport::ServerOptions{directory, limits},
        std::vector<transport::OfferedService>{{"Test", 2, 1, 7, std::move(service)}});
    server->start();
    return server;
}

/// A server and a client that has found it.
struct Connection : Test {
    TempDirectory directory;
    RecordingLog log;
    std::shared_ptr<Scripted> service = std::make_shared<Scripted>();
    std::unique_ptr<transport::Server> server;
    std::unique_ptr<Client> client;
    Invokables invokable;

    void begin(transport::Limits serverLimits = {}, transport::Limits clientLimits = {},
               Client::Executor& executor = Client::Executor::instance()) {
        server = startServer(directory / "s", service, serverLimits);
        client = std::make_unique<Client>(directory / "s", clientLimits, std::string(), executor);
        invokable = client->found();
    }
};

template <class... Values>
GenericPayload payload(Values... values) {
    return GenericPayload::of(std::move(values)...);
}

/// A handler and the future that it fulfils.
struct Ending {
    std::shared_ptr<std::promise<GenericPayload>> promise = std::make_shared<std::promise<GenericPayload>>();
    core::CompletionHandler handler{[p = promise](auto value) { p->set_value(std::move(value)); },
                                    [p = promise](std::exception_ptr error) { p->set_exception(error); }};
};

inline core::Invokable::CallId start(core::Invokable& invokable, std::chrono::milliseconds timeout,
                                     std::string method, GenericPayload arguments,
                                     core::CompletionHandler handler) {
    return invokable.invokeGeneric(timeout, std::move(method), core::SignatureDescriptor::of<void()>(),
                                   std::move(arguments), std::move(handler));
}

/// How a call with a limit in milliseconds ends, by whatever thread.
inline std::future<GenericPayload> callFor(core::Invokable& invokable, std::chrono::milliseconds timeout,
                                           std::string method, GenericPayload arguments = {},
                                           core::Invokable::CallId* id = nullptr) {
    Ending ending;
    const auto call = start(invokable, timeout, std::move(method), std::move(arguments), ending.handler);
    if (id)
        *id = call;
    return ending.promise->get_future();
}

/// Answers a call with what a function of its client does, or with its failure.
inline void answerByCallback(const SharedIncoming& call, const boost::uuids::uuid& function) {
    call->client()->callBack(function, {}, 30s,
                             {[call](auto value) { call->reply(std::move(value)); },
                              [call](auto) { call->fail(ErrorKind::Remote, "callback failed"); }});
}

/// The error's kind and text; fails the test when the call ends otherwise, or not at all.
template <class R>
Failure errorOf(std::future<R> result) {
    if (!comes(result)) {
        ADD_FAILURE() << "the call did not end";
        return {};
    }
    try {
        result.get();
    } catch (const core::InvocationError& error) {
        return {error.kind(), error.what()};
    }
    ADD_FAILURE() << "the call succeeded";
    return {};
}

} // namespace transport_test
