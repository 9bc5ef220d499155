#include "module/runtime/InvokableTrackerBase.h"

#include "contract/records/NotifierUuid.h"
#include "module/runtime/WaitDeadline.h"
#include "contract/calls/CallbackScope.h"
#include "contract/calls/Errors.h"
#include "contract/calls/ServiceProperties.h"

#include <cppmicroservices/Any.h>
#include <cppmicroservices/LDAPProp.h>

#include <boost/exception/diagnostic_information.hpp>

#include <stdexcept>
#include <utility>

namespace agent::spf::cppmsclientutils {

using foundation::log::logging_event_types;

InvokableTrackerBase::InvokableTrackerBase(TrackedServiceInfo info, ServiceProps props, Logger& logger)
    : info_(std::move(info)), logger_(logger), exclusiveQueue_(login::detail::createUuid()),
      deliveryQueue_(login::detail::createUuid()), props_(std::move(props)) {}

InvokableTrackerBase::~InvokableTrackerBase() = default;

// --- configuration

void InvokableTrackerBase::updateServiceProperties(const cppmicroservices::AnyMap& properties) {
    const auto found = properties.find(core::properties::clientId);
    if (found == properties.end())
        return;
    const auto* clientId = cppmicroservices::any_cast<std::string>(&found->second);
    if (clientId == nullptr || clientId->empty()) {
        log(logging_event_types::error, std::string("Ignoring the configured value of `") +
                                            core::properties::clientId + "`: it must be a non-empty string");
        return;
    }
    const foundation::MutexLock lock(propsLock_);
    std::erase(props_, Props::CLIENT_ID);
    props_.push_back(clientIdProp(*clientId));
}

void InvokableTrackerBase::updateTimeouts(const cppmicroservices::AnyMap& properties) {
    for (const auto& complaint : timeouts_.update(properties))
        log(logging_event_types::error, complaint);
}

std::chrono::seconds InvokableTrackerBase::callTimeout(std::chrono::seconds methodDefault) const noexcept {
    return timeouts_.call().value_or(methodDefault);
}

std::chrono::seconds InvokableTrackerBase::serviceTimeout() const noexcept {
    return timeouts_.service().value_or(defaultServiceTimeout);
}

cppmicroservices::LDAPFilter InvokableTrackerBase::filter() const {
    cppmicroservices::LDAPPropExpr expression(info_.ldap());
    const foundation::MutexLock lock(propsLock_);
    for (const auto& prop : props_)
        expression = expression && prop->ldap();
    return cppmicroservices::LDAPFilter(expression);
}

std::string InvokableTrackerBase::describeProps() const {
    const foundation::MutexLock lock(propsLock_);
    return toString(props_);
}

// --- logging

void InvokableTrackerBase::log(logging_event_types type, const std::string& text) const {
    logger_.log(type, text);
}

void InvokableTrackerBase::logException(std::exception_ptr exception) const {
    if (!logs(logging_event_types::notice))
        return;
    try {
        std::rethrow_exception(std::move(exception));
    } catch (...) {
        log(logging_event_types::notice,
            "Exception caught: " + boost::current_exception_diagnostic_information(/*verbose=*/true));
    }
}

void InvokableTrackerBase::logFailure(std::string_view method, const char* what) const {
    log(logging_event_types::error,
        '`' + std::string(method) + "` on `" + info_.toString() + "` failed: " + what);
}

// --- callbacks of the owner

void InvokableTrackerBase::onFindingInvokable(std::function<void(ExclusiveLock&)> callback) {
    findingCallback_ = std::move(callback);
}
void InvokableTrackerBase::onFoundInvokable(std::function<void()> callback) {
    foundCallback_ = std::move(callback);
}
void InvokableTrackerBase::onLostInvokable(std::function<void()> callback) {
    lostCallback_ = std::move(callback);
}

void InvokableTrackerBase::runCallback(CallbackGate& gate, const std::function<void()>& callback) const {
    if (!callback)
        return;
    try {
        gate.run(callback);
    } catch (...) {
        // The steps after it still run: nobody else would wake those who wait.
        logException(std::current_exception());
    }
}

void InvokableTrackerBase::runWhenFound(std::function<void()> work) {
    ExclusiveHold hold(state_);
    pendingWork_.push_back(std::move(work));
}

void InvokableTrackerBase::runPendingWork(ExclusiveLock& lock) {
    state_.verify(lock);
    while (!pendingWork_.empty()) {
        const auto work = std::make_shared<std::function<void()>>(std::move(pendingWork_.front()));
        pendingWork_.pop_front();
        state_.releaseLater(work);
        try {
            (*work)();
        } catch (...) {
            logException(std::current_exception());
        }
    }
}

void InvokableTrackerBase::exclusively(std::function<void(ExclusiveLock&, Turn)> work) {
    if (!core::CallbackScope::active()) {
        ExclusiveHold hold(state_);
        work(hold.lock(), Turn::AtOnce);
    } else if (state_.try_lock()) {
        ExclusiveHold hold(state_, std::adopt_lock);
        work(hold.lock(), Turn::AtOnce);
    } else {
        post(exclusiveQueue_, [weak = weak_from_this(), work = std::move(work)] {
            const auto self = weak.lock();
            if (!self)
                return;
            ExclusiveHold hold(self->state_);
            self->runCallback(self->findingGate_, [&] { work(hold.lock(), Turn::Later); });
        });
    }
}

void InvokableTrackerBase::deliver(std::function<void()> work) {
    post(deliveryQueue_, [weak = weak_from_this(), work = std::move(work)] {
        if (const auto self = weak.lock())
            self->runCallback(self->deliveryGate_, work);
    });
}

// --- reactions to registry events

void InvokableTrackerBase::handleFound(std::shared_ptr<core::Invokable> invokable) {
    {
        ExclusiveHold hold(state_);
        if (closed_)
            return;
        log(logging_event_types::notice, "Found an invokable for " + info_.toString());
        state_.releaseLater(std::exchange(held_, std::move(invokable)));
        auto previous =
            std::exchange(callbackManager_, std::make_unique<core::CallbackManager>(held_->callbacks()));
        if (previous)
            state_.releaseLater(
                std::make_shared<core::CallbackTable::Withdrawn>(previous->removeAllCallbacks()));
        if (findingCallback_)
            runCallback(findingGate_, [&] { findingCallback_(hold.lock()); });
        runPendingWork(hold.lock());
    }
    runCallback(callbackGate_, foundCallback_);
    found_.notify_all();
}

void InvokableTrackerBase::handleRemoved(const std::shared_ptr<core::Invokable>& invokable) {
    {
        ExclusiveHold hold(state_);
        if (invokable && invokable == held_) {
            log(logging_event_types::notice, "Invokable for " + info_.toString() + " was removed");
            state_.releaseLater(
                std::make_shared<core::CallbackTable::Withdrawn>(callbackManager_->removeAllCallbacks()));
            callbackManager_.reset();
            state_.releaseLater(std::move(held_));
        }
    }
    runCallback(callbackGate_, lostCallback_);
}

void InvokableTrackerBase::close() {
    if (closed_.exchange(true))
        return;
    const std::string subject = "`" + info_.toString() + "`, props: `" + describeProps() + "`...";
    log(logging_event_types::info, "Destroying tracker for " + subject);
    stopTracking();
    findingGate_.close();
    callbackGate_.close();
    deliveryGate_.close();
    // Not under the state lock, which calls in flight may hold for long: who is just about to wait misses it,
    // and looks again within a second.
    found_.notify_all();
    log(logging_event_types::info, "Destroyed tracker for " + subject);
}

// --- waiting and calling

template <class Lock>
void InvokableTrackerBase::waitForInvokable(std::string_view method, Lock& lock) {
    const auto timeout = serviceTimeout();
    log(logging_event_types::warning,
        "Invokable for `" + info_.toString() + "` is not yet available (calling `" + std::string(method) +
            "`). Waiting for up to " + std::to_string(timeout.count()) + "s...");
    GatedRelock relock(state_, lock);
    const auto isHeld = [&] {
        state_.verify(lock);
        return held_ != nullptr;
    };
    waitUntil(found_, relock, WaitDeadline(timeout), [&] { return isHeld() || closed_; });
    if (isHeld())
        return;
    const std::string text = info_.toString() + " didn't appear. Cannot call " + std::string(method);
    log(logging_event_types::error, text);
    throw std::runtime_error(text);
}

template <class Lock>
core::Invokable& InvokableTrackerBase::readyInvokable(std::string_view method, Lock& lock) {
    state_.verify(lock);
    if (!held_)
        waitForInvokable(method, lock);
    if (logs(logging_event_types::info))
        log(logging_event_types::info, "Calling `" + std::string(method) + "` on `" + info_.toString() + '`');
    return *held_;
}

core::Invokable& InvokableTrackerBase::invokableFor(std::string_view method, SharedLock& lock) {
    return readyInvokable(method, lock);
}

core::Invokable& InvokableTrackerBase::invokableFor(std::string_view method, ExclusiveLock& lock) {
    return readyInvokable(method, lock);
}

void InvokableTrackerBase::waitForCallbackManager(ExclusiveLock& lock) {
    const auto timeout = serviceTimeout();
    log(logging_event_types::info, "CallbackManager in `" + info_.toString() + "` is not yet available. " +
                                       "Waiting for up to " + std::to_string(timeout.count()) + "s...");
    GatedRelock relock(state_, lock);
    const auto isThere = [&] {
        state_.verify(lock);
        return held_ && callbackManager_;
    };
    waitUntil(found_, relock, WaitDeadline(timeout), [&] { return isThere() || closed_; });
    if (isThere())
        return;
    const std::string text = info_.toString() + " didn't appear.";
    log(logging_event_types::error, text);
    throw std::runtime_error(text);
}

core::ExportedCallback InvokableTrackerBase::exportCallback(ExclusiveLock& lock,
                                                            core::ExportedFunction function,
                                                            std::optional<unsigned int> callLimit) {
    state_.verify(lock);
    if (!callbackManager_)
        waitForCallbackManager(lock);
    // Between the owner's end and the daemon's knowing of it, the daemon may still call.
    auto whileOpen = [tracker = weak_from_this(), inner = std::move(function.function)](
                         const foundation::concurrent::threadpool::stop_token& stop,
                         core::GenericPayload arguments) {
        const auto alive = tracker.lock();
        if (!alive || alive->closed_)
            throw core::WithdrawnError("The client that exported this callback is gone");
        return inner(stop, std::move(arguments));
    };
    return callbackManager_->makeExportedCallback({std::move(whileOpen), function.signature}, callLimit,
                                                  std::nullopt, false);
}

std::shared_ptr<core::Invokable> InvokableTrackerBase::held(ExclusiveLock& lock) const {
    state_.verify(lock);
    return held_;
}

void InvokableTrackerBase::releaseLater(ExclusiveLock& lock, std::shared_ptr<const void> thing) {
    state_.verify(lock);
    state_.releaseLater(std::move(thing));
}

void InvokableTrackerBase::removeCallback(ExclusiveLock& lock, const boost::uuids::uuid& id) {
    state_.verify(lock);
    if (callbackManager_)
        state_.releaseLater(
            std::make_shared<core::CallbackTable::Withdrawn>(callbackManager_->removeCallback(id)));
}

void InvokableTrackerBase::removeAllCallbacks(ExclusiveLock& lock) {
    state_.verify(lock);
    if (callbackManager_)
        state_.releaseLater(
            std::make_shared<core::CallbackTable::Withdrawn>(callbackManager_->removeAllCallbacks()));
}

} // namespace agent::spf::cppmsclientutils
