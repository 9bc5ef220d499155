// Registrations against daemons that come, go, misbehave and replace each other, and functions that
// misbehave.

#include "tests/module/Subjects.h"
#include "tests/support/OneThread.h"
#include "tests/support/Recorded.h"
#include "tests/support/Rounds.h"

#include <boost/optional/optional_io.hpp>

namespace {

using namespace login;
using namespace zelkor::test;

/// What every kind of registration has in common.
class Registered {
public:
    static constexpr int kinds = 4;
    using Body = std::function<void()>;

    /// Registers a function of that kind that runs `body` and accepts whatever it is asked.
    static Registered make(
        login::ZelkorLogin& client, int kind, const Body& body = [] {}) {
        Registered made;
        made.called = std::make_shared<std::atomic<int>>(0);
        const auto run = [called = made.called, body] {
            ++*called;
            body();
        };
        const auto removedBy = [&](auto remove, auto id) {
            made.remove = [&client, remove, id] { return (client.*remove)(id); };
        };
        using Client = login::ZelkorLogin;
        if (kind == 0)
            removedBy(&Client::removeStatusListener, client.addStatusListener([run](auto) { run(); }));
        else if (kind == 1)
            removedBy(&Client::removeStatusListener,
                      client.addStatusListenerV2([run](auto&, auto&) { run(); }));
        else if (kind == 2)
            removedBy(
                &Client::removeLogoutNegotiator,
                client.addLogoutNegotiator({"negotiator", [run](auto&) {
                                                run();
                                                return NegotiatorResponse{Negotiator::Position::Accept, u""};
                                            }}));
        else
            removedBy(&Client::removeLogoutVetoer, client.addLogoutVetoer([run] {
                run();
                return false;
            }));
        return made;
    }

    std::function<bool()> remove;
    std::shared_ptr<std::atomic<int>> called;
};

class Registrations : public SubjectTest {
protected:
    /// The rest of the registrations with a daemon is not made after one has failed.
    bool failureEndsReplay() const { return version1(); }
    void settle() { ASSERT_TRUE(executor.settles()); }
    void appear(CallingDaemon& daemon) {
        daemon.appear();
        settle();
    }
    void disappear(CallingDaemon& daemon) {
        daemon.disappear();
        settle();
    }
    std::vector<Registered> make(int count) {
        std::vector<Registered> made;
        for (int i = 0; i < count; ++i)
            made.push_back(Registered::make(*client, i % Registered::kinds));
        return made;
    }
    /// The daemon has each once, and what it has leads to them.
    static void expectEachOnce(CallingDaemon& daemon, const std::vector<Registered>& registered) {
        ASSERT_EQ(daemon.live(), registered.size());
        ASSERT_EQ(daemon.callbacks()->size(), registered.size());
        for (const auto& one : registered)
            *one.called = 0;
        ASSERT_EQ(daemon.deliverAll(), 0);
        for (const auto& one : registered)
            ASSERT_EQ(*one.called, 1);
    }

