// A whole daemon in this process, and clients that are connected to it.

#include "hshd/Daemon.h"
#include "tests/hshd/Remote.h"

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
        ASSERT_EQ(negotiation.get(), (NegotiationsResult{false, {u"unsaved work"}, {}}));
}
