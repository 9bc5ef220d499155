#pragma once

#include "FrameworkTest.h"

#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include <dlfcn.h>
#include <sstream>

namespace test {

using cppmicroservices::AnyMap;
using zelkor::test::eventually;

/// What the bundle's library has counted since it was loaded.
struct Counts {
    int created = 0, deleted = 0, objects = 0;

    static Counts Now() {
        Counts counts;
        if (void* library = ::dlopen(COMPONENT_BUNDLE_PATH, RTLD_NOW | RTLD_NOLOAD)) {
            using Function = void(int*, int*, int*);
            auto* read = reinterpret_cast<Function*>(::dlsym(library, "component_bundle_counts"));
            read(&counts.created, &counts.deleted, &counts.objects);
            ::dlclose(library);
        }
        return counts;
    }
};

/// A framework with the run-time bundles it needs, and the bundle of components, not yet started.
class ComponentTest : public FrameworkTest {
protected:
    ComponentTest() {
        std::istringstream paths(ZELKOR_RUNTIME_BUNDLES);
        for (std::string path; std::getline(paths, path, ';');) {
            for (auto& runtimeBundle : context.InstallBundles(path))
                runtimeBundle.Start();
        }
        bundle = context.InstallBundles(COMPONENT_BUNDLE_PATH).at(0);
        using cppmicroservices::service::cm::ConfigurationAdmin;
        admin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
    }

    void Configure(const std::string& pid, const AnyMap::unordered_any_map& properties = {}) {
        admin->GetConfiguration(pid)->Update(AnyMap(properties)).get();
    }
    void RemoveConfiguration(const std::string& pid) { admin->GetConfiguration(pid)->Remove().get(); }

    /// Null if the component provides no Greeter.
    cppmicroservices::ServiceReference<Greeter> Find(const std::string& component) {
        const auto found = context.GetServiceReferences<Greeter>("(component.name=" + component + ")");
        return found.empty() ? cppmicroservices::ServiceReference<Greeter>() : found.front();
    }
    cppmicroservices::ServiceReference<Greeter> Await(const std::string& component) {
        EXPECT_TRUE(eventually([&] { return static_cast<bool>(Find(component)); })) << component;
        return Find(component);
    }
    void AwaitGone(const std::string& component) {
        EXPECT_TRUE(eventually([&] { return !Find(component); })) << component;
    }
    std::shared_ptr<Greeter> Get(const std::string& component) {
        const auto reference = Await(component);
        return reference ? context.GetService(reference) : nullptr;
    }
    std::string Greeting(const std::string& component) {
        const auto greeter = Get(component);
        return greeter ? greeter->Greet() : "(null)";
    }

    cppmicroservices::Bundle bundle;
    std::shared_ptr<cppmicroservices::service::cm::ConfigurationAdmin> admin;
};

} // namespace test
