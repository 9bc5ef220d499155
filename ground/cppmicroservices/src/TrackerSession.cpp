#include "TrackerSession.h"

#include "ServiceAccess.h"
#include "ServiceRecord.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

/// Calls \p call for every item, whatever it throws; then lets the first exception out.
template <class Items, class Call>
void ForEachThenThrow(const Items& items, Call call) {
    std::exception_ptr first;
    for (const auto& item : items) {
        try {
            call(item);
        } catch (...) {
            if (!first)
                first = std::current_exception();
        }
    }
    if (first)
        std::rethrow_exception(first);
}

} // namespace

/// An event's callback is under way on this thread.
class TrackerSession::EventScope {
public:
    explicit EventScope(TrackerSession& session) : session_(session) {
        const foundation::MutexLock lock(session_.mutex_);
        open_ = !session_.closed_;
        if (open_)
            ++session_.inEvent_[std::this_thread::get_id()];
    }
    ~EventScope() {
        if (!open_)
            return;
        const foundation::MutexLock lock(session_.mutex_);
        const auto thread = session_.inEvent_.find(std::this_thread::get_id());
        if (--thread->second == 0)
            session_.inEvent_.erase(thread);
        session_.changed_.notify_all();
    }
    EventScope(const EventScope&) = delete;
    EventScope& operator=(const EventScope&) = delete;

    explicit operator bool() const noexcept { return open_; }

private:
    TrackerSession& session_;
    bool open_ = false;
};

TrackerSession::TrackerSession(const TrackedTarget& target, TrackerCallbacks& callbacks)
    : target_(target), callbacks_(callbacks) {}

void TrackerSession::Listen(BundleContext& context) {
    const auto filter = target_.filter.ToString();
    auto listener = context.AddServiceListener(
        [self = shared_from_this()](const ServiceEvent& event) { self->HandleEvent(event); }, filter);
    // Only now, so that every service is either listed here or announced by an event; one that is both counts
    // once.
    const auto references = context.GetServiceReferences(target_.interfaceId, filter);
    {
        const foundation::MutexLock lock(mutex_);
        if (!closed_) {
            listener_ = std::move(listener);
            initial_.assign(references.begin(), references.end());
            return;
        }
    }
    context.RemoveListener(std::move(listener));
}

void TrackerSession::OfferInitial() {
    std::exception_ptr first;
    for (;;) {
        ServiceReferenceU reference;
        {
            const foundation::MutexLock lock(mutex_);
            if (initial_.empty())
                break;
            reference = std::move(initial_.front());
            initial_.pop_front();
            if (tracked_.contains(reference))
                continue;
        }
        try {
            Track(reference);
        } catch (...) {
            if (!first)
                first = std::current_exception();
        }
    }
    if (first)
        std::rethrow_exception(first);
}

void TrackerSession::Close(BundleContext& context) {
    ListenerToken listener;
    std::deque<ServiceReferenceU> initial;
    {
        const foundation::MutexLock lock(mutex_);
        closed_ = true;
        initial.swap(initial_);
        listener = std::move(listener_);
        changed_.notify_all();
    }
    try {
        if (listener)
            context.RemoveListener(std::move(listener));
    } catch (const std::runtime_error&) {
        // The bundle has stopped, and its listeners went with it.
    }
    decltype(tracked_) tracked;
    {
        foundation::MutexLock lock(mutex_);
        // A callback on this thread is the one that closes the tracker; waiting for it would never end.
        const std::size_t own = inEvent_.count(std::this_thread::get_id());
        while (inEvent_.size() > own)
            changed_.wait(lock);
        tracked.swap(tracked_);
    }
    ForEachThenThrow(tracked, [&](const auto& entry) {
        const auto& [reference, object] = entry.second;
        callbacks_.Removed(reference, object);
    });
}

void TrackerSession::HandleEvent(const ServiceEvent& event) {
    const EventScope scope(*this);
    if (!scope)
        return;
    const auto type = event.GetType();
    if (type == ServiceEvent::SERVICE_REGISTERED || type == ServiceEvent::SERVICE_MODIFIED)
        Track(event.GetServiceReference());
    else
        Untrack(event.GetServiceReference());
}

