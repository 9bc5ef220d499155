#pragma once

#include <string_view>

namespace foundation::log {

/// Severity of a record, in rising order; the values are single bits.
enum class logging_event_types : unsigned {
    debug = 2,
    info = 4,
    warning = 8,
    notice = 16,
    error = 256,
    severe = 512
};

/// "info", "warning", ...; "unknown" for a value outside the enumeration.
std::string_view toString(logging_event_types type) noexcept;

/// The set of severities that a destination takes.
class SeverityFilter {
public:
    static constexpr SeverityFilter off() { return SeverityFilter(0); }
    static constexpr SeverityFilter all() { return SeverityFilter(everything); }
    static constexpr SeverityFilter only(logging_event_types type) { return SeverityFilter(bit(type)); }
    static constexpr SeverityFilter atLeast(logging_event_types type) {
        return SeverityFilter(everything & ~(bit(type) - 1));
    }

    /// "off", "all", or the name or number of the least severity to take ("warning", "256").
    /// @throws std::invalid_argument that lists what is accepted.
    static SeverityFilter parse(std::string_view text);

    constexpr bool passes(logging_event_types type) const noexcept { return (mask_ & bit(type)) != 0; }
    constexpr unsigned mask() const noexcept { return mask_; }
    constexpr SeverityFilter operator|(SeverityFilter other) const {
        return SeverityFilter(mask_ | other.mask_);
    }
    bool operator==(const SeverityFilter&) const = default;

private:
    static constexpr unsigned everything = 2 | 4 | 8 | 16 | 256 | 512;

    explicit constexpr SeverityFilter(unsigned mask) : mask_(mask) {}
    static constexpr unsigned bit(logging_event_types type) { return static_cast<unsigned>(type); }

    unsigned mask_;
};

} // namespace foundation::log
