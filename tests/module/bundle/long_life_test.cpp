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

TEST(ModuleLife, AProcessMayHaveOneFrameworkAfterAnother) {
    struct OneMore : ModuleHost {
        void TestBody() override {
            daemon.appear();
            configure(detailPid, {{"timeouts::service", 3600}});
            held = get<login::detail::ZelkorLogin>();
            ASSERT_EQ(held->getRelease(), "1.2");
            configure(detailPid, {{"timeouts::service", 0}}); // from now on it waits for nobody
        }
        std::shared_ptr<login::detail::ZelkorLogin> held;
    };
    std::shared_ptr<login::detail::ZelkorLogin> held; // past its framework
    expectFlat(rounds(50), [&] {
        OneMore host;
        host.TestBody();
        if (!held)
            held = host.held;
    });
    EXPECT_EQ(held->getRelease(), "");
    EXPECT_THROW(held->completeLogout(), std::runtime_error);
}

} // namespace zelkor::test
