#pragma once

#include <cppmicroservices/detail/TypeName.h>

#include <concepts>
#include <ostream>
#include <ranges>
#include <string_view>

namespace cppmicroservices {

/// Writes a property value as text: strings as they are, bool as true or false, ranges as "[a, b]", maps as
/// "{key : value, ...}", a type that cannot be streamed as its name in angle brackets.
template <class T>
std::ostream& any_value_to_string(std::ostream& os, const T& value) {
    if constexpr (std::same_as<T, bool>) {
        os << (value ? "true" : "false");
    } else if constexpr (std::convertible_to<const T&, std::string_view>) {
        os << std::string_view(value);
    } else if constexpr (requires { typename T::mapped_type; } && std::ranges::input_range<const T>) {
        const char* separator = "{";
        for (const auto& [key, mapped] : value) {
            os << separator;
            any_value_to_string(os, key) << " : ";
            any_value_to_string(os, mapped);
            separator = ", ";
        }
        os << (*separator == '{' ? "{}" : "}");
    } else if constexpr (requires { os << value; }) {
        os << value;
    } else if constexpr (std::ranges::input_range<const T>) {
        const char* separator = "[";
        for (const auto& element : value) {
            os << separator;
            any_value_to_string(os, element);
            separator = ", ";
        }
        os << (*separator == '[' ? "[]" : "]");
    } else {
        os << '<' << detail::TypeName<T>() << '>';
    }
    return os;
}

} // namespace cppmicroservices
