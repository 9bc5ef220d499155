#include "ServiceAccess.h"
#include "ServiceRecord.h"
#include "TrackerSession.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/detail/TrackerCore.h>
#include <foundation/thread_annotations.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

std::string InterfaceFilter(const std::string& interfaceId) {
    auto filter = "(" + Constants::OBJECTCLASS + "=";
    for (const char c : interfaceId) {
        if (c == '*' || c == '(' || c == ')' || c == '\\')
            filter += '\\';
        filter += c;
    }
    return filter + ")";
}

} // namespace

TrackedTarget TrackedTarget::ByInterface(const std::string& interfaceId) {
    return {interfaceId, interfaceId.empty() ? LDAPFilter() : LDAPFilter(InterfaceFilter(interfaceId))};
}

TrackedTarget TrackedTarget::ByFilter(const std::string& interfaceId, const LDAPFilter& filter) {
    if (!filter)
        throw std::invalid_argument(
            "ServiceTracker: the filter is invalid; construct it from a filter text.");
    if (interfaceId.empty())
        return {interfaceId, filter};
    return {interfaceId, LDAPFilter("(&" + InterfaceFilter(interfaceId) + filter.ToString() + ")")};
}

TrackedTarget TrackedTarget::ByReference(const ServiceReferenceBase& reference) {
    const auto& record = ServiceAccess::Record(reference);
    if (!record)
        throw std::invalid_argument("ServiceTracker: the service reference is null.");
    return {reference.GetInterfaceId(),
            LDAPFilter("(" + Constants::SERVICE_ID + "=" + std::to_string(record->Id()) + ")")};
}

struct TrackerCore::State {
    foundation::Mutex mutex;                                   ///< a leaf
    std::shared_ptr<TrackerSession> session GUARDED_BY(mutex); ///< null if closed
};

TrackerCore::TrackerCore(BundleContext context, TrackedTarget target, TrackerCallbacks& callbacks)
    : context_(std::move(context)), target_(std::move(target)), callbacks_(callbacks),
      state_(std::make_unique<State>()) {}

TrackerCore::~TrackerCore() = default;

std::shared_ptr<TrackerSession> TrackerCore::Session() const {
    const foundation::MutexLock lock(state_->mutex);
    return state_->session;
}

void TrackerCore::Open() {
    const auto session = std::make_shared<TrackerSession>(target_, callbacks_);
    {
        const foundation::MutexLock lock(state_->mutex);
        if (state_->session)
            return;
        state_->session = session;
    }
    try {
        session->Listen(context_);
    } catch (...) {
        const foundation::MutexLock lock(state_->mutex);
        if (state_->session == session)
            state_->session = nullptr;
        throw;
    }
    session->OfferInitial();
}

void TrackerCore::Close() {
    std::shared_ptr<TrackerSession> session;
    {
        const foundation::MutexLock lock(state_->mutex);
        session.swap(state_->session);
    }
    if (session)
        session->Close(context_);
}

std::shared_ptr<void> TrackerCore::WaitForAny(std::optional<std::chrono::steady_clock::time_point> deadline) {
    const auto session = Session();
    while (session && session->WaitForAny(deadline)) {
        if (auto object = Best().second)
            return object;
    }
    return nullptr;
}

std::vector<TrackerCore::Tracked> TrackerCore::All() const {
    const auto session = Session();
    return session ? session->All() : std::vector<Tracked>();
}

TrackerCore::Tracked TrackerCore::Best() const {
    const auto all = All();
    const auto best = std::max_element(all.begin(), all.end(),
                                       [](const Tracked& a, const Tracked& b) { return a.first < b.first; });
    return best == all.end() ? Tracked() : *best;
}

std::shared_ptr<void> TrackerCore::Find(const ServiceReferenceBase& reference) const {
    const auto session = Session();
    return session ? session->Find(reference) : nullptr;
}

void TrackerCore::Remove(const ServiceReferenceBase& reference) {
    if (const auto session = Session())
        session->Remove(reference);
}

std::size_t TrackerCore::Size() const {
    const auto session = Session();
    return session ? session->Size() : 0;
}

int TrackerCore::TrackingCount() const {
    const auto session = Session();
    return session ? session->TrackingCount() : -1;
}

} // namespace cppmicroservices::detail
