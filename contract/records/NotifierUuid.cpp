#include "contract/records/NotifierUuid.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <cstdint>

namespace login::detail {

boost::uuids::uuid createUuid() {
    return boost::uuids::random_generator()();
}

boost::uuids::uuid parseUuid(std::string_view text) {
    return boost::uuids::string_generator()(text.begin(), text.end());
}

std::string uuidText(const boost::uuids::uuid& id) {
    return boost::uuids::to_string(id);
}

std::size_t hashUuid(const boost::uuids::uuid& id) noexcept {
    // The fold is part of the ids' contract, so it does not move with Boost's own hash.
    std::uint64_t seed = 0;
    for (const std::uint8_t byte : id)
        seed ^= byte + 0x9e3779b9U + (seed << 6U) + (seed >> 2U);
    return seed;
}

} // namespace login::detail
