#include <foundation/log/severity_filter.h>

#include <array>
#include <stdexcept>
#include <string>

namespace foundation::log {
namespace {

constexpr std::array severities = {logging_event_types::debug,   logging_event_types::info,
                                   logging_event_types::warning, logging_event_types::notice,
                                   logging_event_types::error,   logging_event_types::severe};

} // namespace

std::string_view toString(logging_event_types type) noexcept {
    switch (type) {
    case logging_event_types::debug:
        return "debug";
    case logging_event_types::info:
        return "info";
    case logging_event_types::warning:
        return "warning";
    case logging_event_types::notice:
        return "notice";
    case logging_event_types::error:
        return "error";
    case logging_event_types::severe:
        return "severe";
    }
    return "unknown";
}

SeverityFilter SeverityFilter::parse(std::string_view text) {
    if (text == "off") {
        return off();
    }
    if (text == "all") {
        return all();
    }
    std::string accepted = "off, all";
    for (const auto severity : severities) {
        const std::string number = std::to_string(static_cast<unsigned>(severity));
        if (text == toString(severity) || text == number) {
            return atLeast(severity);
        }
        accepted.append(", ").append(toString(severity)).append(" (").append(number).append(")");
    }
    throw std::invalid_argument("unknown log severity '" + std::string(text) + "'; use one of: " + accepted);
}

} // namespace foundation::log
