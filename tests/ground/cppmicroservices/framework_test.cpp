#include "FrameworkTest.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceTracker.h>

#include <atomic>
#include <future>
#include <optional>
#include <thread>

using namespace cppmicroservices;
using namespace test;

namespace {

TEST(Framework, StartsStopsAndStartsAgain) {
    const FrameworkConfiguration configuration{{"my.key", Any(std::string("value"))}};
    auto framework = FrameworkFactory().NewFramework(configuration);
    EXPECT_EQ(framework.GetBundleId(), 0);
    EXPECT_EQ(framework.GetSymbolicName(), Constants::SYSTEM_BUNDLE_SYMBOLICNAME);
    EXPECT_FALSE(framework.GetBundleContext());
    if (embedded) {
        EXPECT_EQ(framework.WaitForStop(1ms).GetType(), FrameworkEvent::FRAMEWORK_STOPPED) << "not running";
    }

    BundleContext previous;
    int events = 0;
    for (int round = 0; round < 3; ++round) {
        framework.Start();
        EXPECT_EQ(framework.GetState(), Bundle::STATE_ACTIVE);
        EXPECT_EQ(framework.WaitForStop(1ms).GetType(), FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
        EXPECT_FALSE(previous) << "a context does not outlive its run";
        previous = framework.GetBundleContext();
        EXPECT_EQ(any_cast<std::string>(previous.GetProperty("my.key")), "value");
        EXPECT_TRUE(previous.GetServiceReferences<Greeter>().empty())
            << "services of the last run must be gone";
        previous.AddServiceListener([&](const ServiceEvent&) { ++events; }, "(objectclass=*Greeter)");
        previous.RegisterService<Greeter>(std::make_shared<GreeterImpl>());
        framework.Stop();
        EXPECT_EQ(framework.WaitForStop(60s).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
        EXPECT_NE(framework.GetState(), Bundle::STATE_ACTIVE);
    }
    EXPECT_EQ(events, embedded ? 6 : 3) << "a run's listeners must hear of that run only";
    EXPECT_THROW(previous.RegisterService<Greeter>(std::make_shared<GreeterImpl>()), std::runtime_error);
    EXPECT_THROW(previous.GetServiceReference<Greeter>(), std::runtime_error);
}

TEST(Framework, InstancesDoNotShareServices) {
    auto one = FrameworkFactory().NewFramework();
    auto two = FrameworkFactory().NewFramework();
    one.Start();
    two.Start();
    one.GetBundleContext().RegisterService<Greeter>(std::make_shared<GreeterImpl>());
    EXPECT_FALSE(two.GetBundleContext().GetServiceReference<Greeter>());
}

using RunningFramework = FrameworkTest;

TEST_F(RunningFramework, StopUnregistersWithEventsWhileTheContextStillWorks) {
    EMBEDDED_ONLY();
    auto registration = Register();
    std::atomic<int> told = 0;
    context.AddServiceListener([&](const ServiceEvent& event) {
        EXPECT_EQ(event.GetType(), ServiceEvent::SERVICE_UNREGISTERING);
        EXPECT_TRUE(context.GetService(event.GetServiceReference<Greeter>()));
        framework.Stop(); // once more, from the stopping thread
        ++told;
    });
    StopFramework();
    EXPECT_EQ(told, 1);
}

TEST_F(RunningFramework, CanBeStoppedFromAListener) {
    context.AddServiceListener([&](const ServiceEvent& event) {
        if (event.GetType() == ServiceEvent::SERVICE_REGISTERED)
            framework.Stop();
    });
    Register();
    EXPECT_EQ(framework.WaitForStop(60s).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
}

} // namespace
