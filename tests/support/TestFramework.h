#pragma once

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

namespace zelkor::test {

/// A running framework whose context is the module's, as if it had loaded the module.
class TestFramework {
public:
    TestFramework();
    ~TestFramework();
    TestFramework(const TestFramework&) = delete;
    TestFramework& operator=(const TestFramework&) = delete;

    cppmicroservices::BundleContext context() { return framework_.GetBundleContext(); }

private:
    cppmicroservices::Framework framework_;
};

} // namespace zelkor::test
