#include "module/runtime/StateLock.h"

#include "contract/calls/CallbackScope.h"

#include <system_error>

namespace agent::spf::cppmsclientutils {

using core::CallbackScope;
using foundation::MutexLock;

// --- exclusively

void StateLock::lock() {
    ++exclusives_;
    {
        MutexLock gate(gate_);
        ++waiting_;
        while (in_ || owed_ != 0 || sharers_ != 0)
            changed_.wait(gate);
        --waiting_;
        in_ = true;
    }
    mutex_.lock();
}

bool StateLock::lockUnlessInACallbacksWay() {
    ++exclusives_;
    {
        MutexLock gate(gate_);
        const auto arrival = Clock::now();
        ++waiting_;
        while (in_ || owed_ != 0 || sharers_ != 0) {
            if (CallbackScope::active() || (CallbackScope::longest() >= exclusivePatience &&
                                            Clock::now() - arrival >= exclusivePatience)) {
                --waiting_;
                --exclusives_;
                changed_.notify_all(); // those who stood back for this one
                return false;
            }
            changed_.wait_for(gate, firstPatience);
        }
        --waiting_;
        in_ = true;
    }
    mutex_.lock();
    return true;
}

void StateLock::unlock() {
    mutex_.unlock();
    {
        const MutexLock gate(gate_);
        in_ = false;
        ++phase_;
        owed_ = standingBack_;
        patience_ = firstPatience;
        firstLetBy_.reset();
        --exclusives_;
    }
    changed_.notify_all();
}

void StateLock::lend() {
    {
        const MutexLock gate(gate_);
        lent_ = true;
    }
    if (CallbackScope::activeAnywhere())
        changed_.notify_all();
}

void StateLock::takeBack() {
    MutexLock gate(gate_);
    lent_ = false;
    while (guests_ != 0)
        changed_.wait(gate);
}

unsigned StateLock::exclusiveWaiters() const {
    const MutexLock gate(gate_);
    return waiting_;
}

// --- sharing

StateLock::Admission StateLock::lock_shared() {
    ++sharers_;
    const auto admission = exclusives_ == 0 ? Admission::Member : comeInByTheGate();
    if (admission == Admission::Member)
        mutex_.lock_shared();
    return admission;
}

StateLock::Admission StateLock::comeInByTheGate() {
    MutexLock gate(gate_);
    if (--sharers_ == 0)
        changed_.notify_all();
    const auto arrival = Clock::now();
    const auto phase = phase_;
    const auto door = door_;
    ++standingBack_;
    while (!mayComeIn(phase, door)) {
        // A callback may begin at any time, without a word to this lock.
        changed_.wait_for(gate, firstPatience);
        letByIfPatient(arrival, door);
    }
    --standingBack_;
    if (in_) {
        ++guests_;
        return Admission::Guest;
    }
    ++sharers_;
    if (owed_ != 0 && phase_ != phase && --owed_ == 0)
        changed_.notify_all();
    return Admission::Member;
}

bool StateLock::mayComeIn(std::uint64_t arrivalPhase, std::uint64_t arrivalDoor) const {
    if (lent_) // nobody is held up by a guest
        return CallbackScope::activeAnywhere();
    const bool letBy = CallbackScope::active() || door_ != arrivalDoor;
    if (in_) // While a guest is in, the holder waits for it, and so perhaps for those whom it waits for.
        return letBy && guests_ != 0;
    return letBy || waiting_ == 0 || phase_ != arrivalPhase;
}

/// Lets everybody by who stands back now, when one of them has done so long enough and a callback runs.
void StateLock::letByIfPatient(Clock::time_point arrival, std::uint64_t arrivalDoor) {
    const auto now = Clock::now();
    if (door_ != arrivalDoor || CallbackScope::longest() < firstPatience || now - arrival < patience_)
        return;
    ++door_;
    if (!firstLetBy_)
        firstLetBy_ = now;
    if (now - *firstLetBy_ > evenFor)
        patience_ += patience_ / 2;
    changed_.notify_all();
}

void StateLock::unlock_shared(Admission admission) {
    if (admission == Admission::Guest) {
        const MutexLock gate(gate_);
        if (--guests_ == 0)
            changed_.notify_all();
        return;
    }
    mutex_.unlock_shared();
    if (--sharers_ == 0 && exclusives_ != 0) {
        // Through the gate, so that a waiter is not between its look and its sleep.
        { const MutexLock gate(gate_); }
        changed_.notify_all();
    }
}

// --- the proofs and the holds

namespace {
void require(bool held) {
    if (!held)
        throw std::system_error(std::make_error_code(std::errc::operation_not_permitted),
                                "the caller does not hold this client's state lock");
}
} // namespace

void ExclusiveAccess::verify(const StateLock& state) const {
    require(&state == &state_);
}

SharedAccess::SharedAccess(StateLock& state, StateLock::Admission admission)
    : state_(state), admission_(admission) {
    if (admission == StateLock::Admission::Member)
        lock_ = std::shared_lock(state.mutex_, std::adopt_lock);
}

void SharedAccess::verify(const StateLock& state) const {
    require(&state == &state_);
}

ExclusiveHold::~ExclusiveHold() {
    const auto later = std::move(access_.later_);
    access_.lock_.release();
    access_.state_.unlock();
}

SharedHold::~SharedHold() {
    const auto later = std::move(access_.later_);
    access_.lock_.release();
    access_.state_.unlock_shared(access_.admission_);
}

void GatedRelock::unlock() {
    if (exclusive_ != nullptr) {
        exclusive_->lock_.release();
        exclusive_->state_.unlock();
    } else {
        shared_->lock_.release();
        shared_->state_.unlock_shared(shared_->admission_);
    }
}

void GatedRelock::lock() {
    if (exclusive_ != nullptr) {
        exclusive_->state_.lock();
        exclusive_->lock_ = std::unique_lock(exclusive_->state_.mutex_, std::adopt_lock);
    } else {
        shared_->admission_ = shared_->state_.lock_shared();
        if (shared_->admission_ == StateLock::Admission::Member)
            shared_->lock_ = std::shared_lock(shared_->state_.mutex_, std::adopt_lock);
    }
}

} // namespace agent::spf::cppmsclientutils
