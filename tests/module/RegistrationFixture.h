#pragma once

#include "tests/module/Subjects.h"

#include <boost/uuid/uuid_hash.hpp>

#include <unordered_map>

namespace zelkor::test {

/// A daemon that keeps the registrations made with it.
class LedgerDaemon : public CallingDaemon {
public:
    LedgerDaemon(cppmicroservices::BundleContext context, const Subject& subject,
                 std::optional<int> ranking = {})
        : CallingDaemon(std::move(context), subject, ranking) {
        answer("getLoginInfo", login::LoginInfo());
        for (const char* method :
             {"addStatusListener", "addStatusListenerV2", "addLogoutNegotiator", "addLogoutVetoer"})
            on(method, [this](const auto& call) { add(call); });
        for (const char* method : {"removeStatusListener", "removeLogoutNegotiator", "removeLogoutVetoer"})
            on(method, [this](const auto& call) { remove(call); });
    }

    /// Called at each add with its number, from 1; false makes the add fail.
    void beforeAdd(std::function<bool(int)> hook) { beforeAdd_ = std::move(hook); }

    std::size_t live() const {
        const std::scoped_lock lock(mutex_);
        return live_.size();
    }
    int added() const { return added_; }

    /// Calls what is registered, once each; how many of the calls failed.
    int deliverAll() {
        std::unique_lock lock(mutex_);
        const auto live = live_;
        lock.unlock();
        int failed = 0;
        for (const auto& [id, registration] : live) {
            try {
                callbacks()->invoke(callbackOf(registration), {}, argumentsFor(registration));
            } catch (...) {
                ++failed;
            }
        }
        return failed;
    }

private:
    void add(const Call& call) {
        if (beforeAdd_ && !beforeAdd_(added_ + 1)) {
            ++added_;
            return call.fail("not now");
        }
        const auto id = login::detail::createUuid();
        {
            const std::scoped_lock lock(mutex_);
            live_.emplace(id, call);
        }
        ++added_;
        call.answer(GenericPayload::of(id));
    }
    void remove(const Call& call) {
        std::unique_lock lock(mutex_);
        const bool known = live_.erase(call.arguments.get<boost::uuids::uuid>(0)) == 1;
        lock.unlock();
        call.answer(GenericPayload::of(known));
    }

    std::function<bool(int)> beforeAdd_;
    std::atomic<int> added_{0};
    mutable std::mutex mutex_;
    std::unordered_map<boost::uuids::uuid, Call, boost::hash<boost::uuids::uuid>> live_;
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
