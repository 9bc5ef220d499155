#include "host/ComponentLog.h"

#include <exception>

namespace zelkor::host {
namespace {

foundation::log::logging_event_types levelOf(ComponentLog::Severity severity) {
    using foundation::log::logging_event_types;
    switch (severity) {
    case ComponentLog::Severity::LOG_ERROR:
        return logging_event_types::error;
    case ComponentLog::Severity::LOG_WARNING:
        return logging_event_types::warning;
    case ComponentLog::Severity::LOG_INFO: // each library that is loaded, each component that is enabled
    case ComponentLog::Severity::LOG_DEBUG:
        break;
    }
    return logging_event_types::debug;
}

} // namespace

void ComponentLog::write(Severity severity, const std::string& message,
                         const std::exception_ptr& cause) const {
    const auto level = levelOf(severity);
    if (!log_.enabled(level))
        return;
    auto text = message;
    try {
        if (cause)
            std::rethrow_exception(cause);
    } catch (const std::exception& error) {
        if (text.find(error.what()) == std::string::npos)
            text += std::string(text.empty() ? "" : " ") + error.what();
    } catch (...) {
        text += " (not a std::exception)";
    }
    log_.log(level, text);
}

} // namespace zelkor::host
