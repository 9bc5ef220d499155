#pragma once

#include "contract/records/NotifierUuid.h"
#include "hshd/Release.h"
#include "hshd/services/LoginServiceV2.h"
#include "hshd/services/StatusNotifier.h"
#include "tests/support/People.h"
#include "tests/support/Testing.h"

#include <agent/spf/transport/Server.h>

#include <utility>

namespace hshd::test {

namespace core = agent::spf::core;
namespace fs = std::filesystem;
namespace transport = agent::spf::transport;
using namespace zelkor::test;
using boost::uuids::uuid;
using core::ErrorKind;
using core::ExportedCallback;
using core::GenericPayload;
using login::AccessToken;
using login::LoginInfo;
using login::NegotiationTerms;
using login::NegotiatorResponse;
using login::RequestAccessTokenResponse;
using login::detail::LoginData;
using login::detail::NegotiationsResult;
using Level = LoginInfo::Level;
using std::chrono::milliseconds;

inline const milliseconds generous = generousLimit;

/// A connected client whose functions answer when, and as, the test says.
class FakeClient : public transport::ClientSession {
public:
    struct Asked {
        uuid callback;
        GenericPayload arguments;
        milliseconds timeout;
        core::CompletionHandler handler;
    };

    explicit FakeClient(std::string name = "client") : name_(std::move(name)) {}

    const uuid& id() const noexcept override { return id_; }
    const std::string& clientId() const noexcept override { return name_; }
    pid_t pid() const noexcept override { return 4711; }
    bool connected() const noexcept override { return isConnected; }
    void callBack(const uuid& callback, GenericPayload arguments, milliseconds timeout,
                  core::CompletionHandler handler) override {
        Asked asked{callback, std::move(arguments), timeout, std::move(handler)};
        onAsked ? onAsked(asked) : this->asked.push_back(std::move(asked));
    }

    /// Without it calls pile up in `asked`. Set before the client is used by more than one thread.
    std::function<void(Asked&)> onAsked;
    std::vector<Asked> asked;
    std::atomic<bool> isConnected = true;

private:
    const uuid id_ = login::detail::createUuid();
    const std::string name_;
};

/// How a call ended.
struct Outcome {
    std::optional<ErrorKind> error;
    std::string text;
    GenericPayload value;

    template <class T>
    T as() {
        if (error)
            throw std::runtime_error("the call failed: " + text);
        return value.takeForFuture<T>(0);
    }
};

inline Outcome waitFor(std::future<Outcome> outcome) {
    if (!comes(outcome))
        return {ErrorKind::Timeout, "no answer in the test's time", {}};
    return outcome.get();
}

class FakeCall : public transport::IncomingCall {
public:
    FakeCall(std::shared_ptr<transport::ClientSession> client, std::string method, std::string descriptor,
             GenericPayload arguments, milliseconds timeLeft)
        : client_(std::move(client)), method_(std::move(method)), descriptor_(std::move(descriptor)),
          arguments_(std::move(arguments)), deadline_(std::chrono::steady_clock::now() + timeLeft) {}
    ~FakeCall() override { end({ErrorKind::Remote, "never answered", {}}); }

    const std::string& method() const noexcept override { return method_; }
    const std::string& descriptor() const noexcept override { return descriptor_; }
    GenericPayload& arguments() noexcept override { return arguments_; }
    std::size_t bytes() const noexcept override { return 1000; }
    const std::shared_ptr<transport::ClientSession>& client() const noexcept override { return client_; }
    std::chrono::steady_clock::time_point deadline() const noexcept override { return deadline_; }
    void reply(GenericPayload result) override { end({std::nullopt, "", std::move(result)}); }
    void fail(ErrorKind kind, const std::string& text) override { end({kind, text, {}}); }
    void breakOff() override { end({ErrorKind::Disconnected, "broken off", {}}); }

    std::future<Outcome> outcome() { return outcome_.get_future(); }

private:
    void end(Outcome outcome) {
        if (!ended_.exchange(true))
            outcome_.set_value(std::move(outcome));
    }

