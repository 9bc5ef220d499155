#include "FrameworkTest.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceFactory.h>
#include <cppmicroservices/ServiceTracker.h>

#include <array>
#include <functional>
#include <set>

using namespace cppmicroservices;
using namespace test;
using zelkor::test::startThreads;

namespace {

/// Lets a test decide what happens inside AddingService, and counts.
class Gate : public ServiceTrackerCustomizer<Greeter> {
public:
    std::shared_ptr<Greeter> AddingService(const ServiceReference<Greeter>&) override {
        entered.Advance();
        if (inside)
            inside();
        return std::make_shared<GreeterImpl>();
    }
    void ModifiedService(const ServiceReference<Greeter>&, const std::shared_ptr<Greeter>&) override {}
    void RemovedService(const ServiceReference<Greeter>&, const std::shared_ptr<Greeter>&) override {
        removedOn = std::this_thread::get_id();
        removed.Advance();
    }

    Progress entered, removed;
    std::function<void()> inside;
    std::thread::id removedOn;
};

using TrackerThreads = FrameworkTest;

TEST_F(TrackerThreads, AddingServiceCallsOverlap) {
    Gate gate;
    gate.inside = [&] { EXPECT_TRUE(gate.entered.Reached(2)) << "each waits for the other to be inside"; };
    ServiceTracker<Greeter> tracker(context, &gate);
    tracker.Open();
    startThreads(2, [&](int) { Register(); });
    EXPECT_EQ(tracker.Size(), 2);
}

TEST_F(TrackerThreads, CloseWaitsForAnEventsCallback) {
    Gate gate;
    ServiceTracker<Greeter> tracker(context, &gate);
    std::atomic<bool> closed = false;
    gate.inside = [&] {
        while (tracker.GetTrackingCount() != -1) // until Close has begun
            std::this_thread::yield();
        for (int i = 0; i < 100; ++i) // time enough for a Close that does not wait
            context.RegisterService<Counter>(std::make_shared<GreeterImpl>()).Unregister();
        EXPECT_FALSE(closed);
    };
    tracker.Open();
    std::jthread registering([&] { Register(); });
    ASSERT_TRUE(gate.entered.Reached(1));
    tracker.Close();
    closed = true;
    EXPECT_EQ(gate.removed.Value(), 1) << "what was added meanwhile is handed back before Close returns";
}

TEST_F(TrackerThreads, CloseDoesNotWaitForOpenOnAnotherThread) {
    Gate gate;
    Progress release;
    gate.inside = [&] { EXPECT_TRUE(release.Reached(1)); };
    ServiceTracker<Greeter> tracker(context, &gate);
    Register();
    std::thread opening([&] { tracker.Open(); });
    ASSERT_TRUE(gate.entered.Reached(1));
    tracker.Close();
    EXPECT_EQ(gate.removed.Value(), 0);
    release.Advance();
    const auto opener = opening.get_id();
    opening.join();
    EXPECT_EQ(gate.removed.Value(), 1) << "handed back by the thread that added it";
    EXPECT_EQ(gate.removedOn, opener);
    EXPECT_TRUE(tracker.IsEmpty());
}

TEST_F(TrackerThreads, UnregisteringOrRemovingWhileAddingHandsTheObjectBack) {
    for (const bool unregister : {true, false}) {
        SCOPED_TRACE(unregister);
        Gate gate;
        Progress release;
        gate.inside = [&] { EXPECT_TRUE(release.Reached(1)); };
        auto registration = Register();
        ServiceTracker<Greeter> tracker(context, registration.GetReference(), &gate);
        std::thread opening([&] { tracker.Open(); });
        ASSERT_TRUE(gate.entered.Reached(1));
        if (unregister)
            registration.Unregister();
        else
            tracker.Remove(registration.GetReference());
        release.Advance();
        opening.join();
        EXPECT_EQ(gate.removed.Value(), 1);
        EXPECT_TRUE(tracker.IsEmpty());
    }
}

TEST_F(TrackerThreads, AFactoryIsAskedOnceByThreadsOfOneBundle) {
    EMBEDDED_ONLY();
    struct Slow : ServiceFactory {
        InterfaceMapConstPtr GetService(const Bundle&, const ServiceRegistrationBase&) override {
            ++made;
            EXPECT_TRUE(started.Reached(4));
            for (int i = 0; i < 100; ++i) // lets the others come in and wait
                std::this_thread::yield();
            return MakeInterfaceMap<Greeter>(std::make_shared<GreeterImpl>());
        }
        void UngetService(const Bundle&, const ServiceRegistrationBase&,
                          const InterfaceMapConstPtr&) override {}
        std::atomic<int> made = 0;
        Progress started;
    };
    const auto factory = std::make_shared<Slow>();
    const auto reference = context.RegisterService<Greeter>(ToFactory(factory)).GetReference();
    std::array<std::shared_ptr<Greeter>, 4> objects;
    startThreads(4, [&](int i) {
        factory->started.Advance();
        objects[static_cast<std::size_t>(i)] = context.GetService(reference);
    });
    EXPECT_EQ(std::set<std::shared_ptr<Greeter>>(objects.begin(), objects.end()).size(), 1u);
    EXPECT_EQ(factory->made, 1);
}

/// Checks that a tracker's story is consistent: each object is removed exactly once, and nothing is called
/// after Close.
class Auditor : public ServiceTrackerCustomizer<Greeter> {
public:
    std::shared_ptr<Greeter> AddingService(const ServiceReference<Greeter>&) override {
        Check();
        if (++calls % 7 == 0)
            return nullptr;
        auto object = std::make_shared<GreeterImpl>();
        const std::lock_guard lock(mutex_);
        live_.insert(object.get());
        return object;
    }
    void ModifiedService(const ServiceReference<Greeter>& reference,
                         const std::shared_ptr<Greeter>& object) override {
        Check();
        EXPECT_EQ(object->Greet(), "hello");
        reference.GetProperty("n");
    }
    void RemovedService(const ServiceReference<Greeter>&, const std::shared_ptr<Greeter>& object) override {
        Check();
        const std::lock_guard lock(mutex_);
        EXPECT_EQ(live_.erase(object.get()), 1u) << "removed twice, or never added";
    }
    void Closed() {
        closed_ = true;
        const std::lock_guard lock(mutex_);
        EXPECT_TRUE(live_.empty()) << "not everything was removed";
    }
    std::atomic<int> calls = 0;

private:
    void Check() { EXPECT_FALSE(closed_) << "called after Close"; }

