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
    newer.appear();
    settle();
    EXPECT_EQ(events, "Ff");
    newer.disappear();
    settle();
    EXPECT_EQ(events, "Ffl");
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
    daemon.appear();
    settle();
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