    const std::shared_ptr<transport::ClientSession> client_;
    const std::string method_, descriptor_;
    GenericPayload arguments_;
    const std::chrono::steady_clock::time_point deadline_;
    std::promise<Outcome> outcome_;
    std::atomic<bool> ended_ = false;
};

template <class Signature>
ExportedCallback exported() {
    return {login::detail::createUuid(), std::string(core::SignatureDescriptor::of<Signature>().unnamed())};
}

/// Nobody can sign in, and nothing can be renewed.
struct NoProvider final : IdentityProvider {
    bool supportsWebRedirect() const override { return false; }
    std::weak_ptr<SignInAttempt> signIn(const Client&, const Wish&, Done done) override {
        done({}, "nobody can sign in");
        return {};
    }
    void renewToken(std::chrono::steady_clock::time_point, std::function<void()> tried) override { tried(); }
    void sessionChanged() override {}
    std::string endOfSession(const Grant&) const override { return {}; }
    void stop() override {}
};

/// What a sign-in by a password gives.
inline Identity identityOf(LoginInfo info) {
    return {std::move(info), LoginState::newToken(), std::nullopt};
}

/// The daemon's parts behind the transport, with a state directory of their own.
struct Parts {
    TempDirectory directory;
    StateStore store{directory.path()};
    Registrations listeners;
    Registrations negotiators;
    StatusNotifier notifier{listeners, generous};
    LoginState state{store, "https://configured.example",
                     [this](const StatusChange& c) { notifier.notify(c); }};
    StateThread stateThread;
    NoProvider provider;
    LoginServiceV2 service{{state, stateThread, listeners, negotiators, provider, generous}};

    ~Parts() { stateThread.drain(); }
};

/// A client connected to a service; to version 2's unless told otherwise.
struct Peer {
    transport::Service& service;
    std::shared_ptr<FakeClient> client;

    explicit Peer(Parts& parts, std::string name = "client") : Peer(parts.service, std::move(name)) {}
    explicit Peer(transport::Service& served, std::string name = "client")
        : service(served), client(std::make_shared<FakeClient>(std::move(name))) {}
    ~Peer() { client->asked.clear(); } // the handlers know their client
    Peer(const Peer&) = delete;

    std::future<Outcome> send(const std::string& method, const std::string& descriptor,
                              GenericPayload arguments, milliseconds timeLeft = generous) {
        auto call = std::make_unique<FakeCall>(client, method, descriptor, std::move(arguments), timeLeft);
        auto outcome = call->outcome();
        service.onCall(std::move(call));
        return outcome;
    }
    template <class Signature, class... Args>
    std::future<Outcome> begin(const std::string& method, Args... args) {
        return send(method, core::SignatureDescriptor::of<Signature>().named(method),
                    GenericPayload::of(std::move(args)...));
    }
    template <class Signature, class... Args>
    Outcome call(const std::string& method, Args... args) {
        return waitFor(begin<Signature>(method, std::move(args)...));
    }
    /// The call's result. @throws std::runtime_error
    template <class R, class... Args>
    R ask(const std::string& method, Args... args) {
        return call<R(Args...)>(method, std::move(args)...).template as<R>();
    }
    Outcome impersonate(const std::string& token, const LoginInfo& info) {
        return call<void(std::string, LoginInfo)>("impersonate", token, info);
    }
    uuid listen() { return ask<uuid>("addStatusListener", exported<void(LoginInfo, LoginInfo)>()); }
    uuid negotiate(const std::string& name) {
        return ask<uuid>("addLogoutNegotiator", name, exported<NegotiatorResponse(NegotiationTerms)>());
    }
    std::future<Outcome> negotiateLogout(std::uint32_t terms, milliseconds timeLeft = generous) {
        using Signature = NegotiationsResult(NegotiationTerms);
        return send("negotiateLogout", core::SignatureDescriptor::of<Signature>().named("negotiateLogout"),
                    GenericPayload::of(NegotiationTerms{terms}), timeLeft);
    }
    bool remove(const char* method, const uuid& id) { return ask<bool>(method, id); }
    Outcome requestLogin(int level = 2, const std::string& options = "{}") {
        return call<void(std::string, ExportedCallback, int, std::string)>(
            "requestLoginAsync", std::string("test"), exported<void(LoginInfo, std::string)>(), level,
            options);
    }
    Outcome requestLogout(const std::string& options = "{}") {
        return call<void(ExportedCallback, std::string)>("requestLogoutWithOptionsAsync",
                                                         exported<void(std::string)>(), options);
    }
};

} // namespace hshd::test
