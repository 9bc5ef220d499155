// A whole daemon in this process, and clients that are connected to it.

#include "hshd/Daemon.h"
#include "tests/hshd/Remote.h"
#include "tests/support/Recorded.h"

using namespace hshd::test;

namespace {

struct ConnectedClients : Test {
    RecordingLog log;
    TempDirectory directory;
    hshd::Options options;
    std::optional<hshd::Daemon> daemon;

    ConnectedClients() {
        options.socketDirectory = options.stateDirectory = directory / "run";
        options.negotiationTimeout = generous;
        daemon.emplace(options);
        daemon->start();
    }
};

struct Exporting : ConnectedClient, Remote {
    explicit Exporting(const hshd::Options& options)
        : ConnectedClient(options.socketDirectory, {}, loginService), Remote{found()} {}
};

} // namespace

TEST_F(ConnectedClients, EachConnectAndDisconnectIsLoggedOnce) {
    std::optional<ConnectedClient> client(options.socketDirectory);
    client->found();
    client.reset();
    ASSERT_TRUE(eventually([&] { return log.mentions("it disconnected") > 0; }));
    daemon->stop();
    EXPECT_EQ(log.mentions("lient test-client (process "), 2U);
}

TEST_F(ConnectedClients, AnObjectorIsHeardByManyNegotiationsAtOnce) {
    Exporting one(options), two(options);
    std::promise<void> release;
    one.addNegotiator("editor", [released = release.get_future().share()](auto&) {
        released.wait();
        return NegotiatorResponse{login::Negotiator::Position::Object, u"unsaved work"};
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
    Exporting client(options);
    Recorded<std::u16string> told;
    client.listen([&](auto& now, auto&) { told.add(now.userId.substr(0, 3)); });
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
