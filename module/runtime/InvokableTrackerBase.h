#pragma once

#include "contract/calls/CallbackManager.h"
#include "contract/calls/Invokable.h"
#include "module/runtime/ClosingGate.h"
#include "module/runtime/Executors.h"
#include "module/runtime/ServiceProp.h"
#include "module/runtime/StateLock.h"
#include "module/runtime/Timeouts.h"
#include "module/runtime/TrackedServiceInfo.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>
#include <foundation/log/diagnostic_logger.h>
#include <foundation/thread_annotations.h>

#include <boost/uuid/uuid.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace agent::spf::cppmsclientutils {

using Logger = foundation::log::basic_diagnostic_logger<char>;

/// One client's view of its remote service: the Invokable held while there is one, the callbacks exported
/// through it, the time limits, and waiting for it.
///
/// Held by std::shared_ptr: the client has one, and whatever is on its way has another, so a client can be
/// destroyed at any time, from inside its own callbacks too. Queued reactions to registry events hold it
/// weakly.
///
/// Lock order: callback lock, state lock. Registry events come under no lock of this class. A parameter
/// `access` means that the caller holds the state lock; other members take what they need themselves.
class InvokableTrackerBase : public std::enable_shared_from_this<InvokableTrackerBase> {
public:
    static constexpr std::chrono::seconds defaultServiceTimeout{10};

    InvokableTrackerBase(TrackedServiceInfo info, ServiceProps props, Logger& logger, Executors executors);
    virtual ~InvokableTrackerBase();
    InvokableTrackerBase(const InvokableTrackerBase&) = delete;
    InvokableTrackerBase& operator=(const InvokableTrackerBase&) = delete;

    /// A string under the client-id property narrows the tracked service to that client; other keys are left
    /// alone. Takes effect with the next start.
    void updateServiceProperties(const cppmicroservices::AnyMap& properties);
    /// Reads "timeouts::call" and "timeouts::service"; a bad value is logged at level error and changes
    /// nothing.
    void updateTimeouts(const cppmicroservices::AnyMap& properties);

    /// Run under the exclusive lock when an Invokable is found, before calls may use it. Set before the
    /// start, as are the two after it; none of them may need the client's object.
    void onFindingInvokable(std::function<void(ExclusiveAccess&)> callback);
    /// Run outside the state lock after an Invokable was found.
    void onFoundInvokable(std::function<void()> callback);
    /// Run outside the state lock after an Invokable went.
    void onLostInvokable(std::function<void()> callback);

    /// Queues work until an Invokable is found; it then runs once, under the exclusive lock, in the order
    /// queued.
    void runWhenFound(std::function<void()> work);

    /// When exclusive work runs: before exclusively() returns, or after it.
    enum class Turn { AtOnce, Later };
    /// Runs `work` under the exclusive lock: at once, or soon and on an executor, unless this is closed
    /// before, when it would have to wait for the lock in the way of an exported callback: inside one, or for
    /// more than a moment while one runs. The lock's holder may be a call that the daemon answers when that
    /// has ended.
    void exclusively(std::function<void(ExclusiveAccess&, Turn)> work);
    /// As above, but inside an exported callback never at once: the callback does not wait for the daemon.
    void exclusivelyUnlessInCallback(std::function<void(ExclusiveAccess&, Turn)> work);
    /// Runs `work` with exclusive access, or, where exclusively() would leave it for later, with shared
    /// access. At once.
    template <class Work>
    void exclusivelyOrShared(const Work& work);
    /// Runs `work`, in the order delivered, on an executor and outside the state lock, unless this is closed
    /// before. However long it takes, found and removed reactions go on.
    void deliver(std::function<void()> work);

    /// The Invokable that calls go to now; null when there is none.
    std::shared_ptr<core::Invokable> held(const ExclusiveAccess& access) { return held_(access); }

