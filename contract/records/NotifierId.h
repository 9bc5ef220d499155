#pragma once

#include "contract/records/NotifierUuid.h"

#include <boost/uuid/uuid.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace login {

/// Names one registration made with a login service. T keeps the kinds of registrations apart at compile time
/// and is never stored. A plain value; the default-constructed id is empty (nil) and names nothing.
template <class T>
class NotifierId {
public:
    NotifierId() noexcept : value_{} {}
    explicit NotifierId(boost::uuids::uuid value) noexcept : value_(value) {}

    /// A new random id. @throws boost::uuids::entropy_error when the system's random source fails.
    static NotifierId create() { return NotifierId(detail::createUuid()); }
    /// Reads the canonical text form. @throws std::runtime_error "invalid uuid string" for malformed text.
    static NotifierId parse(const std::string_view& text) { return NotifierId(detail::parseUuid(text)); }

    bool operator==(const NotifierId& other) const noexcept { return value_ == other.value_; }
    bool isEmpty() const noexcept { return value_.is_nil(); }
    boost::uuids::uuid getValue() const noexcept { return value_; }
    std::string toString() const { return detail::uuidText(value_); }

    struct Hasher {
        std::size_t operator()(const NotifierId& id) const noexcept { return detail::hashUuid(id.value_); }
    };
    struct Comparer {
        bool operator()(const NotifierId& a, const NotifierId& b) const noexcept {
            return a.value_ < b.value_;
        }
    };

private:
    boost::uuids::uuid value_;
};

} // namespace login
