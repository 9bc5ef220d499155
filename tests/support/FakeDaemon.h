#pragma once

#include "runtime/core/CallbackTable.h"
#include "runtime/core/Invokable.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace zelkor::test {

/// A daemon at the Invokable boundary, registered as a real service, that does what a test tells it to.
class FakeDaemon {
public:
    struct Identity {
        std::string name = "ZelkorLogin";
        int version = 2;
        int revision = 1;
        std::optional<int> ranking;
    };

    /// A call as it arrived; end it with one of the two.
    struct Call {
        std::string method;
        std::string descriptor;
        std::optional<std::chrono::milliseconds> timeout;
        agent::spf::core::GenericPayload arguments;
        agent::spf::core::CompletionHandler handler;
        void answer(agent::spf::core::GenericPayload result) const { handler.onValue(std::move(result)); }
        void fail(const std::string& text) const;
    };
    using Behaviour = std::function<void(const Call&)>;

    explicit FakeDaemon(cppmicroservices::BundleContext context)
        : FakeDaemon(std::move(context), Identity{}) {}
    FakeDaemon(cppmicroservices::BundleContext context, Identity identity);
    /// Disappears.
    ~FakeDaemon();

    /// Registers a new Invokable; the one before, if any, stays until disappear().
    void appear();
    void disappear();

    /// What happens when the method is called; without one the call fails with "no behaviour for <method>".
    void on(const std::string& method, Behaviour behaviour);
    template <class... Values>
    void answer(const std::string& method, Values... values) {
        const auto result = agent::spf::core::GenericPayload::of(std::move(values)...);
        on(method, [result](const Call& call) { call.answer(result); });
    }
    /// Calls of the method stay unanswered until a later release().
    void hold(const std::string& method);
    bool waitForHeld(std::size_t count) const;
    /// Answers every held call.
    void release(const agent::spf::core::GenericPayload& result = {});
    /// Waits until so many calls of the method have come since the start.
    bool waitForCalls(const std::string& method, std::size_t count = 1) const;

    std::vector<Call> calls() const;
    std::size_t count(const std::string& method) const;
    void forgetCalls();
    /// The functions exported to the daemon that appeared last.
    std::shared_ptr<agent::spf::core::CallbackTable> callbacks() const;

private:
    class Service;
    void take(Call call);

    cppmicroservices::BundleContext context_;
    const Identity identity_;
    mutable std::mutex mutex_;
    mutable std::condition_variable arrived_;
    std::map<std::string, Behaviour> behaviours_;
    std::vector<Call> calls_;
    std::deque<Call> held_;
    std::shared_ptr<agent::spf::core::CallbackTable> callbacks_;
    std::vector<cppmicroservices::ServiceRegistration<agent::spf::core::Invokable>> registrations_;
};

} // namespace zelkor::test
