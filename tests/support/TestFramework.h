#pragma once

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>

extern "C" void _us_set_bundle_context_instance_com_halvorin_zelkorloginclient(
    cppmicroservices::BundleContextPrivate* context);

namespace zelkor::test {

/// A running framework whose context is the module's, as if it had loaded the module.
class TestFramework {
public:
    TestFramework() {
        framework_.Start();
        _us_set_bundle_context_instance_com_halvorin_zelkorloginclient(GetPrivate(context()).get());
    }
    ~TestFramework() {
        _us_set_bundle_context_instance_com_halvorin_zelkorloginclient(nullptr);
        stop();
    }
    TestFramework(const TestFramework&) = delete;
    TestFramework& operator=(const TestFramework&) = delete;

    void stop() {
        framework_.Stop();
        framework_.WaitForStop(std::chrono::milliseconds::zero());
    }
    cppmicroservices::BundleContext context() { return framework_.GetBundleContext(); }

private:
    cppmicroservices::Framework framework_ = cppmicroservices::FrameworkFactory().NewFramework();
};

} // namespace zelkor::test
