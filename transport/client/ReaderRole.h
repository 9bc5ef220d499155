#pragma once

#include "transport/client/Parking.h"

#include <foundation/thread_annotations.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace agent::spf::transport {

/// Decides which one thread reads from a connection.
///
/// A caller that waits for its reply becomes the reader (leader) when nobody is, so that the reply wakes it
/// directly; otherwise it sleeps (follower) until the reader has completed its call or hands the role on. The
/// connection's background thread reads only while no callers come: woken for every reply it would double the
/// cost of a call.
///
/// Thread-safe; the lock is a leaf, and nobody is woken under it.
class ReaderRole {
public:
    using Clock = std::chrono::steady_clock;

    /// One waiting caller, on its own stack from the first await() to leave().
    class Waiter {
        friend ReaderRole;
        // All but the parking are guarded by the role's lock.
        bool done_ = false;
        bool holdsRole_ = false;
        bool parked_ = false; // whoever sets one of the above takes this back, and unparks
        std::thread::id thread_ = std::this_thread::get_id();
        Parking parking_;
    };

    enum class Turn {
        Done,    ///< finish() was called
        Read,    ///< this thread is the reader, now or already
        Overdue, ///< neither until the deadline
    };
    /// Sleeps until one of the three is the case.
    Turn await(Waiter& waiter, Clock::time_point deadline);
    /// The waiter's call has been completed. @return whether it sleeps, and stays, until wake().
    [[nodiscard]] bool finish(Waiter& waiter);
    static void wake(Waiter& waiter) noexcept { waiter.parking_.unpark(); }
    /// For a waiter whose call another thread is completing: gives up the role, if it has it, and sleeps
    /// until finish().
    void awaitDone(Waiter& waiter);
    /// The waiter goes; if it is the reader the role goes on to another, or becomes free.
    void leave(Waiter& waiter);

    enum class Background {
        Read,  ///< it has the role, and gives it back with pass()
        Tick,  ///< callers are about: look again soon
        Sleep, ///< one caller has been reading for long: nothing to do until `onFree` is called
    };
    /// What the background thread is to do now.
    Background offer();
    /// Called, outside the lock, when the role becomes free after an offer that said Sleep. Set before any
    /// other use.
    void onFree(std::function<void()> wake) { onFree_ = std::move(wake); }
    void pass();
    /// Waits until nobody reads; nobody does any more then.
    void retire();

private:
    /// To be done outside the lock after the role was handed on.
    struct Next {
        Waiter* reader = nullptr;
        bool backgroundWaits = false;
    };
    Next handOn() REQUIRES(mutex_);
    void tell(Next next) const;
    void removeFollower(Waiter& waiter) REQUIRES(mutex_);

    std::function<void()> onFree_;
    foundation::Mutex mutex_;
    bool taken_ GUARDED_BY(mutex_) = false;
    std::thread::id reader_ GUARDED_BY(mutex_);
    std::vector<Waiter*> followers_ GUARDED_BY(mutex_); // only while taken_
    std::uint64_t arrivals_ GUARDED_BY(mutex_) = 0;
    std::uint64_t arrivalsAtOffer_ GUARDED_BY(mutex_) = 0;
    bool backgroundSleeps_ GUARDED_BY(mutex_) = false;
    bool retiring_ GUARDED_BY(mutex_) = false;
    std::condition_variable_any free_; // notified while retiring
};

} // namespace agent::spf::transport
