#pragma once

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceReference.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

class TrackerSession;

/// A tracker's customizer, whatever its types.
class TrackerCallbacks {
public:
    virtual ~TrackerCallbacks() = default;
    virtual std::shared_ptr<void> Adding(const ServiceReferenceU& reference) = 0;
    virtual void Modified(const ServiceReferenceU& reference, const std::shared_ptr<void>& object) = 0;
    virtual void Removed(const ServiceReferenceU& reference, const std::shared_ptr<void>& object) = 0;
};

/// Which services a tracker wants.
struct TrackedTarget {
    std::string interfaceId; ///< empty for any interface
    LDAPFilter filter;       ///< covers the interface, too; invalid for every service

    static TrackedTarget ByInterface(const std::string& interfaceId);
    /// \throws std::invalid_argument if \p filter is invalid.
    static TrackedTarget ByFilter(const std::string& interfaceId, const LDAPFilter& filter);
    /// \throws std::invalid_argument if \p reference is null.
    static TrackedTarget ByReference(const ServiceReferenceBase& reference);
};

/// ServiceTracker without its types: what is tracked between Open and Close is a session of its own, so that
/// an event still under way at Close finds a closed session instead of the next one. All members may be
/// called from any thread.
class TrackerCore {
public:
    using Tracked = std::pair<ServiceReferenceU, std::shared_ptr<void>>;

    /// \param callbacks must outlive the last Close
    TrackerCore(BundleContext context, TrackedTarget target, TrackerCallbacks& callbacks);
    ~TrackerCore();
    TrackerCore(const TrackerCore&) = delete;
    TrackerCore& operator=(const TrackerCore&) = delete;

    void Open();
    void Close();

    /// The best tracked object; waits for one until the deadline (without one, forever) or Close; null if
    /// none.
    std::shared_ptr<void> WaitForAny(std::optional<std::chrono::steady_clock::time_point> deadline);

    std::vector<Tracked> All() const;
    Tracked Best() const;
    std::shared_ptr<void> Find(const ServiceReferenceBase& reference) const;
    void Remove(const ServiceReferenceBase& reference);
    std::size_t Size() const;
    /// -1 if closed.
    int TrackingCount() const;

private:
    struct State;

    std::shared_ptr<TrackerSession> Session() const;

    BundleContext context_;
    const TrackedTarget target_;
    TrackerCallbacks& callbacks_;
    std::unique_ptr<State> state_;
};

} // namespace cppmicroservices::detail
