#pragma once

#include "contract/calls/Errors.h"

#include <foundation/concurrent/threadpool/Executor.h>

#include <atomic>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <utility>

namespace agent::spf::cppmsclientutils {

/// The one outcome of a request whose result comes by an exported callback: its handler is called exactly
/// once, whichever of success, failure and withdrawal comes first.
///
/// The exported function owns it. When that is withdrawn uncalled (the daemon or the client went away, or the
/// request was aborted) the handler is called with a DisconnectedError that says so: on the executor, for a
/// withdrawal may happen where no foreign code should run, or on this thread when that one is stopped.
/// Thread-safe.
///
/// @tparam Result what the handler gets besides the exception; default-constructed with a failure.
template <class... Result>
class PendingOutcome {
public:
    using Handler = std::function<void(Result..., std::exception_ptr)>;

    /// @param executor outlives this.
    PendingOutcome(Handler handler, foundation::concurrent::threadpool::Executor& executor)
        : handler_(std::move(handler)), executor_(executor) {}
    ~PendingOutcome() {
        if (delivered_)
            return;
        try {
            executor_.post(
                [withdrawal = std::make_shared<Withdrawal>(std::move(handler_))] { withdrawal->tell(); });
        } catch (...) {
            // Out of memory.
        }
    }
    PendingOutcome(const PendingOutcome&) = delete;
    PendingOutcome& operator=(const PendingOutcome&) = delete;

    /// Both call the handler on this thread, unless it was called before. @throws what the handler throws;
    /// std::bad_function_call when it is empty.
    void succeed(Result... result) {
        if (!delivered_.exchange(true))
            handler_(std::move(result)..., nullptr);
    }
    void fail(std::exception_ptr error) {
        if (!delivered_.exchange(true))
            handler_(Result()..., std::move(error));
    }

private:
    /// Tells the handler when it runs, or when an executor that stops destroys it unrun.
    class Withdrawal {
    public:
        explicit Withdrawal(Handler handler) : handler_(std::move(handler)) {}
        ~Withdrawal() {
            try {
                tell();
            } catch (...) {
                // The handler's, and nobody is there to hear of it.
            }
        }
        Withdrawal(const Withdrawal&) = delete;
        Withdrawal& operator=(const Withdrawal&) = delete;
        void tell() {
            if (const auto handler = std::exchange(handler_, nullptr))
                handler(Result()..., std::make_exception_ptr(core::DisconnectedError(
                                         "The request ended without an outcome: it was aborted, or the "
                                         "daemon or this client went away")));
        }

    private:
        Handler handler_;
    };

    Handler handler_;
    foundation::concurrent::threadpool::Executor& executor_;
    std::atomic<bool> delivered_{false};
};

/// A handler that fulfils a promise.
/// @param future becomes the promise's.
template <class Result, class... Info>
auto promiseFulfilling(std::future<Result>& future) {
    auto promise = std::make_shared<std::promise<Result>>();
    future = promise->get_future();
    return [promise = std::move(promise)](Info... info, std::exception_ptr error) {
        if (error)
            promise->set_exception(std::move(error));
        else
            promise->set_value(std::move(info)...);
    };
}

} // namespace agent::spf::cppmsclientutils
