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

TEST_F(Components, AreConstructedWhenFirstGotOnceForAllAndKept) {
    bundle.Start();
    const auto reference = Await("test::Plain");
    EXPECT_EQ(any_cast<int>(reference.GetProperty("n")), 7);
    EXPECT_EQ(any_cast<double>(reference.GetProperty("d")), 1.0);
    EXPECT_TRUE(any_cast<bool>(reference.GetProperty("flag")));
    EXPECT_EQ(any_cast<std::vector<Any>>(reference.GetProperty("list")).size(), 2u);
    EXPECT_EQ(any_cast<int>(reference.GetProperty(Constants::SERVICE_RANKING)), 3);
    EXPECT_GT(any_cast<unsigned long>(reference.GetProperty("component.id")), 0u);
    const auto before = Counts::Now();
    auto* first = context.GetService(reference).get();
    EXPECT_EQ(Counts::Now().created, before.created + 1);
    EXPECT_EQ(context.GetService(reference).get(), first) << "released in between, and still the same";
    EXPECT_EQ(bundle.GetBundleContext().GetService(reference).get(), first) << "another bundle, the same";
    EXPECT_EQ(Counts::Now().objects, before.objects + 1);
    EXPECT_EQ(Greeting("test::Plain"), "plain");
}

TEST_F(Components, TakeAChangeInTheSameObjectIfTheyCan) {
    Configure("test.factory~x", {{"text", std::string("one")}});
    Configure("test.rebuilt");
    bundle.Start();
    const auto text = [&] {
        return Await("test::Factory_test.factory~x").GetProperty("text").ToStringNoExcept();
    };
    EXPECT_EQ(text(), "one");
    Configure("test.factory~x", {{"text", std::string("two")}});
    EXPECT_EQ(text(), "one") << "until there is an object that has the new ones";
    const auto object = Get("test::Factory_test.factory~x");
    EXPECT_EQ(object->Greet(), "two");
    const auto counter = std::dynamic_pointer_cast<Counter>(object);
    EXPECT_EQ(counter->Count(), 0) << "a change without an object is no modification";
    Configure("test.factory~x", {{"text", std::string("three")}, {"more", 5}});
    EXPECT_TRUE(eventually([&] { return counter->Count() == 1; }));
    EXPECT_TRUE(eventually([&] { return text() == "three"; }));
    EXPECT_EQ(Get("test::Factory_test.factory~x"), object);

    const auto before = Counts::Now();
    const auto old = Get("test::Rebuilt");
    EXPECT_EQ(old->Greet(), "first");
    Configure("test.rebuilt", {{"text", std::string("second")}});
    EXPECT_TRUE(eventually([&] { return Greeting("test::Rebuilt") == "second"; }));
    EXPECT_EQ(old->Greet(), "first") << "what is held stays as it was";
    EXPECT_EQ(Counts::Now().created, before.created + 2);
    EXPECT_EQ(Counts::Now().deleted, before.deleted + 1);
}

TEST_F(Components, WaitForTheirReferencesAndKeepTheBestOfTheFirst) {
    Configure("test.dependent");
    bundle.Start();
    auto bad = Offer("bad", 100, 0);
    EXPECT_FALSE(Find("test::Dependent"));
    auto first = Offer("first", 1);
    const auto object = Get("test::Dependent");
    EXPECT_EQ(object->Greet(), "first");
    auto better = Offer("better", 10);
    EXPECT_EQ(Get("test::Dependent"), object) << "a better one does not replace what is bound";
    first.Unregister();
    EXPECT_TRUE(eventually([&] { return Greeting("test::Dependent") == "better"; }));
    EXPECT_EQ(object->Greet(), "first");
    better.SetProperties({{"good", Any(0)}});
    AwaitGone("test::Dependent");
    bad.SetProperties({{"good", Any(1)}});
    EXPECT_EQ(Greeting("test::Dependent"), "bad");
}

TEST_F(Components, AThrowingConstructorIsTriedAgain) {
    Configure("test.thrower", {{"text", std::string("throw")}});
    bundle.Start();
    const auto before = Counts::Now();
    EXPECT_EQ(Greeting("test::Thrower"), "(null)");
    EXPECT_EQ(Greeting("test::Thrower"), "(null)");
    EXPECT_EQ(Greeting("test::Plain"), "plain") << "the others go on";
    Configure("test.thrower", {{"text", std::string("works")}});
    EXPECT_TRUE(eventually([&] { return Greeting("test::Thrower") == "works"; }));
    EXPECT_GE(Counts::Now().created, before.created + 3);
}

TEST_F(Components, WhatIsHeldOutlivesItsBundlesStop) {
    Configure("test.factory~x");
    // The installed framework gives a library its bundle's context once, not that of a second start.
    for (int round = 0; round < (embedded ? 3 : 1); ++round) {
        bundle.Start();
        const auto before = Counts::Now();
        const auto held = Get("test::Factory_test.factory~x");
        bundle.Stop();
        EXPECT_FALSE(Find("test::Factory_test.factory~x"));
        EXPECT_EQ(Counts::Now().deleted, before.deleted + 1);
        EXPECT_EQ(held->Greet(), "made");
    }
}

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
