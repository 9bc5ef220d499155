#pragma once

#include <algorithm>
#include <string_view>

namespace cppmicroservices::detail {

// Keys and filters are ASCII by convention; the C library's functions would follow the host's locale.
constexpr char Lower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool IsBlank(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

inline bool EqualIgnoringCase(std::string_view left, std::string_view right) noexcept {
    return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(),
                                                     [](char a, char b) { return Lower(a) == Lower(b); });
}

inline std::string_view Trim(std::string_view text) noexcept {
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

} // namespace cppmicroservices::detail
