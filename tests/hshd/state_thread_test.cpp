#include "hshd/state/StateThread.h"
#include "tests/support/Testing.h"

namespace {

using namespace zelkor::test;
using hshd::StateThread;
using Posted = StateThread::Posted;

/// The thread is busy until release().
struct BusyThread : Test {
    StateThread thread{{.ofOwner = 10'000, .ofAll = 25'000}};
    std::promise<void> goOn;
    std::string done; // the thread's, then the test's
    const int one = 1, two = 2, three = 3;

    BusyThread() {
        std::promise<void> busy;
        thread.post([&busy, wait = goOn.get_future().share()] {
            busy.set_value();
            wait.wait();
        });
        busy.get_future().wait();
    }
    Posted post(const int& owner, std::size_t bytes = 0) {
        return thread.post(&owner, bytes, [this, &owner] { done += std::to_string(owner); });
    }
    void release() {
        goOn.set_value();
        thread.drain();
    }
};

TEST_F(BusyThread, ClientsTakeTurnsAndOneThatIsGoneTakesNone) {
    for (int i = 0; i < 4; ++i)
        post(one);
    for (int i = 0; i < 2; ++i)
        post(three);
    post(two);
    post(three);
    thread.drop(&three);
    post(two);
    release();
    EXPECT_EQ(done, "121211");
}

TEST_F(BusyThread, WhatWaitsIsBoundedInBytesForEachAndForAll) {
    EXPECT_EQ(post(one, 1'000'000), Posted::Yes) << "one is taken whatever its size";
    EXPECT_EQ(post(two, 1), Posted::Full) << "all";
    thread.drop(&one);
    EXPECT_EQ(post(one, 6'000), Posted::Yes);
    EXPECT_EQ(post(one, 6'000), Posted::Full);
    int taken = 0;
    while (post(two) == Posted::Yes)
        ++taken;
    EXPECT_EQ(taken, 19) << "small ones count as well";
    EXPECT_EQ(post(three, 1), Posted::Yes);
    release();
    EXPECT_EQ(post(one, 6'000), Posted::Yes) << "room again";
    thread.drain();
}

} // namespace
