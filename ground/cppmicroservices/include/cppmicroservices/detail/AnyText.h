#pragma once

#include <cppmicroservices/detail/TypeName.h>

#include <concepts>
#include <cstdint>
#include <ostream>
#include <ranges>
#include <string_view>

namespace cppmicroservices {

/// Writes a property value as text: strings as they are, bool as 1 or 0, ranges as "[a,b]", maps as
/// "{key : value, ...}", a type that cannot be streamed as its name in angle brackets.
template <class T>
std::ostream& any_value_to_string(std::ostream& os, const T& value) {
    if constexpr (std::floating_point<T>) {
        const auto precision = os.precision(12);
        os << value;
        os.precision(precision);
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
            separator = ",";
        }
        os << (*separator == '[' ? "[]" : "]");
    } else {
        os << '<' << detail::TypeName<T>() << '>';
    }
    return os;
}

namespace detail {

void WriteJsonText(std::ostream& os, std::string_view text);
/// A line break and that many blanks, if the text is to be indented at all.
void WriteJsonBreak(std::ostream& os, int increment, int indent);

} // namespace detail

/// Writes a property value as JSON. With an \p increment each element has a line of its own, indented by
/// \p indent blanks and its own elements by \p increment more.
template <class T>
std::ostream& any_value_to_json(std::ostream& os, const T& value, std::uint8_t increment,
                                std::int32_t indent) {
    if constexpr (requires { value.ToJSON(increment, indent); }) {
        os << value.ToJSON(increment, indent);
    } else if constexpr (std::same_as<T, bool>) {
        os << (value ? "true" : "false");
    } else if constexpr (std::convertible_to<const T&, std::string_view>) {
        detail::WriteJsonText(os, value);
    } else if constexpr (std::ranges::input_range<const T>) {
        constexpr bool isMap = requires {
            typename T::mapped_type;
        };
        const char* separator = "";
        os << (isMap ? '{' : '[');
        for (const auto& element : value) {
            os << separator;
            detail::WriteJsonBreak(os, increment, indent);
            if constexpr (isMap) {
                os << '"' << element.first << "\" : ";
                any_value_to_json(os, element.second, increment, indent + increment);
            } else {
                any_value_to_json(os, element, increment, indent + increment);
            }
            separator = isMap ? ", " : ",";
        }
        if (*separator)
            detail::WriteJsonBreak(os, increment, indent - increment);
        os << (isMap ? '}' : ']');
    } else {
        any_value_to_string(os, value);
    }
    return os;
}

} // namespace cppmicroservices
