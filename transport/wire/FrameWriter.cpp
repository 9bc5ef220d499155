#include "transport/wire/FrameWriter.h"

#include <cerrno>
#include <limits>
#include <sys/socket.h>

namespace agent::spf::transport::wire {

namespace {
// Buffers that a burst has made larger than this are given back.
constexpr std::size_t usualCapacity = 256 * 1024;
} // namespace

FrameWriter::Outcome FrameWriter::write(FrameBuilder& frame) {
    const foundation::MutexLock lock(mutex_);
    if (!socket_)
        return Outcome::Closed;
    if (unsent_ + queue_.size() + frame.bytes() > queueLimit_)
        return Outcome::OverLimit;
    frame.appendTo(queue_);
    if (holds_ > 0)
        return Outcome::Accepted;
    const auto outcome = blocked_ || sending_ ? Outcome::Accepted : flush();
    count();
    return outcome;
}

FrameWriter::Outcome FrameWriter::resume() {
    const foundation::MutexLock lock(mutex_);
    blocked_ = false;
    const auto outcome = sending_ ? Outcome::Accepted : flush();
    count();
    return outcome;
}

std::size_t FrameWriter::room() {
    const foundation::MutexLock lock(mutex_);
    const auto waiting = unsent_ + queue_.size();
    if (waiting == 0)
        return std::numeric_limits<std::size_t>::max();
    return waiting < queueLimit_ / 2 ? queueLimit_ / 2 - waiting : 0;
}

std::size_t FrameWriter::queued() {
    const foundation::MutexLock lock(mutex_);
    return unsent_ + queue_.size();
}

void FrameWriter::hold() {
    const foundation::MutexLock lock(mutex_);
    ++holds_;
}

FrameWriter::Outcome FrameWriter::release() {
    const foundation::MutexLock lock(mutex_);
    const bool go = --holds_ <= 0;
    const auto outcome = !go || blocked_ || sending_ ? Outcome::Accepted : flush();
    count();
    return outcome;
}

void FrameWriter::close() {
    std::shared_ptr<const foundation::UniqueFd>
        released; // closed after the lock is released, or by the thread that is sending
    const foundation::MutexLock lock(mutex_);
    released.swap(socket_);
    drop();
    count();
}

void FrameWriter::count() {
    const auto now = unsent_ + queue_.size();
    if (ofAll_ && now != counted_)
        *ofAll_ += now - counted_; // modulo 2^64 when it became less
    counted_ = now;
}

void FrameWriter::drop() {
    queue_ = {};
    unsent_ = 0;
    if (sending_)
        return; // by the thread that sends it
    out_ = {};
    sent_ = 0;
}

FrameWriter::Outcome FrameWriter::flush() {
    sending_ = true;
    auto outcome = Outcome::Accepted;
    while (outcome == Outcome::Accepted) {
        if (sent_ == out_.size()) {
            out_.clear();
            if (out_.capacity() > usualCapacity)
                out_ = {};
            sent_ = 0;
            out_.swap(queue_);
            if (out_.empty())
                break;
        }
        const auto socket = socket_;
        if (!socket) {
            outcome = Outcome::Closed;
            break;
        }
        unsent_ = out_.size() - sent_;
        mutex_.unlock();
        const auto count =
            ::send(socket->get(), out_.data() + sent_, out_.size() - sent_, MSG_DONTWAIT | MSG_NOSIGNAL);
        const int error = errno;
        mutex_.lock();
        if (count >= 0) {
            sent_ += static_cast<std::size_t>(count);
        } else if (error == EAGAIN || error == EWOULDBLOCK) {
            blocked_ = true;
            outcome = Outcome::Blocked;
        } else if (error != EINTR) {
            outcome = Outcome::Closed;
        }
        unsent_ = out_.size() - sent_;
    }
    sending_ = false;
    if (!socket_)
        drop();
    return outcome;
}

} // namespace agent::spf::transport::wire