    std::atomic<bool> closed_ = false;
    std::mutex mutex_;
    std::set<const Greeter*> live_;
};

TEST_F(TrackerThreads, RegistrationsRaceWithTrackersThatOpenAndClose) {
    std::atomic<int> busy = 4;
    const auto registers = [&](int ranking) {
        const auto properties = [](int n, int rank) {
            return ServiceProperties{{"n", Any(n % 3)}, {Constants::SERVICE_RANKING, Any(rank)}};
        };
        for (int round = 0; round < 200; ++round) {
            auto registration = Register(properties(round, ranking));
            registration.SetProperties(properties(round + 1, -ranking));
            if (const auto reference = context.GetServiceReference<Greeter>()) {
                try {
                    context.GetService(reference);
                } catch (const std::invalid_argument&) { // unregistered meanwhile
                }
            }
            registration.SetProperties({{"n", Any((round + 2) % 3)}});
            registration.Unregister();
        }
        --busy;
    };
    startThreads(8, [&](int i) {
        if (i % 2 == 0)
            return registers(i / 2);
        do {
            Auditor auditor;
            ServiceTracker<Greeter> tracker(context, LDAPFilter("(n>=1)"), &auditor);
            tracker.Open();
            while (auditor.calls < 5 && busy > 0) {
                tracker.GetService();
                std::this_thread::yield();
            }
            tracker.Close();
            auditor.Closed();
        } while (busy > 0);
    });
    EXPECT_TRUE(context.GetServiceReferences<Greeter>().empty());
}

TEST_F(TrackerThreads, TheFrameworkStopsUnderLoad) {
    Progress opened, running;
    const auto threads = startThreads(4, [&](int) {
        Auditor auditor;
        ServiceTracker<Greeter> tracker(context, &auditor);
        tracker.Open();
        opened.Advance();
        std::vector<std::shared_ptr<Greeter>> held;
        try {
            for (int round = 0;; ++round) {
                auto registration = Register();
                held.push_back(context.GetService(registration.GetReference()));
                if (round % 2)
                    registration.Unregister();
                running.Advance();
            }
        } catch (const std::exception&) { // the framework has stopped
        }
        tracker.Close();
        auditor.Closed();
        for (const auto& object : held)
            EXPECT_TRUE(!object || object->Greet() == "hello");
    });
    EXPECT_TRUE(opened.Reached(4));
    EXPECT_TRUE(running.Reached(20));
    StopFramework();
}

} // namespace
