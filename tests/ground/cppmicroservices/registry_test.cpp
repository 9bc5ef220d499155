#include "FrameworkTest.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceFactory.h>

#include <gmock/gmock.h>

#include <functional>

using namespace cppmicroservices;
using namespace test;
using testing::ElementsAre;
using testing::Pair;

namespace test {
struct Named {};
} // namespace test
CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(test::Named, "org.example.Named (1.0)")

namespace {

using Registry = FrameworkTest;

ServiceProperties Ranked(int ranking) {
    return {{Constants::SERVICE_RANKING, Any(ranking)}};
}

TEST_F(Registry, PrefersHighestRankingThenOldest) {
    auto low = Register(Ranked(-10));
    auto oldest = Register();
    auto younger = Register();
    auto high = Register(Ranked(10));
    const auto order = [&] { return context.GetServiceReferences<Greeter>(); };
    EXPECT_THAT(order(), ElementsAre(high.GetReference(), oldest.GetReference(), younger.GetReference(),
                                     low.GetReference()));
    EXPECT_TRUE(younger.GetReference() < oldest.GetReference());
    EXPECT_TRUE(oldest.GetReference() < high.GetReference());

    low.SetProperties(Ranked(11));
    EXPECT_EQ(context.GetServiceReference<Greeter>(), low.GetReference()) << "a new ranking counts at once";
    high.Unregister();
    EXPECT_THAT(order(), ElementsAre(low.GetReference(), oldest.GetReference(), younger.GetReference()));
}

TEST_F(Registry, KeepsPropertiesWithoutRegardToCase) {
    ServiceProperties properties{{"Version", Any(2)}};
    if (embedded)
        properties[Constants::SERVICE_ID] = std::string("forged");
    auto registration = Register(properties);
    const auto reference = registration.GetReference();
    EXPECT_EQ(any_cast<int>(reference.GetProperty("vERSION")), 2);
    EXPECT_TRUE(reference.GetProperty("none").Empty());
    EXPECT_EQ(any_cast<std::string>(reference.GetProperty(Constants::SERVICE_SCOPE)),
              Constants::SCOPE_SINGLETON);
    EXPECT_GT(any_cast<long>(reference.GetProperty(Constants::SERVICE_ID)), 0);
    EXPECT_EQ(any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)),
              std::vector<std::string>{us_service_interface_iid<Greeter>()});
    EXPECT_EQ(context.GetServiceReferences<Greeter>("(&(VERSION>=2)(objectclass=*Greeter))").size(), 1u);
    EXPECT_TRUE(context.GetServiceReferences<Greeter>("(version=3)").empty());

    registration.SetProperties({{"other", Any(1)}});
    EXPECT_TRUE(reference.GetProperty("version").Empty()) << "SetProperties replaces all";
    EXPECT_TRUE(LDAPFilter("(OTHER=1)").Match(reference));

    registration.Unregister();
    EXPECT_EQ(any_cast<int>(reference.GetProperty("other")), 1) << "readable after the end";
    EXPECT_FALSE(reference);
    EXPECT_THROW(context.GetService(reference), std::invalid_argument);
    EXPECT_THROW(registration.Unregister(), std::logic_error);
    EXPECT_THROW(registration.SetProperties(ServiceProperties()), std::logic_error);
    EXPECT_THROW(registration.GetReference(), std::logic_error);
}

TEST_F(Registry, RefusesBadInputAndChangesNothing) {
    EXPECT_ANY_THROW(Register({{"key", Any(1)}, {"KEY", Any(2)}}));
    EXPECT_ANY_THROW(context.RegisterService<Greeter>(std::shared_ptr<GreeterImpl>()));
    EXPECT_ANY_THROW(context.RegisterService(std::make_shared<const InterfaceMap>()));
    EXPECT_TRUE(context.GetServiceReferences<Greeter>().empty());
    EXPECT_THROW(context.AddServiceListener([](const ServiceEvent&) {}, "(oops"), std::invalid_argument);
    EXPECT_THROW(context.GetService(ServiceReference<Greeter>()), std::invalid_argument);
    EXPECT_THROW(BundleContext().GetBundle(), std::runtime_error);
}

TEST_F(Registry, CountsUseByHeldPointersWhichOutliveTheService) {
    auto registration = Register();
    const auto reference = registration.GetReference();
    EXPECT_TRUE(reference.GetUsingBundles().empty());
    auto held = context.GetService(reference);
    EXPECT_EQ(reference.GetUsingBundles(), std::vector<Bundle>{context.GetBundle()});
    EXPECT_EQ(context.GetBundle().GetServicesInUse().size(), 1u);
    registration.Unregister();
    EXPECT_EQ(held->Greet(), "hello");
    const std::weak_ptr<Greeter> watch = held;
    held = nullptr;
    EXPECT_TRUE(watch.expired()) << "the last holder must free the service";
}

