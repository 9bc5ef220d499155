#pragma once

#include <boost/type_index/ctti_type_index.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace agent::spf::core::detail {

/// Text of a length known at compile time.
template <std::size_t N>
struct FixedText {
    std::array<char, N + 1> chars{}; // ends in a zero, for debuggers

    constexpr FixedText() = default;
    constexpr explicit(false) FixedText(const char (&literal)[N + 1]) {
        for (std::size_t i = 0; i < N; ++i)
            chars[i] = literal[i];
    }
    constexpr std::string_view view() const { return {chars.data(), N}; }
};
template <std::size_t N>
FixedText(const char (&)[N]) -> FixedText<N - 1>;

template <std::size_t... N>
constexpr auto join(const FixedText<N>&... parts) {
    FixedText<(N + ... + 0)> joined;
    std::size_t at = 0;
    const auto append = [&](std::string_view part) {
        for (const char c : part)
            joined.chars[at++] = c;
    };
    (append(parts.view()), ...);
    return joined;
}

constexpr std::size_t decimalDigits(std::uint64_t value) {
    std::size_t digits = 1;
    while ((value /= 10) != 0)
        ++digits;
    return digits;
}

template <std::uint64_t Value>
constexpr auto decimalText() {
    FixedText<decimalDigits(Value)> text;
    std::uint64_t rest = Value;
    for (std::size_t i = text.view().size(); i-- > 0; rest /= 10)
        text.chars[i] = static_cast<char>('0' + rest % 10);
    return text;
}

/// The type's name as the compiler prints it.
template <class T>
constexpr std::string_view typeName() {
    // Boost's text runs on to the closing bracket of the signature it was cut from.
    const std::string_view raw = boost::typeindex::ctti_type_index::type_id<T>().raw_name();
    return raw.substr(0, raw.size() - boost::typeindex::detail::ctti_skip_size_at_end);
}

/// What boost::typeindex::ctti_type_index::hash_code() of Boost 1.81 gives for this name, at compile time.
/// Daemons know types by these numbers, so they stay as they are when Boost's own hash changes.
constexpr std::uint64_t typeNameHash(std::string_view name) {
    constexpr std::uint64_t multiplier = 0xe9846af9b1a615d;
    std::uint64_t hash = 0;
    const auto mixIn = [&hash](std::uint32_t chunk) {
        std::uint64_t x = hash + 0x9e3779b9 + chunk;
        x ^= x >> 32U;
        x *= multiplier;
        x ^= x >> 32U;
        x *= multiplier;
        x ^= x >> 28U;
        hash = x;
    };
    const auto byte = [name](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(name[i]));
    };

    std::size_t at = 0;
    for (; name.size() - at >= 4; at += 4)
        mixIn(byte(at) | byte(at + 1) << 8U | byte(at + 2) << 16U | byte(at + 3) << 24U);
    std::uint32_t tail = 1; // a marker above the last bytes tells trailing zeros from none
    for (std::size_t i = name.size(); i-- > at;)
        tail = tail << 8U | byte(i);
    mixIn(tail);
    return hash;
}

} // namespace agent::spf::core::detail
