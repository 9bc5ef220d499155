#pragma once

#include <foundation/thread_annotations.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <utility>
#include <vector>

namespace agent::spf::cppmsclientutils {

/// A tracker's state lock: a std::shared_mutex with an entrance that decides who comes next.
///
/// Neither side starves the other. Threads that come to share the lock while somebody waits for it
/// exclusively stand back until one exclusive holder has been in; then all of those go before the next
/// exclusive one.
///
/// Nobody waits for himself by way of the daemon. It may hold back the answer to a call, whose caller has the
/// lock, until an exported callback of this process has ended:
///  - A thread inside a callback never stands back. Any other thread stands back for a short time only while
///  a
///    callback has been running for as long, for it may ask on that callback's behalf. After ten seconds of
///    this that time grows with each use, so that calls that take long do not keep an exclusive waiter out
///    for ever.
///  - An exclusive holder that waits for the daemon lends the lock (Lending). While a callback runs
///  somewhere,
///    everybody may share it then, as a guest, and the holder goes on when the last guest has left.
///  - Who wants the lock exclusively, and could do so later, does not wait behind a callback either.
class CAPABILITY("shared_mutex") StateLock {
public:
    void lock() ACQUIRE();
    /// Does not wait inside a callback, and gives up after a short time if one has been running for as long:
    /// whoever has the lock may be waiting for it, and it for the caller. @return whether the caller holds
    /// it.
    bool lockUnlessInACallbacksWay() TRY_ACQUIRE(true);
    void unlock() RELEASE();

    enum class Admission { Member, Guest };
    Admission lock_shared() ACQUIRE_SHARED();
    void unlock_shared(Admission admission) RELEASE_SHARED();

    /// How many threads wait to hold it exclusively.
    unsigned exclusiveWaiters() const;

private:
    friend class ExclusiveHold;
    friend class ExclusiveAccess;
    friend class SharedAccess;
    friend class GatedRelock;
    friend class Lending;
    using Clock = std::chrono::steady_clock;

    Admission comeInByTheGate() EXCLUDES(gate_);
    bool mayComeIn(std::uint64_t arrivalPhase, std::uint64_t arrivalDoor) const REQUIRES(gate_);
    void letByIfPatient(Clock::time_point arrival, std::uint64_t arrivalDoor) REQUIRES(gate_);

    void lend();
    void takeBack();

    std::shared_mutex mutex_; // locked by those who have been let in, so nobody waits for it

    // Sharers who come while no exclusive holder is in or waits pass without the gate: they raise the one,
    // then look at the other; an exclusive holder does it the other way round.
    std::atomic<unsigned> sharers_{0};
    std::atomic<unsigned> exclusives_{0}; // in or waiting

    mutable foundation::Mutex gate_; // only CallbackScope's lock is taken under it
    std::condition_variable_any changed_;
    bool in_ GUARDED_BY(gate_) = false; // an exclusive holder
    bool lent_ GUARDED_BY(gate_) = false;
    unsigned guests_ GUARDED_BY(gate_) = 0;
    unsigned waiting_ GUARDED_BY(gate_) = 0;      // to hold it exclusively
    unsigned standingBack_ GUARDED_BY(gate_) = 0; // to share it
    unsigned owed_ GUARDED_BY(gate_) = 0;         // of those, who go before the next exclusive holder
    std::uint64_t phase_ GUARDED_BY(gate_) = 0;   // counts exclusive holders that have left
    std::uint64_t door_ GUARDED_BY(gate_) = 0;    // counts how often those who stood back were let by
    std::chrono::milliseconds patience_ GUARDED_BY(gate_) = firstPatience;
    std::optional<Clock::time_point> firstLetBy_ GUARDED_BY(gate_); // since an exclusive holder was in
    static constexpr std::chrono::milliseconds firstPatience{20};
    /// Longer than a daemon waits for a negotiator.
    static constexpr std::chrono::seconds evenFor{10};
    /// Longer, for who leaves has not done yet what he came for, and callbacks that take this long are rare.
    static constexpr std::chrono::milliseconds exclusivePatience{200};
};

/// The proof that a thread holds a state lock exclusively. Only ExclusiveHold makes one; it cannot be copied,
/// moved, or let go of by those it is passed to.
class ExclusiveAccess {
public:
    ExclusiveAccess(const ExclusiveAccess&) = delete;
    ExclusiveAccess& operator=(const ExclusiveAccess&) = delete;

