#include "module/v2/LoginVetoerClient.h"
#include "tests/support/ClientConfiguration.h"
#include "tests/support/FakeDaemon.h"
#include "tests/support/TestFramework.h"

namespace {

using namespace zelkor::test;
using Line = RecordingLog::Line;

TEST(LoginVetoerClient, VetoesNothingWithoutADaemonAndWhatTheDaemonSaysOtherwise) {
    TestFramework framework;
    FakeDaemon daemon(framework.context());
    login::spf::LoginVetoerClient client(configuration(10, 0));
    EXPECT_FALSE(client.shouldVetoSignIn());
    EXPECT_NO_THROW(client.vetoSignIn(true));
    daemon.answer("shouldVetoSignIn", true);
    daemon.appear();
    EXPECT_TRUE(eventually([&] { return client.shouldVetoSignIn(); }));
    RecordingLog log("login.spf.LoginVetoerClient");
    EXPECT_NO_THROW(client.vetoSignIn(true));
    EXPECT_EQ(log.linesAt(256), std::vector<Line>({{256, "`vetoSignIn` on `ZelkorLogin-v2.1` failed: "
                                                         "no behaviour for vetoSignIn"}}));
}

} // namespace
