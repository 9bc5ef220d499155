#pragma once

#include "hshd/identity/oidc/OidcProvider.h"
#include "hshd/process/Child.h"
#include "hshd/signin/SignInRequest.h"
#include "hshd/signin/SignOutRequest.h"
#include "tests/hshd/Fakes.h"
#include "tests/support/Recorded.h"
#include "tests/support/RecordingLog.h"

#include <foundation/json.h>

#include <array>
#include <future>
#include <poll.h>
#include <unistd.h>

namespace hshd::test {

namespace json = foundation::json;

/// A script of the provider's folder as a process; it ends with this.
class Script {
public:
    explicit Script(std::vector<std::string> arguments)
        : child_("/usr/bin/env", withNode(std::move(arguments))) {
        output_ = child_.takeOutput();
    }
    ~Script() {
        if (!ended_)
            end();
    }
    Script(const Script&) = delete;

    std::string line() {
        std::string text;
        char c = 0;
        while (::read(output_.get(), &c, 1) == 1 && c != '\n')
            text += c;
        return text;
    }
    /// Its exit code. @param text all that it said
    int wait(std::string& text) {
        std::array<char, 4096> some{};
        for (ssize_t got = 0; (got = ::read(output_.get(), some.data(), some.size())) > 0;)
            text.append(some.data(), static_cast<std::size_t>(got));
        ended_ = true;
        return child_.wait();
    }
    void end() {
        child_.kill();
        child_.wait();
        ended_ = true;
    }

    static bool installed() { return fs::exists(fs::path(ZELKOR_PROVIDER_DIRECTORY) / "node_modules"); }

private:
    static std::vector<std::string> withNode(std::vector<std::string> arguments) {
        arguments.front() = (fs::path(ZELKOR_PROVIDER_DIRECTORY) / arguments.front()).string();
        arguments.insert(arguments.begin(), "node");
        return arguments;
    }

    Child child_;
    foundation::UniqueFd output_;
    bool ended_ = false;
};

/// The person at a client: opens addresses in a browser of their own, or types codes on another device.
class Person final : public SignInFront {
public:
    bool supportsWebRedirect() const override { return hasBrowser; }
    void askCredentials(const Client&, const CredentialQuestion&, Answered answered) override {
        answered({"No password is asked for.", "", Secret(), false});
    }
    void askConsent(const Client&, const std::string&, Answered answered) override {
        answered({"", "", Secret(), true});
    }
    void openAddress(const Client&, const std::string& address, Shown shown) override {
        opened.add(address);
        if (hasBrowser)
            visit(address);
        shown(hasBrowser, {});
    }
    void showCode(const Client&, const DeviceCode& code, Shown shown) override {
        codes.add(code);
        visit(code.completeAddress);
        shown(true, {});
    }

    void visit(const std::string& address) {
        if (script.empty())
            return;
        visits.push_back(std::async(std::launch::async, [address, script = script, name = name] {
            std::string page;
            Script({script, address, name}).wait(page);
            return page;
        }));
    }

    bool hasBrowser = true;
    std::string script = "person.mjs"; ///< empty: looks at the address and does nothing
    std::string name = "ada";
    Recorded<std::string> opened;
    Recorded<DeviceCode> codes;
    std::vector<std::future<std::string>> visits; ///< the last page of each
};

/// The daemon's parts with a provider in a process of its own. Tests that need another one start it
/// themselves.
struct ProviderFixture : Test {
    explicit ProviderFixture(std::string options = "{}") : providerOptions(std::move(options)) {}

