#pragma once

#include "module/runtime/InvokableTrackerBase.h"
#include "module/runtime/ModuleContext.h"
#include "module/runtime/detail/ServiceTracker.h"

#include <functional>
#include <memory>
#include <utility>

namespace agent::spf::cppmsclientutils {

/// Connects an InvokableTrackerBase to the framework's registry.
template <class Invokable>
class InvokableTracker final : public InvokableTrackerBase {
public:
    InvokableTracker(TrackedServiceInfo info, ServiceProps props, Logger& logger, Executors executors)
        : InvokableTrackerBase(std::move(info), std::move(props), logger, executors), logger_(logger) {}
    ~InvokableTracker() override { close(); }

    /// Opens the tracking with the bundle's context. Once; the tracker must be held by a std::shared_ptr.
    void start() {
        tracker_ = std::make_shared<detail::ServiceTracker<Invokable>>(
            moduleContext(), serviceInfo().toString(), filter(), detail::TrackingOptions{},
            executors().events, logger_);
        // Items may still wait in the executor when this is gone.
        const auto whileAlive = [weak = weak_from_this()](auto member) {
            return [weak, member](const std::shared_ptr<Invokable>& invokable) {
                if (const auto self = std::static_pointer_cast<InvokableTracker>(weak.lock()))
                    ((*self).*member)(invokable);
            };
        };
        tracker_->events().on(detail::ServiceTrackerEvent::Added, whileAlive(&InvokableTracker::found));
        tracker_->events().on(detail::ServiceTrackerEvent::Removed, whileAlive(&InvokableTracker::removed));
        tracker_->open();
        log(foundation::log::logging_event_types::info, "Waiting for an invokable for `" +
                                                            serviceInfo().toString() + "`, props: `" +
                                                            describeProps() + "`...");
    }

private:
    void found(const std::shared_ptr<Invokable>& invokable) { handleFound(invokable); }
    void removed(const std::shared_ptr<Invokable>& invokable) { handleRemoved(invokable); }
    void stopTracking() override { tracker_.reset(); }

    Logger& logger_;
    std::shared_ptr<detail::ServiceTracker<Invokable>> tracker_;
};

} // namespace agent::spf::cppmsclientutils
