#pragma once

#include "runtime/clientutils/Timeouts.h"
#include "spf/ZelkorLogin.h"
#include "tests/support/Eventually.h"
#include "tests/support/FakeDaemon.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TestFramework.h"

#include <cppmicroservices/AnyMap.h>
#include <foundation/concurrent/threadpool/Executor.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace zelkor::test {

inline std::shared_ptr<cppmicroservices::AnyMap> configuration(std::optional<int> call,
                                                               std::optional<int> service) {
    using agent::spf::cppmsclientutils::Timeouts;
    auto map = std::make_shared<cppmicroservices::AnyMap>(cppmicroservices::AnyMap::UNORDERED_MAP);
    if (call)
        (*map)[Timeouts::callKey] = *call;
    if (service)
        (*map)[Timeouts::serviceKey] = *service;
    return map;
}

/// A client against a fake daemon, in a framework of its own, with an executor of one thread: whatever needs
/// two of them deadlocks here.
class ClientFixture : public testing::Test {
protected:
    std::shared_ptr<login::spf::ZelkorLogin> makeClient(std::optional<int> call, std::optional<int> service) {
        return std::make_shared<login::spf::ZelkorLogin>(configuration(call, service), nullptr, executor);
    }
    /// Registers the daemon and waits until the client holds it.
    void appear() {
        daemon.answer("getLoginInfo", login::LoginInfo());
        const auto before = log.count(16, found);
        daemon.appear();
        ASSERT_TRUE(log.waitFor(16, found, before + 1));
    }

    /// Waits until the executor has done all that was posted to it.
    void settle() {
        ASSERT_TRUE(eventually([&] {
            const auto statistics = executor.statistics();
            return statistics.queues == 0 && statistics.waitingItems == 0;
        }));
    }

    const std::string found = "Found an invokable for ZelkorLogin-v2.1";
    RecordingLog log{"login.spf.ZelkorLogin"};
    TestFramework framework;
    foundation::concurrent::threadpool::Executor executor{
        {.minThreads = 1, .maxThreads = 1, .idleTimeout = std::chrono::seconds(30), .name = "test"}};
    FakeDaemon daemon{framework.context()};
};

} // namespace zelkor::test
