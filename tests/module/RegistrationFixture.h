#pragma once

#include "contract/calls/ExportedCallback.h"
#include "contract/records/NotifierUuid.h"
#include "tests/support/ClientConfiguration.h"
#include "tests/support/FakeDaemon.h"
#include "tests/support/TestFramework.h"
#include "tests/support/Testing.h"

#include <foundation/concurrent/threadpool/Executor.h>
#include <login/ZelkorLogin.h>

#include <boost/uuid/uuid_hash.hpp>

#include <unordered_map>

namespace zelkor::test {

using agent::spf::core::GenericPayload;

/// A version of the login service, and the client that speaks it.
struct ServiceVersion {
    FakeDaemon::Identity identity;
    std::string component; ///< under which the client logs
    std::function<std::shared_ptr<login::ZelkorLogin>(foundation::concurrent::threadpool::Executor&)>
        makeClient;
    bool failureEndsReplay; ///< of one registration: the rest is not made with that daemon
    /// What the daemon passes to a function registered by the method.
    std::function<GenericPayload(const std::string& addMethod)> argumentsFor;

    friend void PrintTo(const ServiceVersion& version, std::ostream* out) { *out << version.component; }
};

/// A daemon that keeps the registrations made with it.
class LedgerDaemon {
public:
    struct Registration {
        std::string method;
        boost::uuids::uuid callback;
    };

    LedgerDaemon(cppmicroservices::BundleContext context, const ServiceVersion& version,
                 std::optional<int> ranking = {})
        : fake_(std::move(context),
                {version.identity.name, version.identity.version, version.identity.revision, ranking}),
          argumentsFor_(version.argumentsFor) {
        fake_.answer("getLoginInfo", login::LoginInfo());
        for (const char* method :
             {"addStatusListener", "addStatusListenerV2", "addLogoutNegotiator", "addLogoutVetoer"})
            fake_.on(method, [this](const auto& call) { add(call); });
        for (const char* method : {"removeStatusListener", "removeLogoutNegotiator", "removeLogoutVetoer"})
            fake_.on(method, [this](const auto& call) { remove(call); });
    }

    FakeDaemon& fake() { return fake_; }
    /// Called at each add with its number, from 1; false makes the add fail.
    void beforeAdd(std::function<bool(int)> hook) { beforeAdd_ = std::move(hook); }

    std::size_t live() const {
        const std::scoped_lock lock(mutex_);
        return live_.size();
    }
    int added() const { return added_; }
    Registration last() const {
        const std::scoped_lock lock(mutex_);
        return last_;
    }

    /// Calls what is registered, once each; how many of the calls failed.
    int deliverAll() {
        std::unique_lock lock(mutex_);
        const auto live = live_;
        lock.unlock();
        int failed = 0;
        for (const auto& [id, registration] : live) {
            try {
                fake_.callbacks()->invoke(registration.callback, {}, argumentsFor_(registration.method));
            } catch (...) {
                ++failed;
            }
        }
        return failed;
    }

private:
    void add(const FakeDaemon::Call& call) {
        if (beforeAdd_ && !beforeAdd_(added_ + 1)) {
            ++added_;
            return call.fail("not now");
        }
        using agent::spf::core::ExportedCallback;
        const auto id = login::detail::createUuid();
        const auto callback = call.arguments.get<ExportedCallback>(call.arguments.size() - 1).getCallbackID();
        {
            const std::scoped_lock lock(mutex_);
            live_.emplace(id, Registration{call.method, callback});
            last_ = {call.method, callback};
        }
        ++added_;
        call.answer(GenericPayload::of(id));
    }
    void remove(const FakeDaemon::Call& call) {
        std::unique_lock lock(mutex_);
        const bool known = live_.erase(call.arguments.get<boost::uuids::uuid>(0)) == 1;
        lock.unlock();
        call.answer(GenericPayload::of(known));
    }

    FakeDaemon fake_;
    const std::function<GenericPayload(const std::string&)> argumentsFor_;
    std::function<bool(int)> beforeAdd_;
    std::atomic<int> added_{0};
    mutable std::mutex mutex_;
    std::unordered_map<boost::uuids::uuid, Registration, boost::hash<boost::uuids::uuid>> live_;
    Registration last_{};
};

/// What every kind of registration has in common.
class Registered {
public:
    static constexpr int kinds = 4;
    using Body = std::function<void()>;

    /// Registers a function of that kind that runs `body` and accepts whatever it is asked.
    static Registered make(
        login::ZelkorLogin& client, int kind, const Body& body = [] {}) {
        Registered made;
        made.called = std::make_shared<std::atomic<int>>(0);
        const auto run = [called = made.called, body] {
            ++*called;
            body();
        };
        switch (kind) {
        case 0:
            made.remove = [&client, id = client.addStatusListener([run](const auto&) { run(); })] {
                return client.removeStatusListener(id);
            };
            break;
        case 1:
            made.remove = [&client, id = client.addStatusListenerV2([run](auto&, auto&) { run(); })] {
                return client.removeStatusListener(id);
            };
            break;
        case 2:
            made.remove =
                [&client, id = client.addLogoutNegotiator(
                              {"negotiator", [run](const auto&) {
                                   run();
                                   return login::NegotiatorResponse{login::Negotiator::Position::Accept, u""};
                               }})] { return client.removeLogoutNegotiator(id); };
            break;
        default:
            made.remove = [&client, id = client.addLogoutVetoer([run] {
                run();
                return false;
            })] { return client.removeLogoutVetoer(id); };
        }
        return made;
    }

    std::function<bool()> remove;
    std::shared_ptr<std::atomic<int>> called;
};

} // namespace zelkor::test
