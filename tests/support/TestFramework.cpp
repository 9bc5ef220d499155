#include "tests/support/TestFramework.h"

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>

extern "C" void _us_set_bundle_context_instance_com_halvorin_zelkorloginclient(
    cppmicroservices::BundleContextPrivate* context);

namespace zelkor::test {

TestFramework::TestFramework() : framework_(cppmicroservices::FrameworkFactory().NewFramework()) {
    framework_.Start();
    _us_set_bundle_context_instance_com_halvorin_zelkorloginclient(GetPrivate(context()).get());
}

TestFramework::~TestFramework() {
    _us_set_bundle_context_instance_com_halvorin_zelkorloginclient(nullptr);
    framework_.Stop();
    framework_.WaitForStop(std::chrono::milliseconds::zero());
}

} // namespace zelkor::test
