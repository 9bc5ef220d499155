#include "FrameworkTest.h"

#include <cppmicroservices/ServiceTracker.h>

#include <thread>

using namespace cppmicroservices;
using namespace test;

namespace {

/// Decides by the property n as it was when asked: tracks a service from n = 1 on.
class Chooser : public ServiceTrackerCustomizer<Greeter> {
public:
    std::shared_ptr<Greeter> AddingService(const ServiceReference<Greeter>& reference) override {
        const int n = any_cast<int>(reference.GetProperty("n"));
        asked.Advance();
        EXPECT_TRUE(decide.Reached(1));
        return n >= 1 ? std::make_shared<GreeterImpl>() : nullptr;
    }
    void ModifiedService(const ServiceReference<Greeter>&, const std::shared_ptr<Greeter>&) override {
        modified.Advance();
    }
    void RemovedService(const ServiceReference<Greeter>&, const std::shared_ptr<Greeter>&) override {
        removed.Advance();
    }
    Progress asked, decide, modified, removed;
};

class TrackerRace : public FrameworkTest {
protected:
    /// Changes the property while another thread's Open is asking the chooser about it.
    void ChangeWhileAdding(int from, int to) {
        auto registration = Register({{"n", Any(from)}});
        std::thread opening([&] { tracker.Open(); });
        EXPECT_TRUE(chooser.asked.Reached(1));
        registration.SetProperties({{"n", Any(to)}});
        chooser.decide.Advance();
        opening.join();
    }
    Chooser chooser;
    ServiceTracker<Greeter> tracker{context, LDAPFilter("(n<=5)"), &chooser};
};

TEST_F(TrackerRace, ADeclinedServiceThatChangedMeanwhileIsOfferedAgain) {
    ChangeWhileAdding(0, 1);
    EXPECT_EQ(tracker.Size(), 1);
}

TEST_F(TrackerRace, AnAddedServiceThatChangedMeanwhileIsToldAsModified) {
    ChangeWhileAdding(1, 2);
    EXPECT_EQ(tracker.Size(), 1);
    EXPECT_EQ(chooser.modified.Value(), 1);
}

TEST_F(TrackerRace, AChangeThatAnEarlierListenerTookBackIsNotOffered) {
    auto registration = Register({{"n", Any(6)}});
    context.AddServiceListener(
        [&](const ServiceEvent&) {
            registration.SetProperties({{"n", Any(7)}});
        },
        "(n=1)");
    tracker.Open(); // hears of n = 7 before it hears of n = 1
    registration.SetProperties({{"n", Any(1)}});
    EXPECT_EQ(chooser.asked.Value(), 0);
}

TEST_F(TrackerRace, AServiceThatStoppedMatchingMeanwhileIsHandedBack) {
    ChangeWhileAdding(1, 6);
    EXPECT_TRUE(tracker.IsEmpty());
    EXPECT_EQ(chooser.removed.Value(), 1);
}

} // namespace
