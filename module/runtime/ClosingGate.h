#pragma once

#include <foundation/thread_annotations.h>

#include <chrono>
#include <condition_variable>
#include <thread>
#include <vector>

namespace agent::spf::cppmsclientutils {

/// A gate before things that must not begin any more once their owner's end has begun.
///
/// No lock is held while somebody is past it, so what runs there may do anything, closing the gate included.
class ClosingGate {
public:
    /// Past the gate while it lives, if it got in.
    class Passage {
    public:
        explicit Passage(ClosingGate& gate) : gate_(gate), in_(gate.enter()) {}
        ~Passage() {
            if (in_)
                gate_.leave();
        }
        Passage(const Passage&) = delete;
        Passage& operator=(const Passage&) = delete;
        explicit operator bool() const noexcept { return in_; }

    private:
        ClosingGate& gate_;
        const bool in_;
    };

    /// Lets nobody in any more, then waits, up to the limit, until those of other threads have left.
    void close(std::chrono::nanoseconds limit);

private:
    bool enter();
    void leave();

    foundation::Mutex mutex_; // a leaf
    std::condition_variable_any left_;
    bool closed_ GUARDED_BY(mutex_) = false;
    std::vector<std::thread::id> inside_ GUARDED_BY(mutex_);
};

} // namespace agent::spf::cppmsclientutils
