#pragma once

#include "contract/calls/CallbackScope.h"
#include "contract/calls/GenericPayload.h"
#include "contract/calls/SignatureDescriptor.h"

#include <foundation/concurrent/threadpool/Executor.h>

#include <functional>
#include <type_traits>
#include <utility>

namespace agent::spf::core {

/// A local function in the form in which a daemon can call it.
struct ExportedFunction {
    using Uniform =
        std::function<GenericPayload(foundation::concurrent::threadpool::stop_token, GenericPayload)>;

    Uniform function;
    SignatureDescriptor signature;
};

namespace detail {

template <class Signature>
struct PayloadCall;
template <class R, class... Args>
struct PayloadCall<R(Args...)> {
    template <class Callable>
    static GenericPayload run(const Callable& typed, GenericPayload& arguments) {
        return run(typed, arguments, std::index_sequence_for<Args...>{});
    }

private:
    template <class Callable, std::size_t... I>
    static GenericPayload run(const Callable& typed, GenericPayload& arguments, std::index_sequence<I...>) {
        if constexpr (std::is_void_v<R>) {
            typed(arguments.take<std::remove_cvref_t<Args>>(I)...);
            return {};
        } else {
            return GenericPayload::of<R>(typed(arguments.take<std::remove_cvref_t<Args>>(I)...));
        }
    }
};

/// Wraps a typed function: arguments are taken slot by slot, the result becomes slot 0 (no slot for void).
/// The wrapped function throws what GenericPayload::take() throws when the daemon sends other arguments, and
/// what `typed` throws. It runs inside a CallbackScope, opened here: of its code and its variables each
/// library has a copy, and the exporter's is the one that counts.
template <class Signature, class Callable>
ExportedFunction::Uniform genericPayloadWrapper(Callable typed) {
    return [typed = std::move(typed)](const foundation::concurrent::threadpool::stop_token&,
                                      GenericPayload arguments) {
        const CallbackScope scope;
        return PayloadCall<Signature>::run(typed, arguments);
    };
}

} // namespace detail

/// Makes a callable exportable under a signature: one function object between the daemon's call and it.
template <class Signature, class Callable>
ExportedFunction exportAs(Callable typed) {
    return {detail::genericPayloadWrapper<Signature>(std::move(typed)), SignatureDescriptor::of<Signature>()};
}
template <class R, class... Args>
ExportedFunction exportFunction(std::function<R(Args...)> typed) {
    return exportAs<R(Args...)>(std::move(typed));
}

} // namespace agent::spf::core