    OneThread executor;
    AnyClient owner = GetParam().make(10, 0, agent::spf::cppmsclientutils::Executors(executor));
    ZelkorLogin* client = owner.login;
};

TEST_P(Registrations, EachOfAThousandDaemonsHasEachRegistrationOnce) {
    auto registered = make(100); // while there is no daemon
    EXPECT_EQ(
        log.count(4, "CallbackManager in `" + service + "` is not yet available. Waiting for up to 0s..."),
        registered.size());
    EXPECT_EQ(log.count(256, service + " didn't appear."), registered.size());
    EXPECT_EQ(log.linesAt(16).size(), registered.size()); // caught
    std::vector<Registered> former;
    for (int generation = 0; generation < 1000; ++generation) {
        SCOPED_TRACE(generation);
        auto daemon = makeDaemon();
        const auto theNth = 1 + generation % 100;
        std::jthread beside;
        const int story = generation % 6;
        if (story == 3) // one registration fails
            daemon.beforeAdd([&](int add) { return add != theNth; });
        if (story == 4) // the daemon dies in the middle
            daemon.beforeAdd([&](int add) {
                if (add == theNth)
                    daemon.disappear();
                return add < theNth;
            });
        if (story == 5) // others register and remove meanwhile
            daemon.beforeAdd([&](int add) {
                if (add == theNth)
                    beside =
                        std::jthread([&, add] { EXPECT_TRUE(Registered::make(*client, add % 4).remove()); });
                return true;
            });
        appear(daemon);
        if (beside.joinable())
            beside.join();
        switch (story) {
        case 3:
            ASSERT_EQ(daemon.live(),
                      failureEndsReplay() ? static_cast<std::size_t>(theNth - 1) : registered.size() - 1);
            break;
        case 4:
            break;
        default:
            ASSERT_NO_FATAL_FAILURE(expectEachOnce(daemon, registered));
        }
        if (story != 5 && !(failureEndsReplay() && (story == 3 || story == 4))) {
            ASSERT_EQ(daemon.added(), 100);
        }
        if (story == 1) { // a better one takes over, until one of the two goes
            auto better = makeDaemon(10);
            appear(better);
            ASSERT_NO_FATAL_FAILURE(expectEachOnce(better, registered));
            ASSERT_EQ(daemon.live(), 0u) << "it is told to forget";
            ASSERT_EQ(daemon.callbacks()->size(), 0u);
            if (generation % 12 == 1) {
                disappear(better);
                ASSERT_EQ(better.callbacks()->size(), 0u);
                ASSERT_NO_FATAL_FAILURE(expectEachOnce(daemon, registered));
            } else {
                disappear(daemon);
                ASSERT_EQ(better.added(), 100);
                ASSERT_EQ(log.mentions(removed), 0u) << "it was not held";
                disappear(better);
            }
            ASSERT_EQ(log.count(16, removed), 1u);
        }
        if (story == 2) { // a worse one comes along
            auto worse = makeDaemon(-10);
            appear(worse);
            ASSERT_EQ(daemon.live(), registered.size());
            disappear(worse);
            ASSERT_EQ(worse.added(), 0);
            ASSERT_EQ(log.mentions(removed), 0u);
        }
        auto& victim = registered[static_cast<std::size_t>(generation) % registered.size()];
        ASSERT_TRUE(victim.remove());
        ASSERT_FALSE(victim.remove());
        former.push_back(victim);
        *victim.called = 0;
        victim = Registered::make(*client, generation % Registered::kinds);
        if (story == 0) {
            ASSERT_NO_FATAL_FAILURE(expectEachOnce(daemon, registered));
        }
        disappear(daemon);
        log.clear();
    }
    for (const auto& one : former)
        EXPECT_EQ(*one.called, 0);
}

TEST_P(Registrations, FoundIsNotReadyAndTheNextDaemonRepairsIt) {
    const auto registered = make(8);
    log.clear();
    {
        auto daemon = makeDaemon();
        daemon.beforeAdd([](int) { return false; });
        daemon.on("getLoginInfo", [](const auto& call) { call.fail("not yet"); });
        appear(daemon);
        EXPECT_EQ(log.count(512, "Failed getting LoginInfo on HSH restart."), 1u);
        // found, each registration that was tried, the identity
        EXPECT_EQ(log.linesAt(16).size(), failureEndsReplay() ? 3u : 1 + 8 + 1u);
        EXPECT_EQ(daemon.callbacks()->size(), 0u) << "what it did not take it cannot call";
        for (const auto& one : registered)
            EXPECT_EQ(*one.called, 0);
        disappear(daemon);
    }
    auto daemon = makeDaemon();
    appear(daemon);
    expectEachOnce(daemon, registered);
}

TEST_P(Registrations, AReplayThatFailsLeavesNothingBehindAtTheDaemon) {
    for (int i = 0; i < 4; ++i)
        Registered::make(*client, 1);
    auto daemon = makeDaemon();
    appear(daemon);
    daemon.beforeAdd([](int add) { return add != 4 + 2; });
    auto worse = makeDaemon(-10); // has the held one found once more
    appear(worse);
    EXPECT_EQ(daemon.live(), failureEndsReplay() ? 1u : 3u);
}

TEST_P(Registrations, ARefreshCallsEachListenerWhateverTheOthersThrow) {
    std::vector<Registered> registered;
    for (int i = 0; i < 8; ++i)
        registered.push_back(Registered::make(*client, i % 2, [i] {
            if (i % 3 == 1)
                throw std::runtime_error("listener");
            if (i % 3 == 2)
                throw 7;
        }));
    auto daemon = makeDaemon();
    appear(daemon);
    for (const auto& one : registered)
        EXPECT_EQ(*one.called, 1);
    EXPECT_EQ(log.count(512, "Failed updating status listeners on HSH restart."), 5u);
}

TEST_P(Registrations, ARefreshTellsEachListenerOnceWhoIsSignedInNow) {
    Recorded<std::pair<LoginInfo, LoginInfo>> told;
    Recorded<boost::optional<LoginInfo>> toldFirst;
    client->addStatusListenerV2([&](const auto& now, const auto& before) { told.add({now, before}); });
    client->addStatusListener([&](const auto& now) { toldFirst.add(now); });
    auto daemon = makeDaemon();
    appear(daemon);
    EXPECT_THAT(told.all(), ElementsAre(Pair(someone(), LoginInfo())));
    EXPECT_THAT(toldFirst.all(), ElementsAre(boost::optional<LoginInfo>(someone())));
    EXPECT_EQ(daemon.count("getLoginInfo"), 1u);
    const auto asked = daemon.last("getLoginInfo").value();
    EXPECT_EQ(asked.arguments.get<std::string>(0), "CONNECTOR");
    EXPECT_EQ(asked.arguments.get<int>(1), 2);
}

TEST_P(Registrations, AFunctionMayDoWhatItLikesWhileItsClientWaitsForIt) {
    // The client's own call holds the state lock until every function has answered, as in a negotiation.
    using Deed = std::function<void(ZelkorLogin&, const Registered&)>;
    const std::vector<Deed> deeds{
        [](auto&, auto&) { throw std::runtime_error("thrown"); },
        [](auto&, auto&) { throw 7; },
        [](auto& own, auto&) {
            EXPECT_EQ(own.getLoginInfo("from within", LoginInfo::Level::SignedIn), someone());
        },
        [](auto& own, auto&) { EXPECT_TRUE(Registered::make(own, 2).remove()); },
        [](auto&, auto& self) {
            EXPECT_TRUE(self.remove());
            EXPECT_FALSE(self.remove());
        },
    };
    auto daemon = makeDaemon();
    appear(daemon);
    for (std::size_t deed = 0; deed < deeds.size(); ++deed) {
        std::vector<Registered> registered(Registered::kinds);
        for (int kind = 0; kind < Registered::kinds; ++kind) {
            auto& self = registered[static_cast<std::size_t>(kind)];
            self = Registered::make(*client, kind, [&, deed] { deeds[deed](*client, self); });
        }
        daemon.hold("impersonate");
        std::jthread waiting([&] { client->impersonate(AccessToken("t"), someone()); });
        ASSERT_TRUE(daemon.waitForHeld(1));
        auto delivered = std::async(std::launch::async, [&] { return daemon.deliverAll(); });
        ASSERT_TRUE(comes(delivered)) << "deed " << deed;
        EXPECT_EQ(delivered.get(), deed < 2 ? Registered::kinds : 0);
        if (deed == 4)
            daemon.deliverAll(); // the daemon does not know yet; they are not called any more
        daemon.release();
        waiting.join();
        settle();
        EXPECT_EQ(daemon.live(), deed == 4 ? 0u : registered.size());
        for (const auto& one : registered) {
            EXPECT_EQ(*one.called, 1);
            EXPECT_EQ(one.remove(), deed != 4);
        }
        EXPECT_EQ(daemon.live(), 0u);
    }
}

TEST_P(Registrations, NoDeliveryThatStartsAfterARemovalReachesTheFunction) {
    auto daemon = makeDaemon();
    appear(daemon);
    struct Round {
        FakeDaemon::Call registration;
        std::atomic<bool> removed{false};
    };
    static thread_local bool late = false;
    std::atomic<int> violations{0};
    std::mutex mutex;
    std::shared_ptr<Round> current;
    auto deliverers = startThreads(3, [&](std::stop_token stop, int) {
        while (!stop.stop_requested()) {
            std::unique_lock lock(mutex);
            const auto round = current;
            lock.unlock();
            if (!round)
                continue;
            late = round->removed;
            try {
                daemon.callbacks()->invoke(callbackOf(round->registration), {},
                                           argumentsFor(round->registration));
            } catch (const agent::spf::core::RefusedError&) {
                // gone already
            }
        }
    });
    const int count = rounds(500);
    for (int i = 0; i < count; ++i) {
        const int kind = i % Registered::kinds;
        const auto one = Registered::make(*client, kind, [&] { violations += late; });
        const auto round = std::make_shared<Round>();
        round->registration = daemon.calls().back();
        {
            const std::scoped_lock lock(mutex);
            current = round;
        }
        if (i % 2)
            eventually([&] { return *one.called > 0; });
        ASSERT_TRUE(one.remove());
        round->removed = true;
        daemon.forgetCalls();
        log.clear();
    }
    deliverers.clear();
    EXPECT_EQ(violations, 0);
    EXPECT_EQ(daemon.live(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Versions, Registrations, bothVersions, subjectName);

} // namespace
