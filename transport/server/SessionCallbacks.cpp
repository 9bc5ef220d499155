// The calls in the other direction: from a service to a function that the client exported.

#include "transport/server/Session.h"
#include "transport/wire/Deadline.h"
#include "transport/wire/PayloadCodec.h"

#include <boost/asio/post.hpp>

namespace agent::spf::transport {

using foundation::log::logging_event_types;

namespace {

/// @throws core::RefusedError when the arguments cannot be sent.
void fill(wire::FrameBuilder& frame, const PendingCallbacks::Callback& callback) {
    auto message = frame.message().initCallback();
    wire::encodeUuid(callback.function, message.initCallback());
    wire::encodePayload(callback.arguments,
                        message.initPayload(static_cast<unsigned>(callback.arguments.size())));
}

} // namespace

void Session::callBack(const boost::uuids::uuid& callback, core::GenericPayload arguments,
                       std::chrono::milliseconds timeout, core::CompletionHandler handler) {
    const auto now = Clock::now();
    PendingCallbacks::Callback call{callback, std::move(arguments), 0, wire::deadlineAfter(now, timeout)};
    bool earliest = false;
    try {
        if (call.deadline <= now)
            throw core::TimeoutError("The callback was overdue before it was sent");
        {
            wire::FrameBuilder frame;
            fill(frame, call);
            call.bytes = frame.bytes();
        }
        if (call.bytes > peerFrameBytes_)
            throw core::RefusedError("The arguments take " + std::to_string(call.bytes) +
                                     " bytes, the client reads " + std::to_string(peerFrameBytes_) +
                                     " at most");
        earliest = callbacks_.add(handler, std::move(call));
    } catch (...) {
        run(handler, std::current_exception());
        return;
    }
    sendCallbacks();
    if (earliest)
        boost::asio::post(core_->io, [self = shared_from_this()] { self->armTimer(); });
}

/// Sends those whose turn it is, and for which there is room: a client that reads slowly is not to be taken
/// for one that does not read.
void Session::sendCallbacks() {
    if (!callbacks_.startSending())
        return;
    do {
        while (auto due = callbacks_.next(writer_.room()))
            sendCallback(*due);
    } while (!callbacks_.stopSending());
}

void Session::sendCallback(const PendingCallbacks::Due& due) noexcept {
    try {
        wire::FrameBuilder frame;
        fill(frame, due.callback);
        frame.message().getCallback().setId(due.id);
        frame.message().getCallback().setRemainingMs(wire::remainingMs(Clock::now(), due.callback.deadline));
        send(frame);
    } catch (const std::exception&) {
        // Out of memory.
        if (const auto handler = callbacks_.take(due.id))
            run(*handler, std::current_exception());
    }
}

void Session::endCallback(wire::Reply::Reader reply) {
    const auto handler = callbacks_.take(reply.getId());
    if (!handler)
        return; // overdue
    if (reply.isError()) {
        const auto error = reply.getError();
        run(*handler, core::makeInvocationError(wire::errorKindOf(error.getKind()),
                                                wire::errorTextOf(error.getText())));
        return;
    }
    core::GenericPayload result;
    try {
        result = wire::decodePayload(reply.getPayload(), core_->options.limits.slots);
    } catch (const core::MalformedError&) {
        run(*handler, std::current_exception());
        return;
    } catch (const kj::Exception&) {
        run(*handler,
            core::makeInvocationError(core::ErrorKind::Malformed, "The client's reply cannot be read"));
        throw;
    }
    run(*handler, std::move(result));
}

void Session::armTimer() {
    const auto next = closed_ ? std::nullopt : callbacks_.earliest();
    if (!next)
        return;
    timer_.expires_at(*next); // ends an earlier wait
    timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
        if (!error)
            self->onTimer();
    });
}

void Session::onTimer() {
    for (const auto& handler : callbacks_.takeOverdue(Clock::now()))
        run(handler, core::makeInvocationError(core::ErrorKind::Timeout,
                                               "No answer from the client's callback in time"));
    armTimer();
}

void Session::run(const core::CompletionHandler& handler, core::GenericPayload result) const noexcept {
    try {
        handler.onValue(std::move(result));
    } catch (...) {
        core_->log.log(logging_event_types::error, "A completion handler of a callback threw; ignored");
    }
}

void Session::run(const core::CompletionHandler& handler, std::exception_ptr error) const noexcept {
    try {
        handler.onError(std::move(error));
    } catch (...) {
        core_->log.log(logging_event_types::error, "A completion handler of a callback threw; ignored");
    }
}

} // namespace agent::spf::transport
