#include "platform/daemon/process/DaemonProcess.h"
#include "runtime/core/CallbackManager.h"
#include "runtime/core/Invokable.h"
#include "tests/unit/daemon/Fakes.h"

#include <agent/spf/transport/Connector.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <iterator>

using namespace hshd::test;
using boost::uuids::uuid;
using core::ExportedCallback;
using login::LoginInfo;
using testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

/// A client process's framework and connector.
class Client {
public:
    explicit Client(const fs::path& socketDirectory)
        : framework_(cppmicroservices::FrameworkFactory().NewFramework()) {
        framework_.Start();
        connector_ = std::make_unique<transport::Connector>(
            framework_.GetBundleContext(), transport::ConnectorOptions{socketDirectory, "test", {}, 1ms});
        connector_->start();
    }
    ~Client() {
        connector_.reset();
        framework_.Stop();
        framework_.WaitForStop(0ms);
    }

    /// The daemon's service, another one than `former`; null when none comes.
    std::shared_ptr<core::Invokable> service(const std::shared_ptr<core::Invokable>& former = nullptr) {
        auto context = framework_.GetBundleContext();
        for (const auto end = std::chrono::steady_clock::now() + generous;
             std::chrono::steady_clock::now() < end; std::this_thread::yield()) {
            for (const auto& reference : context.GetServiceReferences<core::Invokable>()) {
                auto found = context.GetService(reference);
                if (found && found != former)
                    return found;
            }
        }
        return nullptr;
    }

private:
    cppmicroservices::Framework framework_;
    std::unique_ptr<transport::Connector> connector_;
};

template <class R, class... Args>
R call(core::Invokable& service, const std::string& method, Args... args) {
    auto started = service.startCall<R>(60s, method, std::move(args)...);
    service.help(started.id);
    return started.result.get();
}

