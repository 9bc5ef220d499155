#pragma once

#include "hshd/process/DaemonProcess.h"
#include "module/v2/ZelkorLogin.h"
#include "tests/support/ClientConfiguration.h"
#include "tests/support/TestFramework.h"
#include "tests/support/Testing.h"

#include <agent/spf/transport/Connector.h>

namespace zelkor::test {

/// A daemon process, and this process connected to it.
class SystemFixture : public Test {
protected:
    /// @param scripted the daemon plays script().
    explicit SystemFixture(bool scripted = false) : scripted_(scripted) {}
    void start() {
        daemon.start();
        connector.start();
    }
    static std::shared_ptr<login::spf::ZelkorLogin> makeClient(int call, int service) {
        return std::make_shared<login::spf::ZelkorLogin>(configuration(call, service));
    }

    std::filesystem::path script() const { return directory / "script.json"; }

private:
    const bool scripted_;

protected:
    TempDirectory directory;
    TestFramework framework;
    hshd::DaemonProcess daemon{
        {.program = HSHD_PROGRAM,
         .socketDirectory = directory / "run",
         .stateDirectory = directory / "state",
         .arguments = scripted_ ? std::vector<std::string>{"--log-level", "all", "--script", script()}
                                : std::vector<std::string>{"--log-level", "all"},
         .errorFile = directory / "hshd.log"}};
    agent::spf::transport::Connector connector{framework.context(), {directory / "run", "", {}}};
};

} // namespace zelkor::test
