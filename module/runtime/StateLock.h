#pragma once

#include <foundation/thread_annotations.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <utility>
#include <vector>

namespace agent::spf::cppmsclientutils {

/// A tracker's state lock: a std::shared_mutex with a gate before it that keeps either side from starving the
/// other.
///
/// Bare, glibc's lock lets readers in while writers wait, so callers that never pause would keep the found
/// and removed handlers out for ever. Here, threads that come to share the lock while somebody waits for it
/// exclusively stand back until one exclusive holder has had it; then all of those go before the next
/// exclusive one.
///
/// Threads inside an exported callback never stand back: the daemon may be holding the answer to a call,
/// whose caller shares the lock, until that callback ends.
class CAPABILITY("shared_mutex") StateLock {
public:
    void lock() ACQUIRE();
    /// Not from a thread that shares the lock.
    bool try_lock() TRY_ACQUIRE(true);
    void unlock() RELEASE();
    void lock_shared() ACQUIRE_SHARED();
    void unlock_shared() RELEASE_SHARED();

    std::shared_mutex& native() noexcept { return mutex_; }

    /// How many threads wait to hold it exclusively, for diagnosis.
    unsigned exclusiveWaiters() const noexcept { return exclusiveWaiters_; }

    /// Keeps something alive until the exclusive hold that is in now has ended: foreign destructors never run
    /// under the lock.
    void releaseLater(std::shared_ptr<const void> thing) REQUIRES(this) {
        deferred_.push_back(std::move(thing));
    }
    std::vector<std::shared_ptr<const void>> takeDeferred() REQUIRES(this) {
        return std::exchange(deferred_, {});
    }

    /// Verifies that the caller's lock is this one and held. @throws std::system_error
    /// operation_not_permitted.
    void verify(const std::unique_lock<std::shared_mutex>& held) const ASSERT_CAPABILITY(this);
    void verify(const std::shared_lock<std::shared_mutex>& held) const ASSERT_SHARED_CAPABILITY(this);

private:
    /// An exclusive holder is in, and waits no longer.
    void startPhase(unsigned waiters);

    std::shared_mutex mutex_;
    std::vector<std::shared_ptr<const void>> deferred_; // guarded by mutex_, exclusively

    std::atomic<unsigned> exclusiveWaiters_{0}; // raised and lowered under gate_, peeked at without
    foundation::Mutex gate_;                    // a leaf; never held while mutex_ is waited for
    std::uint64_t phase_ GUARDED_BY(gate_) = 0; // counts exclusive holders
    std::condition_variable_any phaseChanged_;
};

/// Scoped exclusive hold. At its end, what was left for later is released, after the lock.
class SCOPED_CAPABILITY ExclusiveHold {
public:
    explicit ExclusiveHold(StateLock& state) ACQUIRE(state);
    /// Takes over what the caller holds.
    ExclusiveHold(StateLock& state, std::adopt_lock_t) REQUIRES(state);
    ~ExclusiveHold() RELEASE();
    ExclusiveHold(const ExclusiveHold&) = delete;
    ExclusiveHold& operator=(const ExclusiveHold&) = delete;

    /// The lock as it is passed on to those who need it held.
    std::unique_lock<std::shared_mutex>& lock() noexcept { return lock_; }

private:
    StateLock& state_;
    std::unique_lock<std::shared_mutex> lock_;
};

/// Scoped shared hold.
class SCOPED_CAPABILITY SharedHold {
public:
    explicit SharedHold(StateLock& state) ACQUIRE_SHARED(state);
    ~SharedHold() RELEASE() {}
    SharedHold(const SharedHold&) = delete;
    SharedHold& operator=(const SharedHold&) = delete;

    std::shared_lock<std::shared_mutex>& lock() noexcept { return lock_; }

private:
    std::shared_lock<std::shared_mutex> lock_;
};

/// Lets a condition wait with a caller's lock: what the wait takes again goes through the gate, so an
/// exclusive waiter that wakes up does not starve.
class GatedRelock {
public:
    GatedRelock(StateLock& state, std::unique_lock<std::shared_mutex>& lock)
        : state_(state), exclusive_(&lock) {}
    GatedRelock(StateLock& state, std::shared_lock<std::shared_mutex>& lock)
        : state_(state), shared_(&lock) {}

    void lock() NO_THREAD_SAFETY_ANALYSIS;
    void unlock() NO_THREAD_SAFETY_ANALYSIS;

private:
    StateLock& state_;
    std::unique_lock<std::shared_mutex>* exclusive_ = nullptr;
    std::shared_lock<std::shared_mutex>* shared_ = nullptr;
};

} // namespace agent::spf::cppmsclientutils
