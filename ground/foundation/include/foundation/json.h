#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/string.hpp>
#include <boost/json/value.hpp>

#include <string>
#include <string_view>

namespace foundation::json {

using boost::json::array;
using boost::json::object;
using boost::json::value;

/// Arrays and objects may be nested this deep in a parsed text.
inline constexpr std::size_t maxDepth = 64;

/// Parses exactly one JSON text (RFC 8259, UTF-8; white space may surround it). A repeated key keeps its last
/// value.
/// @throws std::invalid_argument with line, column and reason; the text itself, which may hold secrets, is
/// never
///         part of the message.
value parse(std::string_view text);

/// Compact form without white space; members keep the order in which they were inserted.
std::string serialize(const value& document);

} // namespace foundation::json
