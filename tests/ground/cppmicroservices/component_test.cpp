#include "ComponentTest.h"

#include <cppmicroservices/Constants.h>

using namespace cppmicroservices;
using namespace test;

namespace {

struct NamedSource : Source {
    explicit NamedSource(std::string n) : name(std::move(n)) {}
    std::string Name() const override { return name; }
    std::string name;
};

class Components : public ComponentTest {
protected:
    ServiceRegistration<Source> Offer(const std::string& name, int ranking, int good = 1) {
        return context.RegisterService<Source>(
            std::make_shared<NamedSource>(name),
            {{Constants::SERVICE_RANKING, Any(ranking)}, {"good", Any(good)}});
    }
};

TEST_F(Components, WhatIsHeldOutlivesTheFramework) {
    bundle.Start();
    const auto held = Get("test::Plain");
    StopFramework();
    EXPECT_EQ(held->Greet(), "plain");
    EXPECT_EQ(Counts::Now().created, Counts::Now().deleted);
    EXPECT_EQ(Counts::Now().objects, 1);
}

TEST_F(Components, EveryObjectMadeUnderLoadIsDeletedOnce) {
    Configure("test.dependent");
    bundle.Start();
    auto source = Offer("source", 1);
    std::atomic<int> greetings = 0;
    auto callers = zelkor::test::startThreads(8, [&](std::stop_token stop, int) {
        while (!stop.stop_requested()) {
            try {
                for (const auto& reference : context.GetServiceReferences<Greeter>()) {
                    if (const auto greeter = context.GetService(reference))
                        greetings += greeter->Greet().empty() ? 0 : 1;
                }
            } catch (const std::exception&) { // unregistered in between, or the framework has stopped
            }
        }
    });
    for (int round = 0; round < 20; ++round) {
        Configure("test.factory~x", {{"round", round}});
        Configure("test.rebuilt", {{"round", round}});
        source.SetProperties({{"good", Any(round % 2)}});
        RemoveConfiguration("test.factory~x");
        if (embedded) {
            bundle.Stop();
            bundle.Start();
        }
        const int before = greetings;
        EXPECT_TRUE(eventually([&] { return greetings > before; }));
    }
    StopFramework();
    callers.clear();
    EXPECT_EQ(Counts::Now().created, Counts::Now().deleted);
    EXPECT_EQ(Counts::Now().objects, 0);
}

TEST_F(Components, FaultsAreReportedWithBundleAndComponent) {
    EMBEDDED_ONLY();
    std::vector<std::string> faults;
    context.AddFrameworkListener([&](const FrameworkEvent& event) {
        std::string text = event.GetMessage();
        try {
            if (event.GetThrowable())
                std::rethrow_exception(event.GetThrowable());
        } catch (const std::exception& error) {
            text += std::string(" ") + error.what();
        }
        faults.push_back(text);
    });
    const auto reported = [&](const std::string& text) {
        for (const auto& fault : faults) {
            if (fault.find(text) != std::string::npos)
                return true;
        }
        return false;
    };
    Configure("test.thrower", {{"text", std::string("throw")}});
    bundle.Start();
    EXPECT_TRUE(
        reported("Bundle 'component_bundle', component 'test::PidAsText': 'configuration-pid' must be an "
                 "array of texts; the component is left out."));
    EXPECT_TRUE(reported("'test::LoopA' of the bundle 'component_bundle', 'test::LoopB'"));
    EXPECT_EQ(Greeting("test::Thrower"), "(null)");
    EXPECT_TRUE(reported("component 'test::Thrower': its object cannot be constructed. as it was told"));
    const auto counter = context.GetServiceReferences<Counter>("(component.name=test::NotExported)").at(0);
    EXPECT_FALSE(context.GetService(counter));
    EXPECT_TRUE(reported("does not export 'NewInstance_test_NotExported'"));
    EXPECT_EQ(Greeting("test::Optional"), "manifest");
    Configure("test.optional", {{Constants::SERVICE_RANKING, 1L}});
    EXPECT_TRUE(reported("component 'test::Optional'"));
    EXPECT_TRUE(Find("test::Optional")) << "it keeps what it had";
}

TEST_F(Components, MayAskForThemselvesAndStopTheirBundleWhileConstructed) {
    EMBEDDED_ONLY();
    Configure("test.thrower", {{"text", std::string("ask")}});
    bundle.Start();
    EXPECT_EQ(Greeting("test::Thrower"), "ask") << "it must not have found itself, nor hung";
    RemoveConfiguration("test.thrower");
    AwaitGone("test::Thrower");
    Configure("test.thrower", {{"text", std::string("stop")}});
    EXPECT_EQ(Greeting("test::Thrower"), "stop") << "who asked gets the object, stopped as it is";
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    EXPECT_EQ(Counts::Now().created, Counts::Now().deleted);
}

} // namespace
