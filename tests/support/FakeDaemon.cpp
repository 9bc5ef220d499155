#include "tests/support/FakeDaemon.h"

#include "runtime/core/Errors.h"
#include "runtime/core/ServiceProperties.h"
#include "tests/support/Eventually.h"

#include <algorithm>
#include <utility>

namespace zelkor::test {

namespace core = agent::spf::core;

class FakeDaemon::Service final : public core::Invokable {
public:
    explicit Service(FakeDaemon& daemon)
        : daemon_(daemon), callbacks_(std::make_shared<core::CallbackTable>()) {}

    CallId invokeGeneric(std::optional<std::chrono::milliseconds> timeout, std::string method,
                         core::SignatureDescriptor signature, core::GenericPayload arguments,
                         core::CompletionHandler handler) override {
        auto descriptor = signature.named(method);
        daemon_.take(
            {std::move(method), std::move(descriptor), timeout, std::move(arguments), std::move(handler)});
        return 0;
    }
    std::shared_ptr<core::CallbackTable> callbacks() override { return callbacks_; }

private:
    FakeDaemon& daemon_;
    const std::shared_ptr<core::CallbackTable> callbacks_;
};

void FakeDaemon::Call::fail(const std::string& text) const {
    handler.onError(std::make_exception_ptr(core::RemoteError(text)));
}

FakeDaemon::FakeDaemon(cppmicroservices::BundleContext context, Identity identity)
    : context_(std::move(context)), identity_(std::move(identity)) {}

FakeDaemon::~FakeDaemon() {
    disappear();
}

void FakeDaemon::appear() {
    const auto service = std::make_shared<Service>(*this);
    cppmicroservices::ServiceProperties properties{{core::properties::serviceName, identity_.name},
                                                   {core::properties::serviceVersion, identity_.version},
                                                   {core::properties::serviceRevision, identity_.revision},
                                                   {core::properties::clientId, std::string("test")}};
    if (identity_.ranking)
        properties["service.ranking"] = *identity_.ranking;
    {
        const std::scoped_lock lock(mutex_);
        callbacks_ = service->callbacks();
    }
    auto registration = context_.RegisterService<core::Invokable>(service, properties);
    const std::scoped_lock lock(mutex_);
    registrations_.push_back(std::move(registration));
}

void FakeDaemon::disappear() {
    auto registrations = [this] {
        const std::scoped_lock lock(mutex_);
        return std::exchange(registrations_, {});
    }();
    for (auto& registration : registrations)
        registration.Unregister();
}

void FakeDaemon::take(Call call) {
    Behaviour behaviour;
    {
        const std::scoped_lock lock(mutex_);
        calls_.push_back(call);
        if (const auto found = behaviours_.find(call.method); found != behaviours_.end())
            behaviour = found->second;
        arrived_.notify_all();
    }
    if (behaviour)
        behaviour(call);
    else
        call.fail("no behaviour for " + call.method);
}

void FakeDaemon::on(const std::string& method, Behaviour behaviour) {
    const std::scoped_lock lock(mutex_);
    behaviours_[method] = std::move(behaviour);
}

void FakeDaemon::hold(const std::string& method) {
    on(method, [this](const Call& call) {
        const std::scoped_lock lock(mutex_);
        held_.push_back(call);
        arrived_.notify_all();
    });
}

bool FakeDaemon::waitForHeld(std::size_t wanted) const {
    std::unique_lock lock(mutex_);
    return arrived_.wait_for(lock, generousLimit, [&] { return held_.size() >= wanted; });
}

void FakeDaemon::release(const core::GenericPayload& result) {
    auto held = [this] {
        const std::scoped_lock lock(mutex_);
        return std::exchange(held_, {});
    }();
    for (const auto& call : held)
        call.answer(result);
}

bool FakeDaemon::waitForCalls(const std::string& method, std::size_t wanted) const {
    std::unique_lock lock(mutex_);
    return arrived_.wait_for(lock, generousLimit, [&] {
        return static_cast<std::size_t>(std::count_if(calls_.begin(), calls_.end(), [&](const Call& call) {
                   return call.method == method;
               })) >= wanted;
    });
}

std::vector<FakeDaemon::Call> FakeDaemon::calls() const {
    const std::scoped_lock lock(mutex_);
    return calls_;
}

std::size_t FakeDaemon::count(const std::string& method) const {
    const auto all = calls();
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [&](const Call& call) { return call.method == method; }));
}

void FakeDaemon::forgetCalls() {
    const std::scoped_lock lock(mutex_);
    calls_.clear();
}

std::shared_ptr<core::CallbackTable> FakeDaemon::callbacks() const {
    const std::scoped_lock lock(mutex_);
    return callbacks_;
}

} // namespace zelkor::test
