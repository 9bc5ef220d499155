#pragma once

#include "hshd/process/DaemonProcess.h"
#include "module/v2/ZelkorLogin.h"
#include "tests/support/ClientConfiguration.h"
#include "tests/support/TestFramework.h"
#include "tests/support/Testing.h"

#include <agent/spf/transport/Connector.h>

#include <fstream>

namespace zelkor::test {

/// A daemon process, and this process connected to it.
class SystemFixture : public Test {
protected:
    /// @param script by which the daemon misbehaves.
    explicit SystemFixture(const std::string& script = "{}") {
        std::ofstream(directory / "script.json") << script;
    }
    void start() {
        daemon.start();
        connector.start();
    }
    static std::shared_ptr<login::spf::ZelkorLogin> makeClient(int call, int service) {
        return std::make_shared<login::spf::ZelkorLogin>(configuration(call, service));
    }

    TempDirectory directory;
    TestFramework framework;
    hshd::DaemonProcess daemon{{.program = HSHD_PROGRAM,
                                .socketDirectory = directory / "run",
                                .stateDirectory = directory / "state",
                                .arguments = {"--log-level", "all", "--script", directory / "script.json"},
                                .errorFile = directory / "hshd.log"}};
    agent::spf::transport::Connector connector{framework.context(), {directory / "run", "", {}}};
};

} // namespace zelkor::test
