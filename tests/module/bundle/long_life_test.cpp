// A process that starts, uses and stops the module again and again.

#include "ModuleHost.h"
#include "tests/support/Rounds.h"

#include <malloc.h>

namespace zelkor::test {

namespace {

/// What a process would run out of in the long run.
struct Usage {
    std::size_t heap = ::mallinfo2().uordblks;
    std::size_t threads = entries("/proc/self/task");
    std::size_t descriptors = entries("/proc/self/fd");

    static std::size_t entries(const char* directory) {
        return static_cast<std::size_t>(
            std::ranges::distance(std::filesystem::directory_iterator(directory)));
    }
};

#ifdef ZELKOR_EMBEDDED_FRAMEWORK
constexpr std::size_t heapARound = 1024;
#else
constexpr std::size_t heapARound = 2048; // the original keeps some 1.3 KiB of each framework
#endif

/// The first rounds fill caches and pools.
template <class Round>
void expectFlat(int count, const Round& round) {
    for (int i = 0; i < 10; ++i)
        round();
    const Usage before;
    for (int i = 0; i < count; ++i)
        round();
    const Usage after;
    EXPECT_LT(after.heap, before.heap + heapARound * static_cast<std::size_t>(count));
    EXPECT_LE(after.threads, before.threads + 8); // the pools' own limits are higher
    EXPECT_LE(after.descriptors, before.descriptors);
}

} // namespace

TEST_F(ModuleHost, MayStopStartAndBeUsedAgainAndAgain) {
    daemon.appear();
    expectFlat(rounds(200), [&] {
        bundle.Stop();
        bundle.Start();
        configure(detailPid, {{"timeouts::service", 3600}});
        ASSERT_EQ(get<login::detail::ZelkorLogin>()->getRelease(), "1.2");
        daemon.forgetCalls();
    });
}

/// A host with a client.
struct OneMore : ModuleHost {
    OneMore() {
        daemon.appear();
        configure(detailPid, {{"timeouts::service", 3600}});
        client = get<login::detail::ZelkorLogin>();
        EXPECT_EQ(client->getRelease(), "1.2");
    }
    void TestBody() override {}
    using ModuleHost::bundle, ModuleHost::configure, ModuleHost::daemon, ModuleHost::get;
    std::shared_ptr<login::detail::ZelkorLogin> client;
};

/// Of a client whose framework has stopped, and the daemon with it.
void expectOver(login::detail::ZelkorLogin& held) {
    EXPECT_EQ(held.getRelease(), "");
    EXPECT_THROW(held.completeLogout(), std::runtime_error);
}

TEST(ModuleLife, WhatIsHeldPastAStopStaysCallableBesideTheNextStarts) {
    OneMore host;
    auto former = host.client;
    const auto callable = [&] { return former->getRelease(); }; // answers, or fails as without a daemon
    host.bundle.Stop();
    EXPECT_THAT(callable(), testing::AnyOf("1.2", ""));
    host.bundle.Start();
    host.configure(detailPid, {{"timeouts::service", 3600}});
    const auto next = host.get<login::detail::ZelkorLogin>();
    EXPECT_NE(next, former);
    EXPECT_EQ(next->getRelease(), "1.2");
    EXPECT_THAT(callable(), testing::AnyOf("1.2", ""));
    former.reset();
    EXPECT_EQ(next->getRelease(), "1.2");
}

TEST(ModuleLife, AProcessMayHaveOneFrameworkAfterAnother) {
    std::shared_ptr<login::detail::ZelkorLogin> held; // past its framework
    expectFlat(rounds(50), [&] {
        OneMore host;
        host.configure(detailPid, {{"timeouts::service", 0}}); // from now on it waits for nobody
        if (!held)
            held = host.client;
    });
    expectOver(*held);
}

TEST(ModuleLife, TwoFrameworksOfOneProcessHaveClientsOfTheirOwn) {
    OneMore one;
    {
        OneMore other;
        other.daemon.answer("getRelease", std::string("other"));
        EXPECT_EQ(other.client->getRelease(), "other");
        EXPECT_EQ(one.client->getRelease(), "1.2");
    }
    EXPECT_EQ(one.client->getRelease(), "1.2") << "the other one's end is not this one's";
}

} // namespace zelkor::test
