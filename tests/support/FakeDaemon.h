#pragma once

#include "contract/calls/Errors.h"
#include "contract/calls/ExportedCallback.h"
#include "contract/calls/Invokable.h"
#include "contract/calls/ServiceProperties.h"
#include "tests/support/Testing.h"
#include "tests/support/Vocabulary.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <shared_mutex>

namespace zelkor::test {

/// A daemon at the Invokable boundary, registered as a real service, that does what a test tells it to. Each
/// call has to be one of its service's vocabulary.
class FakeDaemon {
    using Invokable = agent::spf::core::Invokable;
    using CallbackTable = agent::spf::core::CallbackTable;

public:
    using Payload = agent::spf::core::GenericPayload;
    struct Identity {
        std::string name = "ZelkorLogin";
        int version = 2;
        int revision = 1;
        std::optional<int> ranking = {};
        /// As clients write it.
        std::string text() const {
            return name + "-v" + std::to_string(version) + "." + std::to_string(revision);
        }
    };
    /// A call as it arrived; end it with one of the two.
    struct Call {
        std::string method;
        std::string descriptor;
        std::optional<std::chrono::milliseconds> timeout;
        Payload arguments;
        agent::spf::core::CompletionHandler handler;
        void answer(Payload result) const { handler.onValue(std::move(result)); }
        void fail(const std::string& text) const {
            handler.onError(std::make_exception_ptr(agent::spf::core::RemoteError(text)));
        }
    };
    using Behaviour = std::function<void(const Call&)>;

    explicit FakeDaemon(cppmicroservices::BundleContext context, Identity identity)
        : context_(std::move(context)), identity_(std::move(identity)) {}
    explicit FakeDaemon(cppmicroservices::BundleContext context)
        : FakeDaemon(std::move(context), Identity{}) {}
    ~FakeDaemon() { end(); }

    /// Of daemons that appear from now on.
    void limitCallbacks(std::size_t limit) { callbackLimit_ = limit; }
    /// Registers a new Invokable; the one before, if any, stays until disappear().
    void appear() {
        namespace properties = agent::spf::core::properties;
        const auto service = std::make_shared<Service>(*this, callbackLimit_);
        cppmicroservices::ServiceProperties all{{properties::serviceName, identity_.name},
                                                {properties::serviceVersion, identity_.version},
                                                {properties::serviceRevision, identity_.revision},
                                                {properties::clientId, std::string("test")}};
        if (identity_.ranking)
            all["service.ranking"] = *identity_.ranking;
        std::unique_lock lock(mutex_);
        callbacks_ = service->callbacks();
        services_.push_back(service);
        lock.unlock();
        auto registration = context_.RegisterService<Invokable>(service, all);
        lock.lock();
        registrations_.push_back(std::move(registration));
    }
    void disappear() {
        for (auto& registration : taken(registrations_)) {
            try {
                registration.Unregister();
            } catch (const std::logic_error&) {
                // The framework has stopped.
            }
        }
    }
    /// Disappears, and takes no calls from now on: before anything goes that its behaviours use.
    void end() {
        disappear();
        for (const auto& service : taken(services_))
            service->end();
    }

