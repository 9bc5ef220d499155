#pragma once

#include <foundation/concurrent/threadpool/Executor.h>
#include <foundation/thread_annotations.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <list>

namespace hshd {

/// The one thread on which everything runs that changes the state. Clients take turns, so that one with many
/// or large changes costs another at most one of them; what one client posts runs in its order. Thread-safe.
class StateThread {
public:
    /// Whose work it is; null for the daemon's own, which counts as one more client.
    using Owner = const void*;
    struct Limits {
        std::size_t ofOwner = 16U << 20; ///< bytes that wait; also how many are counted at 512 bytes each
        std::size_t ofAll = 128U << 20;
    };
    enum class Posted { Yes, Full, Ending };

    StateThread() : StateThread(Limits()) {}
    explicit StateThread(const Limits& limits);
    /// Ends without running what still waits; drain() first.
    ~StateThread() = default;

    /// @param bytes that the work keeps while it waits. Unless Posted::Yes the work was destroyed unrun. One
    /// piece of work of an owner is taken whatever its size.
    Posted post(Owner owner, std::size_t bytes, std::function<void()> work);
    /// The daemon's own. @return false while the thread ends.
    bool post(std::function<void()> work) { return post(nullptr, 0, std::move(work)) == Posted::Yes; }
    /// Destroys an owner's work that has not begun.
    void drop(Owner owner);
    /// Waits for all that was posted before. Not from the thread itself.
    void drain();

private:
    struct Item {
        std::function<void()> work;
        std::size_t bytes;
    };
    struct Queue {
        Owner owner;
        std::deque<Item> items;
        std::size_t bytes = 0;
    };

    void runNext();

    const Limits limits_;
    foundation::Mutex mutex_;                    // a leaf: no work runs and none is destroyed under it
    std::list<Queue> queues_ GUARDED_BY(mutex_); // none of them empty; the first has the next turn
    std::size_t bytes_ GUARDED_BY(mutex_) = 0;
    foundation::concurrent::threadpool::Executor executor_; // last: ends first
};

} // namespace hshd
