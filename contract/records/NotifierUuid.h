#pragma once

#include <boost/uuid/uuid.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace login::detail {

// What every NotifierId does, whatever it names.

/// A random (version 4) uuid from the operating system's random source.
/// @throws boost::uuids::entropy_error when that source fails.
boost::uuids::uuid createUuid();

/// @throws std::runtime_error "invalid uuid string" for malformed text.
boost::uuids::uuid parseUuid(std::string_view text);

/// 36 characters, lower case, 8-4-4-4-12.
std::string uuidText(const boost::uuids::uuid& id);

std::size_t hashUuid(const boost::uuids::uuid& id) noexcept;

} // namespace login::detail
