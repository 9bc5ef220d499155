#pragma once

#include "platform/daemon/LoginServiceV2.h"
#include "platform/daemon/Release.h"
#include "platform/daemon/StateStore.h"
#include "platform/daemon/StatusNotifier.h"
#include "records/NotifierUuid.h"

#include <agent/spf/transport/Server.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hshd::test {

namespace core = agent::spf::core;
namespace transport = agent::spf::transport;
using namespace std::chrono_literals;

inline constexpr auto generous = 60s;

struct TemporaryDirectory {
    std::filesystem::path path;

    TemporaryDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "hshd-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            throw std::runtime_error("cannot make a temporary directory");
        path = pattern;
    }
    ~TemporaryDirectory() { std::filesystem::remove_all(path); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
};

/// A connected client whose functions answer when, and as, the test says.
class FakeClient : public transport::ClientSession {
public:
    struct Asked {
        boost::uuids::uuid callback;
        core::GenericPayload arguments;
        std::chrono::milliseconds timeout;
        core::CompletionHandler handler;
    };

    explicit FakeClient(std::string name = "client") : name_(std::move(name)) {}

    const boost::uuids::uuid& id() const noexcept override { return id_; }
    const std::string& clientId() const noexcept override { return name_; }
    pid_t pid() const noexcept override { return 4711; }
    bool connected() const noexcept override { return true; }
    void callBack(const boost::uuids::uuid& callback, core::GenericPayload arguments,
                  std::chrono::milliseconds timeout, core::CompletionHandler handler) override {
        Asked asked{callback, std::move(arguments), timeout, std::move(handler)};
        onAsked ? onAsked(asked) : this->asked.push_back(std::move(asked));
    }

    /// Without it calls pile up in `asked`. Set before the client is used by more than one thread.
    std::function<void(Asked&)> onAsked;
    std::vector<Asked> asked;

private:
    const boost::uuids::uuid id_ = login::detail::createUuid();
    const std::string name_;
};

/// How a call ended.
struct Outcome {
    std::optional<core::ErrorKind> error;
    std::string text;
    core::GenericPayload value;

    template <class T>
    T as() {
        if (error)
            throw std::runtime_error("the call failed: " + text);
        return value.takeForFuture<T>(0);
    }
};

inline Outcome waitFor(std::future<Outcome> outcome) {
    if (outcome.wait_for(generous) != std::future_status::ready)
        return {core::ErrorKind::Timeout, "no answer in the test's time", {}};
    return outcome.get();
}

class FakeCall : public transport::IncomingCall {
public:
    FakeCall(std::shared_ptr<transport::ClientSession> client, std::string method, std::string descriptor,
             core::GenericPayload arguments, std::chrono::milliseconds timeLeft = generous)
        : client_(std::move(client)), method_(std::move(method)), descriptor_(std::move(descriptor)),
          arguments_(std::move(arguments)), deadline_(std::chrono::steady_clock::now() + timeLeft) {}
    ~FakeCall() override { end({core::ErrorKind::Remote, "never answered", {}}); }

    const std::string& method() const noexcept override { return method_; }
    const std::string& descriptor() const noexcept override { return descriptor_; }
    core::GenericPayload& arguments() noexcept override { return arguments_; }
    const std::shared_ptr<transport::ClientSession>& client() const noexcept override { return client_; }
    std::chrono::steady_clock::time_point deadline() const noexcept override { return deadline_; }
    void reply(core::GenericPayload result) override { end({std::nullopt, "", std::move(result)}); }
    void fail(core::ErrorKind kind, const std::string& text) override { end({kind, text, {}}); }

    std::future<Outcome> outcome() { return outcome_.get_future(); }

private:
    void end(Outcome outcome) {
        if (!ended_.exchange(true))
            outcome_.set_value(std::move(outcome));
    }

    std::shared_ptr<transport::ClientSession> client_;
    std::string method_;
    std::string descriptor_;
    core::GenericPayload arguments_;
    std::chrono::steady_clock::time_point deadline_;
    std::promise<Outcome> outcome_;
    std::atomic<bool> ended_ = false;
};

template <class Signature>
struct ResultOf;
template <class R, class... Args>
struct ResultOf<R(Args...)> {
    using type = R;
};

template <class Signature>
core::ExportedCallback exported() {
    return {login::detail::createUuid(), std::string(core::SignatureDescriptor::of<Signature>().unnamed())};
}

/// The daemon's parts behind the transport, with a state directory of their own.
struct Parts {
    TemporaryDirectory directory;
    StateStore store{directory.path};
    Registrations listeners;
    Registrations negotiators;
    StatusNotifier notifier{listeners, generous};
    LoginState state{store, "https://configured.example",
                     [this](const StatusChange& c) { notifier.notify(c); }};
    StateThread stateThread;
    LoginServiceV2 service{{state, stateThread, listeners, negotiators, generous}};

    ~Parts() { stateThread.drain(); }
};

/// A client connected to the parts.
struct Peer {
    Parts& parts;
    std::shared_ptr<FakeClient> client;

    explicit Peer(Parts& served, std::string name = "client")
        : parts(served), client(std::make_shared<FakeClient>(std::move(name))) {}
    ~Peer() { client->asked.clear(); } // the handlers know their client
    Peer(const Peer&) = delete;

    std::future<Outcome> send(const std::string& method, const std::string& descriptor,
                              core::GenericPayload arguments, std::chrono::milliseconds timeLeft = generous) {
        auto call = std::make_unique<FakeCall>(client, method, descriptor, std::move(arguments), timeLeft);
        auto outcome = call->outcome();
        parts.service.onCall(std::move(call));
        return outcome;
    }
    template <class Signature, class... Args>
    Outcome call(const std::string& method, Args... args) {
        return waitFor(send(method, core::SignatureDescriptor::of<Signature>().named(method),
                            core::GenericPayload::of(std::move(args)...)));
    }
    /// The call's result. @throws std::runtime_error
    template <class Signature, class... Args>
    auto ask(const std::string& method, Args... args) {
        return call<Signature>(method, std::move(args)...).template as<typename ResultOf<Signature>::type>();
    }
    Outcome impersonate(const std::string& token, const login::LoginInfo& info) {
        return call<void(std::string, login::LoginInfo)>("impersonate", token, info);
    }
    boost::uuids::uuid listen() {
        return ask<boost::uuids::uuid(core::ExportedCallback)>(
            "addStatusListener", exported<void(login::LoginInfo, login::LoginInfo)>());
    }
    boost::uuids::uuid negotiate(const std::string& name) {
        return ask<boost::uuids::uuid(std::string, core::ExportedCallback)>(
            "addLogoutNegotiator", name, exported<login::NegotiatorResponse(login::NegotiationTerms)>());
    }
    std::future<Outcome> negotiateLogout(std::uint32_t terms, std::chrono::milliseconds timeLeft = generous) {
        using Signature = login::detail::NegotiationsResult(login::NegotiationTerms);
        return send("negotiateLogout", core::SignatureDescriptor::of<Signature>().named("negotiateLogout"),
                    core::GenericPayload::of(login::NegotiationTerms{terms}), timeLeft);
    }
    bool remove(const char* method, const boost::uuids::uuid& id) {
        return ask<bool(boost::uuids::uuid)>(method, id);
    }
};

inline login::LoginInfo person(std::u16string name,
                               login::LoginInfo::Level level = login::LoginInfo::Level::SignedIn) {
    login::LoginInfo info;
    info.userId = name;
    info.displayName = name + u" Example";
    info.level = level;
    return info;
}

} // namespace hshd::test