TEST_F(Registry, TellsListenersWhatTheirFilterMakesOfAChange) {
    std::vector<std::pair<ServiceEvent::Type, int>> events;
    auto token = context.AddServiceListener(
        [&](const ServiceEvent& event) {
            const auto reference = event.GetServiceReference<Greeter>();
            events.emplace_back(event.GetType(), any_cast<int>(reference.GetProperty("v")));
            EXPECT_TRUE(context.GetService(reference)) << "obtainable during " << event.GetType();
        },
        "(v>=2)");
    auto registration = Register({{"v", Any(1)}});
    for (const int v : {2, 3, 1, 0, 2})
        registration.SetProperties({{"v", Any(v)}});
    registration.Unregister();
    EXPECT_THAT(events,
                ElementsAre(Pair(ServiceEvent::SERVICE_MODIFIED, 2), Pair(ServiceEvent::SERVICE_MODIFIED, 3),
                            Pair(ServiceEvent::SERVICE_MODIFIED_ENDMATCH, 1),
                            Pair(ServiceEvent::SERVICE_MODIFIED, 2),
                            Pair(ServiceEvent::SERVICE_UNREGISTERING, 2)));
    context.RemoveListener(std::move(token));
    Register({{"v", Any(5)}});
    EXPECT_EQ(events.size(), 5u);
}

TEST_F(Registry, AThrowingListenerHurtsNobodyElse) {
    std::vector<FrameworkEvent> problems;
    context.AddFrameworkListener([&](const FrameworkEvent& event) { problems.push_back(event); });
    context.AddServiceListener([](const ServiceEvent&) { throw 42; });
    int told = 0;
    context.AddServiceListener([&](const ServiceEvent&) { ++told; });
    auto registration = Register();
    EXPECT_EQ(told, 1);
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_THROW(std::rethrow_exception(problems[0].GetThrowable()), int);
    StopFramework(); // while what the listeners write to exists
}

TEST_F(Registry, ListenersMayChangeTheRegistryTheyHearOf) {
    ServiceRegistration<Counter> follower;
    ListenerToken token = context.AddServiceListener(
        [&](const ServiceEvent& event) {
            if (event.GetType() == ServiceEvent::SERVICE_REGISTERED)
                follower = context.RegisterService<Counter>(std::make_shared<GreeterImpl>());
            else
                follower.Unregister();
        },
        "(objectclass=" + us_service_interface_iid<Greeter>() + ")");
    auto registration = Register();
    EXPECT_TRUE(context.GetServiceReference<Counter>());
    registration.Unregister();
    EXPECT_FALSE(context.GetServiceReference<Counter>());
    context.RemoveListener(std::move(token));
}

class GreeterFactory : public ServiceFactory {
public:
    InterfaceMapConstPtr GetService(const Bundle&, const ServiceRegistrationBase&) override {
        ++made;
        return answer();
    }
    void UngetService(const Bundle&, const ServiceRegistrationBase&, const InterfaceMapConstPtr&) override {
        ++taken;
    }
    std::function<InterfaceMapConstPtr()> answer = []() -> InterfaceMapConstPtr {
        return MakeInterfaceMap<Greeter>(std::make_shared<GreeterImpl>("made"));
    };
    int made = 0;
    int taken = 0;
};

TEST_F(Registry, AFactoryMakesOneServicePerBundleWhileUsed) {
    const auto factory = std::make_shared<GreeterFactory>();
    auto registration = context.RegisterService<Greeter>(ToFactory(factory));
    const auto reference = registration.GetReference();
    EXPECT_EQ(any_cast<std::string>(reference.GetProperty(Constants::SERVICE_SCOPE)),
              Constants::SCOPE_BUNDLE);
    auto first = context.GetService(reference);
    auto second = context.GetService(reference);
    EXPECT_EQ(first->Greet(), "made");
    EXPECT_EQ(first, second);
    EXPECT_EQ(factory->made, 1);
    first = nullptr;
    EXPECT_EQ(factory->taken, 0);
    second = nullptr;
    EXPECT_EQ(factory->taken, 1);

    first = context.GetService(reference);
    EXPECT_EQ(factory->made, 2) << "made anew after it was released";
    registration.Unregister();
    EXPECT_EQ(factory->taken, 2) << "unregistering takes it back";
    EXPECT_EQ(first->Greet(), "made") << "but a holder keeps the object";
    first = nullptr;
    EXPECT_EQ(factory->taken, 2);
}

} // namespace
