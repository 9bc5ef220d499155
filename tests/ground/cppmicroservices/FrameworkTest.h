#pragma once

#include "TestServices.h"
#include "tests/support/Eventually.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceEvent.h>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

namespace test {

using namespace std::chrono_literals;

/// The embedded framework keeps some promises beyond the installed one's.
#ifdef ZELKOR_EMBEDDED_FRAMEWORK
inline constexpr bool embedded = true;
#else
inline constexpr bool embedded = false;
#endif
#define EMBEDDED_ONLY()                                                                                      \
    if (!test::embedded)                                                                                     \
    GTEST_SKIP() << "the installed framework does not promise this"

/// A started framework of one's own.
class FrameworkTest : public ::testing::Test {
protected:
    FrameworkTest() : framework(cppmicroservices::FrameworkFactory().NewFramework()) {
        framework.Start();
        context = framework.GetBundleContext();
    }
    ~FrameworkTest() override { StopFramework(); }

    void StopFramework() {
        framework.Stop();
        const auto event = framework.WaitForStop(60s);
        EXPECT_EQ(event.GetType(), cppmicroservices::FrameworkEvent::FRAMEWORK_STOPPED);
    }

    cppmicroservices::ServiceRegistration<Greeter>
    Register(const cppmicroservices::ServiceProperties& properties = {}, const std::string& text = "hello") {
        return context.RegisterService<Greeter>(std::make_shared<GreeterImpl>(text), properties);
    }

    cppmicroservices::Framework framework;
    cppmicroservices::BundleContext context;
};

/// A value that threads wait for.
class Progress {
public:
    void Advance() { ++value_; }
    /// \return false after a generous time
    bool Reached(int value) {
        return zelkor::test::eventually([&] { return value_ >= value; });
    }
    int Value() const { return value_; }

private:
    std::atomic<int> value_ = 0;
};

} // namespace test
