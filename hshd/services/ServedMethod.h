#pragma once

#include "contract/calls/SignatureDescriptor.h"
#include "contract/vocabulary/RemoteMethod.h"
#include "hshd/services/Client.h"

#include <chrono>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace hshd {

class Dispatch;

enum class AnsweredOn {
    IoThread,    ///< at once: what is in memory
    StateThread, ///< what changes the state; answered when the change is on the disk
};

/// One row of a service's table: a remote method and who answers it. @see MethodsOf
struct ServedMethod {
    std::string_view name;
    agent::spf::core::SignatureDescriptor signature;
    AnsweredOn thread;
    void (*answer)(Dispatch& service, const Call& call); ///< does not throw for what a client sends
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

/// The signature of a member function, of values.
template <class Member>
struct SignatureOf;
template <class Class, class R, class... Params>
struct SignatureOf<R (Class::*)(Params...)> {
    using Type = R(std::remove_cvref_t<Params>...);
};
template <class Class, class R, class... Params>
struct SignatureOf<R (Class::*)(Params...) const> : SignatureOf<R (Class::*)(Params...)> {};

template <auto Handler, class Signature>
struct Binding;
template <auto Handler, class R, class... Args>
struct Binding<Handler, R(Args...)> {
    using Given = typename SignatureOf<decltype(Handler)>::Type;
    static constexpr bool plain = std::is_same_v<Given, R(Args...)>;
    static constexpr bool asksForClient = std::is_same_v<Given, R(Client, Args...)>;
    static constexpr bool answersLater = std::is_same_v<Given, void(Args..., LaterAnswer<R>)>;
    static constexpr bool fits = plain || asksForClient || answersLater;

    template <class Service>
    static void answer(Dispatch& service, const Call& call) {
        try {
            checkArgumentCount(*call, sizeof...(Args));
            run(static_cast<Service&>(service), call, std::index_sequence_for<Args...>{});
        } catch (...) {
            failWithCurrentException(*call);
        }
    }

private:
    template <class Service, std::size_t... I>
    static void run(Service& service, const Call& call, std::index_sequence<I...>) {
        // Braces: the arguments are taken in their order.
        [[maybe_unused]] std::tuple<Args...> arguments{takeArgument<Args>(*call, I)...};
        if constexpr (answersLater) {
            (service.*Handler)(std::move(std::get<I>(arguments))..., LaterAnswer<R>(call));
        } else {
            const auto compute = [&]() -> R {
                if constexpr (asksForClient)
                    return (service.*Handler)(call->client(), std::move(std::get<I>(arguments))...);
                else
                    return (service.*Handler)(std::move(std::get<I>(arguments))...);
            };
            if constexpr (std::is_void_v<R>) {
                compute();
                call->reply({});
            } else {
                call->reply(agent::spf::core::GenericPayload::of(compute()));
            }
        }
    }
};

} // namespace detail

/// Makes the rows of a service's table, from the method as its vocabulary has it and the member function that
/// answers. That function has the method's signature to the letter, but may take values by const reference,
/// the client before the others, and return nothing when it takes a LaterAnswer after them.
template <class Service>
struct MethodsOf {
    template <auto Handler, class Signature>
    requires detail::Binding<Handler, Signature>::fits static constexpr ServedMethod
    atOnce(const agent::spf::cppmsclientutils::RemoteMethod<Signature>& method) {
        return row<Handler>(method, AnsweredOn::IoThread);
    }
    template <auto Handler, class Signature>
    requires detail::Binding<Handler, Signature>::fits static constexpr ServedMethod
    whenSaved(const agent::spf::cppmsclientutils::RemoteMethod<Signature>& method) {
        return row<Handler>(method, AnsweredOn::StateThread);
    }

private:
    template <auto Handler, class Signature>
    static constexpr ServedMethod row(const agent::spf::cppmsclientutils::RemoteMethod<Signature>& method,
                                      AnsweredOn thread) {
        return {method.name, agent::spf::core::SignatureDescriptor::of<Signature>(), thread,
                &detail::Binding<Handler, Signature>::template answer<Service>};
    }
};

} // namespace hshd
