#include "transport/client/Connection.h"

#include "transport/wire/Deadline.h"
#include "transport/wire/PayloadCodec.h"

#include <algorithm>
#include <cerrno>
#include <sched.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <system_error>
#include <utility>

namespace agent::spf::transport {

using foundation::log::logging_event_types;
using Outcome = wire::FrameWriter::Outcome;

Connection::Connection(Dialled dialled, const Limits& limits,
                       foundation::concurrent::threadpool::Executor& executor, std::function<void()> onLost)
    : limits_(limits), socket_(std::move(dialled.socket)), peerFrameBytes_(dialled.peerFrameBytes),
      executor_(executor), onLost_(std::move(onLost)),
      callbacks_(std::make_shared<core::CallbackTable>(limits.callbacksPerConnection)),
      methods_(std::min(limits.methods, dialled.methods)), writer_(socket_, limits.queuedBytesPerConnection),
      buffer_(std::move(dialled.buffer)) {
    role_.onFree([this] { wakeUp_.wake(); });
    timeval limit{0, std::chrono::microseconds(readSlice).count()};
    if (::setsockopt(socket_->get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0)
        throw std::system_error(errno, std::generic_category(), "SO_RCVTIMEO");
}

Connection::~Connection() {
    disconnect("the connection was given up");
    join();
}

void Connection::start() {
    thread_ = std::thread([this] { background(); });
}

void Connection::join() {
    if (!thread_.joinable())
        return;
    thread_.join();
    role_.retire(); // a caller that is still reading may be handing a callback to the executor
    wakeUp_.close();
    [[maybe_unused]] const auto releasedBuffer = std::move(buffer_);
    std::shared_ptr<const foundation::UniqueFd> released;
    const foundation::MutexLock lock(mutex_);
    released.swap(socket_);
}

std::string Connection::lossReason() const {
    const foundation::MutexLock lock(mutex_);
    return lossReason_;
}

std::uint64_t Connection::call(std::uint32_t service, std::optional<std::chrono::milliseconds> timeout,
                               std::string method, core::SignatureDescriptor signature,
                               const core::GenericPayload& arguments, core::CompletionHandler handler) {
    PendingCall pending;
    pending.owned = std::make_unique<HandlerReceiver>(std::move(method), std::move(handler));
    pending.receiver = pending.owned.get();
    return start(service, timeout, signature, arguments, pending, Clock::now());
}

void Connection::callAndWait(std::uint32_t service, std::optional<std::chrono::milliseconds> timeout,
                             std::string_view method, core::SignatureDescriptor signature,
                             std::span<const core::ArgumentRef> arguments, core::ResultRef result) {
    BlockedCaller caller(method, result);
    ReaderRole::Waiter waiter;
    PendingCall pending;
    pending.receiver = &caller;
    pending.waiter = &waiter;
    const auto now = Clock::now();
    if (const auto id = start(service, timeout, signature, arguments, pending, now); id != 0)
        wait(id, waiter, wire::deadlineAfter(now, timeout.value_or(limits_.defaultCallTimeout)), now);
    caller.rethrow();
}

template <class Arguments>
std::uint64_t Connection::start(std::uint32_t service, std::optional<std::chrono::milliseconds> timeout,
                                core::SignatureDescriptor signature, const Arguments& arguments,
                                PendingCall& pending, Clock::time_point now) {
    pending.timeout = timeout.value_or(limits_.defaultCallTimeout);
    pending.deadline = wire::deadlineAfter(now, pending.timeout);
    const auto method = pending.method();
    const auto deadline = pending.deadline;
    const auto encode = [&](wire::FrameBuilder& frame) {
        auto call = frame.message().initCall();
        call.setService(service);
        call.setRemainingMs(wire::remainingMs(now, deadline));
        const auto known = methods_.find(method, signature);
        call.setMethod(known.number);
        if (!known.agreed) {
            pending.defines = known.number;
            wire::fillMethod(call.initTexts(), method, signature.named(method));
        }
        wire::encodePayload(arguments, call.initPayload(static_cast<unsigned>(arguments.size())));
        return call;
    };
    std::uint64_t id = 0;
    try {
        if (deadline <= now)
            std::rethrow_exception(overdue(pending));
        wire::FrameBuilder frame;
        auto call = encode(frame);
        if (frame.bytes() > peerFrameBytes_)
            throw core::RefusedError("The call of " + std::string(method) + " takes " +
                                     std::to_string(frame.bytes()) + " bytes, the daemon reads " +
                                     std::to_string(peerFrameBytes_) + " at most");
        auto recorded = record(pending, id, nullptr);
        if (recorded == Recorded::HasToWait) {
            auto waiting = std::make_unique<WaitingCall>();
            waiting->call = encode(waiting->frame);
            waiting->deadline = deadline;
            recorded = record(pending, id, std::move(waiting));
        }
        if (recorded == Recorded::ToBeSent) {
            call.setId(id);
            if (!send(frame, id))
                sendWaiting();
        }
    } catch (...) {
        if (id == 0)
            fail(pending, std::current_exception());
        else
            end(id, std::current_exception());
        sendWaiting();
    }
    return id;
}

Connection::Recorded Connection::record(PendingCall& call, std::uint64_t& id,
                                        std::unique_ptr<WaitingCall> waiting) {
    bool earlier = false;
    auto recorded = Recorded::ToBeSent;
    {
        const foundation::MutexLock lock(mutex_);
        if (lost_)
            throw core::DisconnectedError("The daemon is not connected: " + lossReason_);
        if (calls_.sent() >= limits_.pendingCallsPerConnection || !waiting_.empty()) {
            if (!waiting)
                return Recorded::HasToWait;
            const auto bytes = waiting->bytes();
            if (waitingBytes_ + bytes > limits_.queuedBytesPerConnection)
                forgetEndedWaiting();
            if (waitingBytes_ + bytes > limits_.queuedBytesPerConnection)
                throw core::RefusedError("Too many calls without an answer on this connection (limit " +
                                         std::to_string(limits_.pendingCallsPerConnection) + "), and " +
                                         std::to_string(waitingBytes_) +
                                         " bytes of calls that wait for them");
            call.sent = false;
            waiting_.push_back(std::move(waiting));
            waitingBytes_ += bytes;
            recorded = Recorded::Waits;
        }
        earlier = call.deadline < backgroundWakes_;
        if (earlier)
            backgroundWakes_ = call.deadline;
        id = calls_.add(std::move(call));
        if (recorded == Recorded::Waits) {
            waiting_.back()->id = id;
            waiting_.back()->call.setId(id);
        }
    }
    if (earlier)
        wakeUp_.wake();
    return recorded;
}

void Connection::forgetEndedWaiting() {
    std::erase_if(waiting_, [this](const auto& one) REQUIRES(mutex_) {
        const bool ended = calls_.find(one->id) == nullptr;
        if (ended)
            waitingBytes_ -= one->bytes();
        return ended;
    });
}

/// After the end of a call: the next ones take its place.
void Connection::sendWaiting() noexcept {
    for (;;) {
        std::unique_ptr<WaitingCall> next;
        {
            const foundation::MutexLock lock(mutex_);
            if (waiting_.empty() || calls_.sent() >= limits_.pendingCallsPerConnection)
                return;
            next = std::move(waiting_.front());
            waiting_.pop_front();
            waitingBytes_ -= next->bytes();
            auto* call = calls_.find(next->id);
            if (call == nullptr)
                continue; // has ended
            calls_.markSent(*call);
        }
        try {
            next->call.setRemainingMs(wire::remainingMs(Clock::now(), next->deadline));
            send(next->frame, next->id);
        } catch (...) {
            end(next->id, std::current_exception());
        }
    }
}

/// False when the call has ended instead.
bool Connection::send(wire::FrameBuilder& frame, std::uint64_t call) {
    const auto outcome = writer_.write(frame);
    if (outcome != Outcome::OverLimit) {
        heed(outcome);
        return true;
    }
    auto error = std::make_exception_ptr(
        core::RefusedError("The daemon does not read what it is sent: more than " +
                           std::to_string(limits_.queuedBytesPerConnection) + " bytes wait for it"));
    end(call, std::move(error));
    return false;
}

void Connection::heed(Outcome outcome) noexcept {
    if (outcome == Outcome::Blocked) {
        wantsWritable_ = true;
        wakeUp_.wake();
    } else if (outcome == Outcome::OverLimit) {
        disconnect("the daemon does not read what it is sent");
    } else if (outcome == Outcome::Closed) {
        disconnect("the connection broke while sending");
    }
}

void Connection::end(std::uint64_t call, std::exception_ptr error) noexcept {
    std::optional<PendingCall> taken;
    {
        const foundation::MutexLock lock(mutex_);
        taken = calls_.take(call);
    }
    if (taken)
        fail(*taken, std::move(error));
}

template <class Run>
void Connection::runHandler(const PendingCall& call, const Run& run) noexcept {
    try {
        run();
    } catch (...) {
        log_.log(logging_event_types::error,
                 "The completion handler of " + std::string(call.method()) + " threw; ignored");
    }
}

void Connection::fail(PendingCall& call, std::exception_ptr error) noexcept {
    runHandler(call, [&] { call.receiver->fail(std::move(error)); });
    if (call.waiter && role_.finish(*call.waiter))
        ReaderRole::wake(*call.waiter);
}

void Connection::succeed(PendingCall& call) noexcept {
    runHandler(call, [&] { call.receiver->succeed(); });
    if (!call.waiter || !role_.finish(*call.waiter))
        return;
    if (toWakeCount_ == toWake_.size())
        ReaderRole::wake(*call.waiter);
    else
        toWake_[toWakeCount_++] = call.waiter;
}

// A caller that is woken in the midst of a batch takes the processor from the reader, to send one call alone.
// So callers are woken after the batch, get the processor, and what they then ask for goes out together.
void Connection::wakeCallers() noexcept {
    if (toWakeCount_ == 0)
        return;
    writer_.hold();
    for (std::size_t i = 0; i < toWakeCount_; ++i)
        ReaderRole::wake(*toWake_[i]);
    toWakeCount_ = 0;
    ::sched_yield();
    heed(writer_.release());
}

std::exception_ptr Connection::overdue(const PendingCall& call) {
    return std::make_exception_ptr(core::TimeoutError("No answer to " + std::string(call.method()) +
                                                      " within its limit of " +
                                                      std::to_string(call.timeout.count()) + " ms"));
}

void Connection::help(std::uint64_t call) noexcept {
    ReaderRole::Waiter waiter;
    Clock::time_point deadline;
    {
        const foundation::MutexLock lock(mutex_);
        auto* pending = calls_.find(call);
        if (!pending || pending->waiter)
            return;
        pending->waiter = &waiter;
        deadline = pending->deadline;
    }
    wait(call, waiter, deadline, Clock::now());
}

void Connection::wait(std::uint64_t call, ReaderRole::Waiter& waiter, Clock::time_point deadline,
                      Clock::time_point now) noexcept {
    for (;; now = Clock::now()) {
        const auto turn = role_.await(waiter, deadline);
        if (turn == ReaderRole::Turn::Done)
            break;
        if (turn == ReaderRole::Turn::Read && receive(deadline, now))
            continue;
        std::optional<PendingCall> late;
        {
            const foundation::MutexLock lock(mutex_);
            late = calls_.take(call);
        }
        if (late)
            fail(*late, overdue(*late));
        sendWaiting();
        role_.awaitDone(waiter); // is done, or another thread has the call in hand
        break;
    }
    role_.leave(waiter);
}

void Connection::disconnect(const std::string& why) noexcept {
    std::vector<PendingCall> pending;
    std::deque<std::unique_ptr<WaitingCall>> waiting;
    std::shared_ptr<const foundation::UniqueFd> socket; // may be released by another thread meanwhile
    {
        const foundation::MutexLock lock(mutex_);
        if (std::exchange(lost_, true))
            return;
        lossReason_ = why;
        pending = calls_.takeAll();
        waiting.swap(waiting_);
        socket = socket_;
    }
    // Ends reading on whatever thread. The descriptor itself stays until nobody can use it any more.
    ::shutdown(socket->get(), SHUT_RDWR);
    writer_.close();
    for (auto& call : pending) {
        // One owner at a time: what is thrown belongs to the caller alone once it has been told.
        auto error = std::make_exception_ptr(
            core::DisconnectedError("The connection to the daemon ended before it answered " +
                                    std::string(call.method()) + ": " + why));
        fail(call, std::move(error));
    }
    wakeUp_.wake();
    onLost_();
}

} // namespace agent::spf::transport