    /// @throws std::system_error operation_not_permitted when it is the proof for another lock.
    void verify(const StateLock& state) const;
    /// Keeps something alive until the hold has ended: foreign destructors never run under the lock.
    void releaseLater(std::shared_ptr<const void> thing) { later_.push_back(std::move(thing)); }

private:
    friend class ExclusiveHold;
    friend class GatedRelock;
    friend class Lending;
    explicit ExclusiveAccess(StateLock& state) : state_(state), lock_(state.mutex_, std::adopt_lock) {}

    StateLock& state_;
    std::unique_lock<std::shared_mutex> lock_;
    std::vector<std::shared_ptr<const void>> later_;
};

/// The proof that a thread shares a state lock. Only SharedHold makes one.
class SharedAccess {
public:
    SharedAccess(const SharedAccess&) = delete;
    SharedAccess& operator=(const SharedAccess&) = delete;

    void verify(const StateLock& state) const;
    void releaseLater(std::shared_ptr<const void> thing) { later_.push_back(std::move(thing)); }

private:
    friend class SharedHold;
    friend class GatedRelock;
    SharedAccess(StateLock& state, StateLock::Admission admission);

    StateLock& state_;
    StateLock::Admission admission_;
    std::shared_lock<std::shared_mutex> lock_; // not a guest's
    std::vector<std::shared_ptr<const void>> later_;
};

/// Scoped exclusive hold. At its end, what was left for later is released, after the lock.
class SCOPED_CAPABILITY ExclusiveHold {
public:
    explicit ExclusiveHold(StateLock& state) ACQUIRE(state) : access_((state.lock(), state)) {}
    /// Takes over what the caller holds.
    ExclusiveHold(StateLock& state, std::adopt_lock_t) REQUIRES(state) : access_(state) {}
    ~ExclusiveHold() RELEASE();
    ExclusiveHold(const ExclusiveHold&) = delete;
    ExclusiveHold& operator=(const ExclusiveHold&) = delete;

    ExclusiveAccess& access() noexcept { return access_; }

private:
    ExclusiveAccess access_;
};

/// Scoped shared hold. Releases what was left for later as ExclusiveHold does.
class SCOPED_CAPABILITY SharedHold {
public:
    explicit SharedHold(StateLock& state) ACQUIRE_SHARED(state) : access_(state, state.lock_shared()) {}
    ~SharedHold() RELEASE();
    SharedHold(const SharedHold&) = delete;
    SharedHold& operator=(const SharedHold&) = delete;

    SharedAccess& access() noexcept { return access_; }

private:
    SharedAccess access_;
};

/// What a state lock guards: it opens against the proof that the lock is held, and to nobody else.
template <class T>
class Guarded {
public:
    explicit Guarded(const StateLock& state, T value = T()) : state_(state), value_(std::move(value)) {}

    T& operator()(const ExclusiveAccess& access) {
        access.verify(state_);
        return value_;
    }
    const T& operator()(const SharedAccess& access) const {
        access.verify(state_);
        return value_;
    }

private:
    const StateLock& state_;
    T value_;
};

/// Lends an exclusive hold, while its holder waits for the daemon, to those whom the daemon may be waiting
/// for. At its end it waits until they have left. The holder touches nothing that the lock guards meanwhile.
class Lending {
public:
    explicit Lending(ExclusiveAccess& access) : state_(access.state_) { state_.lend(); }
    ~Lending() { state_.takeBack(); }
    Lending(const Lending&) = delete;
    Lending& operator=(const Lending&) = delete;

private:
    StateLock& state_;
};

/// Lets a condition wait with a caller's hold, given up during the wait.
class GatedRelock {
public:
    explicit GatedRelock(ExclusiveAccess& access) : exclusive_(&access) {}
    explicit GatedRelock(SharedAccess& access) : shared_(&access) {}

    void lock() NO_THREAD_SAFETY_ANALYSIS;
    void unlock() NO_THREAD_SAFETY_ANALYSIS;

private:
    ExclusiveAccess* exclusive_ = nullptr;
    SharedAccess* shared_ = nullptr;
};

} // namespace agent::spf::cppmsclientutils