void TrackerSession::Track(const ServiceReferenceU& reference) {
    const bool wanted = IsWanted(reference);
    std::shared_ptr<void> tracked;
    Ticket ticket = 0;
    {
        const foundation::MutexLock lock(mutex_);
        if (closed_)
            return;
        std::erase(initial_, reference);
        const auto offer = std::find_if(offers_.begin(), offers_.end(), [&](const auto& entry) {
            return entry.second.reference == reference;
        });
        const auto found = tracked_.find(reference);
        if (found != tracked_.end()) {
            tracked = found->second.second;
            ++count_;
        } else if (offer != offers_.end()) {
            offer->second.modified = true;
            return;
        } else if (wanted) {
            ticket = ++lastTicket_;
            offers_.emplace(ticket, Offer{reference});
        }
    }
    if (tracked)
        callbacks_.Modified(reference, tracked);
    else if (ticket != 0)
        RunOffer(ticket, reference);
}

void TrackerSession::Untrack(const ServiceReferenceBase& reference) {
    decltype(tracked_)::node_type entry;
    {
        const foundation::MutexLock lock(mutex_);
        std::erase(initial_, reference);
        std::erase_if(offers_, [&](const auto& offer) { return offer.second.reference == reference; });
        entry = tracked_.extract(reference);
        if (entry)
            ++count_;
    }
    if (entry)
        callbacks_.Removed(entry.mapped().first, entry.mapped().second);
}

void TrackerSession::Remove(const ServiceReferenceBase& reference) {
    Untrack(reference);
}

void TrackerSession::RunOffer(Ticket ticket, const ServiceReferenceU& reference) {
    try {
        while (Settle(ticket, reference, callbacks_.Adding(reference))) {
        }
    } catch (...) {
        const foundation::MutexLock lock(mutex_);
        offers_.erase(ticket);
        throw;
    }
}

bool TrackerSession::Settle(Ticket ticket, const ServiceReferenceU& reference,
                            const std::shared_ptr<void>& object) {
    const auto& record = ServiceAccess::Record(reference);
    bool kept = false;
    bool modified = false;
    for (bool settled = false; !settled;) {
        const auto properties = record->Properties();
        const bool matches = IsWanted(reference, *properties);
        const foundation::MutexLock lock(mutex_);
        if (!record->HasProperties(properties))
            continue;
        settled = true;
        const auto offer = offers_.find(ticket);
        const bool wanted = offer != offers_.end() && !closed_ && matches && record->IsRegistered();
        modified = wanted && std::exchange(offer->second.modified, false);
        if (wanted && !object && modified)
            return true; // It may have declined for what has changed meanwhile.
        if (offer != offers_.end())
            offers_.erase(offer);
        kept = wanted && object;
        if (kept) {
            tracked_.emplace(reference, TrackerCore::Tracked(reference, object));
            ++count_;
            changed_.notify_all();
        }
    }
    if (object && !kept)
        callbacks_.Removed(reference, object);
    else if (object && modified)
        callbacks_.Modified(reference, object);
    return false;
}

bool TrackerSession::IsWanted(const ServiceReferenceBase& reference, const PropertyTable& properties) const {
    const auto* expression = ServiceAccess::Expression(target_.filter);
    return (!expression || expression->Matches(properties)) &&
           (target_.interfaceId.empty() || reference.IsConvertibleTo(target_.interfaceId));
}

bool TrackerSession::IsWanted(const ServiceReferenceBase& reference) const {
    const auto& record = ServiceAccess::Record(reference);
    return record->IsRegistered() && IsWanted(reference, *record->Properties());
}

bool TrackerSession::WaitForAny(std::optional<std::chrono::steady_clock::time_point> deadline) {
    foundation::MutexLock lock(mutex_);
    while (tracked_.empty() && !closed_) {
        if (!deadline)
            changed_.wait(lock);
        else if (changed_.wait_until(lock, *deadline) == std::cv_status::timeout)
            break;
    }
    return !tracked_.empty();
}

std::vector<TrackerCore::Tracked> TrackerSession::All() const {
    std::vector<TrackerCore::Tracked> all;
    const foundation::MutexLock lock(mutex_);
    all.reserve(tracked_.size());
    for (const auto& [key, tracked] : tracked_)
        all.push_back(tracked);
    return all;
}

std::shared_ptr<void> TrackerSession::Find(const ServiceReferenceBase& reference) const {
    const foundation::MutexLock lock(mutex_);
    const auto found = tracked_.find(reference);
    return found == tracked_.end() ? nullptr : found->second.second;
}

std::size_t TrackerSession::Size() const {
    const foundation::MutexLock lock(mutex_);
    return tracked_.size();
}

int TrackerSession::TrackingCount() const {
    const foundation::MutexLock lock(mutex_);
    return count_;
}

} // namespace cppmicroservices::detail
