#include "FrameworkTest.h"

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
        return std::make_shared<std::string>(name);
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