    /// What happens when the method is called; without one the call fails with "no behaviour for <method>".
    void on(const std::string& method, Behaviour behaviour) {
        const std::scoped_lock lock(mutex_);
        behaviours_[method] = std::move(behaviour);
    }
    template <class... Values>
    void answer(const std::string& method, Values... values) {
        const auto result = Payload::of(std::move(values)...);
        on(method, [result](const Call& call) { call.answer(result); });
    }
    /// Calls of the method stay unanswered until a later release().
    void hold(const std::string& method) {
        on(method, [this](const Call& call) {
            const std::scoped_lock lock(mutex_);
            held_.push_back(call);
        });
    }
    bool waitForHeld(std::size_t count) const {
        return eventually([&] { return copied(held_).size() >= count; });
    }
    /// Answers every held call.
    void release(const Payload& result = {}) {
        for (const auto& call : taken(held_))
            call.answer(result);
    }
    /// Fails every held call, as a connection that ends does.
    void failHeld() {
        for (const auto& call : taken(held_))
            call.handler.onError(
                std::make_exception_ptr(agent::spf::core::DisconnectedError("the daemon died")));
    }
    /// Waits until so many calls of the method have come since the start.
    bool waitForCalls(const std::string& method, std::size_t wanted = 1) const {
        return eventually([&] { return count(method) >= wanted; });
    }
    std::vector<Call> calls() const { return copied(calls_); }
    std::size_t count(const std::string& method) const {
        return static_cast<std::size_t>(std::ranges::count(calls(), method, &Call::method));
    }
    void forgetCalls() { taken(calls_); }
    /// The functions exported to the daemon that appeared last.
    std::shared_ptr<CallbackTable> callbacks() const { return copied(callbacks_); }

private:
    /// What clients hold, and may call when the daemon's object is gone: the call fails then.
    struct Service final : Invokable {
        Service(FakeDaemon& owner, std::size_t callbackLimit)
            : daemon(&owner), table(std::make_shared<CallbackTable>(callbackLimit)) {}
        CallId invokeGeneric(std::optional<std::chrono::milliseconds> timeout, std::string method,
                             agent::spf::core::SignatureDescriptor signature, Payload arguments,
                             agent::spf::core::CompletionHandler handler) override {
            const std::shared_lock lock(mutex);
            if (daemon == nullptr)
                handler.onError(
                    std::make_exception_ptr(agent::spf::core::DisconnectedError("the daemon is gone")));
            else
                daemon->take(
                    {method, signature.named(method), timeout, std::move(arguments), std::move(handler)});
            return 0;
        }
        std::shared_ptr<CallbackTable> callbacks() override { return table; }
        /// Waits for calls that are being taken.
        void end() {
            const std::scoped_lock lock(mutex);
            daemon = nullptr;
        }

        std::shared_mutex mutex;
        FakeDaemon* daemon;
        const std::shared_ptr<CallbackTable> table;
    };

    void take(const Call& call) {
        const auto found = vocabulary_.find(call.method);
        const Row row = found == vocabulary_.end() ? Row{"no such method", 0, ""} : found->second;
        EXPECT_EQ(call.descriptor, row.descriptor);
        for (std::size_t i = 0; i < call.arguments.size(); ++i) {
            using agent::spf::core::ExportedCallback;
            if (call.arguments.type(i) == typeid(ExportedCallback)) {
                EXPECT_EQ(call.arguments.get<ExportedCallback>(i).descriptor(), row.callback);
            }
        }
        std::unique_lock lock(mutex_);
        calls_.push_back(call);
        const auto behaviour = behaviours_[call.method];
        lock.unlock();
        behaviour ? behaviour(call) : call.fail("no behaviour for " + call.method);
    }
    template <class Member>
    Member copied(const Member& member) const {
        const std::scoped_lock lock(mutex_);
        return member;
    }
    template <class Member>
    Member taken(Member& member) {
        const std::scoped_lock lock(mutex_);
        return std::exchange(member, {});
    }

    cppmicroservices::BundleContext context_;
    const Identity identity_;
    const std::map<std::string, Row> vocabulary_ = goldenVocabulary(identity_.text());
    mutable std::mutex mutex_;
    std::map<std::string, Behaviour> behaviours_;
    std::vector<Call> calls_;
    std::vector<Call> held_;
    std::size_t callbackLimit_ = CallbackTable::defaultCapacity;
    std::shared_ptr<CallbackTable> callbacks_;
    std::vector<std::shared_ptr<Service>> services_;
    std::vector<cppmicroservices::ServiceRegistration<Invokable>> registrations_;
};

} // namespace zelkor::test
