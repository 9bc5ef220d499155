#include "module/runtime/InvokableTrackerBase.h"

#include "contract/calls/CallbackScope.h"
#include "contract/calls/Errors.h"
#include "contract/calls/ServiceProperties.h"
#include "contract/records/NotifierUuid.h"
#include "module/runtime/WaitDeadline.h"

#include <cppmicroservices/Any.h>
#include <cppmicroservices/LDAPProp.h>

#include <boost/exception/diagnostic_information.hpp>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace agent::spf::cppmsclientutils {

using foundation::log::logging_event_types;

namespace {
/// Sending never waits; a thread that has been let do it may have been put off by the system.
constexpr std::chrono::milliseconds sendGrace{100};
} // namespace

InvokableTrackerBase::InvokableTrackerBase(TrackedServiceInfo info, ServiceProps props, Logger& logger,
                                           Executors executors)
    : info_(std::move(info)), logger_(logger), executors_(executors),
      exclusiveQueue_(login::detail::createUuid()), deliveryQueue_(login::detail::createUuid()),
      props_(std::move(props)) {}

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

void InvokableTrackerBase::onFindingInvokable(std::function<void(ExclusiveAccess&)> callback) {
    findingCallback_ = std::move(callback);
}
void InvokableTrackerBase::onFoundInvokable(std::function<void()> callback) {
    foundCallback_ = std::move(callback);
}
void InvokableTrackerBase::onLostInvokable(std::function<void()> callback) {
    lostCallback_ = std::move(callback);
}

template <class Work>
void InvokableTrackerBase::runLogged(const Work& work) const {
    try {
        work();
    } catch (...) {
        // The steps after it still run: nobody else would wake those who wait.
        logException(std::current_exception());
    }
}

void InvokableTrackerBase::runOwners(const std::function<void()>& callback) {
    const std::scoped_lock lock(callbackLock_);
    if (callback && !closed_)
        runLogged(callback);
}

// --- work that others bring

void InvokableTrackerBase::runWhenFound(std::function<void()> work) {
    ExclusiveHold hold(state_);
    pendingWork_(hold.access()).push_back(std::move(work));
}

void InvokableTrackerBase::runPendingWork(ExclusiveAccess& access) {
    auto& pending = pendingWork_(access);
    while (!pending.empty()) {
        const auto work = std::make_shared<std::function<void()>>(std::move(pending.front()));
        pending.pop_front();
        access.releaseLater(work);
        runLogged(*work);
    }
}

void InvokableTrackerBase::exclusively(std::function<void(ExclusiveAccess&, Turn)> work) {
    if (state_.lockUnlessInACallbacksWay()) {
        ExclusiveHold hold(state_, std::adopt_lock);
        work(hold.access(), Turn::AtOnce);
    } else {
        later(std::move(work));
    }
}

void InvokableTrackerBase::exclusivelyUnlessInCallback(std::function<void(ExclusiveAccess&, Turn)> work) {
    if (core::CallbackScope::active())
        later(std::move(work));
    else
        exclusively(std::move(work));
}

void InvokableTrackerBase::later(std::function<void(ExclusiveAccess&, Turn)> work) {
    executors_.events.post(exclusiveQueue_, [weak = weak_from_this(), work = std::move(work)] {
        const auto self = weak.lock();
        if (!self || self->closed_)
            return;
        ExclusiveHold hold(self->state_);
        self->runLogged([&] { work(hold.access(), Turn::Later); });
    });
}

void InvokableTrackerBase::deliver(std::function<void()> work) {
    executors_.callbacks.post(deliveryQueue_, [weak = weak_from_this(), work = std::move(work)] {
        const auto self = weak.lock();
        if (!self)
            return;
        if (const ClosingGate::Passage passage(self->deliveries_); passage)
            self->runLogged(work);
    });
}

// --- reactions to registry events

void InvokableTrackerBase::handleFound(std::shared_ptr<core::Invokable> invokable) {
    {
        ExclusiveHold hold(state_);
        auto& access = hold.access();
        if (closed_)
            return;
        log(logging_event_types::notice, "Found an invokable for " + info_.toString());
        removeAllCallbacks(access);
        callbackManager_(access) = std::make_shared<core::CallbackManager>(invokable->callbacks());
        access.releaseLater(std::exchange(held_(access), std::move(invokable)));
        if (findingCallback_)
            runLogged([&] { findingCallback_(access); });
        runPendingWork(access);
    }
    runOwners(foundCallback_);
    found_.notify_all();
}

