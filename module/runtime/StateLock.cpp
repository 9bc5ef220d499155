#include "module/runtime/StateLock.h"

#include "contract/calls/CallbackScope.h"

#include <system_error>

namespace agent::spf::cppmsclientutils {

void StateLock::lock() {
    {
        const foundation::MutexLock gate(gate_);
        ++exclusiveWaiters_;
    }
    mutex_.lock();
    startPhase(1);
}

bool StateLock::try_lock() {
    if (!mutex_.try_lock())
        return false;
    startPhase(0);
    return true;
}

void StateLock::startPhase(unsigned waiters) {
    {
        const foundation::MutexLock gate(gate_);
        exclusiveWaiters_ -= waiters;
        ++phase_;
    }
    phaseChanged_.notify_all();
}

void StateLock::unlock() {
    mutex_.unlock();
}

void StateLock::lock_shared() {
    if (exclusiveWaiters_.load(std::memory_order_relaxed) != 0 && !core::CallbackScope::active()) {
        foundation::MutexLock gate(gate_);
        const auto arrival = phase_;
        while (exclusiveWaiters_ != 0 && phase_ == arrival)
            phaseChanged_.wait(gate);
    }
    // While an exclusive holder is in, glibc lets the shared side in next: that is the turn they stood back
    // for.
    mutex_.lock_shared();
}

void StateLock::unlock_shared() {
    mutex_.unlock_shared();
}

namespace {
template <class Lock>
void verifyLock(const Lock& held, const std::shared_mutex& mutex) {
    if (!held.owns_lock() || held.mutex() != &mutex)
        throw std::system_error(std::make_error_code(std::errc::operation_not_permitted),
                                "the caller does not hold this client's state lock");
}
} // namespace

void StateLock::verify(const std::unique_lock<std::shared_mutex>& held) const {
    verifyLock(held, mutex_);
}
void StateLock::verify(const std::shared_lock<std::shared_mutex>& held) const {
    verifyLock(held, mutex_);
}

ExclusiveHold::ExclusiveHold(StateLock& state) : state_(state) {
    state.lock();
    lock_ = std::unique_lock(state.native(), std::adopt_lock);
}

ExclusiveHold::ExclusiveHold(StateLock& state, std::adopt_lock_t)
    : state_(state), lock_(state.native(), std::adopt_lock) {}

ExclusiveHold::~ExclusiveHold() {
    state_.verify(lock_);
    const auto deferred = state_.takeDeferred();
    lock_.unlock();
}

SharedHold::SharedHold(StateLock& state) {
    state.lock_shared();
    lock_ = std::shared_lock(state.native(), std::adopt_lock);
}

void GatedRelock::unlock() {
    if (exclusive_ != nullptr)
        exclusive_->unlock();
    else
        shared_->unlock();
}

void GatedRelock::lock() {
    if (exclusive_ != nullptr) {
        state_.lock();
        *exclusive_ = std::unique_lock(state_.native(), std::adopt_lock);
    } else {
        state_.lock_shared();
        *shared_ = std::shared_lock(state_.native(), std::adopt_lock);
    }
}

} // namespace agent::spf::cppmsclientutils
