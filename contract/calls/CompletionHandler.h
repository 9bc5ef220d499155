#pragma once

#include "contract/calls/GenericPayload.h"

#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <type_traits>
#include <utility>

namespace agent::spf::core {

/// What is called when a remote call ends: exactly one of the two parts, once, on a thread of the Invokable's
/// choosing.
struct CompletionHandler {
    std::function<void(GenericPayload)> onValue;
    std::function<void(std::exception_ptr)> onError;
};

namespace detail {

/// Turns a typed function (taking R, or nothing for void) into the value part of a handler.
template <class R, class Function>
std::function<void(GenericPayload)> genericPayloadWrapperCH(Function typed) {
    return [typed = std::move(typed)](GenericPayload result) {
        if constexpr (std::is_void_v<R>)
            typed();
        else
            typed(result.takeForFuture<R>(0));
    };
}

} // namespace detail

/// A handler that fulfils a promise: with slot 0 of the result (nothing for void), or with the error, be it
/// the remote side's or one of reading the slot. A second outcome for the same promise is ignored.
template <class R>
CompletionHandler promiseCompletingHandler(std::shared_ptr<std::promise<R>> promise) {
    const auto fail = [](std::promise<R>& target, std::exception_ptr error) {
        try {
            target.set_exception(std::move(error));
        } catch (const std::future_error&) {
            // Already fulfilled: an Invokable that ends a call twice must not harm the thread it does it on.
        }
    };
    // One pointer per closure keeps both parts within two allocations.
    return {[promise, fail](GenericPayload result) {
                try {
                    detail::genericPayloadWrapperCH<R>([&promise](auto&&... value) {
                        promise->set_value(std::forward<decltype(value)>(value)...);
                    })(std::move(result));
                } catch (...) {
                    fail(*promise, std::current_exception());
                }
            },
            [promise, fail](std::exception_ptr error) { fail(*promise, std::move(error)); }};
}

} // namespace agent::spf::core
