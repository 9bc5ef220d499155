#pragma once

#include "module/runtime/detail/ServiceTrackerCustomizerBase.h"
#include "module/runtime/detail/ServiceTrackerEvents.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceTrackerCustomizer.h>
#include <foundation/thread_annotations.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace agent::spf::cppmsclientutils::detail {

/// Chooses one of the matching services, holds it, and posts what happens to it.
///
/// The registry reports on its own threads, several at once; the lock makes one sequence of it, in which
/// events enter the executor. Under it only the registry is asked and the executor posted to.
template <class Service>
class ServiceTrackerCustomizer final : public cppmicroservices::ServiceTrackerCustomizer<Service, Service>,
                                       public ServiceTrackerCustomizerBase {
public:
    using Reference = cppmicroservices::ServiceReference<Service>;
    using ServicePtr = std::shared_ptr<Service>;

    ServiceTrackerCustomizer(cppmicroservices::BundleContext context, std::string trackerName,
                             const TrackingOptions& options,
                             foundation::concurrent::threadpool::Executor& executor,
                             const foundation::log::basic_diagnostic_logger<char>& logger)
        : ServiceTrackerCustomizerBase(std::move(context), std::move(trackerName), options, logger),
          events_(executor) {}

    ServiceTrackerEvents<Service>& events() noexcept { return events_; }

    ServicePtr AddingService(const Reference& reference) override {
        ServicePtr replaced; // released after the lock
        const foundation::MutexLock lock(mutex_);
        const Ranking ranking = rankingOf(reference);
        if (rankingAware() && !held_)
            logFirstSighting(ranking);
        if (!rankingAware() || !held_ || shouldKeepService(ranking))
            replaced = hold(reference, ranking);
        if (!held_) {
            logEvent("null");
            return nullptr;
        }
        present_.push_back(reference);
        logEvent("added");
        postEvent(ServiceTrackerEvent::Added, "added", held_);
        return held_;
    }

    void ModifiedService(const Reference& /*reference*/, const ServicePtr& service) override {
        const foundation::MutexLock lock(mutex_);
        logEvent("modified");
        postEvent(ServiceTrackerEvent::Modified, "modified", service);
    }

    void RemovedService(const Reference& reference, const ServicePtr& service) override {
        ServicePtr released; // after the lock
        const foundation::MutexLock lock(mutex_);
        logEvent("removed");
        std::erase(present_, reference);
        // A reference that lost to the held one is tracked with the held one's service: tell them apart by
        // reference.
        if (held_ && !(reference == heldReference_)) {
            postEvent(ServiceTrackerEvent::Removed, "removed", service == held_ ? nullptr : service);
            return;
        }
        postEvent(ServiceTrackerEvent::Removed, "removed", service);
        released = std::move(held_);
        held_ = nullptr;
        fallBack();
    }

private:
    Ranking rankingOf(const Reference& reference) const {
        return getRankingFromProperty(reference.GetProperty(cppmicroservices::Constants::SERVICE_RANKING));
    }

    /// Takes the reference's service when there is one; the service that was held before.
    ServicePtr hold(const Reference& reference, Ranking ranking) REQUIRES(mutex_) {
        ServicePtr service;
        try {
            service = context().GetService(reference);
        } catch (const std::exception&) {
            // Unregistered meanwhile: as good as null, and its removal is on its way.
        }
        if (!service)
            return nullptr;
        recordRanking(ranking);
        heldReference_ = reference;
        return std::exchange(held_, std::move(service));
    }

    /// The held service went while others match: the best of those takes its place, or it would be noticed
    /// only when it is registered anew.
    void fallBack() REQUIRES(mutex_) {
        auto candidates = present_;
        std::sort(candidates.begin(), candidates.end()); // rankings may have changed; the best is last
        for (; !candidates.empty() && !held_; candidates.pop_back())
            hold(candidates.back(), rankingOf(candidates.back()));
        if (held_)
            postEvent(ServiceTrackerEvent::Added, "added", held_);
    }

    void postEvent(ServiceTrackerEvent event, std::string_view name, const ServicePtr& service)
        REQUIRES(mutex_) {
        logNotify(name);
        events_.postEvent(event, service);
    }

    foundation::Mutex mutex_;
    ServiceTrackerEvents<Service> events_;
    ServicePtr held_ GUARDED_BY(mutex_);
    Reference heldReference_ GUARDED_BY(mutex_);
    std::vector<Reference> present_ GUARDED_BY(mutex_);
};

} // namespace agent::spf::cppmsclientutils::detail