    /// Exports a function through the held Invokable, waiting for one up to the service timeout.
    /// @throws std::runtime_error "<service> didn't appear." and what CallbackManager::makeExportedCallback()
    /// throws.
    template <class Access>
    core::ExportedCallback exportCallback(Access& access, core::ExportedFunction function,
                                          std::optional<unsigned int> callLimit);
    /// The functions are destroyed after the lock.
    template <class Access>
    void removeCallback(Access& access, const boost::uuids::uuid& id);
    template <class Access>
    void removeAllCallbacks(Access& access);

    /// The held Invokable, about to be called; waits for one up to the service timeout.
    /// @throws std::runtime_error "<service> didn't appear. Cannot call <method>".
    template <class Access>
    core::Invokable& invokableFor(std::string_view method, Access& access);
    /// Before what an exclusive holder sends.
    ClosingGate& sends() noexcept { return sends_; }

    std::chrono::seconds callTimeout(std::chrono::seconds methodDefault) const noexcept;
    void logFailure(std::string_view method, const char* what) const;

    StateLock& state() noexcept RETURN_CAPABILITY(state_) { return state_; }
    const TrackedServiceInfo& serviceInfo() const noexcept { return info_; }
    Executors executors() const noexcept { return executors_; }

    bool logs(foundation::log::logging_event_types type) const noexcept { return logger_.enabled(type); }
    void log(foundation::log::logging_event_types type, const std::string& text) const;
    /// "Exception caught: " and all that is known of the exception, at level notice.
    void logException(std::exception_ptr exception) const;

    /// Ends the tracking: no reaction, registration or delivery begins or sends anything after this, nobody
    /// waits any longer for an Invokable; calls on their way end by themselves. Called at the start of the
    /// owner's destruction, and harmless again.
    ///
    /// It waits for registry events being handled. It waits for a delivery that runs on another thread, up to
    /// the call timeout, unless it is called inside an exported callback. Never for calls.
    void close();
    bool closed() const noexcept { return closed_; }

protected:
    /// The filter for the service and the further properties.
    cppmicroservices::LDAPFilter filter() const;
    std::string describeProps() const;

    void handleFound(std::shared_ptr<core::Invokable> invokable);
    void handleRemoved(const std::shared_ptr<core::Invokable>& invokable);

    /// Ends registry events. Called once, from close(), by the most derived class's type.
    virtual void stopTracking() = 0;

private:
    template <class Access>
    void waitForInvokable(std::string_view method, Access& access);
    template <class Access>
    void waitForCallbackManager(Access& access);
    void runPendingWork(ExclusiveAccess& access);
    void later(std::function<void(ExclusiveAccess&, Turn)> work);
    std::chrono::seconds serviceTimeout() const noexcept;
    template <class Work>
    void runLogged(const Work& work) const;
    void runOwners(const std::function<void()>& callback);

    const TrackedServiceInfo info_;
    Logger& logger_;
    const Executors executors_;
    Timeouts timeouts_;
    std::atomic<bool> closed_{false};

    StateLock state_; // held for the whole of a call, shared; never while a function of the application runs
    Guarded<std::shared_ptr<core::Invokable>> held_{state_};
    Guarded<std::shared_ptr<core::CallbackManager>> callbackManager_{state_}; // there while one is held
    Guarded<std::deque<std::function<void()>>> pendingWork_{state_};
    std::condition_variable_any found_;

    std::function<void(ExclusiveAccess&)> findingCallback_;
    std::function<void()> foundCallback_;
    std::function<void()> lostCallback_;
    std::mutex callbackLock_; // held while the found or lost callback runs
    ClosingGate sends_;
    ClosingGate deliveries_;

    const boost::uuids::uuid exclusiveQueue_;
    const boost::uuids::uuid deliveryQueue_;

    mutable foundation::Mutex propsLock_;
    ServiceProps props_ GUARDED_BY(propsLock_);
};

template <class Work>
void InvokableTrackerBase::exclusivelyOrShared(const Work& work) {
    if (state_.lockUnlessInACallbacksWay()) {
        ExclusiveHold hold(state_, std::adopt_lock);
        work(hold.access());
    } else {
        SharedHold hold(state_);
        work(hold.access());
    }
}

} // namespace agent::spf::cppmsclientutils
