#pragma once

#include "contract/calls/SignatureDescriptor.h"

#include <agent/spf/transport/Server.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace hshd {

using Call = std::shared_ptr<agent::spf::transport::IncomingCall>;
using Client = std::shared_ptr<agent::spf::transport::ClientSession>;

enum class AnsweredOn {
    IoThread,    ///< at once: what is in memory
    StateThread, ///< what changes the state; answered when the change is on the disk
};

/// One row of a service's vocabulary.
template <class Service>
struct RemoteMethod {
    std::string_view name;
    agent::spf::core::SignatureDescriptor signature;
    AnsweredOn thread;
    void (*answer)(Service& service, const Call& call); ///< does not throw for what a client sends
};

/// The answer to a call that a handler gives later, from any thread; a plain value. Never given, it is an
/// error.
template <class R>
class LaterAnswer {
public:
    explicit LaterAnswer(Call call) : call_(std::move(call)) {}
    std::chrono::steady_clock::time_point deadline() const { return call_->deadline(); }
    void operator()(R result) const { call_->reply(agent::spf::core::GenericPayload::of(std::move(result))); }

private:
    Call call_;
};

namespace detail {

/// Answers with the error that belongs to the current exception.
void failWithCurrentException(agent::spf::transport::IncomingCall& call);
/// @throws MalformedError unless the call brings so many arguments.
void checkArgumentCount(agent::spf::transport::IncomingCall& call, std::size_t count);
/// For an argument that is missing or of another type. @throws MalformedError
[[noreturn]] void failArgument(agent::spf::transport::IncomingCall& call, std::size_t index);

template <class T>
T takeArgument(agent::spf::transport::IncomingCall& call, std::size_t index) {
    try {
        return call.arguments().take<T>(index);
    } catch (...) {
        failArgument(call, index);
    }
}

template <class Signature>
struct Binding;
template <class R, class... Args>
struct Binding<R(Args...)> {
    /// Calls the handler with the arguments, behind the client when it asks for that, and before a
    /// LaterAnswer when it takes one.
    template <auto Handler, class Service>
    static void answer(Service& service, const Call& call) {
        try {
            checkArgumentCount(*call, sizeof...(Args));
            run<Handler>(service, call, std::index_sequence_for<Args...>{});
        } catch (...) {
            failWithCurrentException(*call);
        }
    }

private:
    template <class Member, class Service>
    static constexpr bool answersLater() {
        if constexpr (std::is_void_v<R>)
            return false;
        else
            return std::is_invocable_v<Member, Service&, Args..., LaterAnswer<R>>;
    }

    template <auto Handler, class Service, std::size_t... I>
    static void run(Service& service, const Call& call, std::index_sequence<I...>) {
        // Braces: the arguments are taken in their order.
        [[maybe_unused]] std::tuple<Args...> arguments{takeArgument<Args>(*call, I)...};
        const auto invoke = [&](auto&&... more) -> decltype(auto) {
            return (service.*Handler)(std::forward<decltype(more)>(more)...,
                                      std::move(std::get<I>(arguments))...);
        };
        using Member = decltype(Handler);
        if constexpr (answersLater<Member, Service>()) {
            (service.*Handler)(std::move(std::get<I>(arguments))..., LaterAnswer<R>(call));
        } else if constexpr (std::is_invocable_v<Member, Service&, const Client&, Args...>) {
            reply(*call, [&]() -> R { return invoke(call->client()); });
        } else {
            reply(*call, [&]() -> R { return invoke(); });
        }
    }

    template <class Compute>
    static void reply(agent::spf::transport::IncomingCall& call, const Compute& compute) {
        if constexpr (std::is_void_v<R>) {
            compute();
            call.reply({});
        } else {
            call.reply(agent::spf::core::GenericPayload::of(compute()));
        }
    }
};

} // namespace detail

/// A row: the signature as clients declare it, and the member function that answers.
template <class Signature, auto Handler, class Service>
constexpr RemoteMethod<Service> remoteMethod(std::string_view name, AnsweredOn thread) {
    return {name, agent::spf::core::SignatureDescriptor::of<Signature>(), thread,
            &detail::Binding<Signature>::template answer<Handler, Service>};
}

} // namespace hshd