class HshdProcess : public testing::Test {
protected:
    hshd::DaemonProcess daemon(std::vector<std::string> arguments = {},
                               const std::string& errors = "errors") {
        return hshd::DaemonProcess({.program = HSHD_PROGRAM,
                                    .socketDirectory = here_,
                                    .stateDirectory = here_,
                                    .arguments = std::move(arguments),
                                    .errorFile = directory_.path / errors});
    }
    std::string errors(const std::string& file = "errors") const {
        std::ifstream stream(directory_.path / file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static int exitCodeOf(hshd::DaemonProcess process) {
        try {
            process.start();
            return 0;
        } catch (const hshd::StartFailure& failure) {
            return failure.exitCode();
        }
    }

    TemporaryDirectory directory_;
    const std::string here_ = (directory_.path / "run").string(); // for the socket and the state
};

} // namespace

TEST_F(HshdProcess, ServesClientsAndKeepsItsStateThroughAKill) {
    auto first =
        daemon({"--signed-in", "ada:3", "--endpoint", "https://e.example", "--negotiation-timeout", "0.1"});
    ASSERT_EQ(first.start(), "hshd is ready on " + here_ + "/hshd.sock") << errors();
    Client client(here_);
    auto service = client.service();
    ASSERT_TRUE(service);
    EXPECT_EQ(call<LoginInfo>(*service, "getLoginInfo", std::string("test"), 3).displayName, u"ada");
    EXPECT_EQ(call<std::string>(*service, "getEndpoint"), "https://e.example");

    core::CallbackManager callbacks(service->callbacks());
    const auto exportAs = [&]<class Function>(std::function<Function> function) {
        return callbacks.makeExportedCallback(core::exportFunction(std::move(function)), std::nullopt,
                                              std::nullopt, false);
    };
    using Negotiate = login::NegotiatorResponse(const login::NegotiationTerms&);
    std::promise<LoginInfo> told;
    const auto listener = exportAs(std::function<void(const LoginInfo&, const LoginInfo&)>(
        [&](const LoginInfo& now, const LoginInfo&) { told.set_value(now); }));
    const auto objecting = exportAs(std::function<Negotiate>([](const login::NegotiationTerms&) {
        return login::NegotiatorResponse{login::Negotiator::Position::Object, u"unsaved work"};
    }));
    std::promise<void> release;
    const auto slow =
        exportAs(std::function<Negotiate>([released = release.get_future().share()](
                                              const login::NegotiationTerms&) -> login::NegotiatorResponse {
            released.wait();
            return {};
        }));
    const uuid registered = call<uuid>(*service, "addStatusListener", listener);
    call<uuid>(*service, "addLogoutNegotiator", std::string("editor"), objecting);
    call<uuid>(*service, "addLogoutNegotiator", std::string("sleeper"), slow);
    call<void>(*service, "impersonate", std::string("eves token"), person(u"eve"));
    auto change = told.get_future();
    ASSERT_EQ(change.wait_for(generous), std::future_status::ready);
    EXPECT_EQ(change.get(), person(u"eve"));
    EXPECT_TRUE(call<bool>(*service, "removeStatusListener", registered));
    EXPECT_EQ(
        call<login::detail::NegotiationsResult>(*service, "negotiateLogout", login::NegotiationTerms{1}),
        (login::detail::NegotiationsResult{false, {u"unsaved work"}, {}}));
    release.set_value();
    EXPECT_THAT(errors(), HasSubstr("it did not end in time"));
    const auto session = call<std::string>(*service, "getCurrentSessionId");

    EXPECT_EQ(exitCodeOf(daemon({}, "second")), 1);
    EXPECT_THAT(errors("second"), HasSubstr("another hshd"));

    EXPECT_EQ(first.kill(), -SIGKILL);
    auto next = daemon();
    ASSERT_THAT(next.start(), HasSubstr("ready")) << errors();
    service = client.service(service);
    ASSERT_TRUE(service);
    EXPECT_EQ(call<LoginInfo>(*service, "getLoginInfo", std::string("test"), 2), person(u"eve"));
    EXPECT_EQ(call<std::string>(*service, "getCurrentSessionId"), session);
    EXPECT_TRUE(
        call<login::detail::NegotiationsResult>(*service, "negotiateLogout", login::NegotiationTerms{1})
            .accepted)
        << "registrations end with the daemon";
    call<void>(*service, "completeLogout");
    EXPECT_EQ(next.stop(), 0) << errors();
    EXPECT_THAT(errors(), testing::Not(HasSubstr("eves token")));
}

TEST_F(HshdProcess, MistakesAreExplained) {
    const std::string accounts = (directory_.path / "accounts.json").string();
    const auto list = [](const std::string& text) { return R"({"accounts": [)" + text + "]}"; };
    const std::vector<std::string> withAccounts{"--accounts", accounts};
    const struct {
        std::string accounts;
        std::vector<std::string> arguments;
        int exitCode;
        const char* text;
    } cases[] = {
        {"", {"--bogus"}, 2, "--bogus"},
        {"", {"--signed-in", "ada:9"}, 2, "1 (identified), 2 (signed in), 3 (confirmed)"},
        {"", {"--log-level", "loud"}, 2, "'loud'"},
        {"", {"--negotiation-timeout", "0"}, 2, "--negotiation-timeout"},
        {"", {"--accounts", accounts + "-missing"}, 1, "cannot read the accounts file"},
        {"{\"accounts\": [\n  }", withAccounts, 1, "accounts.json': invalid JSON at line 2, column 3"},
        {"[]", withAccounts, 1, R"(must be one object {"accounts": [...]})"},
        {list("7"), withAccounts, 1, "accounts[0] must be an object"},
        {list(R"({"name": "a"}, {"name": "b", "level": 4})"), withAccounts, 1,
         "accounts[1].level must be an integer from 1 to 3"},
        {list(R"({"displayName": "a"})"), withAccounts, 1, "accounts[0].name is missing"},
        {list(R"({"name": "a", "email": 1})"), withAccounts, 1, "[0].email must be a string"},
        {list(R"({"name": "a"}, {"name": "a"})"), withAccounts, 1, "accounts[1].name repeats 'a'"},
        {list(R"({"name": "a", "lvl": 1})"), withAccounts, 1, "accounts[0].lvl is not a known key"},
        {list(R"({"name": "a"})"), {"--accounts", accounts, "--signed-in", "b"}, 1, "no account 'b'"},
    };
    for (const auto& mistake : cases) {
        fs::remove(directory_.path / "errors");
        std::ofstream(accounts) << mistake.accounts;
        EXPECT_EQ(exitCodeOf(daemon(mistake.arguments)), mistake.exitCode) << mistake.text;
        EXPECT_THAT(errors(), HasSubstr(mistake.text));
        EXPECT_FALSE(fs::exists(here_)) << "a mistake must not leave a state behind";
    }
    std::ofstream(accounts) << list(R"({"name": "a", "displayName": "A\u00e9", "level": 1})");
    auto good = daemon({"--accounts", accounts, "--signed-in", "a"});
    ASSERT_THAT(good.start(), HasSubstr("ready"));
    EXPECT_THAT(errors(), HasSubstr("user: \"a\", name: \"A\u00e9\", level: 1"));
    EXPECT_EQ(good.stop(SIGINT), 0);
}
