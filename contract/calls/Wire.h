#pragma once

#include "contract/calls/TypeKey.h"
#include "contract/records/LoginData.h"
#include "contract/records/LoginInfo.h"
#include "contract/records/Negotiation.h"

#include <boost/optional/optional_fwd.hpp>
#include <boost/uuid/uuid.hpp>

#include <cstddef>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace login {
struct RequestAccessTokenResponse;
}

namespace agent::spf::core {

class ExportedCallback;
class ExportedDataSink;
class ExportedDataSource;

/// The types that may stand in a remote signature, one specialisation each. `Tag` types have a short key of
/// their own; `Record` types are keyed by their hash and list their members; `Opaque` types are keyed by
/// their hash alone.
template <class T>
struct Wire {
    static constexpr bool known = false;
};

namespace detail {

template <class... Members>
struct RecordWire {
    static constexpr bool known = true;
    using MemberList = std::tuple<Members...>*;
};
using OpaqueWire = RecordWire<>;

template <class T>
concept Tagged = requires {
    Wire<T>::tag;
};

template <class T, std::size_t Index>
constexpr auto wireEntry();

template <class... Members, std::size_t... I>
constexpr auto wireMembers(std::tuple<Members...>*, std::index_sequence<I...>) {
    const auto member = []<class M, std::size_t At>() {
        if constexpr (At == 0)
            return wireEntry<M, At>();
        else
            return join(FixedText(","), wireEntry<M, At>());
    };
    return join(member.template operator()<Members, I>()...);
}

template <class T>
constexpr auto wireKey() {
    if constexpr (Tagged<T>)
        return Wire<T>::tag;
    else
        return decimalText<typeNameHash(typeName<T>())>();
}

/// A type's entry at a position; SignatureDescriptor.h has the grammar.
template <class T, std::size_t Index>
constexpr auto wireEntry() {
    static_assert(Wire<T>::known,
                  "this type cannot be sent to a daemon: specialise agent::spf::core::Wire for it");
    constexpr auto open = join(FixedText("{\""), wireKey<T>(), FixedText("\":"), decimalText<Index>());
    if constexpr (Tagged<T>) {
        return join(open, FixedText("}"));
    } else {
        using Members = typename Wire<T>::MemberList;
        constexpr std::size_t count = std::tuple_size_v<std::remove_pointer_t<Members>>;
        if constexpr (count == 0)
            return open;
        else
            return join(open, FixedText(",\"types\":["),
                        wireMembers(static_cast<Members>(nullptr), std::make_index_sequence<count>{}),
                        FixedText("]}"));
    }
}

} // namespace detail

template <>
struct Wire<void> {
    static constexpr bool known = true;
    static constexpr detail::FixedText tag{"void"};
};
template <>
struct Wire<bool> {
    static constexpr bool known = true;
    static constexpr detail::FixedText tag{"bool"};
};
template <>
struct Wire<std::string> {
    static constexpr bool known = true;
    static constexpr detail::FixedText tag{"string"};
};

// clang-format off
template <> struct Wire<int> : detail::OpaqueWire {};
template <> struct Wire<unsigned int> : detail::OpaqueWire {};
template <> struct Wire<std::u16string> : detail::OpaqueWire {};
template <> struct Wire<boost::uuids::uuid> : detail::OpaqueWire {};
template <> struct Wire<boost::optional<login::LoginInfo>> : detail::OpaqueWire {};
template <> struct Wire<login::LoginInfo> : detail::OpaqueWire {};
template <> struct Wire<login::detail::LoginData> : detail::OpaqueWire {};
template <> struct Wire<login::detail::NegotiationsResult> : detail::OpaqueWire {};
template <> struct Wire<login::NegotiationTerms> : detail::RecordWire<unsigned int> {};
template <> struct Wire<login::Negotiator::Position> : detail::OpaqueWire {};
template <> struct Wire<login::NegotiatorResponse> : detail::RecordWire<login::Negotiator::Position, std::u16string> {};
template <> struct Wire<login::RequestAccessTokenResponse> : detail::OpaqueWire {};
template <> struct Wire<std::tuple<login::LoginInfo, login::LoginInfo>> : detail::OpaqueWire {};
template <> struct Wire<std::tuple<const login::LoginInfo&, const login::LoginInfo&>> : detail::OpaqueWire {};
template <> struct Wire<std::tuple<login::LoginInfo, std::string>> : detail::OpaqueWire {};
template <> struct Wire<ExportedCallback> : detail::OpaqueWire {};
template <> struct Wire<ExportedDataSink> : detail::OpaqueWire {};
template <> struct Wire<ExportedDataSource> : detail::OpaqueWire {};
// clang-format on

} // namespace agent::spf::core
