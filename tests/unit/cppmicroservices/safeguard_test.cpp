#include "FrameworkTest.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPFilter.h>

#include <sstream>

using namespace cppmicroservices;
using namespace test;

namespace {

using Safeguard = FrameworkTest;

TEST_F(Safeguard, ARankingOfAnotherTypeIsRefusedByName) {
    auto good = Register({{Constants::SERVICE_RANKING, Any(3)}});
    for (const auto& ranking : {Any(1L), Any(1.0), Any(std::string("1")), Any()}) {
        const ServiceProperties properties{{"Service.Ranking", ranking}};
        EXPECT_THROW(Register(properties), std::invalid_argument);
        EXPECT_THROW(good.SetProperties(properties), std::invalid_argument);
    }
    EXPECT_EQ(context.GetServiceReferences<Greeter>().size(), 1u);
    EXPECT_EQ(any_cast<int>(good.GetReference().GetProperty(Constants::SERVICE_RANKING)), 3);
}

TEST_F(Safeguard, NoServiceSlipsInWhileTheFrameworkStops) {
    Progress refused;
    auto first = Register();
    context.AddServiceListener([&](const ServiceEvent&) {
        EXPECT_THROW(Register(), std::runtime_error);
        refused.Advance();
    });
    StopFramework();
    EXPECT_EQ(refused.Value(), 1);
}

TEST(SafeguardFilter, AHostileDepthIsRefusedInsteadOfOverflowingTheStack) {
    std::string deep;
    for (int i = 0; i < 1'000'000; ++i)
        deep += "(!";
    EXPECT_THROW(LDAPFilter{deep}, std::invalid_argument);
}

TEST(SafeguardLog, ErrorsWithoutACallerReachTheLog) {
    std::ostringstream log;
    {
        auto framework = FrameworkFactory().NewFramework({{Constants::FRAMEWORK_LOG, Any(true)}}, &log);
        framework.Start();
        auto context = framework.GetBundleContext();
        context.AddServiceListener(
            [](const ServiceEvent&) { throw std::runtime_error("listener's trouble"); });
        context.RegisterService<Greeter>(std::make_shared<GreeterImpl>()).Unregister();
    }
    EXPECT_NE(log.str().find("listener's trouble"), std::string::npos) << log.str();
}

} // namespace
