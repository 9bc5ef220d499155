#include <foundation/log/diagnostic_logger.h>

extern "C" __attribute__((visibility("default"))) void logFromModule(const char* text) {
    const foundation::log::basic_diagnostic_logger<char> logger("module");
    logger.log(foundation::log::logging_event_types::notice, text);
}
