#pragma once

#include "transport/wire/Frame.h"

#include <foundation/thread_annotations.h>
#include <foundation/unique_fd.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

namespace agent::spf::transport::wire {

/// Sends frames from many threads over one socket without ever blocking. Whoever finds nobody sending sends,
/// and goes on with what the others append meanwhile, so that under load many frames share a system call.
///
/// Thread-safe. The lock is a leaf and is not held during system calls.
class FrameWriter {
public:
    enum class Outcome {
        Accepted,  ///< sent, or will be
        Blocked,   ///< accepted, but the socket is full: the caller arranges for resume() when it is writable
                   ///< again
        OverLimit, ///< not accepted: too much is waiting for the peer
        Closed,    ///< the connection is gone
    };

    /// @param queueLimit how many bytes may wait for the peer.
    /// @param ofAll is kept at how many wait for the peers of all writers that share it; outlives this.
    FrameWriter(std::shared_ptr<const foundation::UniqueFd> socket, std::size_t queueLimit,
                std::atomic<std::size_t>* ofAll = nullptr)
        : queueLimit_(queueLimit), ofAll_(ofAll), socket_(std::move(socket)) {}

    Outcome write(FrameBuilder& frame);
    /// Goes on after Blocked.
    Outcome resume();

    /// How long a frame may be that can well wait for a while: half of what may wait for the peer in all. Any
    /// length when nothing is waiting.
    std::size_t room();
    /// How many bytes wait for the peer.
    std::size_t queued();

    /// Until as many release() frames are collected only, whoever writes them.
    void hold();
    Outcome release();

    /// Sends nothing more, and lets go of the socket and of what waits.
    void close();

private:
    /// Releases the lock during system calls.
    Outcome flush() REQUIRES(mutex_);

    void drop() REQUIRES(mutex_);
    /// After each change of what waits.
    void count() REQUIRES(mutex_);

    const std::size_t queueLimit_;
    std::atomic<std::size_t>* const ofAll_;
    foundation::Mutex mutex_;
    std::shared_ptr<const foundation::UniqueFd> socket_ GUARDED_BY(mutex_);
    std::vector<std::byte> queue_ GUARDED_BY(mutex_);
    int holds_ GUARDED_BY(mutex_) = 0;
    bool blocked_ GUARDED_BY(mutex_) = false;
    bool sending_ GUARDED_BY(mutex_) = false;
    std::size_t unsent_ GUARDED_BY(mutex_) = 0;  // bytes of out_ not yet sent, as of the last system call
    std::size_t counted_ GUARDED_BY(mutex_) = 0; // of this writer's in ofAll_
    // These two belong to the thread that set sending_.
    std::vector<std::byte> out_;
    std::size_t sent_ = 0;
};

} // namespace agent::spf::transport::wire
