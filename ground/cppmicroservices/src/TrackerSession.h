#pragma once

#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/detail/TrackerCore.h>
#include <foundation/thread_annotations.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <thread>
#include <unordered_map>
#include <vector>

namespace cppmicroservices::detail {

class PropertyTable;

/// A tracker between one Open and its Close: which services it tracks, and which its customizer is just being
/// asked about.
///
/// Events of one service may arrive late or, from several threads, out of order. So a service is offered, and
/// kept, only if it is registered and matches at that moment; the events then only need to arrive.
///
/// The lock comes before a record's and nothing else: the customizer is never called under it, nor do tracked
/// objects or properties die under it.
class TrackerSession : public std::enable_shared_from_this<TrackerSession> {
public:
    TrackerSession(const TrackedTarget& target, TrackerCallbacks& callbacks);

    /// Follows events from now on, and notes the services that are there already.
    /// \throws std::runtime_error if the context is not usable.
    void Listen(BundleContext& context) EXCLUDES(mutex_);
    /// Offers the services noted. What the customizer throws comes out at the end.
    void OfferInitial() EXCLUDES(mutex_);
    /// Waits for events' callbacks on other threads, then removes everything. Callbacks after that come only
    /// from an OfferInitial that is still under way.
    void Close(BundleContext& context) EXCLUDES(mutex_);

    void Remove(const ServiceReferenceBase& reference) EXCLUDES(mutex_);

    /// \return false if there is nothing and the deadline has passed or the session is closed
    bool WaitForAny(std::optional<std::chrono::steady_clock::time_point> deadline) EXCLUDES(mutex_);
    std::vector<TrackerCore::Tracked> All() const EXCLUDES(mutex_);
    std::shared_ptr<void> Find(const ServiceReferenceBase& reference) const EXCLUDES(mutex_);
    std::size_t Size() const EXCLUDES(mutex_);
    int TrackingCount() const EXCLUDES(mutex_);

private:
    /// One service that AddingService is running for.
    struct Offer {
        ServiceReferenceU reference;
        bool modified = false; ///< an event said so meanwhile
    };
    using Ticket = std::uint64_t;

    class EventScope;

    void HandleEvent(const ServiceEvent& event) EXCLUDES(mutex_);
    /// A service is there and matches: offers it, or tells of its change.
    void Track(const ServiceReferenceU& reference) EXCLUDES(mutex_);
    void Untrack(const ServiceReferenceBase& reference) EXCLUDES(mutex_);
    void RunOffer(Ticket ticket, const ServiceReferenceU& reference) EXCLUDES(mutex_);
    /// Settles what the customizer answered. \return true to ask it again
    bool Settle(Ticket ticket, const ServiceReferenceU& reference, const std::shared_ptr<void>& object)
        EXCLUDES(mutex_);
    bool IsWanted(const ServiceReferenceBase& reference, const PropertyTable& properties) const;
    bool IsWanted(const ServiceReferenceBase& reference) const;

    const TrackedTarget target_;
    TrackerCallbacks& callbacks_;

    mutable foundation::Mutex mutex_;
    std::condition_variable_any
        changed_; ///< something is tracked, a callback has ended, or the session is closed
    bool closed_ GUARDED_BY(mutex_) = false;
    ListenerToken listener_ GUARDED_BY(mutex_);
    int count_ GUARDED_BY(mutex_) = 0;
    std::unordered_map<ServiceReferenceBase, TrackerCore::Tracked> tracked_ GUARDED_BY(mutex_);
    std::deque<ServiceReferenceU> initial_ GUARDED_BY(mutex_); ///< noted by Listen, not offered yet
    std::map<Ticket, Offer> offers_ GUARDED_BY(mutex_);
    Ticket lastTicket_ GUARDED_BY(mutex_) = 0;
    std::map<std::thread::id, int> inEvent_ GUARDED_BY(mutex_); ///< callbacks of events, by thread
};

} // namespace cppmicroservices::detail
