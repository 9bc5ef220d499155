// A whole daemon in this process, and clients that are connected to it.

#include "contract/calls/CallbackManager.h"
#include "hshd/Daemon.h"
#include "tests/hshd/Fakes.h"
#include "tests/support/ConnectedClient.h"
#include "tests/support/Recorded.h"

using namespace hshd::test;

namespace {

hshd::Options optionsFor(const TempDirectory& directory) {
    hshd::Options options;
    options.socketDirectory = options.stateDirectory = directory / "run";
    return options;
}

struct ConnectedClients : Test {
    RecordingLog log;
    TempDirectory directory;
    hshd::Options options = optionsFor(directory);
};

/// A client, and what it exports.
struct Exporting {
    ConnectedClient client;
    Invokables service;
    core::CallbackManager callbacks;

    explicit Exporting(const hshd::Options& options)
        : client(options.socketDirectory, {}, "(&(spf.service.name=ZelkorLogin)(spf.service.version=2))"),
          service(client.found()), callbacks(service->callbacks()) {}

    template <class R = void, class... Args>
    R call(const std::string& method, Args... args) {
        return callAndHelp<R>(*service, method, std::move(args)...);
    }
    template <class Function>
    ExportedCallback exported(std::function<Function> function) {
        return callbacks.makeExportedCallback(core::exportFunction(std::move(function)), std::nullopt,
                                              std::nullopt, false);
    }
    void negotiator(const std::string& name,
                    std::function<NegotiatorResponse(const NegotiationTerms&)> answer) {
        call<uuid>("addLogoutNegotiator", name, exported(std::move(answer)));
    }
    std::future<NegotiationsResult> negotiation() {
        return service->invokeAsync<NegotiationsResult>(generousLimit, "negotiateLogout",
                                                        NegotiationTerms{1});
    }
};

const NegotiatorResponse objection{login::Negotiator::Position::Object, u"unsaved work"};

} // namespace

TEST_F(ConnectedClients, EachConnectAndDisconnectIsLoggedOnce) {
    hshd::Daemon daemon(options);
    daemon.start();
    std::optional<ConnectedClient> client(options.socketDirectory);
    client->found();
    client.reset();
    ASSERT_TRUE(eventually([&] { return log.mentions("it disconnected") > 0; }));
    daemon.stop();
    EXPECT_EQ(log.mentions("lient test-client (process "), 2U);
}

TEST_F(ConnectedClients, AnObjectorAmongManyNegotiatorsIsHeard) {
    options.negotiationTimeout = generous;
    hshd::Daemon daemon(options);
    daemon.start();
    Exporting client(options);
    for (int i = 1; i < 1100; ++i) // more than a client may leave unanswered
        client.negotiator("content", [](auto&) {
            return NegotiatorResponse{login::Negotiator::Position::Accept, u""};
        });
    client.negotiator("editor", [](auto&) { return objection; });
    for (int round = 0; round < 2; ++round)
        EXPECT_FALSE(client.negotiation().get().accepted);
    EXPECT_EQ(log.mentions("asked 1100, not accepted"), 2U) << "all of them are still registered";
}

TEST_F(ConnectedClients, AnObjectorIsHeardByManyNegotiationsAtOnce) {
    options.negotiationTimeout = generous;
    hshd::Daemon daemon(options);
    daemon.start();
    Exporting one(options), two(options);
    std::promise<void> release;
    one.negotiator("editor", [released = release.get_future().share()](auto&) {
        released.wait();
        return objection;
    });
    std::vector<std::future<NegotiationsResult>> negotiations;
    for (Exporting* client : {&one, &two}) {
        for (int i = 0; i < 700; ++i)
            negotiations.push_back(client->negotiation());
        client->call<std::string>("getRelease"); // by now all of them are under way
    }
    release.set_value();
    for (auto& negotiation : negotiations)
        ASSERT_FALSE(negotiation.get().accepted);
    EXPECT_EQ(two.negotiation().get(), (NegotiationsResult{false, {u"unsaved work"}, {}}));
}

TEST_F(ConnectedClients, AListenerIsToldLaterOfWhatWasTooLarge) {
    hshd::Daemon daemon(options);
    daemon.start();
    Exporting client(options);
    Recorded<std::u16string> told;
    client.call<uuid>("addStatusListener", client.exported<void(const LoginInfo&, const LoginInfo&)>(
                                               [&](auto& now, auto&) { told.add(now.userId.substr(0, 3)); }));
    const auto large = std::u16string(300'000, u'x'); // 600 kB: two of them are more than a frame holds
    for (const auto& user : {u"ada" + large, u"eve" + large, std::u16string(u"bob")}) {
        LoginInfo info;
        info.userId = user;
        info.level = Level::SignedIn;
        const auto number = told.all().size();
        client.call("impersonate", std::string("token"), info);
        EXPECT_EQ(told.at(number), user.substr(0, 3));
    }
    EXPECT_EQ(log.mentions("not told of a change"), 1U);
}
