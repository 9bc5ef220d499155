#pragma once

#include "contract/calls/Wire.h"

#include <string>
#include <string_view>

namespace agent::spf::core {

/// The description of a signature that travels with a call or an exported callback.
///
/// The grammar, which daemons compare to the letter:
///
///     method  := { ["name":"NAME",] "return":entry(0) , "arguments":[ (entry(i) ,)* ] }
///     entry(i):= {"void":i} | {"bool":i} | {"string":i}            tag types are closed
///              | {"HASH":i,"types":[ entry(0) , ... entry(n) ]}    records with members are closed
///              | {"HASH":i                                         every other type stays open
///
/// without white space. HASH is the type's decimal hash. The open entries and the comma after every argument,
/// the last one too, belong to it.
///
/// A descriptor is a reference to text built at compile time; it is trivially copyable and lives for ever.
class SignatureDescriptor {
public:
    /// The descriptor of a function type R(Args...); references and cv-qualifiers of Args do not matter.
    template <class Function>
    static constexpr SignatureDescriptor of();

    /// The text without a name.
    constexpr std::string_view unnamed() const noexcept { return unnamed_; }
    /// The text with a name; without one when `name` is empty.
    std::string named(std::string_view name) const;

private:
    constexpr explicit SignatureDescriptor(std::string_view unnamed) noexcept : unnamed_(unnamed) {}

    std::string_view unnamed_;
};

namespace detail {

template <class Function>
struct SignatureText;
template <class R, class... Args>
struct SignatureText<R(Args...)> {
    template <std::size_t... I>
    static constexpr auto build(std::index_sequence<I...>) {
        return join(FixedText("{\"return\":"), wireEntry<std::remove_cvref_t<R>, 0>(),
                    FixedText(",\"arguments\":["),
                    join(wireEntry<std::remove_cvref_t<Args>, I>(), FixedText(","))..., FixedText("]}"));
    }
    static constexpr auto value = build(std::index_sequence_for<Args...>{});
};

} // namespace detail

template <class Function>
constexpr SignatureDescriptor SignatureDescriptor::of() {
    return SignatureDescriptor(detail::SignatureText<Function>::value.view());
}

} // namespace agent::spf::core