    void SetUp() override {
        if (!Script::installed())
            GTEST_SKIP() << "the provider is not installed: ./zelkor test installs it";
        startProvider({"provider.mjs", providerOptions});
    }
    void TearDown() override {
        if (oidc)
            oidc->stop();
        stateThread.drain();
    }
    void startProvider(const std::vector<std::string>& command) {
        process = std::make_unique<Script>(command);
        issuer = std::string(std::string_view(json::parse(process->line()).at("issuer").as_string()));
        restart();
    }
    /// As a new daemon would.
    void restart() {
        if (oidc)
            oidc->stop();
        stateThread.drain();
        oidc.reset();
        state.reset();
        store.reset();
        store = std::make_unique<StateStore>(directory.path());
        state = std::make_unique<LoginState>(*store, "", [this](const StatusChange& change) {
            changes.add(change);
            if (oidc)
                oidc->sessionChanged();
        });
        oidc = std::make_unique<oidc::OidcProvider>(
            oidc::Settings::parse(
                R"({"issuer": ")" + issuer + R"(", "clientId": "desktop")" + moreSettings + "}", "test"),
            oidc::OidcProvider::Parts{*state, stateThread, person, store->directory(), store->vault(),
                                      HSHD_PROGRAM, signInLimit});
        oidc->sessionChanged();
    }

    InteractiveParts parts() { return {*state, stateThread, negotiators, *oidc, person, generous}; }

    struct SignedInAs {
        LoginInfo info;
        std::string problem;
    };
    std::future<SignedInAs> beginSignIn(SignInRequest::Wish wish) {
        const auto outcome = std::make_shared<std::promise<SignedInAs>>();
        request = std::make_shared<SignInRequest>(parts(), client, std::move(wish),
                                                  [outcome](LoginInfo info, const std::string& problem) {
                                                      outcome->set_value({std::move(info), problem});
                                                  });
        request->start();
        return outcome->get_future();
    }
    SignedInAs signIn(Level level = Level::SignedIn, bool again = false) {
        auto outcome = beginSignIn({level, true, again, ""});
        return comes(outcome) ? outcome.get() : SignedInAs{{}, "no outcome in the test's time"};
    }
    std::string signOut() {
        std::promise<std::string> outcome;
        std::make_shared<SignOutRequest>(parts(), client, login::interactive::LogoutOptions{},
                                         [&](const std::string& error) { outcome.set_value(error); })
            ->start();
        auto future = outcome.get_future();
        return comes(future) ? future.get() : "no outcome in the test's time";
    }
    RequestAccessTokenResponse token(milliseconds limit = generous) {
        std::promise<void> tried;
        if (auto present = state->accessToken(Level::None); present.token || present.status == 401)
            return present;
        oidc->renewToken(std::chrono::steady_clock::now() + limit, [&] { tried.set_value(); });
        tried.get_future().get();
        return state->accessToken(Level::None);
    }

    /// A request of the test's own; its body, or a problem.
    std::string ask(const std::string& path, const std::string& form = "",
                    const std::string& authorization = "") {
        net::NetworkThread network;
        net::HttpRequest asked;
        asked.url = issuer + path;
        asked.form = Secret(form);
        asked.authorization = Secret(authorization);
        std::promise<std::string> body;
        network.send(asked, [&](const net::HttpAnswer& answer) {
            body.set_value(answer.failure ? answer.problem
                                          : std::to_string(answer.status) + " " + answer.body);
        });
        return body.get_future().get();
    }
    void control(const std::string& order) {
        EXPECT_THAT(ask("/control", order), StartsWith("204")) << order;
    }
    std::int64_t count(const char* what) {
        return json::parse(ask("/control/counts").substr(4)).at(what).as_int64();
    }
    /// Whether the provider takes the access token.
    bool takes(const AccessToken& token) {
        return ask("/me", "", "Bearer " + token.getTokenString()).starts_with("200");
    }

    const std::string providerOptions;
    std::string moreSettings;
    milliseconds signInLimit = generous;
    RecordingLog log;
    TempDirectory directory;
    std::unique_ptr<Script> process;
    std::string issuer;
    Person person;
    Registrations negotiators;
    Recorded<StatusChange> changes;
    StateThread stateThread;
    std::unique_ptr<StateStore> store;
    std::unique_ptr<LoginState> state;
    std::unique_ptr<oidc::OidcProvider> oidc;
    std::shared_ptr<FakeClient> client = std::make_shared<FakeClient>();
    std::shared_ptr<SignInRequest> request;
};

} // namespace hshd::test
