// A complete host: minimal_host MODULE, where MODULE is the path of libzelkorloginclient.so.

#include <agent/spf/transport/Connector.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <foundation/log/setup.h>
#include <login/ZelkorLogin.h>
#include <zelkorconnector/serviceprocess/HasDesktopServices.h>

#include <iostream>
#include <sstream>

using cppmicroservices::service::cm::ConfigurationAdmin;
using zelkorconnector::serviceprocess::HasDesktopServices;

int main(int, char** argv) {
    // 1. Nothing is logged until the process says where to.
    foundation::log::Options log;
    log.console = foundation::log::SeverityFilter::parse("warning");
    foundation::log::setup(log);

    // 2. The framework; a process with desktop services says so.
    auto framework = cppmicroservices::FrameworkFactory().NewFramework();
    framework.Start();
    auto context = framework.GetBundleContext();
    context.RegisterService<HasDesktopServices>(std::make_shared<HasDesktopServices>());
    {
        // 3. The connection to the daemon, which may come later.
        agent::spf::transport::Connector connector(context, {});
        connector.start();

        // 4. The bundles: those the framework itself needs (the embedded one: none), then the module.
        std::stringstream bundles(ZELKOR_RUNTIME_BUNDLES ";" + std::string(argv[1]));
        for (std::string path; std::getline(bundles, path, ';');)
            if (!path.empty())
                for (auto& bundle : context.InstallBundles(path))
                    bundle.Start();

        // 5. A component, made by its configuration.
        const auto admin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
        const cppmicroservices::AnyMap::unordered_any_map limits{{"timeouts::service", 10}};
        admin->GetConfiguration("hv.HalvorinServiceHost.ZelkorLogin~minimal")->Update(limits).get();

        // 6. Its service, used from any thread.
        const auto login = context.GetService(context.GetServiceReference<login::ZelkorLogin>());
        const auto id = login->addStatusListenerV2([](const login::LoginInfo& now, const login::LoginInfo&) {
            std::cout << "the login state changed, level is now " << static_cast<int>(now.level) << '\n';
        });
        std::cout << login->getLoginInfo("minimal-host", login::LoginInfo::Level::SignedIn) << '\n';
        login->removeStatusListener(id);

        // 7. The clients end before the connector, the connector before the framework.
        context.GetBundles(argv[1]).at(0).Stop();
    }
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());
}
