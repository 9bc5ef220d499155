#include "FrameworkTest.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPProp.h>
#include <cppmicroservices/ServiceTracker.h>

#include <functional>
#include <future>
#include <vector>

using namespace cppmicroservices;
using namespace test;

namespace {

/// Writes down what it is told: "+a" for adding a service whose property n is "a", "~a", "-a".
class Recorder : public ServiceTrackerCustomizer<Greeter, std::string> {
public:
    std::shared_ptr<std::string> AddingService(const ServiceReference<Greeter>& reference) override {
        const auto name = Name(reference);
        log.push_back("+" + name);
        if (onAdding)
            onAdding();
        return decline ? nullptr : std::make_shared<std::string>(name);
    }
    void ModifiedService(const ServiceReference<Greeter>& reference,
                         const std::shared_ptr<std::string>& object) override {
        log.push_back("~" + *object + Name(reference));
        if (onModified)
            onModified();
    }
    void RemovedService(const ServiceReference<Greeter>&,
                        const std::shared_ptr<std::string>& object) override {
        log.push_back("-" + *object);
        if (onRemoved)
            onRemoved();
    }
    static std::string Name(const ServiceReference<Greeter>& reference) {
        return reference.GetProperty("n").ToStringNoExcept();
    }

    std::vector<std::string> log;
    bool decline = false;
    std::function<void()> onAdding, onModified, onRemoved;
};

using Log = std::vector<std::string>;
ServiceProperties Name(const std::string& name) {
    return {{"n", Any(name)}};
}

struct Tracker : FrameworkTest {
    Recorder recorder;
    ServiceTracker<Greeter, std::string> tracker{context, &recorder};
};

TEST_F(Tracker, FollowsServicesFromOpenToClose) {
    auto early = Register(Name("a"));
    EXPECT_EQ(tracker.GetTrackingCount(), -1);
    EXPECT_EQ(tracker.GetService(), nullptr);
    tracker.Open();
    tracker.Open(); // no effect
    auto late = Register({{"n", Any(std::string("b"))}, {Constants::SERVICE_RANKING, Any(1)}});
    EXPECT_EQ(tracker.Size(), 2);
    EXPECT_EQ(*tracker.GetService(), "b") << "the best one";
    EXPECT_EQ(tracker.GetServiceReference(), late.GetReference());
    EXPECT_EQ(*tracker.GetService(early.GetReference()), "a");
    ServiceTracker<Greeter, std::string>::TrackingMap tracked;
    tracker.GetTracked(tracked);
    EXPECT_EQ(*tracked.at(early.GetReference()), "a");

    const int before = tracker.GetTrackingCount();
    early.SetProperties(Name("c"));
    EXPECT_GT(tracker.GetTrackingCount(), before);
    late.Unregister();
    tracker.Remove(early.GetReference());
    EXPECT_TRUE(tracker.IsEmpty());
    early.SetProperties(Name("d")); // offered again
    tracker.Close();
    tracker.Close();
    early.SetProperties(Name("e"));
    EXPECT_EQ(recorder.log, (Log{"+a", "+b", "~ac", "-b", "-a", "+d", "-d"}));
    EXPECT_TRUE(tracker.GetServices().empty());

    recorder.log.clear();
    tracker.Open();
    tracker.Close();
    EXPECT_EQ(recorder.log, (Log{"+e", "-e"})) << "a tracker opens again";
}

TEST_F(Tracker, FollowsWhetherTheFilterMatches) {
    ServiceTracker<Greeter, std::string> filtered(context, LDAPFilter(LDAPProp("n") >= "m"), &recorder);
    filtered.Open();
    auto registration = Register(Name("a"));
    context.RegisterService<Counter>(std::make_shared<GreeterImpl>(), Name("z")); // not the interface tracked
    for (const auto* name : {"n", "o", "b", "c", "p"})
        registration.SetProperties(Name(name));
    EXPECT_EQ(recorder.log, (Log{"+n", "~no", "-n", "+p"}));
}

TEST_F(Tracker, OffersADeclinedServiceAgainWhenItChanges) {
    recorder.decline = true;
    auto registration = Register(Name("a"));
    tracker.Open();
    EXPECT_TRUE(tracker.IsEmpty());
    recorder.decline = false;
    registration.SetProperties(Name("b"));
    EXPECT_EQ(tracker.Size(), 1);
    recorder.decline = true;
    Register(Name("c")).Unregister();
    EXPECT_EQ(recorder.log, (Log{"+a", "+b", "+c"})) << "a declined service is not removed";
}

TEST_F(Tracker, OverridesTakeThePlaceOfACustomizer) {
    struct Shouting : ServiceTracker<Greeter> {
        using ServiceTracker::ServiceTracker;
        std::shared_ptr<Greeter> AddingService(const ServiceReference<Greeter>&) override {
            return std::make_shared<GreeterImpl>("HELLO");
        }
    };
    auto registration = Register();
    Shouting shouting(context);
    shouting.Open();
    EXPECT_EQ(shouting.GetService()->Greet(), "HELLO");
}

TEST_F(Tracker, CallbacksMayChangeTheServiceAndTheTracker) {
    EMBEDDED_ONLY();
    tracker.Open();
    recorder.onAdding = [&] {
        recorder.onAdding = nullptr;
        Register(Name("inner")).Unregister();
    };
    auto outer = Register(Name("outer"));
    EXPECT_EQ(recorder.log, (Log{"+outer", "+inner", "-inner"}));

    recorder.onModified = [&] { outer.Unregister(); };
    outer.SetProperties(Name("x"));
    EXPECT_EQ(recorder.log, (Log{"+outer", "+inner", "-inner", "~outerx", "-outer"}));

    recorder.log.clear();
    recorder.onModified = [&] { tracker.Close(); };
    auto last = Register(Name("last"));
    last.SetProperties(Name("y"));
    EXPECT_EQ(tracker.GetTrackingCount(), -1);
    EXPECT_EQ(recorder.log, (Log{"+last", "~lasty", "-last"}))
        << "closing inside a callback does not wait for itself";

    recorder.log.clear();
    recorder.onAdding = [&] { tracker.Close(); };
    tracker.Open();
    EXPECT_EQ(recorder.log, (Log{"+y", "-y"})) << "added while closing: handed back";
}

TEST_F(Tracker, WhatACustomizerThrowsReachesOpenAfterTheOthersWereOffered) {
    EMBEDDED_ONLY();
    auto one = Register(Name("a"));
    auto two = Register(Name("b"));
    recorder.onAdding = [&] {
        recorder.onAdding = nullptr;
        throw std::runtime_error("no");
    };
    EXPECT_THROW(tracker.Open(), std::runtime_error);
    EXPECT_EQ(tracker.Size(), 1);
    EXPECT_EQ(recorder.log.size(), 2u);
}

TEST_F(Tracker, SeesTheFrameworksStopAndClosesAfterIt) {
    EMBEDDED_ONLY();
    tracker.Open();
    Register(Name("a"));
    StopFramework();
    EXPECT_EQ(recorder.log, (Log{"+a", "-a"}));
    EXPECT_TRUE(tracker.IsEmpty());
    EXPECT_NO_THROW(tracker.Close());
    EXPECT_NO_THROW(tracker.Close());
}

TEST_F(Tracker, WaitsForAService) {
    ServiceTracker<Greeter> plain(context);
    EXPECT_EQ(plain.WaitForService(60s), nullptr) << "not open, nothing to wait for";
    plain.Open();
    EXPECT_EQ(plain.WaitForService(1ms), nullptr);
    EXPECT_THROW(plain.WaitForService(-1ms), std::invalid_argument);
    auto waiting = std::async(std::launch::async, [&] { return plain.WaitForService(60s); });
    auto registration = Register();
    const auto found = waiting.get();
    ASSERT_TRUE(found);
    EXPECT_EQ(found->Greet(), "hello");
    registration.Unregister();
    auto closing = std::async(std::launch::async, [&] { return plain.WaitForService(); });
    plain.Close();
    EXPECT_EQ(closing.get(), nullptr) << "Close ends the wait";
}

} // namespace
