#pragma once

#include "contract/calls/BlockingCall.h"
#include "contract/calls/CallbackTable.h"
#include "contract/calls/CompletionHandler.h"
#include "contract/calls/GenericPayload.h"
#include "contract/calls/SignatureDescriptor.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace agent::spf::core {

/// A call on its way: its result, and the name under which its Invokable knows it.
template <class R>
struct StartedCall {
    std::future<R> result;
    std::uint64_t id;
};

/// A daemon's callable service as seen in this process. Thread-safe.
class Invokable {
public:
    using CallId = std::uint64_t;

    virtual ~Invokable();

    /// Calls a remote method. Never blocks; every failure, be it of sending, of the remote side, of time or
    /// of reading the answer, comes through the future.
    template <class R, class... Args>
    requires(!std::is_same_v<std::remove_cvref_t<Args>, CompletionHandler> &&
             ...) std::future<R> invokeAsync(std::chrono::seconds timeout, std::string method,
                                             Args&&... args) {
        return startCall<R>(timeout, std::move(method), std::forward<Args>(args)...).result;
    }

    /// As above, ending in `handler` instead of a future.
    template <class R, class... Args>
    void invokeAsync(std::chrono::seconds timeout, std::string method, CompletionHandler handler,
                     Args&&... args) {
        invokeGeneric(timeout, std::move(method), SignatureDescriptor::of<R(Args...)>(),
                      GenericPayload::of(std::forward<Args>(args)...), std::move(handler));
    }

    /// Calls a remote method and waits for its end, without a copy of any argument.
    /// @throws whatever the call failed with, as the future of invokeAsync() would.
    template <class R, class... Args>
    R call(std::chrono::seconds timeout, std::string_view method, const Args&... args) {
        const std::array<ArgumentRef, sizeof...(Args)> arguments{ArgumentRef(args)...};
        constexpr auto signature = SignatureDescriptor::of<R(Args...)>();
        if constexpr (std::is_void_v<R>) {
            callAndWait(timeout, method, signature, arguments, ResultRef());
        } else {
            R result{};
            callAndWait(timeout, method, signature, arguments, ResultRef(result));
            return result;
        }
    }

    /// invokeAsync() for a caller that does something else first, and then waits: pass the id to help().
    template <class R, class... Args>
    StartedCall<R> startCall(std::chrono::seconds timeout, std::string method, Args&&... args) {
        auto promise = std::make_shared<std::promise<R>>();
        auto result = promise->get_future();
        const CallId id = invokeGeneric(timeout, std::move(method), SignatureDescriptor::of<R(Args...)>(),
                                        GenericPayload::of(std::forward<Args>(args)...),
                                        promiseCompletingHandler<R>(std::move(promise)));
        return {std::move(result), id};
    }

    /// Sends a call. Never blocks and never throws but for memory exhaustion: `handler` learns of every
    /// failure, possibly before this returns. The Invokable ends an overdue call itself, with a TimeoutError.
    /// @param timeout without one, the Invokable's own limit applies.
    virtual CallId invokeGeneric(std::optional<std::chrono::milliseconds> timeout, std::string method,
                                 SignatureDescriptor signature, GenericPayload arguments,
                                 CompletionHandler handler) = 0;

    /// Sends a call and waits for its end. May complete other threads' calls meanwhile, as help() does. By
    /// default it is made of invokeGeneric() and help(), with copies of the arguments.
    /// @param timeout without one, the Invokable's own limit applies.
    /// @throws whatever the call failed with; what ResultRef::takeFrom() throws for an answer of another
    /// kind.
    virtual void callAndWait(std::optional<std::chrono::milliseconds> timeout, std::string_view method,
                             SignatureDescriptor signature, std::span<const ArgumentRef> arguments,
                             ResultRef result);

    /// From collect() to sendCollected() calls may be kept back, those of other threads too, so that many are
    /// sent together. For a moment: nobody waits for anything between the two. Does nothing by default.
    virtual void collect() noexcept;
    virtual void sendCollected() noexcept;

    /// Lends the calling thread, which is about to wait for that call, to the transport; returns no later
    /// than the call ends. May complete other threads' calls on this one, never runs exported callbacks. Does
    /// nothing by default.
    virtual void help(CallId call) noexcept;

    /// The functions that this service's daemon may call in this process.
    virtual std::shared_ptr<CallbackTable> callbacks() = 0;

protected:
    Invokable() = default;
    Invokable(const Invokable&) = delete;
    Invokable& operator=(const Invokable&) = delete;
};

/// Calls begun while it exists are sent together.
class SentTogether {
public:
    explicit SentTogether(std::shared_ptr<Invokable> invokable) : invokable_(std::move(invokable)) {
        if (invokable_)
            invokable_->collect();
    }
    ~SentTogether() {
        if (invokable_)
            invokable_->sendCollected();
    }
    SentTogether(const SentTogether&) = delete;
    SentTogether& operator=(const SentTogether&) = delete;

private:
    const std::shared_ptr<Invokable> invokable_;
};

} // namespace agent::spf::core
