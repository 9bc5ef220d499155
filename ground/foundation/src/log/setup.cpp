#include "log/hub.h"

#include <foundation/log/setup.h>

namespace foundation::log {

void setup(const Options& options) {
    detail::Hub::instance().setup(options);
}

void flush() {
    detail::Hub::instance().flush();
}

} // namespace foundation::log
