#include "FrameworkTest.h"

#include <dlfcn.h>

using namespace cppmicroservices;
using namespace test;

namespace {

template <class Function>
Function* Symbol(void* library, const char* name) {
    return reinterpret_cast<Function*>(dlsym(library, name));
}

// Bundle and host are linked with a copy of the framework each, with hidden symbols: types are known by name
// only.
TEST(BundleCopy, SharesServicesPropertiesAndExceptionsWithTheHost) {
    void* library = dlopen(TEST_BUNDLE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(library) << dlerror();
    auto* set = Symbol<void(BundleContextPrivate*)>(
        library, "_us_set_bundle_context_instance_cppmicroservices_test_bundle");
    auto* has = Symbol<bool()>(library, "test_bundle_has_context");
    auto* run = Symbol<void(std::string*)>(library, "test_bundle_run");
    auto* fail = Symbol<void()>(library, "test_bundle_throw");
    ASSERT_TRUE(set && has && run && fail);
    EXPECT_FALSE(has()) << "no context before the framework sets one";
    {
        auto framework = FrameworkFactory().NewFramework();
        framework.Start();
        auto context = framework.GetBundleContext();
        set(GetPrivate(context).get());
        EXPECT_TRUE(has());

        context.RegisterService<Greeter>(std::make_shared<GreeterImpl>(),
                                         {{"n", Any(1)}, {"text", Any(std::string("!"))}});
        std::string greeting;
        run(&greeting);
        EXPECT_EQ(greeting, "hello!");
        const auto found = context.GetServiceReferences<Greeter>("(n=2)");
        ASSERT_EQ(found.size(), 1u);
        EXPECT_EQ(context.GetService(found[0])->Greet(), "from the bundle");
        EXPECT_EQ(any_cast<std::string>(found[0].GetProperty("text")), "x");
        EXPECT_EQ(any_cast<int>(found[0].GetProperty("n")), 2);
        EXPECT_THROW(fail(), std::invalid_argument);
    }
    EXPECT_FALSE(has()) << "the context ends with the framework";
}

} // namespace
