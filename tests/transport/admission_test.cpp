#include "Fixture.h"
#include "RawPeer.h"

#include <sys/resource.h>

namespace transport_test {

namespace {

struct Admission : Connection {
    RawPeer stranger() { return RawPeer(directory / "s"); }
    /// Says hello; the goodbye's text, or an empty one when welcome.
    static std::string greet(RawPeer& peer) {
        std::string text = "nothing";
        peer.send(fillHello);
        peer.receive([&](auto message) {
            text = message.isGoodbye() ? wire::textOf(message.getGoodbye().getText()) : "";
        });
        return text;
    }
};

/// The soft limit of descriptors, and the hard one, for as long as this lives. Needs root to raise it again.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t limit) {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit tight{limit, limit};
        ::setrlimit(RLIMIT_NOFILE, &tight);
    }
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit before_{};
};

} // namespace

TEST_F(Admission, TheOldestWithoutAHelloMakesRoomAndClientsAreCountedApart) {
    begin({.connections = 2, .connectionsWithoutHello = 3});
    auto oldest = stranger(), second = stranger(), third = stranger(), fourth = stranger();
    std::string text;
    EXPECT_TRUE(oldest.receive([&](auto message) { text = wire::textOf(message.getGoodbye().getText()); }));
    EXPECT_THAT(text, HasSubstr("No hello so far"));
    EXPECT_TRUE(oldest.closedByOther());
    EXPECT_EQ(greet(second), "") << "it was not the oldest";
    EXPECT_EQ(greet(third), "Too many clients are connected (limit 2)");
    second.close();
    EXPECT_TRUE(eventually([&] { return log.mentions("it disconnected") == 1; }));
    EXPECT_EQ(greet(fourth), "") << "who goes leaves a place";
    EXPECT_EQ(callAndHelp<int>(*invokable, "m", 3), 3);
}

TEST_F(Admission, StrangersTakeNeitherTheClientsDescriptorsNorTheDaemonsOwn) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root, to raise the limit again";
    std::vector<RawPeer> strangers;
    {
        const DescriptorLimit limit(256);
        begin();
    }
    // 256, without the daemon's own 64: an eighth is for strangers.
    for (int i = 0; i < 24; ++i)
        strangers.push_back(stranger());
    auto newcomer = stranger();
    EXPECT_EQ(greet(newcomer), "");
    EXPECT_TRUE(strangers.front().closedByOther());
    EXPECT_EQ(greet(strangers.back()), "");
}

} // namespace transport_test
