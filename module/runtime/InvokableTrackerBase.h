#pragma once

#include "module/runtime/CallbackGate.h"
#include "module/runtime/ServiceProp.h"
#include "module/runtime/StateLock.h"
#include "module/runtime/Timeouts.h"
#include "module/runtime/TrackedServiceInfo.h"
#include "contract/calls/CallbackManager.h"
#include "contract/calls/Invokable.h"

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
#include <shared_mutex>
#include <string>
#include <string_view>

namespace agent::spf::cppmsclientutils {

using Logger = foundation::log::basic_diagnostic_logger<char>;

/// One client's view of its remote service: the Invokable held while there is one, the callbacks exported
/// through it, the time limits, and waiting for it.
///
/// Held by std::shared_ptr: the client has one, and every call on its way has another, so a client can be
/// destroyed with calls in flight, from inside its own callbacks too. Queued reactions to registry events
/// hold it weakly.
///
/// Lock order: callback lock, state lock, finding gate; the delivery gate before all of them. Registry events
/// come under no lock of this class. A parameter `lock` means that the caller holds the state lock with it;
/// other members take what they need themselves.
class InvokableTrackerBase : public std::enable_shared_from_this<InvokableTrackerBase> {
public:
    using ExclusiveLock = std::unique_lock<std::shared_mutex>;
    using SharedLock = std::shared_lock<std::shared_mutex>;

    static constexpr std::chrono::seconds defaultServiceTimeout{10};

    InvokableTrackerBase(TrackedServiceInfo info, ServiceProps props, Logger& logger);
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
    /// start.
    void onFindingInvokable(std::function<void(ExclusiveLock&)> callback);
    /// Run outside the state lock after an Invokable was found. Set before the start.
    void onFoundInvokable(std::function<void()> callback);
    /// Run outside the state lock after an Invokable went. Set before the start.
    void onLostInvokable(std::function<void()> callback);

    /// Queues work until an Invokable is found; it then runs once, under the exclusive lock, in the order
    /// queued.
    void runWhenFound(std::function<void()> work);

    /// When exclusive work runs: before exclusively() returns, or after it.
    enum class Turn { AtOnce, Later };
    /// Runs `work` under the exclusive lock: at once, or, when this thread is inside an exported callback and
    /// would have to wait for the lock, soon and on the executor, unless this is closed before. The lock's
    /// holder may be a call that the daemon answers when that callback has ended.
    void exclusively(std::function<void(ExclusiveLock&, Turn)> work);
    /// Runs `work`, in the order delivered, on the executor and outside the state lock, unless this is closed
    /// before. However long it takes, found and removed reactions go on.
    void deliver(std::function<void()> work);

    /// The Invokable that calls go to now; null when there is none.
    std::shared_ptr<core::Invokable> held(ExclusiveLock& lock) const;

    /// @see StateLock::releaseLater()
    void releaseLater(ExclusiveLock& lock, std::shared_ptr<const void> thing);

    void removeCallback(ExclusiveLock& lock, const boost::uuids::uuid& id);
    void removeAllCallbacks(ExclusiveLock& lock);

    /// Exports a function through the held Invokable, waiting for one up to the service timeout.
    /// @throws std::runtime_error "<service> didn't appear." and what CallbackManager::makeExportedCallback()
    /// throws.
    core::ExportedCallback exportCallback(ExclusiveLock& lock, core::ExportedFunction function,
                                          std::optional<unsigned int> callLimit);

    /// The held Invokable, about to be called; waits for one up to the service timeout.
    /// @throws std::runtime_error "<service> didn't appear. Cannot call <method>".
    core::Invokable& invokableFor(std::string_view method, SharedLock& lock);
    core::Invokable& invokableFor(std::string_view method, ExclusiveLock& lock);

    std::chrono::seconds callTimeout(std::chrono::seconds methodDefault) const noexcept;
    void logFailure(std::string_view method, const char* what) const;

    StateLock& state() noexcept RETURN_CAPABILITY(state_) { return state_; }
    const TrackedServiceInfo& serviceInfo() const noexcept { return info_; }

    bool logs(foundation::log::logging_event_types type) const noexcept { return logger_.enabled(type); }
    void log(foundation::log::logging_event_types type, const std::string& text) const;
    /// "Exception caught: " and all that is known of the exception, at level notice.
    void logException(std::exception_ptr exception) const;

    /// Ends the tracking: no reaction runs after this, nobody waits any longer; calls on their way end by
    /// themselves. Called at the start of the owner's destruction, and harmless again. It waits for a
    /// reaction running on another thread, and for registry events being handled, never for calls.
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
    /// Appends to a queue of the executor.
    virtual void post(const boost::uuids::uuid& queue, std::function<void()> work) = 0;

private:
    template <class Lock>
    core::Invokable& readyInvokable(std::string_view method, Lock& lock);
    template <class Lock>
    void waitForInvokable(std::string_view method, Lock& lock);
    void waitForCallbackManager(ExclusiveLock& lock);
    void runPendingWork(ExclusiveLock& lock);
    std::chrono::seconds serviceTimeout() const noexcept;
    void runCallback(CallbackGate& gate, const std::function<void()>& callback) const;

    const TrackedServiceInfo info_;
    Logger& logger_;
    Timeouts timeouts_;
    std::atomic<bool> closed_{false};

    StateLock state_; // held for the whole of a call, shared; never while user code runs
    std::unique_ptr<core::CallbackManager> callbackManager_ GUARDED_BY(state_);
    std::deque<std::function<void()>> pendingWork_ GUARDED_BY(state_);
    std::shared_ptr<core::Invokable> held_ GUARDED_BY(state_);
    std::condition_variable_any found_;

    std::function<void(ExclusiveLock&)> findingCallback_;
    std::function<void()> foundCallback_;
    std::function<void()> lostCallback_;
    CallbackGate findingGate_; // runs the finding callback; taken under the state lock
    CallbackGate
        callbackGate_; // the callback lock: runs the found and lost callbacks, which may take the state lock
    CallbackGate deliveryGate_; // runs what is delivered; no lock is held meanwhile

    const boost::uuids::uuid exclusiveQueue_;
    const boost::uuids::uuid deliveryQueue_;

    mutable foundation::Mutex propsLock_;
    ServiceProps props_ GUARDED_BY(propsLock_);
};

} // namespace agent::spf::cppmsclientutils
