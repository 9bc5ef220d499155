#pragma once

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

template <class R, class... Args, std::size_t... I>
GenericPayload applyPayload(const std::function<R(Args...)>& typed, GenericPayload& arguments,
                            std::index_sequence<I...>) {
    if constexpr (std::is_void_v<R>) {
        typed(arguments.take<std::remove_cvref_t<Args>>(I)...);
        return {};
    } else {
        return GenericPayload::of(typed(arguments.take<std::remove_cvref_t<Args>>(I)...));
    }
}

/// Wraps a typed function: arguments are taken slot by slot, the result becomes slot 0 (no slot for void).
/// The wrapped function throws what GenericPayload::take() throws when the daemon sends other arguments, and
/// what `typed` throws.
template <class R, class... Args>
ExportedFunction::Uniform genericPayloadWrapper(std::function<R(Args...)> typed) {
    return [typed = std::move(typed)](const foundation::concurrent::threadpool::stop_token&,
                                      GenericPayload arguments) {
        return applyPayload(typed, arguments, std::index_sequence_for<Args...>{});
    };
}

} // namespace detail

/// Makes a typed function exportable.
template <class R, class... Args>
ExportedFunction exportFunction(std::function<R(Args...)> typed) {
    return {detail::genericPayloadWrapper(std::move(typed)), SignatureDescriptor::of<R(Args...)>()};
}

} // namespace agent::spf::core
