#include "ModuleHost.h"
#include "tests/support/Rounds.h"

namespace zelkor::test {

TEST_F(ModuleHost, CallersMeetEveryChangeOfConfigurationBundleAndFramework) {
    daemon.appear();
    auto desktop = offerDesktopServices();
    configure(fullPid, {{"timeouts::service", 0}});
    configure(detailPid, {{"timeouts::service", 0}});
    configure("hv.HalvorinServiceHost.ZelkorLoginOldImpl",
              {{"timeouts::service", 0}}); // its daemon never comes
    std::atomic<std::uint64_t> answers = 0;
    auto callers = startThreads(8, [&](std::stop_token stop, int) {
        while (!stop.stop_requested()) {
            try {
                auto own = context;
                const auto found = own.GetServiceReferences<login::detail::ZelkorLogin>();
                for (const auto& reference : found) {
                    if (const auto login = own.GetService(reference))
                        answers += login->getRelease() == "1.2" ? 1 : 0;
                }
            } catch (const std::exception&) {
                // unregistered in between, or the framework has stopped
            }
        }
    });
    const auto answersCome = [&] {
        const auto before = answers.load();
        EXPECT_TRUE(eventually([&] { return answers > before; }));
    };
    for (int round = 0; round < rounds(60); ++round) {
        configure(fullPid, {{"timeouts::service", 0}, {"round", round}});
        answersCome();
        admin->GetConfiguration(detailPid)->Remove().get();
        bundle.Stop();
        bundle.Start();
        configure(detailPid, {{"timeouts::service", 0}});
        desktop.Unregister();
        desktop = offerDesktopServices();
        answersCome();
    }
    stopFramework(); // under load
}

} // namespace zelkor::test
