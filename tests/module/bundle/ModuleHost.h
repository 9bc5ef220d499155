#pragma once

#include "tests/support/Eventually.h"
#include "tests/support/FakeDaemon.h"

#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>
#include <login/detail/ZelkorLogin.h>
#include <login/interactive/ZelkorLogin.h>
#include <zelkorconnector/serviceprocess/HasDesktopServices.h>

#ifndef ZELKOR_EMBEDDED_FRAMEWORK
#include <cppmicroservices/asyncworkservice/AsyncWorkService.hpp>
#include <foundation/concurrent/threadpool/Executor.h>

#include <boost/uuid/random_generator.hpp>

#include <future>
#endif
#include <gtest/gtest.h>

#include <sstream>

namespace zelkor::test {

using cppmicroservices::AnyMap;
using zelkorconnector::serviceprocess::HasDesktopServices;

inline const std::string fullPid = "hv.HalvorinServiceHost.ZelkorLogin~test";
inline const std::string detailPid = "hv.HalvorinServiceHost.ZelkorLoginDetail~test";

#ifndef ZELKOR_EMBEDDED_FRAMEWORK
/// The original's own pool of threads, used where nobody offers one, never ends when its last owner happens
/// to be its own work.
struct WorkService : cppmicroservices::async::AsyncWorkService {
    void post(std::packaged_task<void()>&& task) override {
        auto shared = std::make_shared<std::packaged_task<void()>>(std::move(task));
        foundation::concurrent::threadpool::Executor::instance().post(queue, [shared] { (*shared)(); });
    }
    std::shared_ptr<AsyncWorkService> createStrand() override { return std::make_shared<WorkService>(); }
    const boost::uuids::uuid queue = boost::uuids::random_generator()();
};
#endif

/// An application's process with the module started in it, and a daemon to which the module's calls go.
class ModuleHost : public ::testing::Test {
protected:
    ModuleHost() {
#ifndef ZELKOR_EMBEDDED_FRAMEWORK
        context.RegisterService<cppmicroservices::async::AsyncWorkService>(std::make_shared<WorkService>());
#endif
        std::istringstream paths(ZELKOR_RUNTIME_BUNDLES);
        for (std::string path; std::getline(paths, path, ';');)
            start(path);
        bundle = start(MODULE_PATH);
        using cppmicroservices::service::cm::ConfigurationAdmin;
        admin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
        daemon.answer("getRelease", std::string("1.2"));
    }
    ~ModuleHost() override {
        stopFramework();
    }

    cppmicroservices::Bundle start(const std::string& path) {
        auto installed = context.InstallBundles(path).at(0);
        installed.Start();
        return installed;
    }
    void stopFramework() {
        daemon.disappear();
        framework.Stop();
        framework.WaitForStop(std::chrono::milliseconds(0));
    }
    void configure(const std::string& pid, const AnyMap::unordered_any_map& properties = {}) {
        admin->GetConfiguration(pid)->Update(AnyMap(properties)).get();
    }
    auto offerDesktopServices() {
        return context.RegisterService<HasDesktopServices>(std::make_shared<HasDesktopServices>());
    }
    /// The best service, once there is one.
    template <class Interface>
    std::shared_ptr<Interface> get(const std::string& filter = {}) {
        std::shared_ptr<Interface> service;
        EXPECT_TRUE(eventually([&] {
            const auto found = context.GetServiceReferences<Interface>(filter);
            return !found.empty() && (service = context.GetService(found.front()));
        }));
        return service;
    }
    std::string bestDetail() {
        const auto best = context.GetServiceReference<login::detail::ZelkorLogin>();
        return best ? best.GetProperty("component.name").ToStringNoExcept() : "none";
    }

    cppmicroservices::Framework framework = [] {
        auto made = cppmicroservices::FrameworkFactory().NewFramework();
        made.Start();
        return made;
    }();
    cppmicroservices::BundleContext context = framework.GetBundleContext();
    cppmicroservices::Bundle bundle;
    std::shared_ptr<cppmicroservices::service::cm::ConfigurationAdmin> admin;
    FakeDaemon daemon{context};
};

} // namespace zelkor::test
