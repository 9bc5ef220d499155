#include "contract/calls/CallbackScope.h"
#include "module/runtime/StateLock.h"
#include "module/runtime/WaitDeadline.h"
#include "tests/support/Testing.h"

namespace {

using namespace agent::spf::cppmsclientutils;
using namespace zelkor::test;

/// Threads that share the lock without ever pausing, so that it is never free.
class Sharers {
public:
    explicit Sharers(StateLock& state)
        : threads_(startThreads(4, [this, &state](std::stop_token stop, int) {
              while (!stop.stop_requested()) {
                  SharedHold hold(state);
                  const auto mine = ++rounds;
                  // Goes only when another has come in, or would have if it did not stand back.
                  eventually([&] {
                      return rounds != mine || state.exclusiveWaiters() != 0 || stop.stop_requested();
                  });
              }
          })) {}

private:
    std::atomic<unsigned> rounds{0};
    std::vector<std::jthread> threads_;
};

TEST(StateLock, NeitherSideStarvesTheOther) {
    StateLock state;
    std::promise<void> done;
    std::jthread exclusive;
    {
        Sharers sharers(state);
        exclusive = std::jthread([&] {
            for (int i = 0; i < 200; ++i)
                ExclusiveHold hold(state);
            done.set_value();
        });
        ASSERT_TRUE(comes(done.get_future()));
    }
    auto holders = startThreads(3, [&](std::stop_token stop, int) {
        while (!stop.stop_requested())
            ExclusiveHold hold(state);
    });
    for (int i = 0; i < 200; ++i)
        SharedHold hold(state);
}

TEST(StateLock, ACallbackGoesByThoseWhoStandBackForAWaiter) {
    StateLock state;
    std::atomic<bool> wasIn{false}, onItsWay{false};
    std::jthread exclusive, latecomer;
    SharedHold first(state);
    exclusive = std::jthread([&] {
        ExclusiveHold hold(state);
        wasIn = true;
    });
    ASSERT_TRUE(eventually([&] { return state.exclusiveWaiters() == 1; }));
    latecomer = std::jthread([&] {
        onItsWay = true;
        SharedHold hold(state);
        EXPECT_TRUE(wasIn);
    });
    ASSERT_TRUE(eventually([&] { return onItsWay.load(); }));
    const agent::spf::core::CallbackScope scope;
    SharedHold callback(state); // cannot wait for the first, which may be waiting for it
    EXPECT_FALSE(wasIn);
}

TEST(StateLock, AnExclusiveWaiterOfAConditionComesBackInAgainstSharersThatNeverPause) {
    StateLock state;
    std::condition_variable_any condition;
    bool flag = false;
    std::promise<void> done;
    std::jthread waiter([&] {
        ExclusiveHold hold(state);
        GatedRelock relock(hold.access());
        waitUntil(condition, relock, WaitDeadline(generousLimit), [&] { return flag; });
        done.set_value();
    });
    Sharers sharers(state);
    {
        ExclusiveHold hold(state);
        flag = true;
    }
    condition.notify_all();
    ASSERT_TRUE(comes(done.get_future()));
}

TEST(StateLock, ReleasesWhatWasLeftForLaterOutsideItself) {
    StateLock state;
    struct Foreign {
        explicit Foreign(StateLock& lock) : state(lock) {}
        ~Foreign() { ExclusiveHold hold(state); } // deadlocks when run under the lock
        StateLock& state;
    };
    ExclusiveHold hold(state);
    hold.access().releaseLater(std::make_shared<Foreign>(state));
}

TEST(StateLock, WhatItGuardsOpensAgainstNoOtherLock) {
    StateLock state, other;
    Guarded<int> guarded(state, 7);
    SharedHold elsewhere(other);
    EXPECT_THROW(guarded(elsewhere.access()), std::system_error);
    SharedHold hold(state);
    EXPECT_EQ(guarded(hold.access()), 7);
}

TEST(StateLock, AHolderThatLendsGoesOnWhenTheLastGuestHasLeft) {
    using agent::spf::core::CallbackScope;
    StateLock state;
    std::promise<void> guestIn, guestMayGo, helperIn;
    std::atomic<bool> guestGone{false};
    std::jthread guest, helper;
    {
        ExclusiveHold hold(state);
        {
            const Lending lending(hold.access());
            guest = std::jthread([&] {
                const CallbackScope scope;
                // What the callback has another thread ask for, asked while the callback runs.
                helper = std::jthread([&] {
                    SharedHold asking(state);
                    helperIn.set_value();
                });
                SharedHold asking(state);
                guestIn.set_value();
                guestMayGo.get_future().wait();
                guestGone = true;
            });
            EXPECT_TRUE(comes(guestIn.get_future()));
            EXPECT_TRUE(comes(helperIn.get_future()));
            guestMayGo.set_value();
        }
        EXPECT_TRUE(guestGone);
    }
    ExclusiveHold again(state);
}

} // namespace
