#pragma once

#include "platform/daemon/process/DaemonProcess.h"
#include "runtime/clientutils/Timeouts.h"
#include "spf/ZelkorLogin.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TestFramework.h"

#include <agent/spf/transport/Connector.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>

namespace zelkor::test {

/// A daemon process, and this process connected to it.
class SystemFixture : public testing::Test {
protected:
    SystemFixture() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zelkor-system-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("no temporary directory");
        directory = pattern;
        daemon.emplace(hshd::DaemonProcess::Options{.program = HSHD_PROGRAM,
                                                    .socketDirectory = directory / "run",
                                                    .stateDirectory = directory / "state",
                                                    .arguments = {"--log-level", "all"},
                                                    .errorFile = directory / "hshd.log"});
        agent::spf::transport::ConnectorOptions options;
        options.socketDirectory = directory / "run";
        connector.emplace(framework.context(), options);
    }
    ~SystemFixture() override {
        connector.reset();
        daemon.reset();
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }

    static std::shared_ptr<login::spf::ZelkorLogin> makeClient(int call, int service) {
        using agent::spf::cppmsclientutils::Timeouts;
        auto map = std::make_shared<cppmicroservices::AnyMap>(cppmicroservices::AnyMap::UNORDERED_MAP);
        (*map)[Timeouts::callKey] = call;
        (*map)[Timeouts::serviceKey] = service;
        return std::make_shared<login::spf::ZelkorLogin>(map);
    }

    std::filesystem::path directory;
    TestFramework framework;
    std::optional<hshd::DaemonProcess> daemon;
    std::optional<agent::spf::transport::Connector> connector;
};

} // namespace zelkor::test
