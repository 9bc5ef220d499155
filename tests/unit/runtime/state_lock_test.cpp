#include "runtime/clientutils/StateLock.h"
#include "runtime/clientutils/WaitDeadline.h"
#include "runtime/core/CallbackScope.h"
#include "tests/support/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace agent::spf::cppmsclientutils;
using zelkor::test::eventually;

/// Threads that share the lock without ever pausing, so that it is never free.
class Sharers {
public:
    Sharers(StateLock& state, int count) {
        for (int i = 0; i < count; ++i)
            threads_.emplace_back([this, &state](std::stop_token stop) {
                while (!stop.stop_requested()) {
                    SharedHold hold(state);
                    ++rounds;
                    const auto mine = rounds.load();
                    // Goes only when another has come in, or would have if it did not stand back.
                    eventually([&] {
                        return rounds != mine || state.exclusiveWaiters() != 0 || stop.stop_requested();
                    });
                }
            });
    }
    std::atomic<unsigned> rounds{0};

private:
    std::vector<std::jthread> threads_;
};

TEST(StateLock, NeitherSideStarvesTheOther) {
    StateLock state;
    std::promise<void> done;
    std::jthread exclusive;
    {
        Sharers sharers(state, 4);
        exclusive = std::jthread([&] {
            for (int i = 0; i < 200; ++i)
                ExclusiveHold hold(state);
            done.set_value();
        });
        ASSERT_EQ(done.get_future().wait_for(zelkor::test::generousLimit), std::future_status::ready);
    }
    std::atomic<bool> stop{false};
    std::vector<std::jthread> holders;
    for (int i = 0; i < 3; ++i)
        holders.emplace_back([&] {
            while (!stop)
                ExclusiveHold hold(state);
        });
    for (int i = 0; i < 200; ++i)
        SharedHold hold(state);
    stop = true;
}

TEST(StateLock, ThoseWhoComeLaterStandBackForAWaiterButCallbacksDoNot) {
    for (int round = 0; round < 50; ++round) {
        StateLock state;
        std::mutex orderMutex;
        std::string order;
        const auto note = [&](char c) {
            const std::scoped_lock lock(orderMutex);
            order += c;
        };
        std::jthread exclusive, latecomer, callback;
        {
            SharedHold first(state);
            exclusive = std::jthread([&] {
                ExclusiveHold hold(state);
                note('X');
            });
            ASSERT_TRUE(eventually([&] { return state.exclusiveWaiters() == 1; }));
            std::promise<void> callbackWasIn;
            callback = std::jthread([&] {
                const agent::spf::core::CallbackScope scope;
                SharedHold hold(state);
                note('C');
                callbackWasIn.set_value();
            });
            std::atomic<bool> onItsWay{false};
            latecomer = std::jthread([&] {
                onItsWay = true;
                SharedHold hold(state);
                note('L');
            });
            ASSERT_TRUE(eventually([&] { return onItsWay.load(); }));
            // With the first holder still in: the callback cannot wait for it, it may be what it waits for.
            ASSERT_EQ(callbackWasIn.get_future().wait_for(zelkor::test::generousLimit),
                      std::future_status::ready);
        }
        exclusive.join();
        callback.join();
        latecomer.join();
        ASSERT_EQ(order, "CXL");
    }
}

TEST(StateLock, AnExclusiveWaiterOfAConditionComesBackInAgainstSharersThatNeverPause) {
    StateLock state;
    std::condition_variable_any condition;
    bool flag = false;
    std::promise<void> done;
    std::jthread waiter([&] {
        ExclusiveHold hold(state);
        GatedRelock relock(state, hold.lock());
        waitUntil(condition, relock, WaitDeadline(zelkor::test::generousLimit), [&] { return flag; });
        EXPECT_TRUE(hold.lock().owns_lock());
        done.set_value();
    });
    Sharers sharers(state, 4);
    {
        ExclusiveHold hold(state);
        flag = true;
    }
    condition.notify_all();
    ASSERT_EQ(done.get_future().wait_for(zelkor::test::generousLimit), std::future_status::ready);
}

TEST(StateLock, ReleasesWhatWasLeftForLaterOutsideItself) {
    StateLock state;
    struct Foreign {
        explicit Foreign(StateLock& lock) : state(lock) {}
        ~Foreign() { ExclusiveHold hold(state); } // deadlocks when run under the lock
        StateLock& state;
    };
    ExclusiveHold hold(state);
    state.releaseLater(std::make_shared<Foreign>(state));
}

TEST(StateLock, RefusesSomebodyElsesLock) {
    StateLock state;
    StateLock other;
    ExclusiveHold elsewhere(other);
    EXPECT_THROW(state.verify(elsewhere.lock()), std::system_error);
}

} // namespace
