// What a connection's reader does, on whichever thread it is.

#include "transport/client/CallbackTask.h"
#include "transport/client/Connection.h"
#include "transport/wire/Deadline.h"
#include "transport/wire/PayloadCodec.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace agent::spf::transport {

using foundation::log::logging_event_types;

bool Connection::receive(Clock::time_point until, Clock::time_point now) noexcept {
    try {
        // What a reader inside a handler of an earlier frame has left, or is to find.
        handleFrames();
        wakeCallers();
        const auto left = until - now;
        if (left <= Clock::duration::zero())
            return false;
        int flags = 0;
        if (left < readSlice) {
            pollfd fd{socket_->get(), POLLIN, 0};
            const timespec time{0, std::chrono::nanoseconds(left).count()};
            ::ppoll(&fd, 1, &time, nullptr);
            flags = MSG_DONTWAIT;
        }
        const auto room = buffer_.prepare();
        const auto count = ::recv(socket_->get(), room.data(), room.size(), flags);
        if (count > 0) {
            buffer_.commit(static_cast<std::size_t>(count));
            handleFrames();
            wakeCallers();
        } else if (count == 0) {
            disconnect("the daemon closed the connection");
        } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            disconnect(std::string("the connection broke: ") + std::strerror(errno));
        }
    } catch (const std::exception& error) {
        disconnect(error.what());
        wakeCallers(); // those completed before it
    }
    return true;
}

void Connection::handleFrames() {
    std::string why;
    try {
        while (const auto body = buffer_.next())
            handle(wire::FrameReader(*body, limits_).message());
        return;
    } catch (const kj::Exception&) {
        why = "malformed frame: not a readable message";
    } catch (const core::MalformedError& error) {
        why = std::string("malformed frame: ") + error.what();
    }
    // First the callers: writing the log may take as long as it likes.
    disconnect("the daemon sent a " + why);
    log_.log(logging_event_types::warning, "The connection to the daemon is closed, " + why);
}

void Connection::handle(wire::Message::Reader message) {
    if (message.isReply())
        handleReply(message.getReply());
    else if (message.isCallback())
        runCallback(message.getCallback());
    else if (message.isGoodbye())
        disconnect("the daemon said goodbye: " + wire::errorTextOf(message.getGoodbye().getText()));
    else
        throw core::MalformedError("a message of the kind " +
                                   std::to_string(static_cast<unsigned>(message.which())) +
                                   ", which a daemon never sends here");
}

void Connection::handleReply(wire::Reply::Reader reply) {
    std::optional<PendingCall> call;
    bool othersWait = false;
    {
        const foundation::MutexLock lock(mutex_);
        if (!calls_.issued(reply.getId()))
            throw core::MalformedError("a reply to a call that was never made");
        call = calls_.take(reply.getId());
        othersWait = !waiting_.empty();
    }
    if (othersWait)
        sendWaiting();
    if (!call)
        return; // overdue
    methods_.agree(call->defines);
    if (reply.isError()) {
        const auto error = reply.getError();
        auto kind = wire::errorKindOf(error.getKind());
        // Only functions of this side are withdrawn. Thrown on by one of them, it would say that it is gone.
        if (kind == core::ErrorKind::Withdrawn)
            kind = core::ErrorKind::Refused;
        fail(*call, core::makeInvocationError(kind, wire::errorTextOf(error.getText())));
        return;
    }
    try {
        call->receiver->read(reply.getPayload(), limits_.slots);
    } catch (const core::MalformedError& error) {
        fail(*call, core::makeInvocationError(core::ErrorKind::Malformed,
                                              "The answer to " + std::string(call->method()) +
                                                  " cannot be read: " + error.what()));
        return;
    } catch (...) {
        fail(*call,
             core::makeInvocationError(core::ErrorKind::Malformed,
                                       "The answer to " + std::string(call->method()) + " cannot be read"));
        throw;
    }
    succeed(*call);
}

void Connection::runCallback(wire::Callback::Reader callback) {
    const auto id = callback.getId();
    if (++runningCallbacks_ > limits_.pendingCallsPerConnection) {
        answerCallback(id, core::ErrorKind::Refused,
                       "Too many callbacks without an answer on this connection (limit " +
                           std::to_string(limits_.pendingCallsPerConnection) + ')');
        return;
    }
    core::GenericPayload arguments;
    try {
        arguments = wire::decodePayload(callback.getPayload(), limits_.slots);
    } catch (const core::MalformedError& error) {
        answerCallback(id, error.kind(), error.what());
        return;
    }
    const auto uuid = wire::decodeUuid(callback.getCallback());
    const auto deadline =
        wire::deadlineAfter(Clock::now(), std::chrono::milliseconds(callback.getRemainingMs()));
    // A task that is not run answers as it goes.
    auto task = std::make_shared<CallbackTask>(weak_from_this(), callbacks_,
                                               CallbackTask::Call{id, uuid, std::move(arguments), deadline},
                                               executor_.stopToken());
    executor_.post(uuid, [task = std::move(task)] { task->run(); });
}

void Connection::answerCallback(std::uint64_t id, const core::GenericPayload& result) noexcept {
    wire::FrameBuilder frame;
    try {
        wire::fillReply(frame.message().initCallbackReply(), id, result);
        if (frame.bytes() > peerFrameBytes_)
            throw core::RefusedError("The callback's result takes " + std::to_string(frame.bytes()) +
                                     " bytes, the daemon reads " + std::to_string(peerFrameBytes_) +
                                     " at most");
    } catch (const std::exception& error) {
        answerCallback(id, core::ErrorKind::Refused, error.what());
        return;
    }
    sendAnswer(frame);
}

void Connection::answerCallback(std::uint64_t id, core::ErrorKind kind, const std::string& text) noexcept {
    wire::FrameBuilder frame;
    try {
        wire::fillError(frame.message().initCallbackReply(), id, kind, text);
    } catch (const std::exception&) {
        --runningCallbacks_; // out of memory: the daemon's own limit ends the callback
        return;
    }
    sendAnswer(frame);
}

void Connection::sendAnswer(wire::FrameBuilder& frame) noexcept {
    // Before the daemon has the answer, for then it may send the next.
    --runningCallbacks_;
    try {
        heed(writer_.write(frame));
    } catch (const std::exception&) {
        // Out of memory: the daemon's own limit ends the callback.
    }
}

} // namespace agent::spf::transport
