// Which Invokable a client holds, and what happens when it comes and goes.

#include "runtime/clientutils/InvokableTracker.h"
#include "runtime/core/ServiceProperties.h"
#include "tests/component/ClientFixture.h"

#include <cppmicroservices/ServiceFactory.h>

namespace {

using namespace agent::spf::cppmsclientutils;
using zelkor::test::ClientFixture;
using zelkor::test::FakeDaemon;
using Line = zelkor::test::RecordingLog::Line;
using Invokable = agent::spf::core::Invokable;

class Tracking : public ClientFixture {
protected:
    Tracking() {
        tracker->onFindingInvokable([this](auto& lock) {
            EXPECT_TRUE(lock.owns_lock());
            events += 'F';
            if (onFinding)
                onFinding(lock);
        });
        tracker->onFoundInvokable([this] {
            std::unique_lock lock(tracker->state().native(), std::try_to_lock);
            EXPECT_TRUE(lock.owns_lock()); // not under the state lock
            events += 'f';
        });
        tracker->onLostInvokable([this] { events += 'l'; });
    }
    ~Tracking() override { tracker->close(); }

    std::shared_ptr<Invokable> held() {
        SharedHold hold(tracker->state());
        try {
            return {std::shared_ptr<void>(), &tracker->invokableFor("x", hold.lock())};
        } catch (const std::runtime_error&) {
            return nullptr;
        }
    }

    zelkor::test::RecordingLog trackerLog{"tracking"};
    Logger logger{"tracking"};
    std::string events;
    std::function<void(InvokableTrackerBase::ExclusiveLock&)> onFinding;
    std::shared_ptr<InvokableTracker<Invokable>> tracker = [this] {
        auto made = std::make_shared<InvokableTracker<Invokable>>(
            TrackedServiceInfo("ZelkorLogin", 2, 1), ServiceProps{Props::CLIENT_ID}, logger, executor);
        made->updateTimeouts(*zelkor::test::configuration(0, 0));
        return made;
    }();
};

TEST_F(Tracking, ATrackerThatFindsNothingLogsItsStartAndItsEndOnly) {
    tracker->runWhenFound([] { ADD_FAILURE() << "ran without an Invokable"; });
    tracker->start();
    settle();
    tracker->close();
    tracker->close();
    const std::string subject = "`ZelkorLogin-v2.1`, props: `spf.client.id=*`...";
    auto lines = trackerLog.lines();
    std::erase_if(lines, [](const Line& line) { return line.level == 2; });
    EXPECT_EQ(lines, (std::vector{Line(4, "Waiting for an invokable for " + subject),
                                  Line(4, "Destroying tracker for " + subject),
                                  Line(4, "Destroyed tracker for " + subject)}));
}

TEST_F(Tracking, OnlyAMatchingServiceIsTaken) {
    FakeDaemon otherVersion(framework.context(), {.version = 1, .revision = 7, .ranking = {}});
    FakeDaemon tooOld(framework.context(), {.revision = 0, .ranking = {}});
    FakeDaemon otherName(framework.context(), {.name = "ZelkorLoginInteractive", .ranking = {}});
    for (auto* other : {&otherVersion, &tooOld, &otherName})
        other->appear();
    tracker->start();
    settle();
    EXPECT_EQ(events, "");
    FakeDaemon newer(framework.context(), {.revision = 3, .ranking = {}});
    newer.appear();
    settle();
    EXPECT_EQ(events, "Ff");
}

TEST_F(Tracking, TheBestRankedIsHeldAndTheRestTakesOverWhenItGoes) {
    tracker->start();
    FakeDaemon low(framework.context(), {.ranking = -1});
    FakeDaemon high(framework.context(), {.ranking = 5});
    daemon.appear(); // no ranking counts as 0
    settle();
    const auto* first = held().get();
    ASSERT_NE(first, nullptr);
    low.appear();
    settle();
    EXPECT_EQ(held().get(), first);
    high.appear();
    settle();
    const auto* best = held().get();
    EXPECT_NE(best, first);

    trackerLog.clear();
    low.disappear();
    settle();
    EXPECT_EQ(held().get(), best);
    EXPECT_FALSE(trackerLog.mentions("was removed"));
    high.disappear();
    settle();
    EXPECT_EQ(trackerLog.count(16, "Invokable for ZelkorLogin-v2.1 was removed"), 1u);
    EXPECT_EQ(held().get(), first); // it has been there all the time
    daemon.disappear();
    settle();
    EXPECT_EQ(held(), nullptr);
}

TEST_F(Tracking, EveryFindMakesANewCallbackManagerAndTheOldCallbacksAreGone) {
    std::vector<boost::uuids::uuid> exported;
    onFinding = [&](auto& lock) {
        exported.push_back(
            tracker
                ->exportCallback(lock, agent::spf::core::exportFunction(std::function<void()>([] {})),
                                 std::nullopt)
                .getCallbackID());
    };
    tracker->start();
    daemon.appear();
    settle();
    const auto firstTable = daemon.callbacks();
    FakeDaemon better(framework.context(), {.ranking = 1});
    better.appear();
    settle();
    ASSERT_EQ(exported.size(), 2u);
    EXPECT_EQ(firstTable->size(), 0u);
    EXPECT_NO_THROW(better.callbacks()->invoke(exported[1], {}, {}));
    better.disappear();
    settle();
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
    daemon.appear();
    settle();
    EXPECT_EQ(order, "012");
    EXPECT_EQ(events, "Ff"); // the steps after a throwing one still ran
    const auto notices = trackerLog.linesAt(16);
    ASSERT_EQ(notices.size(), 4u); // found, and three exceptions
    for (std::size_t i = 1; i < notices.size(); ++i)
        EXPECT_TRUE(notices[i].text.starts_with("Exception caught: ")) << notices[i].text;
    EXPECT_NE(notices[1].text.find("replay failed"), std::string::npos);
}

TEST_F(Tracking, AServiceThatIsNoneIsNotTracked) {
    class NullFactory final : public cppmicroservices::ServiceFactory {
        cppmicroservices::InterfaceMapConstPtr
        GetService(const cppmicroservices::Bundle&,
                   const cppmicroservices::ServiceRegistrationBase&) override {
            return nullptr;
        }
        void UngetService(const cppmicroservices::Bundle&, const cppmicroservices::ServiceRegistrationBase&,
                          const cppmicroservices::InterfaceMapConstPtr&) override {}
    };
    namespace properties = agent::spf::core::properties;
    auto registration = framework.context().RegisterService<Invokable>(
        cppmicroservices::ToFactory(std::make_shared<NullFactory>()),
        {{properties::serviceName, std::string("ZelkorLogin")},
         {properties::serviceVersion, 2},
         {properties::serviceRevision, 1},
         {properties::clientId, std::string("c")}});
    tracker->start();
    settle();
    EXPECT_TRUE(trackerLog.mentions("`null`"));
    registration.Unregister();
    settle();
    EXPECT_EQ(events, "");
}

} // namespace
