// A whole daemon in this process, and clients that are connected to it.

#include "contract/calls/CallbackManager.h"
#include "hshd/Daemon.h"
#include "tests/hshd/Fakes.h"
#include "tests/support/ConnectedClient.h"

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
