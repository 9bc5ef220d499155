#pragma once

#include "contract/records/NotifierUuid.h"
#include "module/v1/ZelkorLoginImpl.h"
#include "module/v2/ZelkorLogin.h"
#include "tests/support/ClientConfiguration.h"
#include "tests/support/FakeDaemon.h"
#include "tests/support/OneThread.h"
#include "tests/support/TestFramework.h"
#include "tests/support/Testing.h"

namespace zelkor::test {

using agent::spf::core::GenericPayload;
using Line = RecordingLog::Line;

template <class Client>
struct ServiceOf;
template <>
struct ServiceOf<login::spf::ZelkorLogin> {
    static FakeDaemon::Identity identity() { return {"ZelkorLogin", 2, 1}; }
    static constexpr const char* component = "login.spf.ZelkorLogin"; ///< under which the client logs
};
template <>
struct ServiceOf<login::ZelkorLoginImpl> {
    static FakeDaemon::Identity identity() { return {"ZelkorLogin", 1, 7}; }
    static constexpr const char* component = "login.ZelkorLoginImpl";
};

/// A client against a fake daemon, in a framework of its own.
template <class Client>
class FixtureOf : public Test {
protected:
    std::shared_ptr<Client> makeClient(std::optional<int> call, std::optional<int> service) {
        return std::make_shared<Client>(configuration(call, service), nullptr, executor);
    }
    /// Registers the daemon, waits until the client holds it and has asked it what it asks every new one.
    void appear() {
        daemon.answer("getLoginInfo", login::LoginInfo());
        const auto before = log.count(16, found);
        daemon.appear();
        ASSERT_TRUE(log.waitFor(16, found, before + 1));
        settle();
    }
    /// Waits until the executor has done all that was posted to it.
    void settle() { ASSERT_TRUE(executor.settles()); }
    std::string waiting(const std::string& method, const char* limit) const {
        return "Invokable for `" + service + "` is not yet available (calling `" + method +
               "`). Waiting for up to " + limit + "...";
    }

    const std::string service = ServiceOf<Client>::identity().text();
    const std::string found = "Found an invokable for " + service;
    RecordingLog log{ServiceOf<Client>::component};
    TestFramework framework;
    OneThread executor;
    FakeDaemon daemon{framework.context(), ServiceOf<Client>::identity()};
};

using ClientFixture = FixtureOf<login::spf::ZelkorLogin>;

} // namespace zelkor::test
