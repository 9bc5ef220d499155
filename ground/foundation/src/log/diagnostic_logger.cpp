#include "log/hub.h"

#include <foundation/log/diagnostic_logger.h>

#include <utility>

namespace foundation::log {

basic_diagnostic_logger<char>::basic_diagnostic_logger(std::string component)
    : component_(std::move(component)), enabled_(&detail::Hub::instance().enabled()) {}

void basic_diagnostic_logger<char>::write(logging_event_types type, std::string_view text) const noexcept {
    try {
        detail::Hub::instance().write(component_, type, text);
    } catch (...) {
        // Out of memory: the record is lost, the caller's work goes on.
    }
}

} // namespace foundation::log
