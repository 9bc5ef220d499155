#include "TestServices.h"

#include <cppmicroservices/BundleInitialization.h>
#include <cppmicroservices/GetBundleContext.h>

using namespace cppmicroservices;

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace {

struct BundleGreeter : test::Greeter {
    std::string Greet() const override { return "from the bundle"; }
};

} // namespace

extern "C" US_ABI_EXPORT bool test_bundle_has_context() {
    return static_cast<bool>(GetBundleContext());
}

/// Registers a service, and answers the greeting of the one that n = 1 finds.
extern "C" US_ABI_EXPORT void test_bundle_run(std::string* greeting) {
    auto context = GetBundleContext();
    context.RegisterService<test::Greeter>(std::make_shared<BundleGreeter>(),
                                           {{"n", Any(2)}, {"text", Any(std::string("x"))}});
    const auto found = context.GetServiceReferences<test::Greeter>("(n=1)");
    *greeting = context.GetService(found.at(0))->Greet();
    try {
        any_cast<int>(found.at(0).GetProperty("text"));
    } catch (const BadAnyCastException&) {
        *greeting += any_cast<std::string>(found.at(0).GetProperty("text"));
    }
}

extern "C" US_ABI_EXPORT void test_bundle_throw() {
    GetBundleContext().GetService(ServiceReference<test::Greeter>());
}
