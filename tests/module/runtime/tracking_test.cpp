// Which Invokable a client holds, and what happens when it comes and goes.

#include "contract/calls/CallbackScope.h"
#include "contract/calls/ServiceProperties.h"
#include "module/runtime/InvokableTracker.h"
#include "tests/module/ClientFixture.h"

#include <cppmicroservices/ServiceFactory.h>

namespace {

using namespace agent::spf::cppmsclientutils;
using namespace zelkor::test;
using agent::spf::core::Invokable;

class Tracking : public ClientFixture {
protected:
    Tracking() {
        tracker->onFindingInvokable([this](auto& access) {
            access.verify(tracker->state());
            events += 'F';
            if (onFinding)
                onFinding(access);
        });
        tracker->onFoundInvokable([this] {
            const agent::spf::core::CallbackScope scope; // does not wait
            const bool free = tracker->state().lockUnlessInACallbacksWay();
            EXPECT_TRUE(free); // not under the state lock
            if (free)
                tracker->state().unlock();
            events += 'f';
        });
        tracker->onLostInvokable([this] { events += 'l'; });
    }
    ~Tracking() override { tracker->close(); }

    const Invokable* held() {
        SharedHold hold(tracker->state());
        try {
            return &tracker->invokableFor("x", hold.access());
        } catch (const std::runtime_error&) {
            return nullptr;
        }
    }
    void appear(FakeDaemon& which) {
        which.appear();
        settle();
    }
    void disappear(FakeDaemon& which) {
        which.disappear();
        settle();
    }
    void start() {
        tracker->start();
        settle();
    }

    RecordingLog trackerLog{"tracking"};
    Logger logger{"tracking"};
    std::string events;
    std::function<void(ExclusiveAccess&)> onFinding;
    std::shared_ptr<InvokableTracker<Invokable>> tracker = [this] {
        auto made = std::make_shared<InvokableTracker<Invokable>>(
            TrackedServiceInfo("ZelkorLogin", 2, 1), ServiceProps{Props::CLIENT_ID}, logger, executor);
        made->updateTimeouts(*configuration(0, 0));
        return made;
    }();
};

TEST_F(Tracking, ATrackerThatFindsNothingLogsItsStartAndItsEndOnly) {
    tracker->runWhenFound([] { ADD_FAILURE() << "ran without an Invokable"; });
    start();
    tracker->close();
    tracker->close();
    const std::string subject = "`ZelkorLogin-v2.1`, props: `spf.client.id=*`...";
    auto lines = trackerLog.lines();
    std::erase_if(lines, [](const Line& line) { return line.level == 2; });
    EXPECT_THAT(lines, ElementsAre(Line(4, "Waiting for an invokable for " + subject),
                                   Line(4, "Destroying tracker for " + subject),
                                   Line(4, "Destroyed tracker for " + subject)));
}

TEST_F(Tracking, OnlyAMatchingServiceIsTaken) {
    FakeDaemon otherVersion(framework.context(), {.version = 1, .revision = 7});
    FakeDaemon tooOld(framework.context(), {.revision = 0});
    FakeDaemon otherName(framework.context(), {.name = "ZelkorLoginInteractive"});
    for (auto* other : {&otherVersion, &tooOld, &otherName})
        other->appear();
    start();
    EXPECT_EQ(events, "");
    FakeDaemon newer(framework.context(), {.revision = 3});
    appear(newer);
    EXPECT_EQ(events, "Ff");
}

TEST_F(Tracking, TheBestRankedIsHeldAndTheRestTakesOverWhenItGoes) {
    tracker->start();
    FakeDaemon low(framework.context(), {.ranking = -1});
    FakeDaemon high(framework.context(), {.ranking = 5});
    appear(daemon); // no ranking counts as 0
    const auto* first = held();
    ASSERT_NE(first, nullptr);
    appear(low);
    EXPECT_EQ(held(), first);
    appear(high);
    const auto* best = held();
    EXPECT_NE(best, first);

    trackerLog.clear();
    disappear(low);
    EXPECT_EQ(held(), best);
    EXPECT_FALSE(trackerLog.mentions("was removed"));
    disappear(high);
    EXPECT_EQ(trackerLog.count(16, "Invokable for ZelkorLogin-v2.1 was removed"), 1u);
    EXPECT_EQ(held(), first); // it has been there all the time
    disappear(daemon);
    EXPECT_EQ(held(), nullptr);
}

TEST_F(Tracking, EveryFindMakesANewCallbackManagerAndTheOldCallbacksAreGone) {
    std::vector<boost::uuids::uuid> exported;
    const auto function = agent::spf::core::exportFunction(std::function<void()>([] {}));
    onFinding = [&](auto& lock) {
        exported.push_back(tracker->exportCallback(lock, function, std::nullopt).getCallbackID());
    };
    tracker->start();
    appear(daemon);
    const auto firstTable = daemon.callbacks();
    FakeDaemon better(framework.context(), {.ranking = 1});
    appear(better);
    ASSERT_EQ(exported.size(), 2u);
    EXPECT_EQ(firstTable->size(), 0u);
    EXPECT_NO_THROW(better.callbacks()->invoke(exported[1], {}, {}));
    disappear(better);
    EXPECT_EQ(better.callbacks()->size(), 0u);
    EXPECT_EQ(events, "FfFflFf");
}

TEST_F(Tracking, PendingWorkRunsInOrderAndSurvivesWhatThrows) {
    std::string order;
    tracker->runWhenFound([&] { order += '1'; });
    tracker->runWhenFound([] { throw 42; });
    tracker->runWhenFound(nullptr);
    tracker->runWhenFound([&] { order += '2'; });
    onFinding = [&](auto&) {
        order += '0';
        throw std::runtime_error("replay failed");
    };
    tracker->start();
    appear(daemon);
    EXPECT_EQ(order, "012");
    EXPECT_EQ(events, "Ff"); // the steps after a throwing one still ran
    const auto caught = Field(&Line::text, StartsWith("Exception caught: "));
    const auto replay = Field(&Line::text, HasSubstr("replay failed"));
    EXPECT_THAT(trackerLog.linesAt(16), ElementsAre(_, AllOf(caught, replay), caught, caught));
}

TEST_F(Tracking, AServiceThatIsNoneIsNotTracked) {
    namespace us = cppmicroservices;
    struct NullFactory final : us::ServiceFactory {
        us::InterfaceMapConstPtr GetService(const us::Bundle&, const us::ServiceRegistrationBase&) override {
            return nullptr;
        }
        void UngetService(const us::Bundle&, const us::ServiceRegistrationBase&,
                          const us::InterfaceMapConstPtr&) override {}
    };
    namespace properties = agent::spf::core::properties;
    auto registration =
        framework.context().RegisterService<Invokable>(us::ToFactory(std::make_shared<NullFactory>()),
                                                       {{properties::serviceName, std::string("ZelkorLogin")},
                                                        {properties::serviceVersion, 2},
                                                        {properties::serviceRevision, 1},
                                                        {properties::clientId, std::string("c")}});
    start();
    EXPECT_TRUE(trackerLog.mentions("`null`"));
    registration.Unregister();
    settle();
    EXPECT_EQ(events, "");
}

} // namespace