void InvokableTrackerBase::handleRemoved(const std::shared_ptr<core::Invokable>& invokable) {
    {
        ExclusiveHold hold(state_);
        auto& access = hold.access();
        if (invokable && invokable == held_(access)) {
            log(logging_event_types::notice, "Invokable for " + info_.toString() + " was removed");
            removeAllCallbacks(access);
            callbackManager_(access) = nullptr;
            access.releaseLater(std::move(held_(access)));
            held_(access) = nullptr;
        }
    }
    runOwners(lostCallback_);
}

void InvokableTrackerBase::close() {
    if (closed_.exchange(true))
        return;
    const std::string subject = "`" + info_.toString() + "`, props: `" + describeProps() + "`...";
    log(logging_event_types::info, "Destroying tracker for " + subject);
    stopTracking();
    // Not under the state lock, which calls in flight may hold for long: who is just about to wait misses it,
    // and looks again within a second.
    found_.notify_all();
    // Inside a callback, what is waited for here may be waiting for that callback.
    const auto limit =
        core::CallbackScope::active() ? std::chrono::seconds(0) : callTimeout(defaultServiceTimeout);
    sends_.close(std::min<std::chrono::milliseconds>(limit, sendGrace));
    deliveries_.close(limit);
    log(logging_event_types::info, "Destroyed tracker for " + subject);
}

// --- waiting and calling

template <class Access>
void InvokableTrackerBase::waitForInvokable(std::string_view method, Access& access) {
    const auto timeout = serviceTimeout();
    log(logging_event_types::warning,
        "Invokable for `" + info_.toString() + "` is not yet available (calling `" + std::string(method) +
            "`). Waiting for up to " + std::to_string(timeout.count()) + "s...");
    GatedRelock relock(access);
    waitUntil(found_, relock, WaitDeadline(timeout), [&] { return held_(access) || closed_; });
    if (held_(access) && !closed_)
        return;
    const std::string text = info_.toString() + " didn't appear. Cannot call " + std::string(method);
    log(logging_event_types::error, text);
    throw std::runtime_error(text);
}

template <class Access>
core::Invokable& InvokableTrackerBase::invokableFor(std::string_view method, Access& access) {
    if (!held_(access))
        waitForInvokable(method, access);
    if (logs(logging_event_types::info))
        log(logging_event_types::info, "Calling `" + std::string(method) + "` on `" + info_.toString() + '`');
    return *held_(access);
}
template core::Invokable& InvokableTrackerBase::invokableFor(std::string_view, SharedAccess&);
template core::Invokable& InvokableTrackerBase::invokableFor(std::string_view, ExclusiveAccess&);

template <class Access>
void InvokableTrackerBase::waitForCallbackManager(Access& access) {
    const auto timeout = serviceTimeout();
    log(logging_event_types::info, "CallbackManager in `" + info_.toString() + "` is not yet available. " +
                                       "Waiting for up to " + std::to_string(timeout.count()) + "s...");
    GatedRelock relock(access);
    const auto isThere = [&] { return held_(access) && callbackManager_(access); };
    waitUntil(found_, relock, WaitDeadline(timeout), [&] { return isThere() || closed_; });
    if (isThere() && !closed_)
        return;
    const std::string text = info_.toString() + " didn't appear.";
    log(logging_event_types::error, text);
    throw std::runtime_error(text);
}

template <class Access>
core::ExportedCallback InvokableTrackerBase::exportCallback(Access& access, core::ExportedFunction function,
                                                            std::optional<unsigned int> callLimit) {
    if (!callbackManager_(access))
        waitForCallbackManager(access);
    return callbackManager_(access)->makeExportedCallback(std::move(function), callLimit, std::nullopt,
                                                          false);
}
template core::ExportedCallback InvokableTrackerBase::exportCallback(SharedAccess&, core::ExportedFunction,
                                                                     std::optional<unsigned int>);
template core::ExportedCallback InvokableTrackerBase::exportCallback(ExclusiveAccess&, core::ExportedFunction,
                                                                     std::optional<unsigned int>);

template <class Access>
void InvokableTrackerBase::removeCallback(Access& access, const boost::uuids::uuid& id) {
    if (const auto& manager = callbackManager_(access))
        access.releaseLater(std::make_shared<core::CallbackTable::Withdrawn>(manager->removeCallback(id)));
}
template void InvokableTrackerBase::removeCallback(SharedAccess&, const boost::uuids::uuid&);
template void InvokableTrackerBase::removeCallback(ExclusiveAccess&, const boost::uuids::uuid&);

template <class Access>
void InvokableTrackerBase::removeAllCallbacks(Access& access) {
    if (const auto& manager = callbackManager_(access))
        access.releaseLater(std::make_shared<core::CallbackTable::Withdrawn>(manager->removeAllCallbacks()));
}
template void InvokableTrackerBase::removeAllCallbacks(SharedAccess&);
template void InvokableTrackerBase::removeAllCallbacks(ExclusiveAccess&);

} // namespace agent::spf::cppmsclientutils
