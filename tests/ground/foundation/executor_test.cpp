#include "tests/support/Testing.h"

#include <foundation/concurrent/threadpool/Executor.h>

#include <boost/uuid/random_generator.hpp>

namespace {

using namespace zelkor::test;
using foundation::concurrent::threadpool::Executor;

boost::uuids::uuid newQueue() {
    return boost::uuids::random_generator()();
}

/// Captured by a closure, calls the function when the closure is destroyed.
std::shared_ptr<void> onDestruction(std::function<void()> function) {
    return {nullptr, [function = std::move(function)](void*) { function(); }};
}

TEST(Executor, OneQueueRunsInOrderAndManyQueuesLeaveNothingBehind) {
    constexpr int posters = 3, queues = 4, rounds = 100;
    struct State {
        boost::uuids::uuid id = newQueue();
        std::atomic<int> inside = 0;
        int last[posters] = {-1, -1, -1}; // Not atomic: the queue is what orders the accesses.
    };
    State states[queues];
    std::latch done(posters * queues * rounds);
    Executor executor({.minThreads = 2, .maxThreads = 6});
    const auto threads = startThreads(posters, [&](int p) {
        for (int i = 0; i < rounds * queues; ++i) {
            State& state = states[i % queues];
            executor.post(state.id, [&state, &done, p, i] {
                EXPECT_EQ(state.inside.fetch_add(1), 0);
                EXPECT_GT(i, std::exchange(state.last[p], i));
                state.inside.fetch_sub(1);
                done.count_down();
            });
        }
    });
    done.wait();
    EXPECT_TRUE(eventually([&] { return executor.statistics().queues == 0; }));
    EXPECT_EQ(executor.statistics().waitingItems, 0u);
}

TEST(Executor, FrontGoesAheadOfWhatHasNotStarted) {
    const auto queue = newQueue();
    std::latch started(1), gate(1), done(1);
    std::string order;
    Executor executor({});
    const auto noting = [&order](char c) { return [&order, c] { order += c; }; };
    executor.post(queue, [&] {
        started.count_down();
        gate.wait();
    });
    started.wait();
    executor.post(queue, noting('2'));
    executor.post(queue, [&] { done.count_down(); });
    executor.post(queue, noting('1'), true);
    EXPECT_EQ(executor.statistics().waitingItems, 3u);
    gate.count_down();
    done.wait();
    EXPECT_EQ(order, "12");
}

TEST(Executor, GrowsWhileItemsBlockUpToTheBoundAndShrinks) {
    std::latch gate(1), blocked(4), done(6), both(2);
    Executor executor({.minThreads = 1, .maxThreads = 4, .idleTimeout = 20ms});
    const auto block = [&] {
        blocked.count_down();
        gate.wait();
        done.count_down();
    };
    for (int i = 0; i < 2; ++i) {
        executor.post(newQueue(), block);
        executor.post(block);
    }
    blocked.wait();
    executor.post(newQueue(), [&] { done.count_down(); });
    executor.post([&] { done.count_down(); });
    const auto full = executor.statistics();
    EXPECT_THAT(std::tuple(full.threads, full.idleThreads, full.waitingItems), FieldsAre(4u, 0u, 2u));
    gate.count_down();
    done.wait();
    EXPECT_TRUE(eventually([&] { return executor.statistics().threads == 1; }));

    // The thread that is left still serves, and the pool grows again.
    executor.post([&] { both.arrive_and_wait(); });
    executor.post([&] { both.arrive_and_wait(); });
    both.wait();
}

TEST(Executor, WhatItemsThrowIsLoggedAndTheQueueGoesOn) {
    const RecordingLog log("foundation.throwing");
    const auto queue = newQueue();
    std::latch done(1);
    Executor executor({.name = "throwing"});
    executor.post(queue, [] { throw std::runtime_error("broken"); });
    executor.post(queue, [] { throw 7; });
    executor.post(queue, [&] { done.count_down(); });
    done.wait();
    EXPECT_THAT(log.linesAt(256),
                ElementsAre(Field(&RecordingLog::Line::text, HasSubstr("std::runtime_error: broken")),
                            Field(&RecordingLog::Line::text, HasSubstr("type int"))));
}

TEST(Executor, ClosuresGoBeforeTheNextItemAndMayUseTheExecutor) {
    const auto queue = newQueue();
    std::latch posted(1), done(1);
    std::vector<std::string> events;
    Executor executor({});
    executor.post(queue, [&, last = onDestruction([&] {
                                 events.push_back("destroyed");
                                 executor.post(queue, [&] { done.count_down(); });
                             })] {
        posted.wait();
        events.push_back("first");
        executor.post(queue, [&] { events.push_back("third"); });
    });
    executor.post(queue, [&] { events.push_back("second"); });
    posted.count_down();
    done.wait();
    EXPECT_THAT(events, ElementsAre("first", "destroyed", "second", "third"));
}

TEST(Executor, StopDropsWhatWaitsAndLetsRunningItemsEnd) {
    const auto queue = newQueue();
    std::latch running(2);
    std::atomic<int> ended = 0, dropped = 0;
    Executor executor({.maxThreads = 2});
    const auto runUntilStopped = [&] {
        running.count_down();
        EXPECT_TRUE(eventually([token = executor.stopToken()] { return token.stop_requested(); }));
        EXPECT_FALSE(executor.post([] {}));
        ++ended;
    };
    executor.post(queue, runUntilStopped);
    executor.post(runUntilStopped);
    running.wait();
    const auto waits = [&] {
        return [&, last = onDestruction([&] {
                       EXPECT_FALSE(executor.post([] {})) << "locked or not stopped";
                       ++dropped;
                   })] { ADD_FAILURE() << "ran"; };
    };
    executor.post(queue, waits());
    executor.post(newQueue(), waits());
    executor.post(waits());
    executor.stop();
    EXPECT_EQ(ended, 2);
    EXPECT_EQ(dropped, 3);
    EXPECT_EQ(executor.statistics().threads, 0u);
    executor.stop();
}

TEST(Executor, MayBeDestroyedOrStoppedByItsOwnItems) {
    {
        auto executor = std::make_shared<Executor>(Executor::Options{.minThreads = 2});
        auto destroyed = std::make_shared<std::promise<void>>();
        std::atomic<bool> otherEnded = false;
        std::latch otherRuns(1);
        executor->post([&, token = executor->stopToken()] {
            otherRuns.count_down();
            EXPECT_TRUE(eventually([&] { return token.stop_requested(); }));
            otherEnded = true;
        });
        otherRuns.wait();
        Executor& pool = *executor;
        pool.post([&, destroyed, last = std::move(executor)]() mutable {
            last.reset();
            EXPECT_TRUE(otherEnded);
            destroyed->set_value();
        });
        ASSERT_TRUE(comes(destroyed->get_future()));
    }
    {
        std::latch both(2);
        Executor executor({.minThreads = 2});
        const auto stop = [&] {
            both.arrive_and_wait();
            executor.stop();
        };
        executor.post(stop);
        executor.post(stop);
        both.wait();
    }
}

TEST(Executor, StoppingWhileOthersPostLosesNoClosure) {
    std::atomic<int> alive = 0;
    {
        Executor executor({.minThreads = 1, .maxThreads = 4, .idleTimeout = 0ms});
        std::atomic<bool> refused = false;
        const boost::uuids::uuid queues[] = {newQueue(), newQueue(), newQueue()};
        startThreads(5, [&](int t) {
            if (t >= 3)
                return executor.stop();
            for (int i = 0; !refused; ++i) {
                ++alive;
                auto item = [last = onDestruction([&] { --alive; })] {};
                if (!(i % 2 == 0 ? executor.post(queues[t], std::move(item))
                                 : executor.post(std::move(item))))
                    refused = true;
            }
        });
    }
    EXPECT_EQ(alive, 0);
}

TEST(ExecutorDeathTest, TheProcessExitsThoughTheSharedPoolIsBusy) {
    GTEST_FLAG(death_test_style) = "threadsafe";
    const auto forEver = [] { std::promise<void>().get_future().wait(); };
    const auto exitWhileBusy = [&] {
        static std::latch started(1);
        Executor::instance().post([&] {
            started.count_down();
            forEver();
        });
        started.wait();
        std::exit(3);
    };
    EXPECT_EXIT(exitWhileBusy(), ExitedWithCode(3), "");
    const auto exitInAnItem = [&] {
        Executor::instance().post([] { std::exit(4); });
        forEver();
    };
    EXPECT_EXIT(exitInAnItem(), ExitedWithCode(4), "");
}

TEST(Executor, RefusesWhatCannotWork) {
    for (const Executor::Options& bad : {Executor::Options{.minThreads = 0},
                                         {.minThreads = 3, .maxThreads = 2},
                                         {.idleTimeout = -1ms},
                                         {.idleTimeout = std::chrono::milliseconds::max()}})
        EXPECT_THROW(Executor{bad}, std::invalid_argument);
    Executor executor({});
    EXPECT_THROW(executor.post(nullptr), std::invalid_argument);
    EXPECT_THROW(executor.post(newQueue(), nullptr), std::invalid_argument);
}

} // namespace
