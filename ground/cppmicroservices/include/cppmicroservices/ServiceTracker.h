#pragma once

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceTrackerCustomizer.h>
#include <cppmicroservices/detail/TrackerCore.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace cppmicroservices {

/// Follows the services of interface S that match a condition, between Open and Close.
///
/// The customizer, or the tracker itself if there is none, makes an object of type T of each service; the
/// tracker's own way is to get the service. All members may be called from any thread. Close waits for
/// callbacks that events run on other threads, then calls RemovedService for every tracked service on the
/// closing thread; it does not wait for an AddingService that runs inside Open on another thread. Closing
/// twice, reopening, and closing after the framework's end are safe.
template <class S, class T = S>
class ServiceTracker : protected ServiceTrackerCustomizer<S, T> {
public:
    using TrackedParmType = typename ServiceTrackerCustomizer<S, T>::TrackedParmType;
    using Customizer = ServiceTrackerCustomizer<S, T>;
    using TrackingMap = std::unordered_map<ServiceReference<S>, std::shared_ptr<TrackedParmType>>;

    /// Tracks that one service.
    ServiceTracker(const BundleContext& context, const ServiceReference<S>& reference,
                   Customizer* customizer = nullptr)
        : ServiceTracker(context, detail::TrackedTarget::ByReference(reference), customizer) {}

    /// Tracks the services registered under that interface name.
    ServiceTracker(const BundleContext& context, const std::string& clazz, Customizer* customizer = nullptr)
        : ServiceTracker(context, detail::TrackedTarget::ByInterface(clazz), customizer) {}

    /// Tracks the services of interface S that match.
    /// \throws std::invalid_argument if \p filter is invalid.
    ServiceTracker(const BundleContext& context, const LDAPFilter& filter, Customizer* customizer = nullptr)
        : ServiceTracker(context, detail::TrackedTarget::ByFilter(us_service_interface_iid<S>(), filter),
                         customizer) {}

    /// Tracks the services of interface S.
    ServiceTracker(const BundleContext& context, Customizer* customizer = nullptr)
        : ServiceTracker(context, detail::TrackedTarget::ByInterface(us_service_interface_iid<S>()),
                         customizer) {}

    ServiceTracker(const ServiceTracker&) = delete;
    ServiceTracker& operator=(const ServiceTracker&) = delete;

    /// Closes the tracker. What a customizer throws meanwhile is dropped.
    ~ServiceTracker() override {
        try {
            core_.Close();
        } catch (...) {
        }
    }

    /// Offers the services that are there on this thread, then follows events. No effect if open.
    /// \throws std::runtime_error if the context is not usable. What the customizer throws comes out after
    /// every
    ///         service was offered; the tracker is open then.
    virtual void Open() { core_.Open(); }

    /// What the customizer throws comes out after every service was removed.
    virtual void Close() { core_.Close(); }

    /// Waits for a tracked service. \return the best one, or null when the time is over or the tracker not
    /// open
    virtual std::shared_ptr<TrackedParmType> WaitForService() { return Cast(core_.WaitForAny(std::nullopt)); }

    /// \param rel_time zero waits without limit
    /// \throws std::invalid_argument if \p rel_time is negative.
    template <class Rep, class Period>
    std::shared_ptr<TrackedParmType> WaitForService(const std::chrono::duration<Rep, Period>& rel_time) {
        if (rel_time < rel_time.zero())
            throw std::invalid_argument("WaitForService: the timeout must not be negative.");
        if (rel_time == rel_time.zero())
            return WaitForService();
        return Cast(core_.WaitForAny(std::chrono::steady_clock::now() +
                                     std::chrono::ceil<std::chrono::steady_clock::duration>(rel_time)));
    }

    virtual std::vector<ServiceReference<S>> GetServiceReferences() const {
        std::vector<ServiceReference<S>> references;
        for (const auto& [reference, object] : core_.All())
            references.emplace_back(reference);
        return references;
    }

    /// The best tracked service: highest ranking, then lowest service.id. Null if there is none.
    virtual ServiceReference<S> GetServiceReference() const {
        const auto best = core_.Best();
        return best.second ? ServiceReference<S>(best.first) : ServiceReference<S>();
    }

    /// The object tracked for \p reference, or null.
    virtual std::shared_ptr<TrackedParmType> GetService(const ServiceReference<S>& reference) const {
        return Cast(core_.Find(reference));
    }

    virtual std::vector<std::shared_ptr<TrackedParmType>> GetServices() const {
        std::vector<std::shared_ptr<TrackedParmType>> services;
        for (const auto& [reference, object] : core_.All())
            services.push_back(Cast(object));
        return services;
    }

    /// The best tracked service's object, or null.
    virtual std::shared_ptr<TrackedParmType> GetService() const { return Cast(core_.Best().second); }

    /// Stops tracking the service, with RemovedService, until an event brings it again.
    virtual void Remove(const ServiceReference<S>& reference) { core_.Remove(reference); }

    virtual int Size() const { return static_cast<int>(core_.Size()); }

    /// Grows with every service added, modified or removed since Open; -1 if closed.
    virtual int GetTrackingCount() const { return core_.TrackingCount(); }

    /// Adds what is tracked to \p tracked.
    virtual void GetTracked(TrackingMap& tracked) const {
        for (const auto& [reference, object] : core_.All())
            tracked.insert_or_assign(ServiceReference<S>(reference), Cast(object));
    }

    virtual bool IsEmpty() const { return core_.Size() == 0; }

protected:
    std::shared_ptr<TrackedParmType> AddingService(const ServiceReference<S>& reference) override {
        if constexpr (std::is_same_v<S, T>)
            return context_.GetService(reference);
        else
            throw std::runtime_error("A tracker of objects other than the service needs a customizer.");
    }
    void ModifiedService(const ServiceReference<S>&, const std::shared_ptr<TrackedParmType>&) override {}
    void RemovedService(const ServiceReference<S>&, const std::shared_ptr<TrackedParmType>&) override {}

private:
    /// Gives the untyped core the customizer's types back.
    class Adapter final : public detail::TrackerCallbacks {
    public:
        explicit Adapter(Customizer& customizer) : customizer_(customizer) {}

        std::shared_ptr<void> Adding(const ServiceReferenceU& reference) override {
            return std::const_pointer_cast<std::remove_const_t<TrackedParmType>>(
                customizer_.AddingService(reference));
        }
        void Modified(const ServiceReferenceU& reference, const std::shared_ptr<void>& object) override {
            customizer_.ModifiedService(reference, Cast(object));
        }
        void Removed(const ServiceReferenceU& reference, const std::shared_ptr<void>& object) override {
            customizer_.RemovedService(reference, Cast(object));
        }

    private:
        Customizer& customizer_;
    };

    ServiceTracker(const BundleContext& context, detail::TrackedTarget target, Customizer* customizer)
        : context_(context), adapter_(customizer ? *customizer : *this),
          core_(context, std::move(target), adapter_) {}

    static std::shared_ptr<TrackedParmType> Cast(const std::shared_ptr<void>& object) {
        return std::static_pointer_cast<TrackedParmType>(object);
    }

    BundleContext context_;
    Adapter adapter_;
    detail::TrackerCore core_;
};

} // namespace cppmicroservices
